// kestrum.widgets.window: the framed, movable window of the desktop. A Window is a Group with a
// one-cell frame, a title, up to three system buttons on the top edge, a resize grip in the
// bottom right corner, a shadow, and the states normal, minimised and maximised.
//
// A click on a system button is answered with a command for the owner to carry out; moving and
// resizing by mouse the window does itself, within its clamp rectangle. Coordinates of events and
// of `bounds` are screen cells for a window on the desktop; children count from the client origin.
#pragma once
#include "kestrum/view.hpp"
#include "kestrum/widgets/menubar.hpp"

namespace kestrum {

enum class WindowState : int32_t { Normal = 0, Minimized = 1, Maximized = 2 };
enum class WindowDragMode : int32_t { None = 0, Move = 1, Resize = 2 };

constexpr int32_t window_min_w() { return 12; }
constexpr int32_t window_min_h() { return 5; }

class Window : public Group {
    NOLT_MANAGED(Window, Group);

public:
    Window() = default;
    Window(Rect bounds, const string& title)
        : Group(bounds), restore_x(bounds.x), restore_y(bounds.y), restore_w(bounds.w), restore_h(bounds.h) {
        this->title = title;
    }

    Member<Text> title;
    bool active = true;  // has the desktop's focus: chooses the frame styles
    bool closable = false;
    bool minimizable = false;
    bool maximizable = false;
    WindowState state = WindowState::Normal;
    int32_t restore_x = 0, restore_y = 0, restore_w = 0, restore_h = 0;  // what restore returns to
    bool has_restore = false;
    int32_t client_x = 1, client_y = 1;  // the client origin from the window's top left
    WindowDragMode drag_mode = WindowDragMode::None;
    int32_t drag_anchor_x = 0, drag_anchor_y = 0;  // where the drag's press was
    int32_t drag_start_x = 0, drag_start_y = 0, drag_start_w = 0, drag_start_h = 0;
    Rect clamp;  // where the window may go; one without area limits nothing
    bool center_on_resize = false;

    // Styles follow `active`, not `focused`. The children draw with their rectangle grown by one
    // cell right and down as clip, so that a child's scrollbar can lie on the frame.
    void draw(const Root<CellBuffer>& buf, Rect bounds, Rect clip, bool focused, const Root<Theme>& theme) override;
    // A running drag first; then clicks on the system buttons, the grip and the title; then the
    // children; an Escape that no child took closes the window.
    EventResult handle_event(const Event& ev) override;

    // The menu for a right click: a window has none of its own.
    virtual Root<PopupMenu> context_menu() { return popup_create(1); }
    virtual bool is_minimized() { return state == WindowState::Minimized; }
    virtual bool is_maximized() { return state == WindowState::Maximized; }
    virtual bool is_dragging() { return drag_mode != WindowDragMode::None; }
    // The shadow that draw lays right of and below the window drawn at `b`; both empty when it
    // lays none.
    void shadow_rects(Rect b, Rect& right, Rect& below);
    virtual void set_title(const string& text);
    virtual void set_active(bool on);
    virtual void set_visible(bool on);
    virtual void set_closable(bool on);
    virtual void set_minimizable(bool on);
    virtual void set_maximizable(bool on);
    // A minimised window keeps height 1 whatever is asked.
    virtual void set_bounds(Rect r);
    virtual void set_clamp(Rect r);
    virtual void set_center_on_resize(bool on);
    // Centred in `area`, not above or left of it, then reclamped to it.
    virtual void center_in(Rect area);
    // Brings the window, and its restore geometry, inside `area` at no less than the minimum size
    // where the area allows it.
    virtual void reclamp_to(Rect area);
    virtual void save_restore();
    virtual void minimize();
    virtual void restore();
    virtual void maximize(Rect area);
    virtual void toggle_maximize(Rect area);

    Point client_origin() const { return point(bounds.x + client_x, bounds.y + client_y); }

private:
    EventResult begin_drag(WindowDragMode mode, int32_t x, int32_t y);
};

// A fresh window with empty bounds and title, given where an index names no window.
Root<Window> empty_window();

// rect(1, 1, w - 2, h - 2) with the sizes raised to 0.
Rect client_size(Rect bounds);

// The system-button block on the top edge, right-aligned one cell left of the corner: a cap, a
// blank and a glyph for each button shown (minimise, maximise, close), a blank and a cap.
int32_t sys_btn_count(const Window& win);
int32_t sys_block_width(const Window& win);
int32_t sys_block_x0(Rect bounds, const Window& win);
// The column of the glyph of `kind` (0 minimise, 1 maximise, 2 close), None if it is not shown.
stdlib::Option<int32_t> sys_glyph_x(Rect bounds, const Window& win, int32_t kind);

// Hit tests on coordinates in the space of `bounds`.
bool is_close_button(Rect bounds, const Window& win, int32_t x, int32_t y);
bool is_max_button(Rect bounds, const Window& win, int32_t x, int32_t y);
bool is_min_button(Rect bounds, const Window& win, int32_t x, int32_t y);
bool is_any_sys_button(Rect bounds, const Window& win, int32_t x, int32_t y);
bool is_title_bar(Rect bounds, int32_t x, int32_t y);
bool is_resize_grip(Rect bounds, int32_t x, int32_t y);
bool is_left_release(const Event& ev);
bool is_left_drag(const Event& ev);

// The rectangle a drag makes of `start`. A move keeps one column and the top row inside a clamp
// with area; a resize keeps the top left corner, the minimum size, and then the clamp, which wins.
Rect drag_move_bounds(Rect start, int32_t anchor_x, int32_t anchor_y, int32_t mouse_x, int32_t mouse_y, Rect clamp);
Rect drag_resize_bounds(Rect start, int32_t anchor_x, int32_t anchor_y, int32_t mouse_x, int32_t mouse_y, Rect clamp);

}  // namespace kestrum
