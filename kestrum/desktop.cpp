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

Root<Desktop> Desktop::create() {
    Root<Desktop> desk = runtime::make<Desktop>();
    desk->bounds = rect(0, 0, 80, 24);
    desk->menubar = MenuBar::create(8);
    desk->context = popup_create(16);
    desk->default_context = popup_create(16);
    desk->commands = commands_create(64);
    desk->status = stdlib::empty_string();
    desk->status_right = stdlib::empty_string();
    return desk;
}

int32_t walk_poll_fd(const Root<View>& view) {
    int32_t fd = view->poll_fd();
    if (fd >= 0) return fd;
    if (!runtime::is<Group>(view)) return -1;
    Root<Group> group = runtime::as<Group>(view);
    for (int32_t i = 0; i < group->child_count(); i++) {
        fd = walk_poll_fd(group->child(i));
        if (fd >= 0) return fd;
    }
    return -1;
}

Root<Window> Desktop::shown_window(int32_t i) {
    Root<View> c = child(i);
    if (!c || !c->visible || !runtime::is<Window>(c)) return nullptr;
    return runtime::as<Window>(c);
}

int32_t Desktop::window_count() { return child_count(); }

int32_t Desktop::visible_window_count() {
    int32_t n = 0;
    for (int32_t i = 0; i < child_count(); i++) n += child(i)->visible ? 1 : 0;
    return n;
}

int32_t Desktop::first_poll_fd() { return walk_poll_fd(this); }

Root<Window> Desktop::window_at(int32_t i) {
    Root<View> c = child(i);
    if (!c || !runtime::is<Window>(c)) return empty_window();
    return runtime::as<Window>(c);
}

bool Desktop::has_window() { return child_count() > 0 && active_idx >= 0; }
bool Desktop::has_context_menu() { return has_default_context || has_context; }
bool Desktop::context_is_open() { return has_context && context->open; }
int32_t Desktop::context_last_command() { return has_context ? context->last_command : CMD_NONE; }

Rect Desktop::content_rect() {
    Rect r = bounds;
    if (has_menubar && r.h >= 1) r.y++, r.h--;
    if (has_status && r.h >= 1) r.h--;
    r.h = max_int(r.h, 1);
    return r;
}

void Desktop::clamp_all() {
    Rect area = content_rect();
    for (int32_t i = 0; i < child_count(); i++) window_at(i)->set_clamp(area);
}

void Desktop::add(const Root<View>& child) {
    if (visible_window_count() >= MAX_DESKTOP_WINDOWS) return;
    Group::add(child);
    if (!runtime::is<Window>(child)) return;
    runtime::as<Window>(child)->set_clamp(content_rect());
    set_active_idx(child_count() - 1);
}

void Desktop::set_bounds(Rect r) {
    bounds = r;
    if (has_menubar) menubar->bounds = rect(r.x, r.y, r.w, 1);
    clamp_all();
}

void Desktop::set_status(const string& text) {
    status = text;
    has_status = true;
}

void Desktop::set_status_right(const string& text) {
    status_right = text;
    has_status = true;
}

void Desktop::set_canvas_fill(int32_t ch) { canvas_fill = ch < 1 ? 32 : ch; }

void Desktop::set_commands(const Root<CommandTable>& table) {
    commands = table;
    has_commands = true;
    if (has_menubar) menubar->set_commands(table);
}

void Desktop::set_active_idx(int32_t i) {
    if (!shown_window(i)) return;
    for (int32_t j = 0; j < child_count(); j++) window_at(j)->set_active(j == i);
    active_idx = i;
}

void Desktop::close_window_at(int32_t i) {
    if (i < 0 || i >= child_count()) return;
    Root<Window> win = window_at(i);
    win->set_visible(false);
    win->set_active(false);
    active_idx = -1;
    for (int32_t j = child_count() - 1; j >= 0; j--) {
        if (child(j)->visible) {
            set_active_idx(j);
            return;
        }
    }
}

void Desktop::show_window_at(int32_t i) {
    if (i < 0 || i >= child_count()) return;
    Root<Window> win = window_at(i);
    win->set_visible(true);
    if (win->is_minimized()) win->restore();
    win->reclamp_to(content_rect());
    set_active_idx(i);
}

void Desktop::close_active() {
    Root<Window> win = shown_window(active_idx);
    if (win && win->closable) close_window_at(active_idx);
}

void Desktop::restore_minimized() {
    for (int32_t i = 0; i < child_count(); i++) {
        Root<Window> win = shown_window(i);
        if (win && win->is_minimized()) win->restore();
    }
}

void Desktop::cascade() {
    Rect area = content_rect();
    if (visible_window_count() == 0) return;
    int32_t w = min_int(max_int(area.w * 2 / 3, window_min_w()), area.w);
    int32_t h = min_int(max_int(area.h * 2 / 3, window_min_h()), area.h);
    int32_t dx = max_int(area.w - w, 0), dy = max_int(area.h - h, 0);
    for (int32_t i = 0, n = 0; i < child_count(); i++) {
        Root<Window> win = shown_window(i);
        if (!win) continue;
        if (win->is_minimized() || win->is_maximized()) win->restore();
        int32_t x = area.x + (dx > 0 ? (n * 2) % (dx + 1) : 0);
        int32_t y = area.y + (dy > 0 ? (n * 2) % (dy + 1) : 0);
        win->set_bounds(rect(x, y, w, h));
        n++;
    }
}

void Desktop::tile() {
    Rect area = content_rect();
    int32_t count = visible_window_count();
    if (count == 0) return;
    int32_t cols = 1;
    while (cols * cols < count) cols++;
    int32_t rows = max_int((count + cols - 1) / cols, 1);
    int32_t tw = max_int(area.w / cols, window_min_w()), th = max_int(area.h / rows, window_min_h());
    for (int32_t i = 0, n = 0; i < child_count(); i++) {
        Root<Window> win = shown_window(i);
        if (!win) continue;
        if (win->is_minimized() || win->is_maximized()) win->restore();
        int32_t c = n % cols, r = n / cols, w = tw, h = th;
        if (c == cols - 1) w = area.w - c * tw;
        if (r == rows - 1) h = area.h - r * th;
        win->set_bounds(rect(area.x + c * tw, area.y + r * th, max_int(w, window_min_w()), max_int(h, window_min_h())));
        n++;
    }
}

void Desktop::set_menubar(const Root<MenuBar>& bar) {
    menubar = bar;
    has_menubar = true;
    bar->bounds = rect(bounds.x, bounds.y, bounds.w, 1);
    if (has_commands) bar->set_commands(commands);
    clamp_all();
}

void Desktop::set_context_menu(const Root<PopupMenu>& popup) {
    default_context = popup;
    context = popup;
    has_default_context = has_context = true;
}

void Desktop::open_context(const Root<PopupMenu>& popup, int32_t x, int32_t y) {
    context = popup;
    has_context = true;
    show_context_at(x, y);
}

void Desktop::show_context_at(int32_t x, int32_t y) {
    if (!has_context) return;
    if (has_menubar) menubar->close();
    popup_open_at(context, x, y);
}

void Desktop::close_context() {
    if (has_context) popup_close(context);
}

void Desktop::context_clear_command() {
    if (has_context) popup_clear_command(context);
}

void Desktop::layout_on_resize() {
    Rect area = content_rect();
    for (int32_t i = 0; i < child_count(); i++) {
        Root<Window> win = window_at(i);
        win->set_clamp(area);
        if (win->is_maximized()) {
            win->set_bounds(rect(area.x, area.y, max_int(area.w, window_min_w()), max_int(area.h, window_min_h())));
            win->reclamp_to(area);
        } else if (win->center_on_resize) {
            win->center_in(area);
        } else {
            win->reclamp_to(area);
        }
    }
}

Option<int32_t> Desktop::window_hit_test(int32_t x, int32_t y) {
    Point at = point(x, y);
    Root<Window> active = shown_window(active_idx);
    if (active && point_in_rect(at, active->bounds)) return Some(active_idx);
    for (int32_t i = child_count() - 1; i >= 0; i--) {
        if (i == active_idx) continue;
        Root<Window> win = shown_window(i);
        if (win && point_in_rect(at, win->bounds)) return Some(i);
    }
    return None;
}

Option<int32_t> Desktop::window_drag_owner() {
    for (int32_t i = 0; i < child_count(); i++)
        if (window_at(i)->is_dragging()) return Some(i);
    return None;
}

EventResult Desktop::handle_event(const Event& ev) {
    bool mouse = ev.kind == EventKind::Mouse;
    Option<int32_t> dragging = window_drag_owner();
    if (mouse && dragging.is_some()) return window_at(dragging.unwrap())->handle_event(ev);

    if (context_is_open() && handle_popup_menu(context, ev, commands, has_commands)) {
        int32_t cmd = context_last_command();
        if (cmd == CMD_NONE) return event_handled();
        context_clear_command();
        return event_command(cmd);
    }

    bool press = mouse && ev.mouse.pressed && !ev.mouse.motion;
    bool on_bar_row = has_menubar && ev.mouse.y == bounds.y;
    if (press && ev.mouse.button == MouseButton::Right && !on_bar_row) {
        Option<int32_t> hit = window_hit_test(ev.mouse.x, ev.mouse.y);
        EventResult result = event_ignored();
        if (hit.is_some()) {
            int32_t i = hit.unwrap();
            if (i != active_idx) set_active_idx(i);
            Root<Window> win = window_at(i);
            result = win->handle_event(ev);
            Root<PopupMenu> popup = win->context_menu();
            if (popup->count > 0) {
                open_context(popup, ev.mouse.x, ev.mouse.y);
                return event_handled();
            }
        }
        if (result.handled) return result;
        if (has_default_context) {
            context = default_context;
            has_context = true;
            show_context_at(ev.mouse.x, ev.mouse.y);
            return event_handled();
        }
    }

    if (has_menubar) {
        menubar->bounds = rect(bounds.x, bounds.y, bounds.w, 1);
        EventResult result = menubar->handle_event(ev);
        if (result.handled) {
            if (result.command != CMD_NONE) menubar->clear_command();
            return result;
        }
    }

    if (child_count() == 0) return event_ignored();
    if (press) {
        Option<int32_t> hit = window_hit_test(ev.mouse.x, ev.mouse.y);
        if (hit.is_none()) return event_ignored();
        if (hit.unwrap() != active_idx) set_active_idx(hit.unwrap());
        return window_at(hit.unwrap())->handle_event(ev);
    }
    Root<Window> active = shown_window(active_idx);
    return active ? active->handle_event(ev) : event_ignored();
}

void Desktop::draw_canvas(const Root<CellBuffer>& buf, Rect r, const Root<Theme>& theme) {
    int32_t ch = canvas_fill < 1 ? theme_desktop_fill(theme) : canvas_fill;
    const Style& style = theme->desktop_style;
    if (codepoint_display_width(ch) < 2) {
        cellbuf_fill_rect(buf, r, ch, style);
        return;
    }
    for (int32_t y = r.y; y < r.y + r.h; y++) {
        for (int32_t x = r.x; x < r.x + r.w;) {
            if ((x - r.x) % 2 == 0 && x + 1 < r.x + r.w) {
                cellbuf_put(buf, x, y, ch, style);
                cellbuf_put(buf, x + 1, y, CH_SPACE, style);
                x += 2;
            } else {
                cellbuf_put(buf, x++, y, CH_SPACE, style);
            }
        }
    }
}

void Desktop::draw_status(const Root<CellBuffer>& buf, Rect clip, const Root<Theme>& theme) {
    int32_t y = bounds.y + bounds.h - 1;
    const Style& style = theme->status_style;
    Rect row = rect_intersect(rect(bounds.x, y, bounds.w, 1), clip);
    cellbuf_fill_rect(buf, row, CH_SPACE, style);
    string right(status_right), left(status);
    int32_t rw = stdlib::is_empty(right) ? 0 : text_display_width(right);
    if (rw > 0) {
        int32_t rx = max_int(bounds.x + bounds.w - 1 - rw, bounds.x + 1);
        cellbuf_draw_text_in(buf, rx, y, right, style, rect_intersect(rect(rx, y, bounds.x + bounds.w - 1 - rx, 1), clip));
    }
    if (!stdlib::is_empty(left)) {
        int32_t room = rw > 0 ? max_int(bounds.w - 2 - rw - 1, 0) : bounds.w - 2;
        cellbuf_draw_text_in(buf, bounds.x + 1, y, left, style, rect_intersect(rect(bounds.x + 1, y, room, 1), clip));
    }
}

void Desktop::draw(const Root<CellBuffer>& buf, Rect r, Rect clip, bool, const Root<Theme>& theme) {
    if (!visible) return;
    Rect canvas = rect_intersect(r, clip);
    if (!rect_empty(canvas)) draw_canvas(buf, canvas, theme);
    for (int32_t i = 0; i < child_count(); i++) {
        Root<Window> win = shown_window(i);
        if (win && i != active_idx) win->draw(buf, win->bounds, clip, false, theme);
    }
    Root<Window> active = shown_window(active_idx);
    if (active) active->draw(buf, active->bounds, clip, true, theme);
    if (has_menubar) menubar->draw(buf, rect(bounds.x, bounds.y, bounds.w, 1), clip, false, theme);
    if (has_context && context->open)
        draw_popup_menu(context, buf, theme, commands, has_commands);
    if (has_status && bounds.h > 0) draw_status(buf, clip, theme);
}

}  // namespace kestrum

// ---- The application -----------------------------------------------------------------------

namespace kestrum {

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

void Application::read_feed() {
    auto count = term_read(term, string(read_buf), READ_CAP);
    int32_t n = count.is_ok() ? count.unwrap_ok() : 0;
    if (n > 0) decoder_feed(decoder, stdlib::substring(string(read_buf), 0, n));
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
    cellbuf_flush(term, buf, shown);
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
    return stdlib::poll_wait(POLL_TIMEOUT_MS) > 0 && stdlib::poll_readable(slot);
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
