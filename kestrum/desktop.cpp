#include "kestrum/desktop.hpp"

#include <algorithm>

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

namespace {

// What the desktop lays over its canvas, in the order drawn: each shown window's rectangle and
// shadow, then the menu bar's row and the status row, which are drawn whole. Windows can be shown
// again past MAX_DESKTOP_WINDOWS; a desktop with more than MAX_SHOWN is drawn without the covers.
constexpr int32_t MAX_SHOWN = 2 * MAX_DESKTOP_WINDOWS;
constexpr int32_t MAX_COVERS = 3 * MAX_SHOWN + 2;

struct Covers {
    Rect rects[MAX_COVERS];
    int32_t count = 0;
    void add(Rect r) {
        if (!rect_empty(r) && count < MAX_COVERS) rects[count++] = r;
    }
};

// Calls gap(from, to) for each stretch of row y between x0 and x1 (exclusive) that none of
// covers[first ..] lies on, left to right.
template <class Gap>
void row_gaps(int32_t y, int64_t x0, int64_t x1, const Covers& covers, int32_t first, Gap gap) {
    int64_t from[MAX_COVERS], to[MAX_COVERS];
    int32_t n = 0;
    for (int32_t i = first; i < covers.count; i++) {
        const Rect& c = covers.rects[i];
        int64_t a = c.x > x0 ? c.x : x0, b = (int64_t)c.x + c.w < x1 ? (int64_t)c.x + c.w : x1;
        if (y < c.y || y >= (int64_t)c.y + c.h || a >= b) continue;
        int32_t k = n++;
        for (; k > 0 && from[k - 1] > a; k--) from[k] = from[k - 1], to[k] = to[k - 1];
        from[k] = a, to[k] = b;
    }
    int64_t at = x0;
    for (int32_t k = 0; k < n; k++) {
        if (from[k] > at) gap(at, from[k]);
        at = to[k] > at ? to[k] : at;
    }
    if (at < x1) gap(at, x1);
}

// Whether covers[first ..] lie on every cell of `r`. Only those that meet `r` are looked at row by
// row.
bool covered(Rect r, const Covers& covers, int32_t first) {
    if (rect_empty(r)) return true;
    Covers near;
    for (int32_t i = first; i < covers.count; i++) near.add(rect_intersect(covers.rects[i], r));
    for (int32_t i = 0; i < near.count; i++)
        if (near.rects[i] == r) return true;
    bool open = near.count == 0;
    for (int32_t y = r.y; y < r.y + r.h && !open; y++)
        row_gaps(y, r.x, (int64_t)r.x + r.w, near, 0, [&](int64_t, int64_t) { open = true; });
    return !open;
}

}  // namespace

// The canvas and the windows are drawn in that order, each over what lies below, except where
// something drawn later covers them whole, which would only be stored to be stored over: the
// canvas is filled only between the windows and the two rows; a window that later ones cover is
// drawn with an empty clip, which draws nothing but lets it bring itself up to date; a shadow that
// lies under later windows is left out of its window's clip. The cells come out the same.
void Desktop::draw(const Root<CellBuffer>& buf, Rect r, Rect clip, bool, const Root<Theme>& theme) {
    if (!visible) return;
    int32_t order[MAX_SHOWN], ends[MAX_SHOWN], shown_count = 0;
    bool crowded = false;
    Covers covers;
    auto list = [&](int32_t i) {
        Root<Window> win = shown_window(i);
        if (!win) return;
        if (shown_count == MAX_SHOWN) {
            crowded = true;
            return;
        }
        Rect right, below;
        win->shadow_rects(win->bounds, right, below);
        covers.add(win->bounds), covers.add(right), covers.add(below);
        order[shown_count] = i;
        ends[shown_count++] = covers.count;
    };
    for (int32_t i = 0; i < child_count(); i++)
        if (i != active_idx) list(i);
    list(active_idx);
    if (crowded) return draw_unculled(buf, r, clip, theme);
    if (has_menubar && menubar->visible && bounds.w > 0) covers.add(rect(0, bounds.y, bounds.w, 1));
    if (has_status && bounds.h > 0) covers.add(rect(bounds.x, bounds.y + bounds.h - 1, bounds.w, 1));

    Rect canvas = rect_intersect(r, clip);
    int32_t ch = canvas_fill < 1 ? theme_desktop_fill(theme) : canvas_fill;
    if (codepoint_display_width(ch) > 1) {
        // The wide fill's pattern starts at the canvas's left edge: it is drawn whole.
        if (!rect_empty(canvas)) draw_canvas(buf, canvas, theme);
    } else {
        // Rows between two consecutive top or bottom edges of the covers have the same gaps: each
        // such band is filled at once.
        int32_t edges[2 * MAX_COVERS + 2], count = 0;
        edges[count++] = canvas.y + canvas.h;
        for (int32_t i = 0; i < covers.count; i++) {
            const Rect& c = covers.rects[i];
            for (int64_t y : {(int64_t)c.y, (int64_t)c.y + c.h})
                if (y > canvas.y && y < canvas.y + canvas.h) edges[count++] = (int32_t)y;
        }
        std::sort(edges, edges + count);
        for (int32_t k = 0, y = canvas.y; k < count; y = edges[k++]) {
            if (edges[k] == y) continue;
            row_gaps(y, canvas.x, (int64_t)canvas.x + canvas.w, covers, 0, [&](int64_t from, int64_t to) {
                cellbuf_fill_rect(buf, rect((int32_t)from, y, (int32_t)(to - from), edges[k] - y), ch,
                                  theme->desktop_style);
            });
        }
    }
    for (int32_t k = 0; k < shown_count; k++) {
        Root<Window> win = window_at(order[k]);
        Rect b = win->bounds, right, below, at = Rect{};
        if (!covered(rect_intersect(b, clip), covers, ends[k])) {
            win->shadow_rects(b, right, below);
            bool right_hidden = covered(rect_intersect(right, clip), covers, ends[k]);
            bool below_hidden = covered(rect_intersect(below, clip), covers, ends[k]);
            at = right_hidden || below_hidden
                     ? rect_intersect(rect(b.x, b.y, b.w + !right_hidden, b.h + !below_hidden), clip)
                     : clip;
        }
        win->draw(buf, b, at, order[k] == active_idx, theme);
    }
    draw_top(buf, clip, theme);
}

// As above, with everything drawn over everything before it.
void Desktop::draw_unculled(const Root<CellBuffer>& buf, Rect r, Rect clip, const Root<Theme>& theme) {
    Rect canvas = rect_intersect(r, clip);
    if (!rect_empty(canvas)) draw_canvas(buf, canvas, theme);
    for (int32_t i = 0; i < child_count(); i++) {
        Root<Window> win = shown_window(i);
        if (win && i != active_idx) win->draw(buf, win->bounds, clip, false, theme);
    }
    Root<Window> active = shown_window(active_idx);
    if (active) active->draw(buf, active->bounds, clip, true, theme);
    draw_top(buf, clip, theme);
}

// The menu bar, the context menu and the status row, over the windows.
void Desktop::draw_top(const Root<CellBuffer>& buf, Rect clip, const Root<Theme>& theme) {
    if (has_menubar) menubar->draw(buf, rect(bounds.x, bounds.y, bounds.w, 1), clip, false, theme);
    if (has_context && context->open)
        draw_popup_menu(context, buf, theme, commands, has_commands);
    if (has_status && bounds.h > 0) draw_status(buf, clip, theme);
}

}  // namespace kestrum
