#include "kestrum/cell.hpp"

#include <string.h>

#include <bit>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace kestrum {

using namespace stdlib;
using runtime::Array;

// ---- Small values ------------------------------------------------------------------------

Point point(int32_t x, int32_t y) { return Point{x, y}; }
Rect rect(int32_t x, int32_t y, int32_t w, int32_t h) { return Rect{x, y, w, h}; }

bool point_in_rect(Point p, Rect r) {
    return !rect_empty(r) && r.x <= p.x && (int64_t)p.x < (int64_t)r.x + r.w && r.y <= p.y &&
           (int64_t)p.y < (int64_t)r.y + r.h;
}

int32_t clamp_byte(int32_t v) { return clamp(v, 0, 255); }
Color color_rgb(int32_t r, int32_t g, int32_t b) {
    return Color{(uint8_t)clamp_byte(r), (uint8_t)clamp_byte(g), (uint8_t)clamp_byte(b)};
}
Color color_black() { return Color{0, 0, 0}; }
Color color_white() { return Color{255, 255, 255}; }
bool color_eq(Color a, Color b) { return a == b; }
Style style_default() { return Style{color_white(), color_black(), false, false, false}; }

Style style_make(Color fg, Color bg, bool bold, bool underline, bool reverse) {
    return Style{fg, bg, bold, underline, reverse};
}

bool style_eq(const Style& a, const Style& b) { return a == b; }
Cell cell_space(const Style& style) { return Cell{CH_SPACE, style}; }
bool cell_eq(const Cell& a, const Cell& b) { return a == b; }

// ---- Text measuring ----------------------------------------------------------------------

namespace {

const unsigned char* bytes_of(const string& text) { return (const unsigned char*)c_str(text); }

// The codepoint at s[i] of an n-byte text, with i inside it; `next` gets the following index.
int32_t decode(const unsigned char* s, int32_t n, int32_t i, int32_t& next) {
    int32_t c = s[i], count = c < 0xC0 ? 0 : c < 0xE0 ? 1 : c < 0xF0 ? 2 : c < 0xF8 ? 3 : 0;
    next = i + 1;
    if (count == 0 || i + count >= n) return c;
    int32_t cp = c & (0x3F >> count);
    for (int32_t k = 1; k <= count; k++) {
        if ((s[i + k] & 0xC0) != 0x80) return c;
        cp = cp << 6 | (s[i + k] & 0x3F);
    }
    next = i + count + 1;
    return cp;
}

// Encodes into `out` (4 bytes); surrogates and values outside Unicode become '?'.
int32_t encode(int32_t cp, char* out) {
    if (cp < 0 || cp >= 0x110000 || (cp >= 0xD800 && cp <= 0xDFFF)) cp = CH_QUESTION;
    if (cp < 0x80) {
        out[0] = (char)cp;
        return 1;
    }
    int32_t count = cp < 0x800 ? 2 : cp < 0x10000 ? 3 : 4;
    static const unsigned char lead[5] = {0, 0, 0xC0, 0xE0, 0xF0};
    for (int32_t k = count - 1; k > 0; k--, cp >>= 6) out[k] = (char)(0x80 | (cp & 0x3F));
    out[0] = (char)(lead[count] | cp);
    return count;
}

int32_t tab_from(int64_t pen) { return pen < 0 ? 8 : 8 - (int32_t)(pen % 8); }

}  // namespace

int32_t codepoint_display_width(int32_t cp) {
    static const int32_t wide[][2] = {{0x1100, 0x115F}, {0x2E80, 0xA4CF}, {0xAC00, 0xD7A3}, {0xF900, 0xFAFF},
                                      {0xFE30, 0xFE4F}, {0xFF01, 0xFF60}, {0xFFE0, 0xFFE6}, {0x1F300, 0x1F64F},
                                      {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};
    if (cp < 0x1100) return 1;
    for (const auto& range : wide)
        if (cp >= range[0] && cp <= range[1]) return 2;
    return 1;
}

int32_t tab_advance(int32_t col) { return tab_from(col); }

int32_t text_display_width(const string& text) {
    const unsigned char* s = bytes_of(text);
    int32_t n = length(text), width = 0;
    for (int32_t i = 0; i < n;) {
        int32_t cp = decode(s, n, i, i);
        width += cp == '\t' ? tab_advance(width) : codepoint_display_width(cp);
    }
    return width;
}

Point utf8_decode_step(const string& text, int32_t index) {
    int32_t n = length(text), next;
    if (index < 0 || index >= n) return point(CH_QUESTION, (int32_t)((int64_t)index + 1));
    int32_t cp = decode(bytes_of(text), n, index, next);
    return point(cp, next);
}

string codepoint_to_utf8(int32_t cp) {
    char out[4];
    return from_bytes(out, encode(cp, out));
}

namespace {

// One text being built on the managed heap; its buffer doubles when full.
struct Bytes {
    Root<Text> text;
    int32_t length = 0;

    void add(const char* p, int32_t n) {
        if (n <= 0) return;
        uint64_t need = (uint64_t)length + n + 1;
        if (!text || need > text->capacity()) {
            uint64_t capacity = text ? text->capacity() * 2 : 64;
            Root<Text> grown = runtime::make_text_buffer(capacity > need ? capacity : need);
            if (length > 0) memcpy(grown->bytes(), text->c_str(), (size_t)length);
            text = grown;
        }
        memcpy(text->bytes() + length, p, (size_t)n);
        length += n;
    }
    string build() const { return length > 0 ? from_bytes(text->c_str(), length) : empty_string(); }
};

}  // namespace

string text_wrap(const string& text, int32_t width) {
    if (width < 1) width = 1;
    const char* s = c_str(text);
    int32_t n = length(text);
    Bytes out, line;
    int32_t line_width = 0, word_start = 0, word_end = 0, word_width = 0;

    auto push = [&](const char* p, int32_t count) {
        if (out.length > 0) out.add("\n", 1);
        out.add(p, count);
    };
    auto push_line = [&] {
        push(line.text ? line.text->c_str() : nullptr, line.length);
        line.length = line_width = 0;
    };
    auto commit = [&] {
        if (word_width <= 0) return;
        if (line_width > 0 && line_width + 1 + word_width > width) push_line();
        if (line_width > 0) line.add(" ", 1), line_width++;
        line.add(s + word_start, word_end - word_start);
        line_width += word_width;
        word_width = 0;
    };

    for (int32_t i = 0; i < n;) {
        int32_t start = i;
        int32_t cp = decode((const unsigned char*)s, n, i, i);
        if (cp == '\n') {
            commit();
            push_line();
        } else if (cp == ' ') {
            commit();
        } else {
            int32_t w = codepoint_display_width(cp);
            if (word_width + w > width) {
                if (line_width > 0) push_line();
                if (word_width > 0) push(s + word_start, word_end - word_start);
                word_width = 0;
            }
            if (word_width == 0) word_start = start;
            word_end = i;
            word_width += w;
        }
    }
    commit();
    if (line.length > 0 || out.length == 0) push_line();
    return out.build();
}

int32_t text_wrap_rows(const string& text, int32_t width) {
    string wrapped = text_wrap(text, width);
    return is_empty(wrapped) ? 1 : 1 + count_char(wrapped, '\n');
}

// ---- Buffers -----------------------------------------------------------------------------

namespace {

inline Cell* cells_of(const Root<CellBuffer>& buf) { return buf->cells ? buf->cells->data() : nullptr; }

// Stores `cell` in `count` slots from `to`: four cells (48 bytes) at a time up to a block of 256,
// and a longer run is then copied on from that block, which the C library's copy does with its
// widest moves.
void fill_cells(Cell* to, int64_t count, const Cell& cell) {
    int64_t block = count < 256 ? count : 256, i = 0;
    if (block >= 4) {
        const Cell four[4] = {cell, cell, cell, cell};
        for (; i + 4 <= block; i += 4) memcpy(to + i, four, sizeof four);
    }
    for (; i < block; i++) to[i] = cell;
    for (; i < count; i += block)
        memcpy(to + i, to, (size_t)(count - i < block ? count - i : block) * sizeof(Cell));
}

Root<Array<Cell>> filled_cells(int32_t w, int32_t h, const Cell& cell) {
    uint64_t count = (uint64_t)w * (uint64_t)h;
    Root<Array<Cell>> cells = Array<Cell>::make(count);
    fill_cells(cells->data(), (int64_t)count, cell);
    return cells;
}

bool inside(const Root<CellBuffer>& buf, int64_t x, int64_t y) {
    return buf && x >= 0 && y >= 0 && x < buf->width && y < buf->height;
}

// The first cell of row y, or null when the row is outside the buffer.
inline Cell* row_of(const Root<CellBuffer>& buf, int32_t y) {
    CellBuffer* b = buf.get();
    if (!b || y < 0 || y >= b->height || b->width < 1) return nullptr;
    return b->cells->data() + (int64_t)y * b->width;
}

bool row_in_clip(int32_t y, Rect clip) { return !rect_empty(clip) && y >= clip.y && (int64_t)y < (int64_t)clip.y + clip.h; }

// Width and shown glyph of a codepoint in running text at screen column `pen`.
void text_glyph(int32_t cp, int64_t pen, int32_t& width, int32_t& glyph) {
    if (cp == '\t') {
        width = tab_from(pen);
        glyph = CH_SPACE;
    } else if (cp < 0x20 || cp == 0x7F) {
        width = 1;
        glyph = CH_SPACE;
    } else {
        width = codepoint_display_width(cp);
        glyph = cp;
    }
}

// The codepoint at s[i] with `i` moved past it: printable ASCII, the common case, without a call.
inline int32_t next_codepoint(const unsigned char* s, int32_t n, int32_t& i) {
    int32_t c = s[i];
    if (c >= 0x20 && c < 0x7F) {
        i++;
        return c;
    }
    return decode(s, n, i, i);
}

// A style as the last 8 bytes of its cells, stored beside a codepoint in two moves. Building a
// whole Cell in memory for each glyph and copying it would make the copy wait on the narrower
// store of the codepoint.
struct CellTail {
    uint64_t bytes = 0;  // the style, then the cell's unused byte, 0
    // Two overlapping four-byte reads put together in a register: a seven-byte copy would leave
    // the bytes in memory in pieces, which an eight-byte read then waits on.
    explicit CellTail(const Style& style) {
        uint32_t low, high;
        memcpy(&low, (const void*)&style, 4);
        memcpy(&high, (const char*)&style + 3, 4);
        if constexpr (std::endian::native == std::endian::little)
            bytes = low | (uint64_t)(high >> 8) << 32;
        else
            bytes = (uint64_t)low << 32 | (uint64_t)(high & 0xFFFFFF) << 8;
    }
};

inline void put_cell(Cell* at, int32_t codepoint, CellTail tail) {
    at->codepoint = codepoint;
    memcpy((char*)at + sizeof codepoint, &tail.bytes, sizeof tail.bytes);
}

// The glyph at `pen` and blanks in the rest of its width, as far as `end` (exclusive).
inline void store_glyph(Cell* row, int64_t pen, int32_t width, int64_t end, int32_t glyph, CellTail tail) {
    put_cell(row + pen, glyph, tail);
    for (int64_t k = pen + 1; k < pen + width && k < end; k++) put_cell(row + k, CH_SPACE, tail);
}

// Eight bytes of printable ASCII as eight cells from `at`. With SSE2, four cells are three 16-byte
// words: the style's bytes where they go, and the four codepoints put in between.
struct AsciiCells {
#ifdef __SSE2__
    __m128i words[3], zero = _mm_setzero_si128();
    explicit AsciiCells(CellTail tail) {
        int32_t t[2];
        memcpy(t, &tail.bytes, sizeof t);
        words[0] = _mm_setr_epi32(0, t[0], t[1], 0);
        words[1] = _mm_setr_epi32(t[0], t[1], 0, t[0]);
        words[2] = _mm_setr_epi32(t[1], 0, t[0], t[1]);
    }
    void put(Cell* at, const unsigned char* s) const {
        for (int32_t half = 0; half < 2; half++, at += 4, s += 4) {
            int32_t bytes;
            memcpy(&bytes, s, sizeof bytes);
            __m128i c = _mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(bytes), zero), zero);
            __m128i c0_c1 = _mm_and_si128(_mm_shuffle_epi32(c, 0x40), _mm_setr_epi32(-1, 0, 0, -1));
            __m128i c2 = _mm_and_si128(c, _mm_setr_epi32(0, 0, -1, 0));
            __m128i c3 = _mm_and_si128(_mm_srli_si128(c, 8), _mm_setr_epi32(0, -1, 0, 0));
            _mm_storeu_si128((__m128i*)at, _mm_or_si128(words[0], c0_c1));
            _mm_storeu_si128((__m128i*)at + 1, _mm_or_si128(words[1], c2));
            _mm_storeu_si128((__m128i*)at + 2, _mm_or_si128(words[2], c3));
        }
    }
#else
    CellTail tail;
    explicit AsciiCells(CellTail style) : tail(style) {}
    void put(Cell* at, const unsigned char* s) const {
        for (int32_t j = 0; j < 8; j++) put_cell(at + j, s[j], tail);
    }
#endif
};

// Stores the printable ASCII that starts s[0 .. count), one cell each from `at`, and answers how
// many bytes that was. Eight bytes are tested at once: none may have the high bit, be below 0x20
// or be 0x7F (such a byte gives a high bit in x - 0x20 or x + 1; the first one is always caught,
// since no carry or borrow reaches it from below).
inline int32_t put_ascii_run(Cell* at, const unsigned char* s, int32_t count, CellTail tail) {
    constexpr uint64_t ones = 0x0101010101010101, highs = ones * 0x80;
    int32_t k = 0;
    if (count >= 8) {
        AsciiCells eight(tail);
        for (uint64_t x; k + 8 <= count; k += 8) {
            memcpy(&x, s + k, sizeof x);
            if ((x | (x - ones * 0x20) | (x + ones)) & highs) break;
            eight.put(at + k, s + k);
        }
    }
    for (; k < count && s[k] >= 0x20 && s[k] < 0x7F; k++) put_cell(at + k, s[k], tail);
    return k;
}

}  // namespace

Root<CellBuffer> cellbuf_create(int32_t w, int32_t h) {
    Root<CellBuffer> buf = runtime::make<CellBuffer>();
    buf->width = w < 0 ? 0 : w;
    buf->height = h < 0 ? 0 : h;
    buf->cells = filled_cells(buf->width, buf->height, Cell{});
    return buf;
}

void cellbuf_resize(const Root<CellBuffer>& buf, int32_t w, int32_t h) {
    if (!buf) return;
    w = w < 0 ? 0 : w;
    h = h < 0 ? 0 : h;
    if (w == buf->width && h == buf->height) return;
    Root<Array<Cell>> cells = filled_cells(w, h, Cell{});
    int32_t keep_w = min_int(w, buf->width), keep_h = min_int(h, buf->height);
    const Cell* old = cells_of(buf);
    for (int32_t y = 0; y < keep_h && keep_w > 0; y++)
        memcpy(cells->data() + (int64_t)y * w, old + (int64_t)y * buf->width, (size_t)keep_w * sizeof(Cell));
    buf->width = w;
    buf->height = h;
    buf->cells = cells;
}

void cellbuf_clear(const Root<CellBuffer>& buf, const Style& style) {
    if (!buf) return;
    fill_cells(cells_of(buf), (int64_t)buf->width * buf->height, cell_space(style));
}

void cellbuf_put(const Root<CellBuffer>& buf, int32_t x, int32_t y, int32_t codepoint, const Style& style) {
    CellBuffer* b = buf.get();
    if (b && x >= 0 && y >= 0 && x < b->width && y < b->height)
        put_cell(b->cells->data() + (int64_t)y * b->width + x, codepoint, CellTail(style));
}

Cell cellbuf_get(const Root<CellBuffer>& buf, int32_t x, int32_t y) {
    if (!inside(buf, x, y)) return cell_space(style_default());
    return cells_of(buf)[(int64_t)y * buf->width + x];
}

void cellbuf_fill_rect(const Root<CellBuffer>& buf, Rect r, int32_t codepoint, const Style& style) {
    if (!buf) return;
    Rect area = rect_clip_to_size(r, buf->width, buf->height);
    if (rect_empty(area)) return;
    Cell cell{codepoint, style};
    Cell* row = cells_of(buf) + (int64_t)area.y * buf->width + area.x;
    // A span of whole rows is one run of cells; otherwise the first row is copied to the others.
    if (area.w == buf->width) return fill_cells(row, (int64_t)area.w * area.h, cell);
    fill_cells(row, area.w, cell);
    for (int32_t y = 1; y < area.h; y++) memcpy(row + (int64_t)y * buf->width, row, (size_t)area.w * sizeof(Cell));
}

void cellbuf_draw_text(const Root<CellBuffer>& buf, int32_t x, int32_t y, const string& text, const Style& style) {
    Cell* row = row_of(buf, y);
    if (!row) return;
    const unsigned char* s = bytes_of(text);
    int32_t n = length(text), width = buf->width;
    int64_t pen = x;
    CellTail tail(style);
    for (int32_t i = 0; i < n && pen < width;) {
        int32_t w, glyph;
        text_glyph(next_codepoint(s, n, i), pen, w, glyph);
        if (pen >= 0) store_glyph(row, pen, w, width, glyph, tail);
        pen += w;
    }
}

namespace {

// The `n` bytes from `s`, drawn at x, y as cellbuf_draw_text_in draws a text.
void draw_bytes_in(const Root<CellBuffer>& buf, int32_t x, int32_t y, const unsigned char* s, int32_t n,
                   const Style& style, const Rect& clip) {
    Cell* row = row_of(buf, y);
    if (!row || !row_in_clip(y, clip) || n <= 0) return;
    int32_t width = buf->width;
    int64_t right = (int64_t)clip.x + clip.w, end = right < width ? right : width;
    int64_t pen = x, left = clip.x > 0 ? clip.x : 0;
    CellTail tail(style);
    for (int32_t i = 0; i < n && pen < end;) {
        // A run of printable ASCII from the clip's left edge on, the common case: one cell each, as
        // far as the text or the clip goes.
        if (pen >= left) {
            int32_t stored = put_ascii_run(row + pen, s + i, end - pen < n - i ? (int32_t)(end - pen) : n - i, tail);
            pen += stored;
            i += stored;
            if (i == n || pen == end) break;
        }
        int32_t w, glyph, next = i;
        text_glyph(next_codepoint(s, n, next), pen, w, glyph);
        i = next;
        if (pen + w > right) {
            w = (int32_t)(right - pen);
            glyph = CH_SPACE;
        }
        if (pen >= left) store_glyph(row, pen, w, end, glyph, tail);
        pen += w;
    }
}

}  // namespace

void cellbuf_draw_text_in(const Root<CellBuffer>& buf, int32_t x, int32_t y, const string& text, const Style& style,
                          Rect clip) {
    if (Text* t = text.get()) draw_bytes_in(buf, x, y, (const unsigned char*)t->c_str(), t->length(), style, clip);
}

void cellbuf_draw_range_in(const Root<CellBuffer>& buf, int32_t x, int32_t y, const string& text, int32_t from,
                           int32_t to, const Style& style, Rect clip) {
    Text* t = text.get();
    if (!t) return;
    from = max_int(from, 0);
    to = min_int(to, t->length());
    if (to > from) draw_bytes_in(buf, x, y, (const unsigned char*)t->c_str() + from, to - from, style, clip);
}

void cellbuf_draw_text_hot(const Root<CellBuffer>& buf, int32_t x, int32_t y, const string& text, int32_t hot_index,
                           const Style& style, Rect clip) {
    Cell* row = row_of(buf, y);
    if (!row || !row_in_clip(y, clip)) return;
    Style hot = style;
    hot.bold = true;
    const unsigned char* s = bytes_of(text);
    int32_t n = length(text), width = buf->width;
    int64_t right = (int64_t)clip.x + clip.w, end = right < width ? right : width;
    int64_t pen = x;
    CellTail tail(style), hot_tail(hot);
    for (int32_t i = 0, index = 0; i < n && pen < end; index++) {
        int32_t cp = next_codepoint(s, n, i), w = codepoint_display_width(cp);
        if (pen + w > right) break;
        if (pen >= clip.x && pen >= 0) store_glyph(row, pen, w, end, cp, index == hot_index ? hot_tail : tail);
        pen += w;
    }
}

void cellbuf_put_in(const Root<CellBuffer>& buf, int64_t x, int64_t y, int32_t codepoint, const Style& style,
                    Rect clip) {
    if (x >= clip.x && x < (int64_t)clip.x + clip.w && y >= clip.y && y < (int64_t)clip.y + clip.h)
        cellbuf_put(buf, (int32_t)x, (int32_t)y, codepoint, style);
}

void cellbuf_invert_in(const Root<CellBuffer>& buf, int32_t x, int32_t y, Rect clip) {
    if (!inside(buf, x, y) || !point_in_rect(point(x, y), clip)) return;
    Style& style = cells_of(buf)[(int64_t)y * buf->width + x].style;
    style.reverse = !style.reverse;
}

void draw_box_chars(const Root<CellBuffer>& buf, Rect r, const Style& style, int32_t tl, int32_t t, int32_t tr,
                    int32_t v, int32_t bl, int32_t b, int32_t br) {
    if (buf) cellbuf_draw_box_in(buf, r, style, tl, t, tr, v, bl, b, br, rect(0, 0, buf->width, buf->height));
}

void cellbuf_draw_box_in(const Root<CellBuffer>& buf, Rect r, const Style& style, int32_t tl, int32_t t, int32_t tr,
                         int32_t v, int32_t bl, int32_t b, int32_t br, Rect clip) {
    if (!buf || rect_empty(r)) return;
    int64_t x0 = r.x, y0 = r.y, x1 = x0 + r.w - 1, y1 = y0 + r.h - 1;
    // The cells that may change: the clip within the buffer.
    Rect area = rect_clip_to_size(clip, buf->width, buf->height);
    Cell* cells = cells_of(buf);
    int32_t width = buf->width;
    CellTail tail(style);
    auto put = [&](int64_t x, int64_t y, int32_t cp) {
        if (x >= area.x && x < area.x + area.w && y >= area.y && y < area.y + area.h)
            put_cell(cells + y * width + x, cp, tail);
    };
    put(x0, y0, tl);
    if (r.w > 1) put(x1, y0, tr);
    if (r.h > 1) put(x0, y1, bl);
    if (r.w > 1 && r.h > 1) put(x1, y1, br);
    // Only the stretch of each edge that lies inside the area is stored: the top and bottom edges as
    // runs of one cell.
    int64_t from = x0 + 1 > area.x ? x0 + 1 : area.x, to = x1 < area.x + area.w ? x1 : area.x + area.w;
    auto run = [&](int64_t y, int32_t cp) {
        if (from < to && y >= area.y && y < area.y + area.h)
            fill_cells(cells + y * width + from, to - from, Cell{cp, style});
    };
    run(y0, t);
    if (r.h > 1) run(y1, b);
    for (int64_t y = y0 + 1 > area.y ? y0 + 1 : area.y; y < y1 && y < area.y + area.h; y++) {
        put(x0, y, v);
        if (r.w > 1) put(x1, y, v);
    }
}

void cellbuf_draw_box_glyphs(const Root<CellBuffer>& buf, Rect r, const Style& style, int32_t tl, int32_t t,
                             int32_t tr, int32_t v, int32_t bl, int32_t b, int32_t br) {
    draw_box_chars(buf, r, style, tl, t, tr, v, bl, b, br);
}

// ---- Colour reduction --------------------------------------------------------------------

int32_t rgb_to_256(int32_t r, int32_t g, int32_t b) {
    r = clamp_byte(r), g = clamp_byte(g), b = clamp_byte(b);
    int32_t high = max_int(r, max_int(g, b)), low = min_int(r, min_int(g, b));
    if (high - low >= 8) {
        auto level = [](int32_t v) { return v < 48 ? 0 : v < 115 ? 1 : v < 155 ? 2 : v < 195 ? 3 : v < 235 ? 4 : 5; };
        return 16 + 36 * level(r) + 6 * level(g) + level(b);
    }
    int32_t average = (r + g + b) / 3;
    return average < 8 ? 16 : average < 239 ? 232 + (average - 8) / 10 : 231;
}

int32_t rgb_to_ansi16(int32_t r, int32_t g, int32_t b) {
    int32_t best = 0;
    int64_t best_distance = INT64_MAX;
    for (int32_t i = 0; i < 16; i++) {
        int64_t dr = (int64_t)r - ansi16_r[i], dg = (int64_t)g - ansi16_g[i], db = (int64_t)b - ansi16_b[i];
        int64_t distance = dr * dr + dg * dg + db * db;
        if (distance < best_distance) best = i, best_distance = distance;
    }
    return best;
}

int32_t codepoint_ascii_fallback(int32_t cp) {
    static const int32_t dashes[] = {0x2500, 0x2501, 0x2504, 0x2505, 0x2508, 0x2509, 0x254C, 0x254D,
                                     0x2550, 0x2574, 0x2576, 0x2578, 0x257A, 0x257C, 0x257E};
    static const int32_t bars[] = {0x2502, 0x2503, 0x2506, 0x2507, 0x250A, 0x250B, 0x254E, 0x254F,
                                   0x2551, 0x2575, 0x2577, 0x2579, 0x257B, 0x257D, 0x257F};
    static const struct {
        int32_t from, to;
    } singles[] = {{0x2591, '.'}, {0x2592, ':'}, {0x2190, '<'}, {0x25C0, '<'}, {0x25C2, '<'}, {0x25C4, '<'},
                   {0x2191, '^'}, {0x25B2, '^'}, {0x25B4, '^'}, {0x2192, '>'}, {0x25B6, '>'}, {0x25B8, '>'},
                   {0x25BA, '>'}, {0x2193, 'v'}, {0x25BC, 'v'}, {0x25BE, 'v'}, {0x00B7, '.'}, {0x2022, '.'},
                   {0x2026, '.'}};
    if (cp >= 0 && cp <= 127) return cp;
    if (cp >= 0x2500 && cp <= 0x257F) {
        for (int32_t d : dashes)
            if (cp == d) return '-';
        for (int32_t d : bars)
            if (cp == d) return '|';
        return '+';
    }
    for (const auto& single : singles)
        if (cp == single.from) return single.to;
    if (cp >= 0x2580 && cp <= 0x259F) return '#';
    if (cp >= 0x25A0 && cp <= 0x25FF) return '*';
    return CH_QUESTION;
}

void emit_style_for_depth(const Root<Term>& term, const Style& style) {
    term_sgr_reset(term);
    if (!term) return;
    const Color& fg = style.fg;
    const Color& bg = style.bg;
    switch (term->depth) {
        case ColorDepth::Mono:
            break;
        case ColorDepth::Ansi16:
            term_sgr_16_fg(term, rgb_to_ansi16(fg.r, fg.g, fg.b));
            term_sgr_16_bg(term, rgb_to_ansi16(bg.r, bg.g, bg.b));
            break;
        case ColorDepth::Color256:
            term_sgr_256_fg(term, rgb_to_256(fg.r, fg.g, fg.b));
            term_sgr_256_bg(term, rgb_to_256(bg.r, bg.g, bg.b));
            break;
        case ColorDepth::TrueColor:
            term_sgr_truecolor_fg(term, fg.r, fg.g, fg.b);
            term_sgr_truecolor_bg(term, bg.r, bg.g, bg.b);
            break;
    }
    if (style.bold) term_sgr_bold(term, true);
    if (style.underline) term_sgr_underline(term, true);
    if (style.reverse) term_sgr_reverse(term, true);
}

// ---- Frame output ------------------------------------------------------------------------

namespace {

// The glyph bytes of a flush wait here and reach the terminal in one piece before each cursor
// move or style change and at the end, rather than one call per cell: the same bytes in order.
struct GlyphRun {
    const Root<Term>& term;
    char bytes[1024];
    int32_t length = 0;

    explicit GlyphRun(const Root<Term>& to) : term(to) {}

    void send() {
        if (length > 0) term_send(term, bytes, length);
        length = 0;
    }
    void add(int32_t cp) {
        if (length > (int32_t)sizeof bytes - 4) send();
        if (cp >= 0 && cp < 0x80)
            bytes[length++] = (char)cp;
        else
            length += encode(cp, bytes + length);
    }
};

// The bytes of the last styles a flush sent, so that a style that comes back is copied instead of
// built again: the same bytes. They are read back from the Term's gathered output right after
// emit_style_for_depth put them there.
struct StyleCache {
    struct Entry {
        Style style;
        int32_t length = 0;
        char bytes[96];
    };
    Entry entries[8];
    int32_t count = 0, oldest = 0;

    const Entry* find(const Style& style) const {
        for (int32_t i = 0; i < count; i++)
            if (entries[i].style == style) return &entries[i];
        return nullptr;
    }
    // Sends `style`, from the cache or by emit_style_for_depth.
    void send(const Root<Term>& term, const Style& style) {
        if (const Entry* hit = find(style)) {
            term_send(term, hit->bytes, hit->length);
            return;
        }
        Term* out = term.get();
        int32_t mark = out->gathered;
        emit_style_for_depth(term, style);
        // A write of the gathered bytes in between (near 2 GiB of them) leaves nothing to read.
        int32_t length = out->gathered - mark;
        if (out->gathering == 0 || length <= 0 || length > (int32_t)sizeof entries[0].bytes) return;
        int32_t slot = count;
        if (count < 8) {
            count++;
        } else {
            slot = oldest;
            oldest = (oldest + 1) % 8;
        }
        Entry& entry = entries[slot];
        entry.style = style;
        entry.length = length;
        memcpy(entry.bytes, out->gather->c_str() + mark, (size_t)length);
    }
};

}  // namespace

namespace {

// cellbuf_flush; with `quiet`, a frame that changes no cell sends nothing. Answers whether a cell
// differed.
bool flush(const Root<Term>& term, const Root<CellBuffer>& next, const Root<CellBuffer>& prev, bool quiet) {
    if (!next || !prev) return false;
    int32_t width = next->width, height = next->height;
    if (prev->width != width || prev->height != height) {
        // Resized and marked in one pass: nothing of the old content would survive the marking.
        prev->cells = filled_cells(width, height, Cell{-1, style_default()});
        prev->width = width;
        prev->height = height;
    }
    if (width < 1 || height < 1) return false;
    // The Term and both arrays stay put for the whole flush: the heap does not move objects, the
    // caller roots all three, and nothing below resizes the buffers.
    const Cell* drawn = cells_of(next);
    Cell* shown = cells_of(prev);
    // Cells hold no padding, so rows equal byte for byte are equal cell by cell: they send
    // nothing, and only the others are walked.
    auto same_row = [&](int32_t y) {
        return memcmp(drawn + (int64_t)y * width, shown + (int64_t)y * width, sizeof(Cell) * (size_t)width) == 0;
    };
    int32_t first = 0;
    while (first < height && same_row(first)) first++;
    if (quiet && first == height) return false;
    Term* out = term ? term.get() : nullptr;
    bool live = out && out->is_open;
    bool basic = out && out->config.basic;
    if (live) {
        term_gather_begin(term);
        term_hide_cursor(term);
        out->cursor_x = out->cursor_y = -1;
    }
    GlyphRun run(term);
    StyleCache styles;
    bool have_style = false;
    Style current;
    for (int32_t y = first; y < height; y++) {
        int64_t row = (int64_t)y * width;
        if (y > first && same_row(y)) continue;
        int32_t skip_until = -1;
        for (int32_t x = 0; x < width; x++) {
            const Cell& cell = drawn[row + x];
            if (x <= skip_until) {
                shown[row + x] = cell;
                continue;
            }
            if (cell == shown[row + x]) continue;
            int32_t cp = basic && cell.codepoint >= 128 ? codepoint_ascii_fallback(cell.codepoint) : cell.codepoint;
            int32_t cells = cp < 0x1100 ? 1 : codepoint_display_width(cp);
            if (cells == 2 && x + 1 >= width) cells = 1;
            if (live) {
                if (out->cursor_x != x || out->cursor_y != y) {
                    run.send();
                    term_emit_cup(term, x, y);
                }
                if (!have_style || !(cell.style == current)) {
                    run.send();
                    styles.send(term, cell.style);
                    current = cell.style;
                    have_style = true;
                }
                run.add(cp);
                out->cursor_x = x + cells;
                out->cursor_y = y;
            }
            shown[row + x] = cell;
            if (cells == 2) {
                skip_until = x + 1;
                shown[row + x + 1] = drawn[row + x + 1];
            }
        }
    }
    if (live) {
        run.send();
        term_gather_end(term);
    }
    return first < height;
}

}  // namespace

void cellbuf_flush(const Root<Term>& term, const Root<CellBuffer>& next, const Root<CellBuffer>& prev) {
    flush(term, next, prev, false);
}

bool cellbuf_flush_changes(const Root<Term>& term, const Root<CellBuffer>& next, const Root<CellBuffer>& prev) {
    return flush(term, next, prev, true);
}

}  // namespace kestrum
