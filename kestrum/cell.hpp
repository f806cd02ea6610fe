// kestrum.cell: the values of drawing, the cell buffer, text measuring and frame output.
//
// Views draw whole frames into a CellBuffer in memory; cellbuf_flush compares the frame with the
// one the terminal shows and sends only the cells that differ. Columns count cells, x and y count
// from 0 at the top left, and text is UTF-8 with bad bytes drawn as their own values.
#pragma once
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <type_traits>

#include "kestrum/term.hpp"

namespace kestrum {

struct Point {
    int32_t x = 0;
    int32_t y = 0;
    bool operator==(const Point&) const = default;
};

// Right and bottom edges (x + w, y + h) are exclusive; empty when w or h is 0 or below.
struct Rect {
    int32_t x = 0;
    int32_t y = 0;
    int32_t w = 0;
    int32_t h = 0;
    bool operator==(const Rect&) const = default;
};

// Each part 0..255. Colours, styles and cells hold no padding and no loose bits, so that equal
// values are equal byte for byte: the frame output compares whole rows with memcmp.
struct Color {
    uint8_t r = 0;
    uint8_t g = 0;
    uint8_t b = 0;
    bool operator==(const Color&) const = default;
};

// A default-made Style is style_default(): white on black.
struct Style {
    Color fg{255, 255, 255};
    Color bg;
    bool bold : 1 = false;
    bool underline : 1 = false;
    bool reverse : 1 = false;
    uint8_t unused : 5 = 0;  // always 0
    bool operator==(const Style& other) const { return memcmp(this, &other, sizeof(Style)) == 0; }
};

// A default-made Cell is a space in style_default(). A codepoint of -1 marks a cell that no drawn
// cell equals: the frame must be sent whole.
struct Cell {
    int32_t codepoint = 0x20;
    Style style;
    uint8_t unused = 0;  // always 0
    bool operator==(const Cell& other) const { return memcmp(this, &other, sizeof(Cell)) == 0; }
};
static_assert(sizeof(Style) == 7 && sizeof(Cell) == 12 && offsetof(Cell, style) == 4 &&
                  std::has_unique_object_representations_v<Cell>,
              "styles and cells are packed without padding");

// Row-major: the cell of x, y is cells[y * width + x], and there are exactly width * height.
class CellBuffer {
    NOLT_MANAGED(CellBuffer, void);

public:
    int32_t width = 0;
    int32_t height = 0;
    Member<runtime::Array<Cell>> cells;
};

enum class FrameStyle : int32_t { Ascii = 0, UnicodeLight = 1, None = 2 };

inline constexpr int32_t CH_PLUS = 0x2B;
inline constexpr int32_t CH_MINUS = 0x2D;
inline constexpr int32_t CH_PIPE = 0x7C;
inline constexpr int32_t CH_SPACE = 0x20;
inline constexpr int32_t CH_QUESTION = 0x3F;
inline constexpr int32_t BOX_TL_LIGHT = 0x250C;
inline constexpr int32_t BOX_H_LIGHT = 0x2500;
inline constexpr int32_t BOX_TR_LIGHT = 0x2510;
inline constexpr int32_t BOX_V_LIGHT = 0x2502;
inline constexpr int32_t BOX_BL_LIGHT = 0x2514;
inline constexpr int32_t BOX_BR_LIGHT = 0x2518;
inline constexpr int32_t BOX_TL_DOUBLE = 0x2554;
inline constexpr int32_t BOX_H_DOUBLE = 0x2550;
inline constexpr int32_t BOX_TR_DOUBLE = 0x2557;
inline constexpr int32_t BOX_V_DOUBLE = 0x2551;
inline constexpr int32_t BOX_BL_DOUBLE = 0x255A;
inline constexpr int32_t BOX_BR_DOUBLE = 0x255D;

// Box glyphs: top-left, top, top-right, vertical, bottom-left, bottom, bottom-right.
constexpr int32_t box_ascii_tl() { return CH_PLUS; }
constexpr int32_t box_ascii_t() { return CH_MINUS; }
constexpr int32_t box_ascii_tr() { return CH_PLUS; }
constexpr int32_t box_ascii_v() { return CH_PIPE; }
constexpr int32_t box_ascii_bl() { return CH_PLUS; }
constexpr int32_t box_ascii_b() { return CH_MINUS; }
constexpr int32_t box_ascii_br() { return CH_PLUS; }
constexpr int32_t box_light_tl() { return BOX_TL_LIGHT; }
constexpr int32_t box_light_t() { return BOX_H_LIGHT; }
constexpr int32_t box_light_tr() { return BOX_TR_LIGHT; }
constexpr int32_t box_light_v() { return BOX_V_LIGHT; }
constexpr int32_t box_light_bl() { return BOX_BL_LIGHT; }
constexpr int32_t box_light_b() { return BOX_H_LIGHT; }
constexpr int32_t box_light_br() { return BOX_BR_LIGHT; }
constexpr int32_t box_double_tl() { return BOX_TL_DOUBLE; }
constexpr int32_t box_double_t() { return BOX_H_DOUBLE; }
constexpr int32_t box_double_tr() { return BOX_TR_DOUBLE; }
constexpr int32_t box_double_v() { return BOX_V_DOUBLE; }
constexpr int32_t box_double_bl() { return BOX_BL_DOUBLE; }
constexpr int32_t box_double_b() { return BOX_H_DOUBLE; }
constexpr int32_t box_double_br() { return BOX_BR_DOUBLE; }

// The 16-colour palette that rgb_to_ansi16 picks from.
inline constexpr int32_t ansi16_r[16] = {0, 170, 0, 170, 0, 170, 0, 170, 85, 255, 0, 255, 0, 255, 0, 255};
inline constexpr int32_t ansi16_g[16] = {0, 0, 170, 170, 0, 0, 170, 170, 85, 0, 255, 255, 0, 0, 255, 255};
inline constexpr int32_t ansi16_b[16] = {0, 0, 0, 0, 170, 170, 170, 170, 85, 0, 0, 0, 255, 255, 255, 255};

// ---- Small values ------------------------------------------------------------------------

Point point(int32_t x, int32_t y);
Rect rect(int32_t x, int32_t y, int32_t w, int32_t h);
inline bool rect_empty(Rect r) { return r.w <= 0 || r.h <= 0; }
bool point_in_rect(Point p, Rect r);
// The overlap, or rect(0, 0, 0, 0) when there is none.
inline Rect rect_intersect(Rect a, Rect b) {
    if (rect_empty(a) || rect_empty(b)) return Rect{};
    int64_t x0 = a.x > b.x ? a.x : b.x, y0 = a.y > b.y ? a.y : b.y;
    int64_t x1 = (int64_t)a.x + a.w < (int64_t)b.x + b.w ? (int64_t)a.x + a.w : (int64_t)b.x + b.w;
    int64_t y1 = (int64_t)a.y + a.h < (int64_t)b.y + b.h ? (int64_t)a.y + a.h : (int64_t)b.y + b.h;
    if (x1 - x0 < 1 || y1 - y0 < 1) return Rect{};
    return Rect{(int32_t)x0, (int32_t)y0, (int32_t)(x1 - x0), (int32_t)(y1 - y0)};
}
inline Rect rect_clip_to_size(Rect r, int32_t w, int32_t h) {
    if (w < 1 || h < 1 || rect_empty(r)) return Rect{};
    return rect_intersect(r, Rect{0, 0, w, h});
}
int32_t clamp_byte(int32_t v);
Color color_rgb(int32_t r, int32_t g, int32_t b);
Color color_black();
Color color_white();
bool color_eq(Color a, Color b);
Style style_default();  // white on black, no attribute
Style style_make(Color fg, Color bg, bool bold, bool underline, bool reverse);
bool style_eq(const Style& a, const Style& b);
Cell cell_space(const Style& style);
bool cell_eq(const Cell& a, const Cell& b);
constexpr int32_t max_int(int32_t a, int32_t b) { return a > b ? a : b; }
constexpr int32_t min_int(int32_t a, int32_t b) { return a < b ? a : b; }
// `v` brought into low .. high; `low` wins when high < low.
constexpr int32_t clamp(int64_t v, int32_t low, int32_t high) { return v < low ? low : v > high ? high : (int32_t)v; }

// ---- Buffers -----------------------------------------------------------------------------

// Default spaces; a negative size counts as 0.
Root<CellBuffer> cellbuf_create(int32_t w, int32_t h);
// Keeps the overlapping top-left part; the rest is default spaces.
void cellbuf_resize(const Root<CellBuffer>& buf, int32_t w, int32_t h);
void cellbuf_clear(const Root<CellBuffer>& buf, const Style& style);
void cellbuf_put(const Root<CellBuffer>& buf, int32_t x, int32_t y, int32_t codepoint, const Style& style);
// cellbuf_put where x, y lies in `clip`.
void cellbuf_put_in(const Root<CellBuffer>& buf, int64_t x, int64_t y, int32_t codepoint, const Style& style,
                    Rect clip);
// The cell at x, y, where it lies in `clip`, with its reverse attribute flipped.
void cellbuf_invert_in(const Root<CellBuffer>& buf, int32_t x, int32_t y, Rect clip);
// Outside the buffer: a space in style_default().
Cell cellbuf_get(const Root<CellBuffer>& buf, int32_t x, int32_t y);
void cellbuf_fill_rect(const Root<CellBuffer>& buf, Rect r, int32_t codepoint, const Style& style);
// Draws from a pen at column x; tabs stop every 8 screen columns, control characters show as
// spaces, and a wide character takes its cell and a blank continuation cell.
void cellbuf_draw_text(const Root<CellBuffer>& buf, int32_t x, int32_t y, const string& text, const Style& style);
// The same, confined to `clip`: a wide character or tab that does not fit becomes spaces up to
// the edge, and one that starts left of the clip stores nothing.
void cellbuf_draw_text_in(const Root<CellBuffer>& buf, int32_t x, int32_t y, const string& text, const Style& style,
                          Rect clip);
// The bytes from `from` to `to` of `text`, drawn as cellbuf_draw_text_in draws a text of just
// those bytes; the range is cut to the text.
void cellbuf_draw_range_in(const Root<CellBuffer>& buf, int32_t x, int32_t y, const string& text, int32_t from,
                           int32_t to, const Style& style, Rect clip);
// For menu rows: the codepoint numbered `hot_index` (from 0) is drawn bold; stops before a
// glyph that would cross the clip's right edge. Tabs and control characters are not special.
void cellbuf_draw_text_hot(const Root<CellBuffer>& buf, int32_t x, int32_t y, const string& text, int32_t hot_index,
                           const Style& style, Rect clip);
// The frame of `r`: the corners that exist (a 1 by 1 rectangle gets `tl` alone), then the edges
// between them. The interior is not touched.
void draw_box_chars(const Root<CellBuffer>& buf, Rect r, const Style& style, int32_t tl, int32_t t, int32_t tr,
                    int32_t v, int32_t bl, int32_t b, int32_t br);
// The same, only the cells of the frame that lie in `clip`.
void cellbuf_draw_box_in(const Root<CellBuffer>& buf, Rect r, const Style& style, int32_t tl, int32_t t, int32_t tr,
                         int32_t v, int32_t bl, int32_t b, int32_t br, Rect clip);
void cellbuf_draw_box_glyphs(const Root<CellBuffer>& buf, Rect r, const Style& style, int32_t tl, int32_t t,
                             int32_t tr, int32_t v, int32_t bl, int32_t b, int32_t br);

// Sends the cells of `next` that differ from `prev` and brings `prev` up to `next`. A `prev` of
// another size is first resized and marked so that the whole frame goes out. The bytes of the
// frame are gathered and written together; on a closed terminal only `prev` changes.
void cellbuf_flush(const Root<Term>& term, const Root<CellBuffer>& next, const Root<CellBuffer>& prev);
// The same, except that a frame whose cells all equal `prev`'s sends nothing, not even the hiding
// of the cursor. Answers whether a cell differed.
bool cellbuf_flush_changes(const Root<Term>& term, const Root<CellBuffer>& next, const Root<CellBuffer>& prev);

// ---- Text measuring ----------------------------------------------------------------------

int32_t codepoint_display_width(int32_t cp);  // 1 or 2
int32_t tab_advance(int32_t col);             // to the next multiple of 8
int32_t text_display_width(const string& text);
// x = the codepoint at byte `index`, y = the index of the next one. Never fails: a bad or cut
// sequence gives its first byte's value, an index outside the text gives '?'.
Point utf8_decode_step(const string& text, int32_t index);
// Surrogates and values outside 0..0x10FFFF become '?'.
string codepoint_to_utf8(int32_t cp);
// Words joined by single spaces into lines of at most `width` cells; longer words are cut.
string text_wrap(const string& text, int32_t width);
int32_t text_wrap_rows(const string& text, int32_t width);

// ---- Colour reduction --------------------------------------------------------------------

int32_t rgb_to_256(int32_t r, int32_t g, int32_t b);
int32_t rgb_to_ansi16(int32_t r, int32_t g, int32_t b);
// Box drawing, blocks, arrows and bullets to ASCII look-alikes; anything else non-ASCII to '?'.
int32_t codepoint_ascii_fallback(int32_t cp);
// Reset, then the colours at the terminal's depth, then the attributes that are set.
void emit_style_for_depth(const Root<Term>& term, const Style& style);

}  // namespace kestrum
