#include "kestrum/cell.hpp"

#include <fcntl.h>
#include <stdio.h>

#include <string>
#include <thread>

#include "tests/support/stream.hpp"

using namespace kestrum;
using namespace stdlib;
using stream::take;

namespace {

class Cells : public testing::Test {
protected:
    // The rows as UTF-8, one glyph per cell, one after the other.
    static std::string rows(const Root<CellBuffer>& buf) {
        std::string out;
        for (int32_t y = 0; y < buf->height; y++)
            for (int32_t x = 0; x < buf->width; x++) out += c_str(codepoint_to_utf8(cellbuf_get(buf, x, y).codepoint));
        return out;
    }
    static Root<CellBuffer> dotted(int32_t w, int32_t h) {
        Root<CellBuffer> buf = cellbuf_create(w, h);
        cellbuf_fill_rect(buf, rect(0, 0, w, h), '.', style_default());
        return buf;
    }
    static std::string wrap(const char* text, int32_t width) { return c_str(text_wrap(from_c(text), width)); }

    const std::string hide = "\033[?25l";
    const std::string plain256 = "\033[0m\033[38;5;231m\033[48;5;16m";  // style_default() at 256 colours
};

TEST_F(Cells, MeasuresDecodesWrapsAndReducesColours) {
    EXPECT_EQ(tab_advance(0) * 100 + tab_advance(7) * 10 + tab_advance(-3), 818);
    EXPECT_EQ(text_display_width(from_c("\xe6\xbc\xa2x\t")), 8);
    EXPECT_EQ(codepoint_display_width(0x1100) + codepoint_display_width(0x1F9FF), 4);

    EXPECT_EQ(utf8_decode_step(from_c("\xff" "a"), 0), point(255, 1));
    EXPECT_EQ(utf8_decode_step(from_c("a\xe6\xbc"), 1), point(0xE6, 2));  // cut short at the end
    EXPECT_EQ(utf8_decode_step(from_c("\xf0\x9f\x98\x80"), 0), point(0x1F600, 4));
    EXPECT_EQ(utf8_decode_step("ab"_t, 2), point('?', 3));
    EXPECT_STREQ(c_str(codepoint_to_utf8(0x1F600)), "\xf0\x9f\x98\x80");
    EXPECT_STREQ(c_str(codepoint_to_utf8(0xD800)), "?");

    const char* wraps[][3] = {{"abcd efgh", "4", "abcd\nefgh"}, {"abcdefgh", "3", "abc\ndef\ngh"}, {"\nab", "5", "ab"},
                              {"ab\n\ncd", "5", "ab\n\ncd"},     {"a   b  ", "9", "a b"},
                              {"\xe6\xbc\xa2\xe5\xad\x97x", "3", "\xe6\xbc\xa2\n\xe5\xad\x97x"}, {"ab", "0", "a\nb"}};
    for (auto [text, width, wrapped] : wraps) EXPECT_EQ(wrap(text, atoi(width)), wrapped) << text;
    EXPECT_EQ(text_wrap_rows(""_t, 4) * 10 + text_wrap_rows("ab cd ef"_t, 2), 13);

    EXPECT_EQ(rgb_to_256(128, 128, 128), 244);
    EXPECT_EQ(rgb_to_256(100, 200, 120), 16 + 36 * 1 + 6 * 4 + 2);
    EXPECT_EQ(rgb_to_ansi16(85, 0, 0), 0);  // as near to 0 as to 1: the lower index
    EXPECT_EQ(rgb_to_ansi16(90, 90, 80), 8);
    std::string fallback;
    for (int32_t cp : {0x61, BOX_H_DOUBLE, BOX_V_LIGHT, BOX_TL_DOUBLE, 0x2591, 0x2588, 0x25B6, 0x25A0, 0x2026, 0x6F22})
        fallback += (char)codepoint_ascii_fallback(cp);
    EXPECT_EQ(fallback, "a-|+.#>*.?");
}

// Buffers keep their shape, and text, tabs, wide characters and boxes stay inside the buffer and the clip.
TEST_F(Cells, DrawingStaysInsideTheBufferAndTheClip) {
    EXPECT_EQ(runtime::length(Root<runtime::Array<Cell>>(cellbuf_create(-3, 2)->cells)), 0);
    Root<CellBuffer> buf = dotted(3, 2);
    for (int32_t x : {2, 3, -1}) cellbuf_put(buf, x, x == 2, 'q', style_default());
    cellbuf_resize(buf, 4, 1);
    EXPECT_EQ(rows(buf), "... ");
    cellbuf_resize(buf, 2, 3);
    cellbuf_fill_rect(buf, rect(-5, 1, 100, 100), '#', style_default());
    EXPECT_EQ(rows(buf), "..####");
    EXPECT_EQ(rect_clip_to_size(rect(-2, -2, 5, 5), 2, 8), rect(0, 0, 2, 3));

    buf = dotted(12, 1);
    cellbuf_draw_text(buf, 3, 0, from_c("\tX\x01"), style_default());  // tab stops count from the buffer's edge
    EXPECT_EQ(rows(buf), "...     X ..");
    buf = dotted(4, 1);
    cellbuf_draw_text(buf, -1, 0, from_c("ab\xe6\xbc\xa2\xe5\xad\x97"), style_default());
    for (int32_t y : {-1, 1}) cellbuf_draw_text(buf, 0, y, "zzzzz"_t, style_default());
    EXPECT_EQ(rows(buf), "b\xe6\xbc\xa2 \xe5\xad\x97");  // the second one sits in the last column

    // Clipped text never shows half a character.
    const struct {
        int32_t x;
        const char* text;
        Rect clip;
        const char* row;
    } clipped[] = {{1, "ab\xe6\xbc\xa2", rect(0, 0, 4, 1), ".ab ..."}, {0, "a\tbc", rect(0, 0, 4, 1), "a   ..."},
                   {1, "\xe6\xbc\xa2xy", rect(2, 0, 4, 1), "...xy.."}, {0, "zz", rect(0, 1, 6, 1), "......."}};
    for (const auto& c : clipped) {
        buf = dotted(7, 1);
        cellbuf_draw_text_in(buf, c.x, 0, from_c(c.text), style_default(), c.clip);
        EXPECT_EQ(rows(buf), c.row) << c.text;
    }
    // Every byte value, at each place within eight after printable ASCII, gives the cells of unclipped text.
    Style odd = style_make(color_rgb(1, 2, 3), color_rgb(4, 5, 6), true, false, true);
    for (int32_t byte = 1; byte < 256; byte++)
        for (int32_t from = 0; from < 8; from++) {
            std::string text = "abcdefghijklmnop" + std::string(1, (char)byte) + "qrstuvwxyz";
            Root<CellBuffer> fast = dotted(40, 1), plain = dotted(40, 1);
            cellbuf_draw_range_in(fast, 1, 0, from_c(text.c_str()), from, 99, odd, rect(0, 0, 40, 1));
            cellbuf_draw_text(plain, 1, 0, from_c(text.c_str() + from), odd);
            for (int32_t x = 0; x < 40; x++)
                EXPECT_EQ(cellbuf_get(fast, x, 0), cellbuf_get(plain, x, 0)) << byte << " " << from;
        }
    buf = dotted(8, 1);
    cellbuf_draw_text_hot(buf, 0, 0, from_c("\xc3\xa9\xe6\xbc\xa2xyz"), 1, style_default(), rect(0, 0, 5, 1));
    EXPECT_EQ(rows(buf), "\xc3\xa9\xe6\xbc\xa2 xy...");
    for (int32_t x = 0; x < 5; x++) EXPECT_EQ(cellbuf_get(buf, x, 0).style.bold, x == 1 || x == 2) << x;
    cellbuf_draw_text_hot(buf, 5, 0, from_c("ab\xe6\xbc\xa2"), -1, style_default(), rect(5, 0, 3, 1));
    EXPECT_EQ(rows(buf), "\xc3\xa9\xe6\xbc\xa2 xyab.");

    // Boxes of every size leave their inside.
    buf = dotted(4, 4);
    draw_box_chars(buf, rect(0, 0, 1, 3), style_default(), 'a', 'b', 'c', 'd', 'e', 'f', 'g');
    draw_box_chars(buf, rect(1, 0, 3, 1), style_default(), 'A', 'B', 'C', 'D', 'E', 'F', 'G');
    draw_box_chars(buf, rect(1, 1, 3, 3), style_default(), 'a', 'b', 'c', 'd', 'e', 'f', 'g');
    draw_box_chars(buf, rect(0, 3, 1, 1), style_default(), '1', '2', '3', '4', '5', '6', '7');
    EXPECT_EQ(rows(buf), "aABCdabced.d1efg");
}

TEST_F(Cells, FlushSendsOnlyTheCellsThatChanged) {
    stream::Pipe pipe;
    Root<Term> term = stream::open_on(pipe.write_end, ColorDepth::Color256);
    Root<CellBuffer> next = cellbuf_create(5, 2), prev = cellbuf_create(5, 2);
    cellbuf_draw_text(next, 0, 0, "abc"_t, style_default());
    cellbuf_draw_text(next, 0, 1, "de"_t, style_default());

    cellbuf_flush(term, next, prev);
    EXPECT_EQ(take(pipe.read_end), hide + "\033[1;1H" + plain256 + "abc\033[2;1Hde");
    EXPECT_EQ(term->write_calls, 1);
    EXPECT_EQ(rows(prev), "abc  de   ");
    cellbuf_flush(term, next, prev);
    EXPECT_EQ(take(pipe.read_end), hide);

    // A wide character at the last column is sent all the same and moves the tracked cursor by one.
    cellbuf_draw_text(next, 4, 0, from_c("\xe5\xad\x97"), style_default());
    cellbuf_flush(term, next, prev);
    EXPECT_EQ(take(pipe.read_end), hide + "\033[1;5H" + plain256 + "\xe5\xad\x97");
    EXPECT_EQ(term->cursor_x, 5);

    // A previous frame of another size is replaced and the whole frame goes out.
    Root<CellBuffer> small = cellbuf_create(2, 1);
    cellbuf_flush(term, small, prev);
    EXPECT_EQ(take(pipe.read_end), hide + "\033[1;1H" + plain256 + "  ");
    EXPECT_EQ(prev->width * 10 + prev->height, 21);

    // On a closed terminal the frame is only recorded.
    term_close(term);
    take(pipe.read_end);
    cellbuf_put(small, 0, 0, 'q', style_default());
    cellbuf_flush(term, small, prev);
    EXPECT_EQ(take(pipe.read_end), "");
    EXPECT_EQ(rows(prev), "q ");
}

TEST_F(Cells, FlushWritesWholeFramesThroughShortWrites) {
    Root<CellBuffer> next = cellbuf_create(120, 40);
    Style odd = style_make(color_rgb(10, 20, 30), color_rgb(200, 100, 0), false, true, false);
    for (int32_t y = 0; y < 40; y++)
        for (int32_t x = 0; x < 120; x++) cellbuf_put(next, x, y, 'a' + (x + y) % 26, (x + y) % 2 ? odd : style_default());

    FILE* file = tmpfile();
    ASSERT_NE(file, nullptr);
    Root<Term> reference = stream::open_on(fileno(file), ColorDepth::TrueColor);
    cellbuf_flush(reference, next, cellbuf_create(120, 40));
    std::string expected(reference->bytes_written, '\0');
    ASSERT_EQ(pread(fileno(file), expected.data(), expected.size(), 0), (ssize_t)expected.size());
    EXPECT_EQ(reference->write_calls, 1);
    fclose(file);

    // A non-blocking pipe of one page takes the frame in many short pieces.
    stream::Pipe pipe;
    fcntl(pipe.write_end, F_SETPIPE_SZ, 4096);
    fcntl(pipe.write_end, F_SETFL, O_NONBLOCK);
    std::string got;
    std::thread reader([&] {
        char chunk[1024];
        ssize_t n;
        while ((n = read(pipe.read_end, chunk, sizeof chunk)) > 0) got.append(chunk, (size_t)n);
    });
    Root<Term> term = stream::open_on(pipe.write_end, ColorDepth::TrueColor);
    cellbuf_flush(term, next, cellbuf_create(120, 40));
    close(pipe.write_end);
    pipe.write_end = -1;
    reader.join();
    EXPECT_GT(term->write_calls, 1);
    EXPECT_TRUE(got == expected) << got.size() << " bytes arrived of " << expected.size();
}

// The exact bytes of two flushes of a small frame: three styles changing back and forth, cells left
// alone mid-row, wide characters, rows with nothing changed; at each depth and in basic mode, where
// bright colours fold to the plain ones and glyphs beyond ASCII have stand-ins.
TEST_F(Cells, FlushBytesArePinnedAtEachDepth) {
    Style plain = style_default();
    Style key = style_make(color_rgb(255, 180, 0), color_rgb(30, 30, 40), true, false, false);
    Style odd = style_make(color_rgb(10, 20, 30), color_rgb(200, 100, 200), false, true, true);
    // Each depth's colours for the three styles, and whether glyphs beyond ASCII get stand-ins.
    const struct { std::string key, odd, plain; bool basic; } depths[] = {
        {"", "", "", false},
        {"\033[93m\033[40m", "\033[30m\033[47m", "\033[97m\033[40m", false},
        {"\033[38;5;214m\033[48;5;16m", "\033[38;5;16m\033[48;5;170m", "\033[38;5;231m\033[48;5;16m", false},
        {"\033[38;2;255;180;0m\033[48;2;30;30;40m", "\033[38;2;10;20;30m\033[48;2;200;100;200m",
         "\033[38;2;255;255;255m\033[48;2;0;0;0m", false},
        {"\033[33m\033[40m", "\033[30m\033[47m", "\033[37m\033[40m", true},
    };
    for (int depth = 0; depth < 5; depth++) {
        stream::Pipe pipe;
        Root<Term> term = stream::open_on(pipe.write_end, (ColorDepth)(depth == 4 ? 1 : depth), depth == 4);
        take(pipe.read_end);
        Root<CellBuffer> next = cellbuf_create(8, 4), prev = cellbuf_create(8, 4);
        cellbuf_draw_text(next, 0, 0, "ab"_t, key);
        cellbuf_draw_text(next, 2, 0, from_c("c\xe6\xbc\xa2" "d"), odd);
        cellbuf_draw_text(next, 6, 0, "ef"_t, key);
        cellbuf_draw_text(next, 1, 2, from_c("x \xe2\x95\x94y"), plain);
        cellbuf_draw_text(next, 6, 2, from_c("\xe5\xad\x97"), odd);
        cellbuf_draw_text(next, 7, 3, "z"_t, key);
        cellbuf_flush(term, next, prev);
        cellbuf_draw_text(next, 3, 0, "Q"_t, key);
        cellbuf_draw_text(next, 0, 3, "w"_t, odd);
        cellbuf_flush(term, next, prev);
        const auto& [k, o, p, basic] = depths[depth];
        std::string wide = basic ? "? " : "\xe6\xbc\xa2", wide2 = basic ? "? " : "\xe5\xad\x97";
        std::string corner = basic ? "+" : "\xe2\x95\x94";
        EXPECT_EQ(take(pipe.read_end), "\033[?25l\033[1;1H\033[0m" + k + "\033[1mab\033[0m" + o + "\033[4m\033[7mc" + wide +
                                           "d\033[0m" + k + "\033[1mef\033[3;2H\033[0m" + p + "x\033[3;4H" + corner +
                                           "y\033[3;7H\033[0m" + o + "\033[4m\033[7m" + wide2 + "\033[4;8H\033[0m" + k +
                                           "\033[1mz\033[?25l\033[1;4H\033[0m" + k + "\033[1mQ\033[4;1H\033[0m" + o +
                                           "\033[4m\033[7mw")
            << depth;
    }
}

}  // namespace
