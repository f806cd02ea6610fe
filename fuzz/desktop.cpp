// Drives a whole desktop through the application's own input route: a script of keys, mouse
// reports (press, drag, release, wheel), bracketed pastes and resizes goes into a pipe that
// stands in for the terminal, and each turn reads, decodes and dispatches it as the loop does.
// On the desktop stand edit windows, an output window and the file tree of a small project, under
// a menu bar shaped like the IDE's; a few commands are carried out as the IDE does (new window,
// file tree, clipboard, close, a message box on the modal stack).
//
// After every turn: at most MAX_DESKTOP_WINDOWS windows visible, plus the file tree and the two
// output windows, which come back without a check of the limit; the active index is -1 or a
// visible window, the only one marked active; every window clamped to the content area; every
// focus index inside its group; the modal stack within its limit; the frame at the terminal's
// size; and every command that comes out of the desktop a known one. After a resize every visible
// window meets the content area (a window added to an area too small for its default place may lie
// beside it until then). Now and then the desktop is drawn into a buffer larger than the screen,
// whose cells beyond it must stay as they were.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <string>

#include "fuzz/boot.hpp"
#include "fuzz/reader.hpp"
#include "ide/build_cmd.hpp"
#include "ide/endblock.hpp"
#include "ide/file_tree.hpp"
#include "ide/flows.hpp"
#include "ide/output_log.hpp"
#include "ide/project_settings.hpp"
#include "ide/roster.hpp"
#include "ide/user_settings.hpp"
#include "kestrum/desktop.hpp"
#include "kestrum/syntax.hpp"
#include "kestrum/widgets/messagebox.hpp"

using namespace kestrum;
using runtime::Root;
using namespace runtime::literals;
using stdlib::string;

namespace {

#define check(holds) FUZZ_CHECK(holds)

// The IDE's commands with their keys, and its six menus.
struct Command {
    int32_t id;
    KeyEvent key;
};

const Command* ide_commands(int32_t& count) {
    static const Command commands[] = {
        {ide::CMD_SAVE, key_event_ctrl_letter('S')},
        {ide::CMD_SAVE_AS, empty_key()},
        {ide::CMD_OPEN, key_event_ctrl_letter('O')},
        {ide::CMD_OPEN_PROJECT, empty_key()},
        {ide::CMD_CLOSE_PROJECT, empty_key()},
        {ide::CMD_PROJECT_SETTINGS, empty_key()},
        {ide::CMD_USER_SETTINGS, empty_key()},
        {ide::CMD_FILE_TREE, empty_key()},
        {ide::CMD_NEW, key_event_ctrl_letter('N')},
        {ide::CMD_COPY, key_event_ctrl_letter('C')},
        {ide::CMD_CUT, key_event_ctrl_letter('X')},
        {ide::CMD_PASTE, key_event_ctrl_letter('V')},
        {ide::CMD_SELECT_ALL, key_event_ctrl_letter('A')},
        {ide::CMD_ABOUT, empty_key()},
        {ide::CMD_BUILD, key_event_plain(key_f(5))},
        {ide::CMD_RUN, empty_key()},
        {ide::CMD_EDIT_CLOSE, empty_key()},
        {ide::CMD_TOGGLE_AUTO_END, empty_key()},
        {CMD_QUIT, key_event(key_char('Q'), false, true, false)},
    };
    count = int32_t(sizeof commands / sizeof commands[0]);
    return commands;
}

Root<CommandTable> command_table() {
    Root<CommandTable> table = commands_create(48);
    int32_t count;
    const Command* commands = ide_commands(count);
    for (int32_t i = 0; i < count; i++) {
        commands_set(table, commands[i].id, true);
        if (commands[i].key.key.tag != KeyCode::None) commands_set_accel(table, commands[i].id, commands[i].key);
    }
    return table;
}

Root<MenuBar> menubar() {
    struct Row {
        const char* label;
        int32_t id;
    };
    static const Row rows[][8] = {
        {{"New", ide::CMD_NEW}, {"Open\u2026", ide::CMD_OPEN}, {"Open Project\u2026", ide::CMD_OPEN_PROJECT},
         {"Close Project", ide::CMD_CLOSE_PROJECT}, {"Save", ide::CMD_SAVE}, {"Save As\u2026", ide::CMD_SAVE_AS},
         {"-", 0}, {"Quit", CMD_QUIT}},
        {{"Cut", ide::CMD_CUT}, {"Copy", ide::CMD_COPY}, {"Paste", ide::CMD_PASTE}, {"Select All", ide::CMD_SELECT_ALL},
         {"-", 0}, {"", ide::CMD_TOGGLE_AUTO_END}},
        {{"Build", ide::CMD_BUILD}, {"Run", ide::CMD_RUN}},
        {{"Settings\u2026", ide::CMD_PROJECT_SETTINGS}, {"File Tree", ide::CMD_FILE_TREE}},
        {{"Preferences\u2026", ide::CMD_USER_SETTINGS}},
        {{"About", ide::CMD_ABOUT}},
    };
    static const char* titles[] = {"File", "Edit", "Build", "Project", "Settings", "Help"};
    Root<MenuBar> bar = MenuBar::create(8);
    int32_t count;
    const Command* commands = ide_commands(count);
    for (size_t m = 0; m < 6; m++) {
        Root<Menu> menu = menu_create(stdlib::from_c(titles[m]), 16);
        for (const Row& row : rows[m]) {
            if (!row.label) break;
            if (!row.id) {
                menu_add(menu, menu_item_sep());
                continue;
            }
            KeyEvent key = empty_key();
            for (int32_t i = 0; i < count; i++)
                if (commands[i].id == row.id) key = commands[i].key;
            string label = row.id == ide::CMD_TOGGLE_AUTO_END ? ide::menu_label() : stdlib::from_c(row.label);
            menu_add(menu, key.key.tag == KeyCode::None ? menu_item(label, row.id) : menu_item_accel(label, row.id, key));
        }
        bar->add(menu);
    }
    return bar;
}

bool known_command(int32_t cmd) {
    if (cmd >= CMD_NONE && cmd <= CMD_MAXIMIZE) return true;
    if (cmd == ide::CMD_OPEN_TREE_FILE || cmd == ide::CMD_REFRESH_TREE || cmd == ide::CMD_EDIT_CLOSE) return true;
    int32_t count;
    const Command* commands = ide_commands(count);
    for (int32_t i = 0; i < count; i++)
        if (commands[i].id == cmd) return true;
    return false;
}

// A copy of the example project, made once per process, with HOME beside it.
std::string project_dir() {
    static const std::string dir = [] {
        std::string base = fuzz_scratch("desktop");
        std::string repo = NOLT_SOURCE_DIR "/";
        std::string copy = "rm -rf " + base + " && mkdir -p " + base + "/home && cp -r " + repo + "examples/hello " + base;
        check(system(copy.c_str()) == 0);
        setenv("HOME", (base + "/home").c_str(), 1);
        add_syntax_dir(stdlib::from_c((repo + "nolt-stdlib/kestrum/syntax.d").c_str()));
        ensure_catalog();
        return base + "/hello";
    }();
    return dir;
}

void set_size(int32_t w, int32_t h) {
    setenv("COLUMNS", std::to_string(w).c_str(), 1);
    setenv("LINES", std::to_string(h).c_str(), 1);
}

struct Desk {
    int keys[2];
    int null_fd = open("/dev/null", O_WRONLY);
    Root<Application> app = Application::create(theme_classic());
    Root<ide::Project> project;
    string clip = stdlib::empty_string();

    Desk() {
        check(pipe(keys) == 0 && null_fd >= 0);
        TermConfig config;
        config.raw_mode = false;
        config.require_tty = false;
        config.in_fd = keys[0];
        config.out_fd = null_fd;
        Root<Term> term = unwrap(term_open(config));
        term->depth = ColorDepth::TrueColor;
        app->term = term;
        app->is_open = app->running = true;
        app->rebuild_buffers();
        app->set_commands(command_table());
        app->set_menubar(menubar());
        app->register_menu_accels();
        app->set_status("ready"_t);
        std::string dir = project_dir();
        ide::LoadResult loaded = ide::project_load(stdlib::from_c((dir + "/nolt.toml").c_str()));
        check(loaded.tag == ide::LoadResult::Loaded);
        project = loaded.project;
        ide::add_edit_at(app, stdlib::from_c((dir + "/src/main.nolt").c_str()), rect(2, 2, 40, 12), false);
        ide::show_output(app, "Build"_t, "noltc build\nexit 0\n"_t);
        ide::ensure_file_tree(app, project);
    }
    ~Desk() { close(keys[0]), close(keys[1]), close(null_fd); }

    int unread() {
        int n = 0;
        return ioctl(keys[0], FIONREAD, &n) == 0 ? n : 0;
    }

    // One turn of the loop per read, as long as the pipe holds bytes: no turn waits for input.
    void send(const std::string& bytes) {
        check(write(keys[1], bytes.data(), bytes.size()) == ssize_t(bytes.size()));
        while (unread() > 0) {
            if (!app->has_modal()) {
                app->do_step();
                carry_out(app->take_command());
            } else {
                end_modal(app->modal_poll());
            }
            app->running = true;  // a quit is not carried out
            check_state();
        }
    }

    // The quiet branch of a turn: what the decoder holds back comes out, and the size is looked at.
    void quiet() {
        if (!app->has_modal()) {
            if (app->decoder->len > 0) app->drain_keys_desktop(true);
            app->check_resize();
            if (app->dirty) app->redraw();
            carry_out(app->take_command());
        } else {
            Root<runtime::Array<int32_t>> out = runtime::Array<int32_t>::make(1);
            if (app->decoder->len > 0) app->drain_keys_modal(true, out);
            app->check_resize();
            end_modal(out[0]);
        }
        app->running = true;
        check_state();
    }

    void end_modal(int32_t cmd) {
        if (is_modal_end_cmd(cmd)) app->modal_pop();
    }

    void box(const string& text) {
        Root<MessageBox> box = messagebox_create("About"_t, text, messagebox_kind_yes_no_cancel());
        box->center_in(app->desktop->content_rect());
        app->modal_push(box);
    }

    // What the IDE does for the commands that need no file dialog, build or process. A new window
    // is only asked for while there is room: with eight, the IDE's answer is a modal box.
    void carry_out(int32_t cmd) {
        check(known_command(cmd));
        bool edit = ide::active_edit(app), room = app->desktop->visible_window_count() < MAX_DESKTOP_WINDOWS;
        string output = cmd == ide::CMD_BUILD ? "Build"_t : "Run"_t;
        if (!room && (cmd == ide::CMD_NEW || cmd == ide::CMD_OPEN_TREE_FILE ||
                      ((cmd == ide::CMD_BUILD || cmd == ide::CMD_RUN) && ide::find_output_idx(app, output) < 0)))
            return;
        if (cmd == ide::CMD_NEW) {
            ide::add_edit(app, stdlib::empty_string());
        } else if (cmd == ide::CMD_FILE_TREE || cmd == ide::CMD_REFRESH_TREE) {
            ide::ensure_file_tree(app, project);
        } else if (cmd == ide::CMD_OPEN_TREE_FILE) {
            int32_t idx = ide::find_file_tree_idx(app);
            if (idx < 0) return;
            string path = Root<ide::FileTreeWin>(static_cast<ide::FileTreeWin*>(app->window_at(idx).get()))->take_pending_path();
            if (!stdlib::is_empty(path)) ide::add_edit(app, path);
        } else if (cmd == ide::CMD_COPY || cmd == ide::CMD_CUT) {
            if (!edit) return;
            clip = ide::take_edit(app)->selected_text();
            if (cmd == ide::CMD_CUT) ide::take_edit(app)->delete_selection();
        } else if (cmd == ide::CMD_PASTE) {
            if (edit && !stdlib::is_empty(clip)) ide::take_edit(app)->paste(clip);
        } else if (cmd == ide::CMD_SELECT_ALL) {
            if (edit) ide::take_edit(app)->select_all();
        } else if (cmd == ide::CMD_BUILD || cmd == ide::CMD_RUN) {
            ide::show_output(app, output, "out\nmore out\n"_t);
        } else if (cmd == ide::CMD_EDIT_CLOSE) {
            int32_t idx = ide::find_active_edit(app);
            if (idx >= 0) app->desktop->close_window_at(idx);
        } else if (cmd == ide::CMD_ABOUT || cmd == ide::CMD_SAVE) {
            box("noltide"_t);
        }
    }

    void check_state() {
        Root<Desktop> desk(app->desktop);
        Rect area = desk->content_rect();
        check(desk->visible_window_count() <= MAX_DESKTOP_WINDOWS + 3);
        check(desk->active_idx >= -1 && desk->active_idx < desk->window_count());
        check(desk->active_idx < 0 || desk->window_at(desk->active_idx)->visible);
        for (int32_t i = 0; i < desk->window_count(); i++) {
            Root<Window> win = desk->window_at(i);
            check(win->active == (i == desk->active_idx) || !win->visible);
            check(win->clamp == area);
            check_focus(Root<Group>(win.get()));
        }
        check(app->modal_count >= 0 && app->modal_count <= MAX_MODALS);
        check(app->frame->width == max_int(app->term->width, 1) && app->frame->height == max_int(app->term->height, 1));
        check(desk->bounds == rect(0, 0, app->frame->width, app->frame->height));
    }

    void check_placed() {
        Rect area = app->desktop->content_rect();
        for (int32_t i = 0; i < app->desktop->window_count(); i++) {
            Root<Window> win = app->desktop->window_at(i);
            check(!win->visible || rect_empty(area) || !rect_empty(rect_intersect(win->bounds, area)));
        }
    }

    void check_focus(const Root<Group>& group) {
        check(group->focus >= -1 && group->focus < group->child_count());
        for (int32_t i = 0; i < group->child_count(); i++) {
            Root<View> child = group->child(i);
            if (runtime::is<Group>(child)) check_focus(Root<Group>(static_cast<Group*>(child.get())));
        }
    }

    // The whole screen drawn into a buffer with a margin: the margin must stay untouched.
    void check_draw() {
        int32_t w = app->frame->width, h = app->frame->height;
        Root<CellBuffer> buf = cellbuf_create(w + 3, h + 2);
        Style marked = style_default();
        marked.underline = true;
        cellbuf_fill_rect(buf, rect(0, 0, w + 3, h + 2), '~', marked);
        app->desktop->draw(buf, app->desktop->bounds, rect(0, 0, w, h), false, app->theme);
        for (int32_t i = 0; i < app->modal_count; i++) {
            Root<Window> win(app->modals[i]);
            win->draw(buf, win->bounds, rect(0, 0, w, h), true, app->theme);
        }
        Cell untouched{'~', marked};
        for (int32_t y = 0; y < h + 2; y++)
            for (int32_t x = y < h ? w : 0; x < w + 3; x++)
                if (!(cellbuf_get(buf, x, y) == untouched)) {
                    fprintf(stderr, "cell %d,%d drawn outside a screen of %dx%d\n", x, y, w, h);
                    abort();
                }
    }
};

std::string sgr_mouse(int32_t code, int32_t x, int32_t y, bool press) {
    return "\x1b[<" + std::to_string(code) + ";" + std::to_string(x + 1) + ";" + std::to_string(y + 1) + (press ? "M" : "m");
}

void step(Desk& d, Reader& in) {
    static const char* const keys[] = {
        "\r",       "\t",       "\x1b[Z",   "\x7f",     "\x1b[A",   "\x1b[B",  "\x1b[C",   "\x1b[D",  "\x1b[H",
        "\x1b[F",   "\x1b[5~",  "\x1b[6~",  "\x1b[3~",  "\x1b[2~",  "\x1bOQ",  "\x1bOR",   "\x1b[21~", "\x1b",
        "\x1b""f",  "\x1b""e",  "\x1b""b",  "\x1b""p",  "\x1b""s",  "\x1b""h",  "\x0e",    "\x01",     "\x03",
        "\x18",     "\x16",     "\x13",     "\x1b[15~", "\x1b[1;2C", "\x1b[1;5D", "\x1bq",   "end\r",    "fn f()\r",
    };
    Rect screen = d.app->desktop->bounds;
    switch (in.below(12)) {
    case 0:
    case 1:
    case 2: d.send(keys[in.below(sizeof keys / sizeof keys[0])]); break;
    case 3: {
        size_t from = in.at;
        d.send(std::string(reinterpret_cast<const char*>(in.data + from), in.take(1 + in.below(12))));
        break;
    }
    case 4:
    case 5: {  // a press, a drag of some steps, a release; or a turn of the wheel
        uint32_t flags = in.byte();
        int32_t button = int32_t(flags % 3), mods = int32_t(flags & 0x1C);
        int32_t x = int32_t(in.below(uint32_t(screen.w + 2))), y = int32_t(in.below(uint32_t(screen.h + 2)));
        if (flags & 0x80) {
            d.send(sgr_mouse(64 + int32_t(flags >> 5 & 1) + mods, x, y, true));
            break;
        }
        std::string report = sgr_mouse(button + mods, x, y, true);
        for (uint32_t n = in.below(4); n > 0; n--) {
            x += int32_t(in.below(9)) - 4, y += int32_t(in.below(5)) - 2;
            report += sgr_mouse(32 + button + mods, x < 0 ? 0 : x, y < 0 ? 0 : y, true);
        }
        d.send(report + sgr_mouse(button + mods, x < 0 ? 0 : x, y < 0 ? 0 : y, false));
        break;
    }
    case 6: {
        size_t from = in.at;
        std::string body(reinterpret_cast<const char*>(in.data + from), in.take(in.below(40)));
        d.send("\x1b[200~" + body + "\x1b[201~");
        break;
    }
    case 7: {
        set_size(1 + int32_t(in.below(140)), 1 + int32_t(in.below(50)));
        d.quiet();
        if (!(d.app->desktop->bounds == screen)) d.check_placed();
        break;
    }
    case 8: d.quiet(); break;
    case 9: d.check_draw(); break;
    case 10:
        if (!d.app->has_modal()) d.box("Go on?"_t);
        break;
    default: d.send(sgr_mouse(2, int32_t(in.below(uint32_t(screen.w))), int32_t(in.below(uint32_t(screen.h))), true)); break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_boot();
    if (size > 2048) return 0;
    set_size(80, 24);
    Desk desk;
    desk.check_state();
    Reader in{data, size};
    while (in.more()) step(desk, in);
    desk.check_draw();
    return 0;
}
