// kestrum.desktop: the root of the screen. The Desktop holds the top-level windows, the menu bar
// on the top row, the status line on the bottom row, the canvas between them and at most one
// open context menu; it decides which window is active, which window an event reaches and the
// stacking when drawing.
//
// Windows are never removed: closing hides a window at its index, so indexes stay valid for
// the life of the program.
#pragma once
#include "kestrum/commands.hpp"
#include "kestrum/input.hpp"
#include "kestrum/term.hpp"
#include "kestrum/view.hpp"
#include "stdlib/core/error.hpp"
#include "kestrum/widgets/menubar.hpp"
#include "kestrum/widgets/window.hpp"

namespace kestrum {

inline constexpr int32_t MAX_DESKTOP_WINDOWS = 8;

class Desktop : public Group {
    NOLT_MANAGED(Desktop, Group);

public:
    int32_t active_idx = -1;
    Member<MenuBar> menubar;
    bool has_menubar = false;
    Member<Text> status;
    Member<Text> status_right;
    bool has_status = false;
    int32_t canvas_fill = 32;  // below 1: the theme's
    Member<PopupMenu> context;
    bool has_context = false;
    Member<PopupMenu> default_context;
    bool has_default_context = false;
    Member<CommandTable> commands;
    bool has_commands = false;

    static Root<Desktop> create();

    void draw(const Root<CellBuffer>& buf, Rect bounds, Rect clip, bool focused, const Root<Theme>& theme) override;
    EventResult handle_event(const Event& ev) override;
    // Adds a window unless MAX_DESKTOP_WINDOWS are visible already; it becomes the active one.
    void add(const Root<View>& child) override;

    virtual int32_t window_count();
    virtual int32_t visible_window_count();
    virtual int32_t first_poll_fd();
    // The window at i, or a fresh empty window.
    virtual Root<Window> window_at(int32_t i);
    virtual bool has_window();
    virtual bool has_context_menu();
    virtual bool context_is_open();
    virtual int32_t context_last_command();
    // The area between the menu bar and the status line.
    virtual Rect content_rect();
    virtual void set_bounds(Rect r);
    virtual void set_status(const string& text);
    virtual void set_status_right(const string& text);
    virtual void set_canvas_fill(int32_t ch);
    virtual void set_commands(const Root<CommandTable>& table);
    virtual void set_active_idx(int32_t i);
    virtual void close_window_at(int32_t i);
    virtual void show_window_at(int32_t i);
    virtual void close_active();
    virtual void restore_minimized();
    virtual void cascade();
    virtual void tile();
    virtual void set_menubar(const Root<MenuBar>& bar);
    virtual void set_context_menu(const Root<PopupMenu>& popup);
    virtual void open_context(const Root<PopupMenu>& popup, int32_t x, int32_t y);
    virtual void show_context_at(int32_t x, int32_t y);
    virtual void close_context();
    virtual void context_clear_command();
    virtual void layout_on_resize();
    virtual stdlib::Option<int32_t> window_hit_test(int32_t x, int32_t y);
    virtual stdlib::Option<int32_t> window_drag_owner();

private:
    // The window at i when it is a visible Window, else null.
    Root<Window> shown_window(int32_t i);
    void clamp_all();
    void draw_canvas(const Root<CellBuffer>& buf, Rect r, const Root<Theme>& theme);
    void draw_status(const Root<CellBuffer>& buf, Rect clip, const Root<Theme>& theme);
    void draw_unculled(const Root<CellBuffer>& buf, Rect r, Rect clip, const Root<Theme>& theme);
    void draw_top(const Root<CellBuffer>& buf, Rect clip, const Root<Theme>& theme);
};

// ---- The application -----------------------------------------------------------------------

inline constexpr int32_t KEY_CAP = 32;           // events taken from the decoder in one drain
inline constexpr int32_t READ_CAP = 256;         // bytes read from the terminal at one time
inline constexpr int32_t MAX_MODALS = 4;         // depth of the modal stack
inline constexpr int32_t POLL_TIMEOUT_MS = 50;   // the loop's one timeout; also the lone-ESC delay

enum class MessageBoxKind : int32_t;

// The terminal, the two frames, the decoder and the desktop behind one loop that makes one poll
// per turn. `command` is one slot: a later command of a drain overwrites one not yet taken.
class Application {
    NOLT_MANAGED(Application, void);

public:
    Member<Term> term;
    Member<CellBuffer> frame;  // the frame being drawn
    Member<CellBuffer> shown;  // what the terminal shows
    Member<Desktop> desktop;
    Member<Theme> theme;
    Member<KeyDecoder> decoder;
    bool running = false;
    bool hangup = false;
    bool dirty = true;
    bool is_open = false;
    int32_t command = CMD_NONE;
    Member<Text> read_buf;
    Member<runtime::Array<Event>> events;
    int32_t theme_index = 0;
    int32_t fill_index = 0;
    bool fill_override = false;
    Member<CommandTable> commands;
    bool has_commands = false;
    Member<runtime::Array<Member<Window>>> modals;  // bottom first
    int32_t modal_count = 0;
    bool modal_dim = true;
    bool basic_term = false;
    int32_t end_signal = 0;  // the signal that asked the program to end; close lets it finish the job
    int32_t poll_views = -1;  // views with a descriptor at the last collect_poll_fds; -1 before it

    static Root<Application> create(const Root<Theme>& theme);

    virtual void set_basic_term(bool basic);
    virtual TermConfig term_config();
    virtual void mark_hangup();
    virtual void check_hangup_signal();
    virtual int32_t desktop_fill();
    virtual string status();
    virtual string status_right();
    virtual int32_t window_count();
    virtual int32_t first_poll_fd();
    virtual int32_t focused_poll_fd();
    virtual bool theme_keys_blocked();
    virtual Root<Window> window_at(int32_t i);
    virtual bool has_modal();
    virtual Root<Window> modal_top();
    virtual void clear_command();
    virtual int32_t take_command();
    virtual void quit();
    virtual void set_dirty();
    virtual void set_modal_dim(bool dim);
    virtual void sync_canvas_fill_from_theme();
    virtual void set_theme(const Root<Theme>& theme);
    virtual void cycle_theme();
    virtual void set_desktop_fill(int32_t ch);
    virtual void clear_desktop_fill_override();
    virtual void cycle_desktop_fill();
    virtual void set_status(const string& text);
    virtual void set_status_right(const string& text);
    virtual void set_menubar_right(const string& text);
    virtual void add_window(const Root<View>& view);
    virtual void show_window_at(int32_t i);
    virtual void close_active_window();
    virtual void restore_minimized();
    virtual void cascade_windows();
    virtual void tile_windows();
    virtual void set_menubar(const Root<MenuBar>& bar);
    virtual void register_menu_accels();
    virtual void set_context_menu(const Root<PopupMenu>& popup);
    virtual void show_context_at(int32_t x, int32_t y);
    virtual void close_context();
    virtual void set_commands(const Root<CommandTable>& table);
    virtual void modal_push(const Root<Window>& win);
    virtual void modal_pop();
    virtual void apply_window_command(int32_t cmd, int32_t idx);
    virtual bool dispatch_to_desktop(const Event& ev);
    virtual void read_feed();
    virtual void consume_paste();
    virtual void paste_text(const string& text);
    virtual void clipboard_set(const string& text);
    virtual void clipboard_query();
    virtual void rebuild_buffers();
    virtual void check_resize();
    virtual void draw_modal_dim();
    virtual void redraw();
    virtual void drain_keys_desktop(bool flush);
    virtual void collect_poll_fds();
    virtual void drain_pollable_views();
    virtual void yield_pause_views();
    virtual void yield_resume_views();
    virtual void poll_input_desktop();
    virtual int32_t dispatch_modal_event(const Event& ev);
    virtual void drain_keys_modal(bool flush, const Root<runtime::Array<int32_t>>& out);
    virtual int32_t modal_poll();
    virtual int32_t modal_run();
    virtual int32_t message_box(const string& title, const string& text, MessageBoxKind kind);
    virtual bool open();
    virtual void close();
    // Gives the terminal up and takes it back around a child process that runs on it.
    virtual void suspend();
    virtual bool resume();
    // Runs a program on the terminal and gives its exit code, or an error that says what failed.
    virtual stdlib::Result<int32_t, stdlib::Error> yield_exec(const string& path, const stdlib::string_array& args);
    virtual void do_step();
    virtual int32_t run_loop();

private:
    // Calls `visit` on every view of the desktop's tree, then of each modal's, depth first.
    template <class Visit>
    void walk_views(Visit visit);
    // A fresh terminal: no pending command or input, buffers at its size, the frame sent whole.
    void reopen_screen();
    // The loop's one poll, on the terminal and the views' descriptors: true if the terminal has input.
    bool wait_for_input();
    // Events from the decoder into `events`; with `flush`, what it holds back is forced out.
    int32_t take_events(bool flush);
};

// OK, Cancel, Yes, No, Close, Quit and every application command (100 and above) end a modal.
bool is_modal_end_cmd(int32_t cmd);

// The view's poll_fd() if set, else the first of a group's children, depth first; else -1.
int32_t walk_poll_fd(const Root<View>& view);

}  // namespace kestrum
