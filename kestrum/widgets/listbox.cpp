#include "kestrum/widgets/listbox.hpp"

#include "stdlib/time/time.hpp"

namespace kestrum {

using runtime::Array;
using stdlib::None;
using stdlib::Option;
using stdlib::Some;

bool clicks_within_double(int32_t last_sec, int32_t last_ms, int32_t sec, int32_t ms) {
    if (sec == last_sec) return max_int(ms - last_ms, 0) < 500;
    return (int64_t)sec == (int64_t)last_sec + 1 && 1000 - last_ms + ms < 500;
}

Root<ListBox> ListBox::create(Rect bounds, int32_t capacity, int32_t rows) {
    Root<ListBox> list = runtime::make<ListBox>();
    list->bounds = bounds;
    list->capacity = clamp(capacity, 1, max_items());
    list->rows = max_int(rows, 1);
    list->items = Array<Member<Text>>::make((uint64_t)list->capacity);
    list->scrollbar = runtime::make<Scrollbar>(rect(0, 0, 1, list->rows), 0, list->rows, 0);
    return list;
}

Option<string> ListBox::item(int32_t index) {
    if (index < 0 || index >= count) return None;
    return Some(string(items[index]));
}

string ListBox::item_or(int32_t index, const string& fallback) { return item(index).unwrap_or(fallback); }

bool ListBox::add_item(const string& text) {
    if (count >= capacity) return false;
    items[count++] = text;
    return true;
}

void ListBox::clear() {
    while (count > 0) items[--count] = nullptr;  // a vacated slot keeps nothing alive
    selected = offset = 0;
    activate = dragging = false;
    last_click_index = -1;
}

int32_t ListBox::max_offset() { return max_int(count - rows, 0); }
void ListBox::clamp_offset() { offset = clamp(offset, 0, max_offset()); }
void ListBox::clear_selection() { selected = -1; }
bool ListBox::has_selection() { return selected >= 0 && selected < count; }
void ListBox::clear_activate() { activate = false; }
bool ListBox::has_scrollbar() { return count > rows && rows > 0; }

void ListBox::set_selected(int32_t index) {
    if (count <= 0) {
        selected = 0;
        return;
    }
    selected = clamp(index, 0, count - 1);
    ensure_visible();
}

void ListBox::ensure_visible() {
    if (count <= 0) {
        offset = 0;
        return;
    }
    if (selected < offset) offset = selected;
    if (selected >= offset + rows) offset = selected - rows + 1;
    clamp_offset();
}

void ListBox::scroll_by(int32_t delta) {
    offset += delta;
    clamp_offset();
}

void ListBox::draw(const Root<CellBuffer>& buf, Rect r, Rect clip, bool focused, const Root<Theme>& theme) {
    if (rect_empty(rect_intersect(r, clip))) return;
    bool bar = has_scrollbar();
    int32_t text_w = bar && r.w > 1 ? r.w - 1 : r.w;
    for (int32_t i = 0; i < rows && i < r.h; i++) {
        int32_t index = offset + i;
        Style style = index != selected ? theme->client_style : focused ? theme->selected_style : theme->button_style;
        Rect row = rect_intersect(rect(r.x, r.y + i, text_w, 1), clip);
        cellbuf_fill_rect(buf, row, CH_SPACE, style);
        if (index >= 0 && index < count) cellbuf_draw_text_in(buf, r.x, r.y + i, string(items[index]), style, row);
    }
    if (bar && r.w > 0) {
        Rect track = rect(r.x + r.w - 1, r.y, 1, rows < 1 ? r.h : rows);
        Root<Scrollbar> sb = scrollbar;
        sb->configure(track, count, rows, offset);
        sb->draw(buf, track, clip, false, theme);
    }
}

EventResult ListBox::handle_event(const Event& ev) {
    if (!enabled) return event_ignored();
    if (ev.kind == EventKind::Mouse) return handle_mouse(ev) ? event_handled() : event_ignored();
    if (ev.kind != EventKind::Key || count == 0) return event_ignored();
    switch (ev.key.key.tag) {
    case KeyCode::Up: set_selected(selected - 1); break;
    case KeyCode::Down: set_selected(selected + 1); break;
    case KeyCode::PageUp: set_selected(selected - rows); break;
    case KeyCode::PageDown: set_selected(selected + rows); break;
    case KeyCode::Home: set_selected(0); break;
    case KeyCode::End: set_selected(count - 1); break;
    case KeyCode::Enter: activate = true; break;
    default: return event_ignored();
    }
    return event_handled();
}

bool ListBox::on_scrollbar_column(int32_t x) { return has_scrollbar() && bounds.w > 1 && x == bounds.x + bounds.w - 1; }

bool ListBox::handle_mouse(const Event& ev) {
    const MouseEvent& m = ev.mouse;
    if (m.button == MouseButton::WheelUp || m.button == MouseButton::WheelDown) {
        if (count <= 0) return false;
        scroll_by(m.button == MouseButton::WheelUp ? -3 : 3);
        return true;
    }
    if (dragging) {
        if (!m.pressed && (m.button == MouseButton::Left || m.button == MouseButton::None)) dragging = false;
        else if (m.motion || m.pressed) set_offset_from_y(bounds, m.y);
        return true;
    }
    if (!m.pressed || m.motion || m.button != MouseButton::Left) return false;
    if (on_scrollbar_column(m.x) && m.y >= bounds.y && m.y < bounds.y + rows) {
        dragging = true;
        set_offset_from_y(bounds, m.y);
        return true;
    }
    if (!point_in_rect(point(m.x, m.y), bounds) || on_scrollbar_column(m.x)) return false;
    return click_at(bounds, m.x, m.y);
}

bool ListBox::click_at(Rect r, int32_t x, int32_t y) {
    int32_t row = y - r.y, index = offset + row;
    bool on_bar = has_scrollbar() && r.w > 1 && x == r.x + r.w - 1;
    if (!point_in_rect(point(x, y), r) || on_bar || row < 0 || row >= rows || index < 0 || index >= count)
        return false;
    bool twice = is_double_click(index);
    set_selected(index);
    if (twice) activate = true;
    return true;
}

bool ListBox::is_double_click(int32_t index) {
    int32_t sec = (int32_t)stdlib::time_now(), ms = stdlib::time_subsec_millis();
    bool twice = index == last_click_index && clicks_within_double(last_click_sec, last_click_ms, sec, ms);
    last_click_index = index;
    last_click_sec = sec;
    last_click_ms = ms;
    return twice;
}

void ListBox::set_offset_from_y(Rect r, int32_t y) {
    int32_t track = rows < 1 ? r.h : rows;
    if (track < 1) return;
    offset = offset_from_track_row(y - r.y, track);
    clamp_offset();
}

int32_t ListBox::offset_from_track_row(int32_t row, int32_t track) {
    int32_t most = max_offset();
    if (most < 1 || track < 2) return 0;
    row = clamp(row, 0, track - 1);
    int32_t start = 0, size = 0;
    scrollbar_thumb(count, rows, offset, track, start, size);
    int32_t span = track - size;
    if (span <= 0) return 0;
    return clamp(row - size / 2, 0, span) * most / span;
}

}  // namespace kestrum
