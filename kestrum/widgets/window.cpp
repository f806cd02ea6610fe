#include "kestrum/widgets/window.hpp"

namespace kestrum {

Root<Window> empty_window() { return runtime::make<Window>(rect(0, 0, 0, 0), stdlib::empty_string()); }


using stdlib::None;
using stdlib::Option;
using stdlib::Some;

namespace {

constexpr int32_t GRIP = 0x2584;
constexpr int32_t BUTTON_GLYPH[3] = {'_', '+', 'x'};
constexpr int32_t RESTORE_GLYPH = '=';

bool has_area(Rect r) { return r.w >= 1 && r.h >= 1; }
int64_t right_of(Rect r) { return (int64_t)r.x + r.w; }
int64_t bottom_of(Rect r) { return (int64_t)r.y + r.h; }
bool shown(const Window& win, int32_t kind) {
    return kind == 0 ? win.minimizable : kind == 1 ? win.maximizable : kind == 2 && win.closable;
}

// Lowers a size to `area`, raises it to the minimum where the area has room for that, and lowers
// it to the area again.
void fit_size(Rect& b, Rect area, bool height_rule) {
    b.w = min_int(b.w, area.w);
    b.h = min_int(b.h, area.h);
    if (b.w < window_min_w() && area.w >= window_min_w()) b.w = window_min_w();
    if (height_rule && b.h < window_min_h() && area.h >= window_min_h()) b.h = window_min_h();
    b.w = min_int(b.w, area.w);
    b.h = min_int(b.h, area.h);
}

// Moves `b` back over the area's right and bottom edges, then not above or left of it.
void fit_place(Rect& b, Rect area) {
    if (right_of(b) > right_of(area)) b.x = (int32_t)(right_of(area) - b.w);
    if (bottom_of(b) > bottom_of(area)) b.y = (int32_t)(bottom_of(area) - b.h);
    b.x = max_int(b.x, area.x);
    b.y = max_int(b.y, area.y);
}

}  // namespace

Rect client_size(Rect b) { return rect(1, 1, max_int(b.w - 2, 0), max_int(b.h - 2, 0)); }

int32_t sys_btn_count(const Window& win) { return shown(win, 0) + shown(win, 1) + shown(win, 2); }

int32_t sys_block_width(const Window& win) {
    int32_t count = sys_btn_count(win);
    return count == 0 ? 0 : 2 * count + 3;
}

int32_t sys_block_x0(Rect b, const Window& win) { return b.x + b.w - 1 - sys_block_width(win); }

Option<int32_t> sys_glyph_x(Rect b, const Window& win, int32_t kind) {
    if (kind < 0 || kind > 2 || !shown(win, kind)) return None;
    int32_t lower = 0;
    for (int32_t k = 0; k < kind; k++) lower += shown(win, k);
    return Some(sys_block_x0(b, win) + 2 + 2 * lower);
}

namespace {

bool is_glyph(Rect b, const Window& win, int32_t kind, int32_t x, int32_t y) {
    Option<int32_t> at = sys_glyph_x(b, win, kind);
    return y == b.y && at.is_some() && at.unwrap() == x;
}

}  // namespace

bool is_min_button(Rect b, const Window& win, int32_t x, int32_t y) { return is_glyph(b, win, 0, x, y); }
bool is_max_button(Rect b, const Window& win, int32_t x, int32_t y) { return is_glyph(b, win, 1, x, y); }
bool is_close_button(Rect b, const Window& win, int32_t x, int32_t y) { return is_glyph(b, win, 2, x, y); }

bool is_any_sys_button(Rect b, const Window& win, int32_t x, int32_t y) {
    int32_t x0 = sys_block_x0(b, win), width = sys_block_width(win);
    return y == b.y && width > 0 && x >= x0 && x < x0 + width;
}

bool is_title_bar(Rect b, int32_t x, int32_t y) { return y == b.y && x >= b.x && x < right_of(b); }

bool is_resize_grip(Rect b, int32_t x, int32_t y) { return x == right_of(b) - 1 && y == bottom_of(b) - 1; }

bool is_left_release(const Event& ev) {
    return ev.kind == EventKind::Mouse && !ev.mouse.pressed &&
           (ev.mouse.button == MouseButton::Left || ev.mouse.button == MouseButton::None);
}

bool is_left_drag(const Event& ev) {
    return ev.kind == EventKind::Mouse && (ev.mouse.motion || (ev.mouse.pressed && ev.mouse.button == MouseButton::Left));
}

Rect drag_move_bounds(Rect start, int32_t anchor_x, int32_t anchor_y, int32_t mouse_x, int32_t mouse_y, Rect clamp) {
    Rect b = start;
    b.x = start.x + mouse_x - anchor_x;
    b.y = start.y + mouse_y - anchor_y;
    if (has_area(clamp)) {
        b.x = kestrum::clamp(b.x, clamp.x - start.w + 1, (int32_t)(right_of(clamp) - 1));
        b.y = kestrum::clamp(b.y, clamp.y, (int32_t)(bottom_of(clamp) - 1));
    }
    return b;
}

Rect drag_resize_bounds(Rect start, int32_t anchor_x, int32_t anchor_y, int32_t mouse_x, int32_t mouse_y,
                        Rect clamp) {
    Rect b = start;
    b.w = max_int(start.w + mouse_x - anchor_x, window_min_w());
    b.h = max_int(start.h + mouse_y - anchor_y, window_min_h());
    if (has_area(clamp)) {
        b.w = min_int(b.w, max_int((int32_t)(right_of(clamp) - start.x), 1));
        b.h = min_int(b.h, max_int((int32_t)(bottom_of(clamp) - start.y), 1));
    }
    return b;
}

void Window::draw(const Root<CellBuffer>& buf, Rect b, Rect clip, bool, const Root<Theme>& theme) {
    Rect r = rect_intersect(b, clip);
    if (!visible || rect_empty(r)) return;
    Style frame = active ? theme->frame_style : theme->inactive_style;
    Style head = active ? theme->title_style : theme->inactive_style;
    BoxGlyphs box = theme->box;
    // The box covers the border; with the client area at its usual place filling the inside, the
    // frame's blank fill would be overwritten cell for cell, so it is left out.
    bool client_covers = !is_minimized() && b.h > 1 && client_x == 1 && client_y == 1;
    if (!client_covers) cellbuf_fill_rect(buf, r, CH_SPACE, frame);
    cellbuf_draw_box_in(buf, b, frame, box.tl, box.t, box.tr, box.v, box.bl, box.b, box.br, r);

    string name(title);
    int32_t tw = text_display_width(name);
    if (!stdlib::is_empty(name) && b.w >= tw + 5) {
        cellbuf_put_in(buf, b.x + 1, b.y, box.title_left, frame, r);
        cellbuf_put_in(buf, b.x + 2, b.y, CH_SPACE, head, r);
        if (point_in_rect(point(b.x + 3, b.y), r)) cellbuf_draw_text_in(buf, b.x + 3, b.y, name, head, r);
        cellbuf_put_in(buf, (int64_t)b.x + 3 + tw, b.y, CH_SPACE, head, r);
        cellbuf_put_in(buf, (int64_t)b.x + 4 + tw, b.y, box.title_right, frame, r);
    }
    int32_t block = sys_block_width(*this);
    if (block > 0 && b.w >= 2 + block) {
        int32_t x0 = sys_block_x0(b, *this);
        cellbuf_put_in(buf, x0, b.y, box.title_left, frame, r);
        for (int32_t x = x0 + 1; x < x0 + block - 1; x++) cellbuf_put_in(buf, x, b.y, CH_SPACE, head, r);
        cellbuf_put_in(buf, x0 + block - 1, b.y, box.title_right, frame, r);
        for (int32_t kind = 0; kind < 3; kind++) {
            Option<int32_t> at = sys_glyph_x(b, *this, kind);
            int32_t glyph = kind == 1 && is_maximized() ? RESTORE_GLYPH : BUTTON_GLYPH[kind];
            if (at.is_some()) cellbuf_put_in(buf, at.unwrap(), b.y, glyph, head, r);
        }
    }
    if (is_minimized() || b.h <= 1) return;

    Point origin = point(b.x + client_x, b.y + client_y);
    Rect size = client_size(b), area = rect(origin.x, origin.y, size.w, size.h), c = rect_intersect(area, r);
    if (!rect_empty(c)) {
        if (!child_covers(area, c)) cellbuf_fill_rect(buf, c, CH_SPACE, theme->client_style);
        draw_children(buf, area, r, true, theme);
    }
    if (!is_maximized() && b.w >= 2) cellbuf_put_in(buf, right_of(b) - 1, bottom_of(b) - 1, GRIP, head, r);
    Style shade = style_make(color_rgb(20, 20, 20), color_rgb(20, 20, 20), false, false, false);
    Rect right, below;
    shadow_rects(b, right, below);
    cellbuf_fill_rect(buf, rect_intersect(right, clip), CH_SPACE, shade);
    cellbuf_fill_rect(buf, rect_intersect(below, clip), CH_SPACE, shade);
}

void Window::shadow_rects(Rect b, Rect& right, Rect& below) {
    right = below = Rect{};
    if (is_minimized() || b.h <= 1 || b.w < 1 || right_of(b) >= INT32_MAX || bottom_of(b) >= INT32_MAX) return;
    right = rect((int32_t)right_of(b), b.y + 1, 1, b.h);
    below = rect(b.x + 1, (int32_t)bottom_of(b), b.w, 1);
}

EventResult Window::begin_drag(WindowDragMode mode, int32_t x, int32_t y) {
    drag_mode = mode;
    drag_anchor_x = x;
    drag_anchor_y = y;
    drag_start_x = bounds.x;
    drag_start_y = bounds.y;
    drag_start_w = bounds.w;
    drag_start_h = bounds.h;
    return event_handled();
}

EventResult Window::handle_event(const Event& ev) {
    if (!visible || !enabled) return event_ignored();
    bool mouse = ev.kind == EventKind::Mouse;
    int32_t x = ev.mouse.x, y = ev.mouse.y;
    if (is_dragging()) {
        if (mouse && is_left_release(ev)) {
            drag_mode = WindowDragMode::None;
            return event_handled();
        }
        if (mouse && (is_left_drag(ev) || ev.mouse.pressed)) {
            Rect start = rect(drag_start_x, drag_start_y, drag_start_w, drag_start_h);
            set_bounds(drag_mode == WindowDragMode::Move
                           ? drag_move_bounds(start, drag_anchor_x, drag_anchor_y, x, y, clamp)
                           : drag_resize_bounds(start, drag_anchor_x, drag_anchor_y, x, y, clamp));
            return event_handled();
        }
        drag_mode = WindowDragMode::None;
    }
    if (is_left_click(ev)) {
        if (is_close_button(bounds, *this, x, y)) return event_command(CMD_CLOSE);
        if (is_max_button(bounds, *this, x, y)) return event_command(CMD_MAXIMIZE);
        if (is_min_button(bounds, *this, x, y)) return event_command(CMD_MINIMIZE);
        if (!is_minimized() && !is_maximized() && is_resize_grip(bounds, x, y))
            return begin_drag(WindowDragMode::Resize, x, y);
        if (!is_maximized() && is_title_bar(bounds, x, y) && !is_any_sys_button(bounds, *this, x, y))
            return begin_drag(WindowDragMode::Move, x, y);
    }
    if (!is_minimized()) {
        if (mouse) return dispatch_mouse(ev, client_origin());
        EventResult result = Group::handle_event(ev);
        if (result.handled) return result;
    }
    if (ev.kind == EventKind::Key && ev.key.key.tag == KeyCode::Escape) return event_command(CMD_CLOSE);
    return event_ignored();
}

void Window::set_title(const string& text) { title = text; }
void Window::set_active(bool on) { active = on; }
void Window::set_visible(bool on) { visible = on; }
void Window::set_closable(bool on) { closable = on; }
void Window::set_minimizable(bool on) { minimizable = on; }
void Window::set_maximizable(bool on) { maximizable = on; }
void Window::set_clamp(Rect r) { clamp = r; }
void Window::set_center_on_resize(bool on) { center_on_resize = on; }

void Window::set_bounds(Rect r) {
    bounds = r;
    if (is_minimized()) bounds.h = 1;
}

void Window::center_in(Rect area) {
    int32_t x = max_int(area.x + (area.w - bounds.w) / 2, area.x);
    int32_t y = max_int(area.y + (area.h - bounds.h) / 2, area.y);
    set_bounds(rect(x, y, bounds.w, bounds.h));
    reclamp_to(area);
}

void Window::reclamp_to(Rect area) {
    if (!has_area(area)) return;
    Rect b = bounds;
    fit_size(b, area, !is_minimized());
    b.w = max_int(b.w, 1);
    b.h = max_int(b.h, 1);
    fit_place(b, area);
    if (b.x >= right_of(area) || b.y >= bottom_of(area) || right_of(b) <= area.x || bottom_of(b) <= area.y) {
        b.x = area.x;
        b.y = area.y;
    }
    set_bounds(b);
    if (!has_restore) return;
    Rect saved = rect(restore_x, restore_y, restore_w, restore_h);
    fit_size(saved, area, true);
    fit_place(saved, area);
    restore_x = saved.x;
    restore_y = saved.y;
    restore_w = saved.w;
    restore_h = saved.h;
}

void Window::save_restore() {
    restore_x = bounds.x;
    restore_y = bounds.y;
    restore_w = bounds.w;
    restore_h = bounds.h;
    has_restore = true;
}

void Window::minimize() {
    if (is_minimized()) return;
    if (!is_maximized()) save_restore();
    state = WindowState::Minimized;
    set_bounds(rect(bounds.x, bounds.y, max_int(bounds.w, window_min_w()), 1));
}

void Window::restore() {
    state = WindowState::Normal;
    if (!has_restore) return;
    set_bounds(rect(restore_x, restore_y, restore_w, restore_h));
    if (has_area(clamp)) reclamp_to(clamp);
}

void Window::maximize(Rect area) {
    if (is_maximized()) return restore();
    if (!is_minimized()) save_restore();
    state = WindowState::Maximized;
    set_bounds(rect(area.x, area.y, max_int(area.w, window_min_w()), max_int(area.h, window_min_h())));
}

void Window::toggle_maximize(Rect area) {
    if (is_maximized()) restore();
    else maximize(area);
}

}  // namespace kestrum
