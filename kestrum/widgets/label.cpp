#include "kestrum/widgets/label.hpp"

namespace kestrum {

Rect fill_control(const Root<CellBuffer>& buf, Rect r, Rect clip, const Style& style) {
    Rect area = rect_intersect(r, clip);
    if (!rect_empty(area)) cellbuf_fill_rect(buf, area, CH_SPACE, style);
    return area;
}

int32_t draw_text_piece(const Root<CellBuffer>& buf, int32_t x, int32_t y, const string& text, const Style& style,
                        Rect clip) {
    cellbuf_draw_text_in(buf, x, y, text, style, clip);
    int32_t n = stdlib::length(text);
    for (int32_t i = 0; i < n;) {
        Point step = utf8_decode_step(text, i);
        x += step.x == '\t' ? tab_advance(x) : step.x < 0x20 || step.x == 0x7F ? 1 : codepoint_display_width(step.x);
        i = step.y;
    }
    return x;
}

void Label::draw(const Root<CellBuffer>& buf, Rect r, Rect clip, bool, const Root<Theme>& theme) {
    Rect area = fill_control(buf, r, clip, theme->client_style);
    string shown(text);
    if (rect_empty(area)) return;
    if (!wrap) return cellbuf_draw_text_in(buf, r.x, r.y, shown, theme->client_style, area);
    if (stdlib::is_empty(shown)) return;
    int32_t width = max_int(r.w, 1);
    if (wrapped_text.get() != shown.get() || wrapped_width != width) {
        lines = stdlib::split(text_wrap(shown, width), '\n');
        wrapped_text = shown;
        wrapped_width = width;
    }
    stdlib::string_array rows(lines);
    for (int32_t i = 0; i < runtime::length(rows) && i < r.h; i++)
        cellbuf_draw_text_in(buf, r.x, r.y + i, string(rows[i]), theme->client_style, area);
}

void Label::set_text(const string& value) { text = value; }
void Label::set_wrap(bool value) { wrap = value; }

}  // namespace kestrum
