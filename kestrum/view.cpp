#include "kestrum/view.hpp"

namespace kestrum {

void View::draw(const Root<CellBuffer>&, Rect, Rect, bool, const Root<Theme>&) {}
void View::draw_overlay(const Root<CellBuffer>&, Rect, Rect, bool, const Root<Theme>&) {}
EventResult View::handle_event(const Event&) { return event_ignored(); }

bool child_can_focus(const Root<View>& view) {
    return view && view->wants_focus() && view->enabled && view->visible;
}

Rect view_abs_bounds(Rect r, Point origin) { return rect(r.x + origin.x, r.y + origin.y, r.w, r.h); }

Event mouse_in_origin(const Event& ev, Point origin) {
    Event moved = ev;
    moved.mouse.x -= origin.x;
    moved.mouse.y -= origin.y;
    return moved;
}

bool is_tab_key(const Event& ev) { return ev.kind == EventKind::Key && ev.key.key.tag == KeyCode::Tab; }
bool is_backtab_key(const Event& ev) { return ev.kind == EventKind::Key && ev.key.key.tag == KeyCode::BackTab; }

int32_t group_child_count(const Root<Group>& group) { return group->child_count(); }

int32_t Group::child_count() const { return children ? children->len() : 0; }

Root<View> Group::child(int32_t index) const {
    if (index < 0 || index >= child_count()) return nullptr;
    return children->get(index).unwrap();
}

void Group::add(const Root<View>& child) {
    if (!children) children = ViewList::create_with_capacity(4);
    children->push(child);
    ensure_focus();
}

void Group::ensure_focus() {
    int32_t n = child_count();
    if (focus >= 0 && focus < n && child_can_focus(child(focus))) return;
    focus = -1;
    for (int32_t i = 0; i < n; i++) {
        if (child_can_focus(child(i))) {
            focus = i;
            return;
        }
    }
}

bool Group::focus_next() {
    int32_t n = child_count();
    if (n == 0) return false;
    int32_t start = focus < 0 ? -1 : focus;
    for (int32_t i = 0; i < n; i++) {
        int32_t idx = (start + 1 + i) % n;
        if (child_can_focus(child(idx))) {
            focus = idx;
            return true;
        }
    }
    return false;
}

bool Group::focus_prev() {
    int32_t n = child_count();
    if (n == 0) return false;
    int32_t start = focus < 0 ? 0 : focus;
    for (int32_t i = 0; i < n; i++) {
        int32_t idx = (start - 1 - i + 2 * n) % n;
        if (child_can_focus(child(idx))) {
            focus = idx;
            return true;
        }
    }
    return false;
}

EventResult Group::handle_event(const Event& ev) {
    if (ev.kind == EventKind::Mouse) return dispatch_mouse(ev, point(bounds.x, bounds.y));
    Root<View> focused = focused_child();
    if (!(focused && focused->poll_fd() >= 0)) {
        if (is_tab_key(ev) && focus_next()) return event_handled();
        if (is_backtab_key(ev) && focus_prev()) return event_handled();
    }
    focused = focused_child();
    return focused ? focused->handle_event(ev) : event_ignored();
}

EventResult Group::dispatch_mouse(const Event& ev, Point origin) {
    if (ev.kind != EventKind::Mouse) return event_ignored();
    int32_t n = child_count();
    Point at = point(ev.mouse.x, ev.mouse.y);
    for (int32_t i = 0; i < n; i++) {
        Root<View> c = child(i);
        if (c->captures_mouse()) return c->handle_event(mouse_in_origin(ev, origin));
    }
    for (int32_t i = n - 1; i >= 0; i--) {
        Root<View> c = child(i);
        if (!c->visible || !c->overlay_open()) continue;
        Rect overlay = c->overlay_rect();
        if (rect_empty(overlay) || !point_in_rect(at, view_abs_bounds(overlay, origin))) continue;
        if (child_can_focus(c)) focus = i;
        EventResult result = c->handle_event(mouse_in_origin(ev, origin));
        return result.handled ? result : event_handled();
    }
    for (int32_t i = n - 1; i >= 0; i--) {
        Root<View> c = child(i);
        if (!c->visible || !point_in_rect(at, view_abs_bounds(c->hit_bounds(), origin))) continue;
        bool can_focus = child_can_focus(c);
        if (can_focus) focus = i;
        EventResult result = c->handle_event(mouse_in_origin(ev, origin));
        if (result.handled) return result;
        if (can_focus) return event_handled();
    }
    return event_ignored();
}

bool Group::child_covers(Rect area, Rect r) {
    for (int32_t i = 0; i < child_count(); i++) {
        Root<View> c = child(i);
        Rect at = c->fills_client() ? area : view_abs_bounds(c->bounds, point(area.x, area.y));
        if (c->visible && c->opaque() && rect_intersect(at, r) == r) return true;
    }
    return false;
}

void Group::draw_children(const Root<CellBuffer>& buf, Rect area, Rect clip, bool focused, const Root<Theme>& theme) {
    Point origin = point(area.x, area.y);
    auto place = [&](const Root<View>& c) { return c->fills_client() ? area : view_abs_bounds(c->bounds, origin); };
    int32_t n = child_count();
    for (int32_t i = 0; i < n; i++) {
        Root<View> c = child(i);
        if (!c->visible) continue;
        Rect at = place(c), inner = rect_intersect(rect(at.x, at.y, at.w + 1, at.h + 1), clip);
        if (!rect_empty(inner)) c->draw(buf, at, inner, focused && i == focus, theme);
    }
    Rect client = rect_intersect(area, clip);
    for (int32_t i = 0; i < n; i++) {
        Root<View> c = child(i);
        if (!c->visible || !c->overlay_open()) continue;
        Rect inner = rect_intersect(view_abs_bounds(c->overlay_rect(), origin), client);
        if (!rect_empty(inner)) c->draw_overlay(buf, place(c), inner, focused && i == focus, theme);
    }
}

}  // namespace kestrum
