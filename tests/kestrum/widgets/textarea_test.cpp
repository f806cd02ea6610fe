#include "kestrum/widgets/textarea.hpp"

#include <array>
#include <random>
#include <string>
#include <vector>

#include "tests/support/boot.hpp"
#include "tests/support/golden.hpp"

using namespace kestrum;
using namespace stdlib;
using test_support::Legend;
using test_support::whole;

namespace {

Event key(KeyCode code, bool shift = false) { return event_key(key_event(code, false, false, shift)); }
Event mouse(int32_t x, int32_t y, MouseButton b, bool pressed, bool motion = false, bool shift = false) {
    return event_mouse(mouse_event(x, y, b, pressed, motion, false, false, shift));
}
std::string str(const string& s) { return std::string(c_str(s), size_t(length(s))); }

// A text with '|' at the caret and '^' at the anchor of an active selection.
Root<TextArea> area_of(const std::string& marked, int32_t max_lines = 4, int32_t cap = 16, Rect r = rect(0, 0, 8, 3)) {
    Root<TextArea> a = TextArea::create(r, max_lines, r.h, cap);
    std::string plain;
    int32_t at[2][2] = {}, line = 0, col = 0;  // caret, anchor
    for (char c : marked) {
        if (c == '|' || c == '^') at[c == '^'][0] = line, at[c == '^'][1] = col;
        else plain += c, line += c == '\n', col = c == '\n' ? 0 : col + ((c & 0xC0) != 0x80);
    }
    a->set_text(from_bytes(plain.data(), int32_t(plain.size())));
    a->sel_active = marked.find('^') != std::string::npos;
    a->sel_anchor_line = at[1][0], a->sel_anchor_col = at[1][1];
    a->set_caret(at[0][0], at[0][1]);
    return a;
}

std::string state(const Root<TextArea>& a) {
    std::string out;
    for (int32_t i = 0; i < a->line_count; i++) {
        string l = a->line_or(i, ""_t);
        for (int32_t k = 0, n = line_cp_count(l); k <= n; k++) {
            if (a->sel_active && a->sel_anchor_line == i && a->sel_anchor_col == k) out += '^';
            if (a->caret_line == i && a->caret_col == k) out += '|';
            out += str(l).substr(cp_to_byte(l, k), cp_to_byte(l, k + 1) - cp_to_byte(l, k));
        }
        if (i + 1 < a->line_count) out += '\n';
    }
    return a->marking ? out + " [mark]" : out;
}

// Keys as text: printable characters are typed; <L> <R> <U> <D> <H> <E> <PU> <PD> <Ent> <BS> <Del>
// <Ins> <F4>, with S for Shift (<SL>); <X> types a non-ASCII letter; <P:text> pastes.
void run(const Root<TextArea>& a, const std::string& script) {
    static const std::pair<const char*, KeyCode> names[] = {
        {"L", key_arrow_left()}, {"R", key_arrow_right()}, {"U", key_arrow_up()}, {"D", key_arrow_down()},
        {"H", key_home()},       {"E", key_end()},         {"PU", key_page_up()}, {"PD", key_page_down()},
        {"Ent", key_enter()},    {"BS", key_backspace()},  {"Del", key_delete()}, {"Ins", key_insert()},
        {"F4", key_f(4)},        {"X", key_char(0xE9)}};
    for (size_t i = 0; i < script.size(); i++) {
        if (script[i] != '<') {
            a->handle_event(event_key(key_event_char(script[i])));
            continue;
        }
        size_t end = script.find('>', i);
        std::string name = script.substr(i + 1, end - i - 1);
        i = end;
        if (name.rfind("P:", 0) == 0) {
            a->paste(from_bytes(name.data() + 2, int32_t(name.size() - 2)));
            continue;
        }
        bool shift = name.size() > 1 && name[0] == 'S';
        if (shift) name = name.substr(1);
        for (const auto& [n, code] : names)
            if (name == n) a->handle_event(key(code, shift));
    }
}

#define WIDE "\xe4\xb8\xad"  // one character two cells wide, three bytes
#define E_ACUTE "\xc3\xa9"

TEST(TextAreaEditing, KeysAndPastesChangeLinesCaretAndSelection) {
    const struct Edit { const char *start, *script, *expect; int32_t max_lines = 4, cap = 16; } cases[] = {
        {"a|c", "b<X>", "ab|c"},
        {"1234567|", "ab", "1234567a|", 4, 8},                               // the cap: refused, caret stays
        {E_ACUTE E_ACUTE E_ACUTE "|", "abc", E_ACUTE E_ACUTE E_ACUTE "ab|", 4, 8},  // 6 + 2 bytes
        {"a" WIDE "|b", "<BS>", "a|b"},
        {"a|" E_ACUTE "b", "<Del>", "a|b"},
        {"ab\n|c", "<L><L>", "a|b\nc"},
        {"abcdef|\nab", "<D><U>", "ab|cdef\nab"},
        {"ab|cd", "<Ent>", "ab\n|cd"},
        {"a\nb|c", "<Ent>x", "a\nbx|c", 2},                                 // no line is free
        {"a\n^bc|d", "<Ent>", "a\n|d", 2},                                  // the selection still goes
        {"|ab", "<BS>", "|ab"},
        {"ab\n|cd", "<BS>", "ab|cd"},
        {"abcdef\n|ghijk", "<BS>", "abcdef|gh", 4, 8},                      // the join is cut at the cap
        {"abcdefg\n|" WIDE, "<BS>", "abcdefg|\xe4", 4, 8},                    // the cut splits a character
        {"a|bc", "<Ins>x", "ax|c"},
        {"|" WIDE "b", "<Ins>x", "x|b"},
        {"\xe4" "abcdef|g", "<Ins>x", "\xe4" "abcdefg|", 4, 8},  // a broken sequence: nothing to replace
        {"abc|d\nefgh", "<SD><SL>", "abc^d\nef|gh"},
        {"abc|d\nefgh", "<SD><SL><L>", "abcd\ne|fgh"},
        {"a^bc|d", "<BS>", "a|d"},
        {"abcdef^gh\nij|klmnop", "<Del>", "abcdef|kl", 4, 8},
        {"|abc", "<F4><R><R>", "^ab|c [mark]"},
        {"|abc", "<F4><R><R><F4>", "^ab|c"},
        {"a|b", "<P:x\r\ny\tz\x01" E_ACUTE ">", "ax\ny    z|b"},
        {"|", "<P:abcdefghij\nxy>", "abcdefgh\nxy|", 4, 8},
        {"a\n|b", "<P:x\ny>", "a\nxy|b", 2},
        {"abcde|", "<P:\t>", "abcde   |", 4, 8},
        {"^ab|c", "<P:xy>", "xy|c"},
        {"|a\nb\nc\nd", "<PD><PD><PU><D>", "a\n|b\nc\nd"},  // paging stops at the ends
    };
    for (const Edit& c : cases) {
        Root<TextArea> a = area_of(c.start, c.max_lines, c.cap);
        run(a, c.script);
        EXPECT_EQ(state(a), c.expect) << c.start << " + " << c.script;
    }
}

TEST(TextAreaEditing, WhatIsHandledAndWhatPassesOn) {
    Root<TextArea> a = area_of("|ab");
    for (Event ev : {key(key_tab()), key(key_escape()), key(key_f(5)), event_key(key_event_ctrl_letter('a')),
                     event_key(key_event_char(0xE9)), event_key(key_event(key_char('x'), false, true, false))})
        EXPECT_EQ(a->handle_event(ev), event_ignored());
    EXPECT_TRUE(a->handle_event(key(key_backspace())).handled && a->handle_event(key(key_f(4), true)).handled);
    a->enabled = false;
    EXPECT_EQ(a->handle_event(key(key_arrow_right())), event_ignored());
    EXPECT_EQ(state(a), "^|ab [mark]");  // Shift-F4 is F4
}

// The caret's column on screen and a click's column back, through a tab and a wide character.
// (Line endings and the caps on a loaded text are the editor's end-to-end flow's.)
TEST(TextAreaColumns, ThroughTabsAndWideCharacters) {
    string tabbed = from_c("\ta" WIDE "b");  // bytes 0, 1, 2..4, 5; cells 0..7, 8, 9..10, 11
    for (auto [cp, byte, cells, back] : {std::array{-1, 0, 0, 0}, {2, 2, 9, 2}, {3, 5, 11, 3}, {9, 6, 12, 4}})
        EXPECT_TRUE(cp_to_byte(tabbed, cp) == byte && cp_to_display(tabbed, cp) == cells && byte_to_cp(tabbed, byte) == back)
            << cp;
    const int32_t cells_cp[][2] = {{0, 0}, {7, 0}, {8, 1}, {9, 2}, {10, 2}, {11, 3}, {12, 4}, {40, 4}};
    for (auto [cells, cp] : cells_cp) EXPECT_EQ(display_to_cp(tabbed, cells), cp) << cells;
    EXPECT_EQ(cp_to_display("a\tb"_t, 2), 8);  // a tab after text stops at 8, not 1 + 8
}

TEST(TextAreaSearch, FindNextSelectsAndWrapsOnce) {
    const struct Find { const char *start, *needle; bool found; const char* expect; } cases[] = {
        {"|x abab", "ab", true, "x ^ab|ab"},
        {"x ^ab|ab ab", "ab", true, "x abab ^ab|"},  // a hit right after the last one is skipped
        {"ab\nc|d ab", "ab", true, "ab\ncd ^ab|"},
        {"ab\ncd|", "ab", true, "^ab|\ncd"},          // wraps round
        {"ab c|d", "ab", true, "^ab| cd"},            // the caret's own line, before the caret
        {"ab\n^c|d", "zz", false, "ab\n^c|d"},
        {E_ACUTE "x|" E_ACUTE "y", E_ACUTE "y", true, E_ACUTE "x^" E_ACUTE "y|"},
    };
    for (const Find& c : cases) {
        Root<TextArea> a = area_of(c.start);
        EXPECT_EQ(a->find_next(from_c(c.needle)), c.found) << c.start;
        EXPECT_EQ(state(a), c.expect) << c.start;
    }
    Root<TextArea> a = area_of("ab|c\nd" WIDE "\nef");
    EXPECT_TRUE(a->selected_text().is_none());
    run(a, "<SD><SD>");
    EXPECT_EQ(str(a->selected_text().unwrap()), "c\nd" WIDE "\nef");
    a->select_all();
    EXPECT_EQ(str(a->selected_text().unwrap()), "abc\nd" WIDE "\nef");
    a->delete_selection();
    EXPECT_EQ(state(a), "|");
}

Legend legend(const Root<TextArea>& a) {
    Style base = a->base_style(), rev = base, gutter = a->gutter_style();
    rev.reverse = true;
    return {{'.', base}, {'r', rev}, {'g', gutter}, {' ', style_default()}};
}

TEST(TextAreaView, GutterSelectionCaretMarkAndVerticalBar) {
    Root<Theme> theme = theme_classic();
    Root<CellBuffer> buf = cellbuf_create(10, 5);
    Root<TextArea> a = area_of("ab\nc^def\ng|h\ni\nj", 8, 16, rect(0, 0, 9, 4));
    a->set_line_numbers(true);
    a->draw(buf, a->bounds, whole(buf), true, theme);
    EXPECT_SCREEN(buf, {" 1 ab    \xe2\x94\xb4", " 2 cdef  \xe2\x96\x88", " 3 gh     ", " 4 i     \xe2\x94\xac",
                        "          "});
    EXPECT_STYLES_AT(buf, rect(0, 0, 9, 4), legend(a), {"ggg......", "ggg.rrrrr", "gggrr....", "ggg......"});
    a->set_caret(4, 0);  // scrolls one line; the caret's cell is reversed only with focus
    a->draw(buf, a->bounds, whole(buf), false, theme);
    EXPECT_SCREEN_AT(buf, rect(0, 0, 9, 4), {" 2 cdef  ", " 3 gh    ", " 4 i     ", " 5 j     "});
    EXPECT_STYLES_AT(buf, rect(0, 0, 9, 4), legend(a), {"ggg.rrrrr", "gggrrrrrr", "gggrrrrrr", "ggg......"});
    run(a, "<U><U><F4><R><D>");  // mark mode: plain keys extend
    a->draw(buf, a->bounds, whole(buf), false, theme);
    EXPECT_STYLES_AT(buf, rect(0, 0, 9, 4), legend(a), {"ggg......", "gggrrrrrr", "gggr.....", "ggg......"});
    a = TextArea::create(rect(0, 0, 9, 4), 2048, 4, 16);
    a->set_text(from_c(std::string(999, '\n').c_str()));
    a->set_line_numbers(true);
    EXPECT_EQ(a->gutter_w(), 5);  // 1000 lines
}

TEST(TextAreaView, HorizontalScrollThroughWideCharactersAndTabs) {
    Root<Theme> theme = theme_classic();
    Root<CellBuffer> buf = cellbuf_create(7, 3);
    Root<TextArea> a = area_of("|\ta" WIDE "bc" WIDE "d", 4, 32, rect(0, 0, 6, 2));  // cells: 8, a, 2, b, c, 2, d
    a->draw(buf, a->bounds, whole(buf), true, theme);
    EXPECT_SCREEN(buf, {"       ", "       ", "\xe2\x94\xa4\xe2\x96\x88 \xe2\x94\x9c   "});
    EXPECT_STYLES_AT(buf, rect(0, 0, 6, 1), legend(a), {"r....."});
    const struct Step { const char *keys, *row, *styles; } steps[] = {
        {"<R><R>", "    a ", ".....r"},          // the wide char does not fit: blank to the edge
        {"<R><R><R><R>", " bc" WIDE "d", ".....r"},  // its first cell is out of view: nothing shows
        {"<L><L><L><L>", WIDE "bc" WIDE, "r....."},
        {"<E>", "bc" WIDE "d ", ".....r"},
    };
    for (const Step& s : steps) {
        run(a, s.keys);
        a->draw(buf, a->bounds, whole(buf), true, theme);
        EXPECT_SCREEN_AT(buf, rect(0, 0, 6, 1), {s.row});
        EXPECT_STYLES_AT(buf, rect(0, 0, 6, 1), legend(a), {s.styles});
    }
    EXPECT_SCREEN_AT(buf, rect(0, 2, 4, 1), {"\xe2\x94\xa4 \xe2\x96\x88\xe2\x94\x9c"});
}

// Rows kept from earlier draws must come out as a fresh area draws them, through edits that change
// the highlighting of the lines below them, scrolling both ways, the gutter, the clip and the scheme.
TEST(TextAreaView, KeptRowsDrawAsAFreshAreaWould) {
    add_syntax_dir(from_c(NOLT_SOURCE_DIR "/nolt-stdlib/kestrum/syntax.d"));
    int32_t c = lang_from_path("a.c"_t);
    ASSERT_GT(c, 0);
    Root<Theme> theme = theme_classic();
    Root<TextArea> a = TextArea::create(rect(1, 1, 24, 6), 64, 6, 64);
    a->set_text(from_c("int x = 1; /* open\n\tstill " WIDE " in it\nshut */ int y;\nchar *s = \"a\\\"b\"; // c\n"
                       "#define N 0x1F\nreturn y;\nwhile (x) x--;\n}\n"));
    a->set_syntax(c);
    const char* moves[] = {"/*", "*/", "<Ent>", "<BS>", "<Del>", "<D><D>", "<U>", "<PD>", "<PU>", "<E>", "<H>", "\t",
                           "<X>", "\"", "<SR><SR>", "int ", "<P:" WIDE ">"};
    Root<CellBuffer> kept = cellbuf_create(28, 9), fresh = cellbuf_create(28, 9);
    std::mt19937 rng(11);
    for (int32_t step = 0; step < 600; step++) {
        run(a, moves[rng() % std::size(moves)]);
        if (step % 37 == 0) a->set_line_numbers(!a->line_numbers);
        if (step % 53 == 0) a->set_syntax(a->lang == c ? 0 : c);
        if (step % 71 == 0) a->set_syntax_scheme(scheme_by_name(step % 2 ? "monokai"_t : "default"_t));
        Rect clip = step % 5 == 0 ? rect(0, 2, 20, 9) : whole(kept);
        cellbuf_clear(kept, style_default());
        a->draw(kept, a->bounds, clip, step % 3 != 0, theme);
        Root<KeptRows> rows(a->kept_rows.get());
        Root<HlCache> hl(a->hl.get());
        int32_t kept_width = a->content_width();
        a->kept_rows = nullptr, a->hl = runtime::make<HlCache>(), a->widest_at = UINT64_MAX;
        ASSERT_EQ(kept_width, a->content_width());
        cellbuf_clear(fresh, style_default());
        a->draw(fresh, a->bounds, clip, step % 3 != 0, theme);
        a->kept_rows = rows, a->hl = hl;
        ASSERT_TRUE(memcmp(kept->cells->data(), fresh->cells->data(), kept->cells->size() * sizeof(Cell)) == 0)
            << "step " << step << "\n" << test_support::same_picture(test_support::screen_text(kept, whole(kept)),
                                                             test_support::screen_text(fresh, whole(fresh)))
                       .message();
    }
}

TEST(TextAreaMouse, ClicksDragsWheelAndBarsThroughTheOffsets) {
    std::string text;
    for (int32_t i = 0; i < 20; i++) text += "line" + std::to_string(i) + (i == 5 ? " long enough to scroll\n" : "\n");
    Root<TextArea> a = TextArea::create(rect(2, 1, 10, 4), 64, 4, 64);
    a->set_text(from_c(text.c_str()));
    a->set_line_numbers(true);  // 21 lines, gutter 3: the text at x 5..11, y 1..4
    using B = MouseButton;
    struct Step { Event ev; int32_t line, col, top, left; bool sel, drag; } steps[] = {
        {mouse(4, 3, B::WheelDown, true), 0, 0, 1, 0, false, false},
        {mouse(11, 2, B::Left, true), 2, 5, 1, 0, false, true},  // past the end of "line2"
        {mouse(11, 2, B::Left, false), 2, 5, 1, 0, false, false},  // one spot: no selection
        {mouse(6, 1, B::Left, true), 1, 1, 1, 0, false, true},
        {mouse(7, 9, B::Left, true, true), 1, 1, 1, 0, false, true},  // outside: nothing follows
        {mouse(7, 9, B::WheelDown, true), 1, 1, 2, 0, false, true},
        {mouse(7, 4, B::Left, true, true), 5, 2, 2, 0, true, true},  // back in, through the new offset
        {mouse(7, 4, B::Left, false), 5, 2, 2, 0, true, false},
        {mouse(5, 2, B::Left, true, false, true), 3, 0, 2, 0, true, false},  // Shift stretches it
        {mouse(12, 1, B::Left, true), 3, 0, 0, 0, true, true},  // the vertical bar's top cap
        {mouse(12, 4, B::Left, true, true), 3, 0, 17, 0, true, true},  // dragged to its bottom cap
        {mouse(12, 4, B::Left, false), 3, 0, 17, 0, true, false},
        {mouse(5, 5, B::Left, true), 3, 0, 17, 0, true, true},  // the horizontal bar, cells 5..9
        {mouse(9, 5, B::Left, true, true), 3, 0, 17, 27 - 7, true, true},
        {mouse(9, 5, B::Left, false), 3, 0, 17, 20, true, false},
        {mouse(2, 4, B::Left, true), 20, 0, 17, 0, false, true},  // below the last line, in the gutter
    };
    for (const Step& s : steps) {
        a->handle_event(s.ev);
        EXPECT_EQ(std::vector<int32_t>({a->caret_line, a->caret_col, a->top_line, a->left_col, a->sel_active,
                                        a->captures_mouse()}),
                  std::vector<int32_t>({s.line, s.col, s.top, s.left, s.sel, s.drag}))
            << s.ev.mouse.x << "," << s.ev.mouse.y;
    }
    a->handle_event(mouse(2, 4, B::Left, false));
    EXPECT_FALSE(a->handle_mouse(mouse(30, 30, B::Left, true)));
}

}  // namespace
