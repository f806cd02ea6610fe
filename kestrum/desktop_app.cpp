// The application: the terminal, the frame, the modal stack and the loop around one desktop.
#include "kestrum/desktop.hpp"

#include "kestrum/widgets/inputline.hpp"
#include "kestrum/widgets/messagebox.hpp"
#include "kestrum/widgets/textarea.hpp"
#include "stdlib/encoding/base64.hpp"
#include "stdlib/fs/perm.hpp"
#include "stdlib/io/file.hpp"
#include "stdlib/sys/process.hpp"
#include "stdlib/sys/poll.hpp"
#include "stdlib/sys/signal.hpp"

namespace kestrum {

using namespace runtime::literals;
using stdlib::None;
using stdlib::Option;
using stdlib::Some;

namespace {

const Style dim_style = style_make(color_rgb(40, 40, 60), color_rgb(10, 10, 20), false, false, false);

int32_t builtin_index_of(const Root<Theme>& theme) {
    for (int32_t i = 0; i < theme_builtin_count(); i++)
        if (stdlib::equals(string(theme_builtin_at(i)->name), string(theme->name))) return i;
    return 0;
}

// Calls `visit` on `view` and, for a group, on its children in order, depth first.
template <class Visit>
void walk_tree(const Root<View>& view, Visit& visit) {
    visit(view);
    if (!runtime::is<Group>(view)) return;
    Root<Group> group = runtime::as<Group>(view);
    for (int32_t i = 0; i < group->child_count(); i++) walk_tree(group->child(i), visit);
}

}  // namespace

bool is_modal_end_cmd(int32_t cmd) {
    switch (cmd) {
        case CMD_OK:
        case CMD_CANCEL:
        case CMD_YES:
        case CMD_NO:
        case CMD_CLOSE:
        case CMD_QUIT: return true;
        default: return cmd >= 100;
    }
}

Root<Application> Application::create(const Root<Theme>& theme) {
    Root<Application> app = runtime::make<Application>();
    app->term = make_empty_term();
    app->frame = cellbuf_create(80, 24);
    app->shown = cellbuf_create(80, 24);
    app->desktop = Desktop::create();
    app->theme = theme;
    app->decoder = decoder_create();
    app->read_buf = stdlib::string_buffer(READ_CAP + 1);
    Root<runtime::Array<Event>> events = runtime::Array<Event>::make(KEY_CAP);
    for (Event& e : *events) e = event_quit();
    app->events = events;
    app->theme_index = builtin_index_of(theme);
    app->fill_index = desktop_fill_preset_index(theme_desktop_fill(theme)).unwrap_or(0);
    app->commands = commands_create(64);
    Root<runtime::Array<Member<Window>>> modals = runtime::Array<Member<Window>>::make(MAX_MODALS);
    app->modals = modals;
    for (int32_t i = 0; i < MAX_MODALS; i++) {
        Root<Window> empty = empty_window();
        modals[i] = empty;
    }
    app->desktop->set_canvas_fill(theme_desktop_fill(theme));
    return app;
}

void Application::set_basic_term(bool basic) { basic_term = basic; }
TermConfig Application::term_config() { return basic_term ? term_config_basic() : term_config_fullscreen(); }

void Application::mark_hangup() {
    hangup = true;
    running = false;
}

namespace {

// Signals whose default action ends the process. The loop ends on them as on a hang-up, and once
// the terminal is given back the signal takes its course. SIGURG is the collector's.
const int32_t ending_signals[] = {SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2, SIGALRM, SIGVTALRM, SIGPROF, SIGXCPU};

}  // namespace

void Application::check_hangup_signal() {
    if (stdlib::signal_received(stdlib::SIGHUP())) mark_hangup();
    for (int32_t signal : ending_signals)
        if (stdlib::signal_received(signal)) {
            end_signal = signal;
            mark_hangup();
        }
}

int32_t Application::desktop_fill() {
    return desktop->canvas_fill < 1 ? theme_desktop_fill(theme) : desktop->canvas_fill;
}

string Application::status() { return string(desktop->status); }
string Application::status_right() { return string(desktop->status_right); }
int32_t Application::window_count() { return desktop->window_count(); }
int32_t Application::first_poll_fd() { return desktop->first_poll_fd(); }

int32_t Application::focused_poll_fd() {
    if (desktop->active_idx < 0 || desktop->active_idx >= desktop->child_count()) return -1;
    return walk_poll_fd(desktop->child(desktop->active_idx));
}

bool Application::theme_keys_blocked() {
    if (has_modal()) return false;
    if (desktop->has_menubar && desktop->menubar->is_open()) return false;
    return focused_poll_fd() >= 0;
}

Root<Window> Application::window_at(int32_t i) { return desktop->window_at(i); }
bool Application::has_modal() { return modal_count >= 1; }
Root<Window> Application::modal_top() { return has_modal() ? Root<Window>(modals[modal_count - 1]) : empty_window(); }
void Application::clear_command() { command = CMD_NONE; }

int32_t Application::take_command() {
    int32_t cmd = command;
    command = CMD_NONE;
    return cmd;
}

void Application::quit() { running = false; }
void Application::set_dirty() { dirty = true; }

void Application::set_modal_dim(bool dim) {
    modal_dim = dim;
    dirty = true;
}

void Application::sync_canvas_fill_from_theme() {
    if (!fill_override) desktop->set_canvas_fill(theme_desktop_fill(theme));
}

void Application::set_theme(const Root<Theme>& value) {
    theme = value;
    theme_index = builtin_index_of(value);  // F2 goes on from the theme now shown
    sync_canvas_fill_from_theme();
    dirty = true;
}

void Application::cycle_theme() {
    theme_index++;
    set_theme(theme_builtin_at(theme_index));
    if (!desktop->has_status) return;
    string name(theme->name);
    set_status(stdlib::concat("Theme: "_t, name));
    set_status_right(name);
}

void Application::set_desktop_fill(int32_t ch) {
    desktop->set_canvas_fill(ch);
    fill_override = true;
    dirty = true;
}

void Application::clear_desktop_fill_override() {
    fill_override = false;
    desktop->set_canvas_fill(theme_desktop_fill(theme));
    dirty = true;
}

void Application::cycle_desktop_fill() {
    fill_index++;
    set_desktop_fill(desktop_fill_preset_at(fill_index));
    if (desktop->has_status) set_status(stdlib::concat("Fill: "_t, desktop_fill_preset_name(fill_index)));
}

// A status text equal to the one shown leaves the screen clean: the next frame would be the same.
void Application::set_status(const string& text) {
    if (desktop->has_status && stdlib::equals(string(desktop->status), text)) return;
    desktop->set_status(text), dirty = true;
}

void Application::set_status_right(const string& text) {
    if (desktop->has_status && stdlib::equals(string(desktop->status_right), text)) return;
    desktop->set_status_right(text), dirty = true;
}

void Application::set_menubar_right(const string& text) {
    if (!desktop->has_menubar) return;
    desktop->menubar->set_right_text(text);
    dirty = true;
}

void Application::add_window(const Root<View>& view) { desktop->add(view), dirty = true; }

void Application::show_window_at(int32_t i) { desktop->show_window_at(i), dirty = true; }

void Application::close_active_window() { desktop->close_active(), dirty = true; }

void Application::restore_minimized() { desktop->restore_minimized(), dirty = true; }

void Application::cascade_windows() { desktop->cascade(), dirty = true; }

void Application::tile_windows() { desktop->tile(), dirty = true; }

void Application::set_menubar(const Root<MenuBar>& bar) { desktop->set_menubar(bar), dirty = true; }

void Application::register_menu_accels() {
    if (desktop->has_menubar && has_commands) desktop->menubar->register_accels(commands);
}

void Application::set_context_menu(const Root<PopupMenu>& popup) { desktop->set_context_menu(popup), dirty = true; }

void Application::show_context_at(int32_t x, int32_t y) { desktop->show_context_at(x, y), dirty = true; }

void Application::close_context() { desktop->close_context(), dirty = true; }

void Application::set_commands(const Root<CommandTable>& table) {
    commands = table;
    has_commands = true;
    desktop->set_commands(table);
}

void Application::modal_push(const Root<Window>& win) {
    if (modal_count >= MAX_MODALS) return;
    win->set_active(true);
    win->set_center_on_resize(true);
    modals[modal_count++] = win;
    if (desktop->has_menubar) desktop->menubar->close();
    desktop->close_context();
    dirty = true;
}

void Application::modal_pop() {
    if (modal_count <= 0) return;
    modal_count--;
    dirty = true;
}

void Application::apply_window_command(int32_t cmd, int32_t idx) {
    if (idx < 0) return;
    if (cmd == CMD_CLOSE) {
        desktop->close_window_at(idx);
    } else if (cmd == CMD_MINIMIZE) {
        Root<Window> win = desktop->window_at(idx);
        if (win->is_minimized()) win->restore();
        else win->minimize();
    } else if (cmd == CMD_MAXIMIZE) {
        desktop->window_at(idx)->toggle_maximize(desktop->content_rect());
    }
}

bool Application::dispatch_to_desktop(const Event& ev) {
    if (is_quit_event(ev)) {
        quit();
        command = CMD_QUIT;
        dirty = true;
        return true;
    }
    bool key = ev.kind == EventKind::Key;
    if (key && has_commands && !(desktop->has_menubar && desktop->menubar->is_open()) && !desktop->context_is_open()) {
        int32_t cmd = commands_match_key(commands, ev.key);
        if (cmd == CMD_QUIT || (cmd != CMD_NONE && focused_poll_fd() < 0)) {
            command = cmd;
            dirty = true;
            return true;
        }
    }
    if (key && ev.key.key.tag == KeyCode::F2) {
        if (!theme_keys_blocked()) cycle_theme();
        return true;
    }
    if (key && ev.key.key.tag == KeyCode::F3) {
        if (!theme_keys_blocked()) cycle_desktop_fill();
        return true;
    }
    EventResult result = desktop->handle_event(ev);
    if (result.command != CMD_NONE) {
        command = result.command;
        dirty = true;
        apply_window_command(result.command, desktop->active_idx);
        return true;
    }
    if (result.handled) dirty = true;
    return result.handled;
}

// The terminal is read only once poll finds it readable or hung up, and a read of it waits for at
// least one byte (VMIN 1); so a read of nothing, or a failed one, means the terminal went away, as
// with a hang-up whose signal never came (a tracer or a parent took it). Without this the loop
// would spin on the end of the file forever.
void Application::read_feed() {
    auto count = term_read(term, string(read_buf), READ_CAP);
    int32_t n = count.is_ok() ? count.unwrap_ok() : 0;
    if (n > 0) decoder_feed(decoder, stdlib::substring(string(read_buf), 0, n));
    else mark_hangup();
}

void Application::consume_paste() {
    if (decoder->paste_ready) paste_text(decoder_take_paste(decoder));
}

void Application::paste_text(const string& text) {
    if (stdlib::is_empty(text)) return;
    Root<Window> target;
    if (has_modal()) {
        target = modal_top();
    } else {
        if (desktop->active_idx < 0 || desktop->active_idx >= desktop->child_count()) return;
        target = desktop->window_at(desktop->active_idx);
    }
    Root<View> child = target->focused_child();
    if (!child) return;
    if (runtime::is<InputLine>(child)) {
        runtime::as<InputLine>(child)->paste(text);
        dirty = true;
    } else if (runtime::is<TextArea>(child)) {
        runtime::as<TextArea>(child)->paste(text);
        dirty = true;
    }
}

void Application::clipboard_set(const string& text) {
    if (is_open) term_clipboard_set(term, stdlib::base64_encode(text));
}

void Application::clipboard_query() {
    if (is_open) term_clipboard_query(term);
}

void Application::rebuild_buffers() {
    int32_t w = max_int(term->width, 1), h = max_int(term->height, 1);
    cellbuf_resize(frame, w, h);
    cellbuf_resize(shown, w, h);
    cellbuf_clear(shown, style_default());
    desktop->set_bounds(rect(0, 0, w, h));
    desktop->layout_on_resize();
    for (int32_t i = 0; i < modal_count; i++) modals[i]->center_in(desktop->content_rect());
    dirty = true;
}

void Application::check_resize() {
    if (!is_open) return;
    int32_t w = term->width, h = term->height;
    term_refresh_size(term);
    if (w != term->width || h != term->height) rebuild_buffers();
}

void Application::draw_modal_dim() {
    if (!modal_dim || modal_count <= 0) return;
    Rect r = rect_intersect(desktop->content_rect(), rect(0, 0, frame->width, frame->height));
    if (!rect_empty(r)) cellbuf_fill_rect(frame, r, 0x2592, dim_style);
}

void Application::redraw() {
    if (!is_open) return;
    Root<CellBuffer> buf(frame);
    Root<Theme> current(theme);
    Rect full = rect(0, 0, buf->width, buf->height);
    desktop->draw(buf, desktop->bounds, full, false, current);
    if (modal_count > 0) {
        draw_modal_dim();
        for (int32_t i = 0; i < modal_count; i++) {
            Root<Window> win(modals[i]);
            win->draw(buf, win->bounds, full, true, current);
        }
    }
    // A frame that changes no cell would send only the sequence that hides the cursor, hidden
    // already: the terminal's state is the same without it, so nothing is sent.
    cellbuf_flush_changes(term, buf, shown);
    dirty = false;
}

void Application::drain_keys_desktop(bool flush) {
    int32_t count = take_events(flush);
    for (int32_t i = 0; i < count; i++) {
        Event ev = events[i];
        dispatch_to_desktop(ev);
        if (!running) return;
    }
    consume_paste();
}

template <class Visit>
void Application::walk_views(Visit visit) {
    walk_tree(Root<View>(desktop.get()), visit);
    for (int32_t i = 0; i < modal_count; i++) walk_tree(Root<View>(modals[i].get()), visit);
}

void Application::collect_poll_fds() {
    int32_t found = 0;
    walk_views([&](const Root<View>& view) {
        int32_t fd = view->poll_fd();
        if (fd >= 0) stdlib::poll_add(fd, stdlib::POLLIN()), found++;
    });
    poll_views = found;
}

void Application::drain_pollable_views() {
    // The last collect_poll_fds found no view with a descriptor: there is nothing to drain.
    if (poll_views == 0) return;
    bool redraw_due = false;
    walk_views([&](const Root<View>& view) {
        if (view->poll_fd() >= 0 && view->drain_poll()) redraw_due = true;
    });
    if (redraw_due) dirty = true;
}

void Application::yield_pause_views() {
    walk_views([](const Root<View>& view) { view->yield_pause(); });
}

void Application::yield_resume_views() {
    walk_views([](const Root<View>& view) { view->yield_resume(); });
}

bool Application::wait_for_input() {
    stdlib::poll_clear();
    int32_t slot = stdlib::poll_add(term->in_fd, stdlib::POLLIN());
    collect_poll_fds();
    return stdlib::poll_wait(POLL_TIMEOUT_MS) > 0 && (stdlib::poll_readable(slot) || stdlib::poll_hung_up(slot));
}

int32_t Application::take_events(bool flush) {
    return flush ? decoder_flush_events(decoder, events, KEY_CAP) : decoder_poll_events(decoder, events, KEY_CAP);
}

void Application::poll_input_desktop() {
    if (!is_open || !running) return;
    if (wait_for_input()) {
        read_feed();
        drain_keys_desktop(false);
        for (int32_t pass = 0; pass < 8 && running; pass++) {
            int32_t before = decoder->len;
            drain_keys_desktop(false);
            if (decoder->len >= before) break;
        }
    } else {
        if (decoder->len > 0) drain_keys_desktop(true);
        check_resize();
    }
    drain_pollable_views();
}

int32_t Application::dispatch_modal_event(const Event& ev) {
    if (is_quit_event(ev)) {
        quit();
        return CMD_CANCEL;
    }
    if (!has_modal()) return CMD_NONE;
    EventResult result = modal_top()->handle_event(ev);
    if (result.command != CMD_NONE) return result.command == CMD_CLOSE ? CMD_CANCEL : result.command;
    if (result.handled) dirty = true;
    return CMD_NONE;
}

void Application::drain_keys_modal(bool flush, const Root<runtime::Array<int32_t>>& out) {
    int32_t count = take_events(flush);
    for (int32_t i = 0; i < count; i++) {
        Event ev = events[i];
        int32_t cmd = dispatch_modal_event(ev);
        if (is_modal_end_cmd(cmd) && out[0] == CMD_NONE) out[0] = cmd;
        if (!running || out[0] != CMD_NONE) return;
    }
    consume_paste();
}

int32_t Application::modal_poll() {
    check_hangup_signal();
    if (!(is_open && running && modal_count > 0)) return CMD_NONE;
    Root<runtime::Array<int32_t>> out = runtime::Array<int32_t>::make(1);
    if (wait_for_input()) {
        read_feed();
        drain_keys_modal(false, out);
    } else {
        if (decoder->len > 0) drain_keys_modal(true, out);
        check_resize();
    }
    drain_pollable_views();
    if (out[0] == CMD_NONE) dirty = true;
    if (dirty && running && is_open) redraw();
    return out[0];
}

int32_t Application::modal_run() {
    if (!is_open || !has_modal()) return CMD_NONE;
    redraw();
    int32_t cmd = CMD_NONE;
    bool ended = false;
    while (running && is_open && modal_count > 0) {
        cmd = modal_poll();
        if (is_modal_end_cmd(cmd)) {
            ended = true;
            break;
        }
    }
    if (!ended) return running ? CMD_NONE : CMD_CANCEL;
    modal_pop();
    if (cmd == CMD_QUIT) quit();
    if (running && is_open) redraw();
    return cmd;
}

int32_t Application::message_box(const string& title, const string& text, MessageBoxKind kind) {
    if (!is_open) return CMD_NONE;
    Root<MessageBox> box = messagebox_create(title, text, kind);
    box->center_in(desktop->content_rect());
    modal_push(box);
    return modal_run();
}

void Application::reopen_screen() {
    dirty = true;
    command = CMD_NONE;
    decoder_clear(decoder);
    rebuild_buffers();
    cellbuf_clear(frame, theme->desktop_style);
    cellbuf_clear(shown, style_default());
    redraw();
}

bool Application::open() {
    if (is_open) return true;
    TermResult opened = term_open(term_config());
    if (is_err(opened)) return false;
    term = unwrap(opened);
    is_open = running = true;
    // The hang-up handler is in place before the first frame shows.
    stdlib::signal_init();
    stdlib::signal_handle(stdlib::SIGHUP());
    for (int32_t signal : ending_signals) stdlib::signal_handle_ending(signal);
    // A write past the file size limit then fails with EFBIG and is reported, instead of ending
    // the program with the buffer unsaved.
    stdlib::signal_handle(SIGXFSZ);
    stdlib::signal_handle_faults();
    hangup = false;
    reopen_screen();
    return true;
}

void Application::close() {
    suspend();
    running = false;
    if (end_signal) stdlib::signal_end_with(end_signal);
}

void Application::suspend() {
    if (!is_open) return;
    term_close(term);
    is_open = false;
}

bool Application::resume() {
    if (is_open) return true;
    TermResult opened = term_open(term_config());
    if (is_err(opened)) return false;
    term = unwrap(opened);
    is_open = true;
    reopen_screen();
    return true;
}

stdlib::Result<int32_t, stdlib::Error> Application::yield_exec(const string& path, const stdlib::string_array& args) {
    using stdlib::ErrorKind;
    auto fail = [](ErrorKind kind, const string& message) {
        return stdlib::Result<int32_t, stdlib::Error>(stdlib::Err(stdlib::error(kind, message)));
    };
    if (!stdlib::fileExists(path)) return fail(ErrorKind::NotFound, stdlib::concat("yield_exec: no such file: "_t, path));
    if (!stdlib::is_executable(path))
        return fail(ErrorKind::PermissionDenied, stdlib::concat("yield_exec: not executable: "_t, path));
    bool was_open = is_open;
    yield_pause_views();
    suspend();
    stdlib::Option<int32_t> pid = stdlib::process_spawn(path, args);
    if (pid.is_none()) {
        if (was_open) resume();
        yield_resume_views();
        return fail(ErrorKind::IoError, stdlib::concat("yield_exec: spawn failed: "_t, path));
    }
    auto status = stdlib::process_wait_status(pid.unwrap());
    bool lost = !status.is_ok();
    int32_t code = lost ? 0 : status.unwrap_ok().shell_code();
    check_hangup_signal();
    if (was_open && !resume()) {
        mark_hangup();
        yield_resume_views();
        return fail(ErrorKind::IoError, "yield_exec: the child ran but the terminal could not be restored"_t);
    }
    if (hangup) running = false;
    yield_resume_views();
    dirty = true;
    if (lost) return fail(ErrorKind::IoError, "yield_exec: the child ran but its exit status was lost (wait failed)"_t);
    return stdlib::Result<int32_t, stdlib::Error>(stdlib::Ok(code));
}

void Application::do_step() {
    if (!is_open) return;
    check_hangup_signal();
    if (!running) return;
    if (!has_modal()) {
        poll_input_desktop();
    } else {
        int32_t cmd = modal_poll();
        if (cmd != CMD_NONE) command = cmd;
    }
    if (dirty && running && is_open) redraw();
}

int32_t Application::run_loop() {
    if (!open()) return 1;
    while (running) {
        do_step();
        if (command == CMD_QUIT) quit();
    }
    close();
    return 0;
}

}  // namespace kestrum
