#include "kestrum/widgets/scrollbar.hpp"

namespace kestrum {

namespace {

constexpr int32_t TRACK = 0x2591;
constexpr int32_t KNOB = 0x2588;

// True when the content is longer than what is shown, so that there is something to scroll.
bool scrolls(int32_t total, int32_t visible_count) { return total > visible_count && total >= 1 && visible_count > 0; }

void plain_track(const Root<CellBuffer>& buf, int32_t x, int32_t y, int32_t h, int32_t total, int32_t visible_count,
                 int32_t offset, const Style& style, Rect clip) {
    int32_t start, size;
    scrollbar_thumb(total, visible_count, offset, h, start, size);
    for (int32_t i = 0; i < h; i++)
        cellbuf_put_in(buf, x, y + i, i >= start && i < start + size ? KNOB : TRACK, style, clip);
}

// A frame bar of `len` cells from (x, y), one cell further by (dx, dy) at each step, inside `clip`.
void frame_bar(const Root<CellBuffer>& buf, int32_t x, int32_t y, int32_t dx, int32_t dy, int32_t len, int32_t total,
               int32_t visible_count, int32_t offset, int32_t first_cap, int32_t last_cap, const Style& track_style,
               const Style& knob_style, Rect clip) {
    if (len <= 0) return;
    for (int32_t i = 0; i < len; i++) cellbuf_put_in(buf, x + i * dx, y + i * dy, CH_SPACE, track_style, clip);
    if (len == 1) return cellbuf_put_in(buf, x, y, KNOB, knob_style, clip);
    cellbuf_put_in(buf, x, y, first_cap, track_style, clip);
    cellbuf_put_in(buf, x + (len - 1) * dx, y + (len - 1) * dy, last_cap, track_style, clip);
    if (len < 3) return;
    int32_t at = 1 + scrollbar_knob_start(total, visible_count, offset, len - 2);
    if (at > 0 && at < len - 1) cellbuf_put_in(buf, x + at * dx, y + at * dy, KNOB, knob_style, clip);
}

}  // namespace

void scrollbar_thumb(int32_t total, int32_t visible_count, int32_t offset, int32_t track_h, int32_t& start,
                     int32_t& size) {
    start = 0;
    size = track_h > 0 ? track_h : 0;
    if (track_h <= 0 || !scrolls(total, visible_count)) return;
    size = clamp((int64_t)visible_count * track_h / total, 1, track_h);
    int32_t max_off = total - visible_count, off = clamp(offset, 0, max_off), free = track_h - size;
    if (max_off >= 1 && free >= 1) start = (int32_t)((int64_t)off * free / max_off);
}

int32_t scrollbar_knob_start(int32_t total, int32_t visible_count, int32_t offset, int32_t track_len) {
    if (track_len <= 0 || !scrolls(total, visible_count) || track_len - 1 < 1) return 0;
    int32_t max_off = total - visible_count;
    return (int32_t)((int64_t)clamp(offset, 0, max_off) * (track_len - 1) / max_off);
}

int32_t scrollbar_offset_from_y(int32_t total, int32_t visible_count, int32_t track_h, int32_t y) {
    if (!(total > visible_count && total > 0 && visible_count >= 1 && track_h > 1)) return 0;
    bool caps = track_h >= 3;
    int32_t track = caps ? track_h - 2 : track_h, pos = caps ? y - 1 : y, last = track - 1;
    if (track < 1 || last < 1) return 0;
    return (int32_t)((int64_t)clamp(pos, 0, last) * (total - visible_count) / last);
}

int32_t scrollbar_offset_from_x(int32_t total, int32_t visible_count, int32_t track_w, int32_t x) {
    return scrollbar_offset_from_y(total, visible_count, track_w, x);
}

void draw_scrollbar(const Root<CellBuffer>& buf, int32_t x, int32_t y, int32_t h, int32_t total,
                    int32_t visible_count, int32_t offset, const Style& style) {
    plain_track(buf, x, y, h, total, visible_count, offset, style, rect(0, 0, buf->width, buf->height));
}

void draw_frame_scrollbar(const Root<CellBuffer>& buf, int32_t x, int32_t y, int32_t h, int32_t total,
                          int32_t visible_count, int32_t offset, const BoxGlyphs& box, const Style& track_style,
                          const Style& knob_style, Rect clip) {
    frame_bar(buf, x, y, 0, 1, h, total, visible_count, offset, box.scroll_up, box.scroll_down, track_style,
              knob_style, clip);
}

void draw_frame_h_scrollbar(const Root<CellBuffer>& buf, int32_t x, int32_t y, int32_t w, int32_t total,
                            int32_t visible_count, int32_t offset, const BoxGlyphs& box, const Style& track_style,
                            const Style& knob_style, Rect clip) {
    frame_bar(buf, x, y, 1, 0, w, total, visible_count, offset, box.scroll_left, box.scroll_right, track_style,
              knob_style, clip);
}

void Scrollbar::draw(const Root<CellBuffer>& buf, Rect r, Rect clip, bool, const Root<Theme>& theme) {
    if (rect_empty(rect_intersect(r, clip))) return;
    plain_track(buf, r.x, r.y, r.h, total, visible_count, offset, theme->frame_style, clip);
}

void Scrollbar::configure(Rect r, int32_t total_, int32_t visible_count_, int32_t offset_) {
    bounds = r;
    total = total_;
    visible_count = visible_count_;
    offset = offset_;
}

void Scrollbar::draw_frame(const Root<CellBuffer>& buf, Rect r, const BoxGlyphs& box, const Style& track_style,
                           const Style& knob_style) {
    draw_frame_scrollbar(buf, r.x, r.y, r.h, total, visible_count, offset, box, track_style, knob_style);
}

int32_t Scrollbar::offset_from_y(int32_t y) { return scrollbar_offset_from_y(total, visible_count, bounds.h, y); }

}  // namespace kestrum
