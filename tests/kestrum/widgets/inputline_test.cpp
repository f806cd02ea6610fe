#include "kestrum/widgets/inputline.hpp"

#include <vector>

#include "tests/support/boot.hpp"
#include "tests/support/golden.hpp"

using namespace kestrum;
using namespace stdlib;

namespace {

Event ch(char c) { return event_key(key_event_char(c)); }
Event key(KeyCode code) { return event_key(key_event_plain(code)); }

struct Case { const char* start; int32_t max_len; std::vector<Event> events; const char* text; int32_t caret; };

TEST(InputLines, EditByKeysWithinTheLimit) {
    const Case cases[] = {
        {"", 5, {ch('a'), ch('b'), key(key_arrow_left()), ch('X')}, "aXb", 2},
        {"abc", 3, {ch('d'), key(key_home()), ch('z')}, "abc", 0},  // full: swallowed, caret stays
        {"abc", 0, {ch('a')}, "", 0},
        {"abc", 9, {key(key_home()), key(key_backspace()), key(key_delete()), key(key_end()), key(key_arrow_right())},
         "bc", 2},
        {"abc", 9, {key(key_arrow_left()), key(key_backspace()), key(key_arrow_left()), key(key_arrow_left())}, "ac", 0},
        {"h\xc3\xa9", 9, {key(key_backspace()), key(key_backspace())}, "h", 1},  // bytes, not characters
        {"ab", 9, {event_key(key_event_char(0xE9)), event_key(key_event_ctrl_letter('a')), ch('\t')}, "ab", 2},
    };
    for (const Case& c : cases) {
        Root<InputLine> line = InputLine::create(rect(0, 0, 10, 1), c.max_len, from_c(c.start));
        for (const Event& ev : c.events) line->handle_event(ev);
        EXPECT_STREQ(c_str(string(line->text)), c.text) << c.start;
        EXPECT_EQ(line->caret, c.caret) << c.start;
    }
    Root<InputLine> line = InputLine::create(rect(0, 0, 10, 1), 2, "ab"_t);
    EXPECT_EQ(line->handle_event(ch('e')), event_handled());  // at the limit: handled, nothing changes
    for (const Event& ev : {key(key_enter()), key(key_escape()), event_mouse(empty_mouse())})
        EXPECT_EQ(line->handle_event(ev), event_ignored());  // left to the dialog
}

TEST(InputLines, SetTextPasteAndCaret) {
    Root<InputLine> line = InputLine::create(rect(0, 0, 10, 1), 6, "abcdefgh"_t);
    EXPECT_TRUE(equals(string(line->text), "abcdef"_t) && line->caret == 6);
    line->set_text("xy"_t);
    line->set_caret(1);
    line->set_text("long text"_t);
    EXPECT_EQ(line->caret, 1);  // kept, not moved to the end
    line->set_text("a"_t);
    line->paste(from_c("b\nc\xc3\xa9\x01\td\re"));  // control bytes and multi-byte characters
    EXPECT_TRUE(equals(string(line->text), "ab c d"_t) && line->caret == 6);
}

TEST(InputLines, DrawsTextOrMaskAndTheCaretInReverse) {
    Root<Theme> theme = theme_classic();
    Root<CellBuffer> buf = cellbuf_create(8, 1);
    Root<InputLine> line = InputLine::create(rect(1, 0, 6, 1), 20, "password"_t);
    line->set_caret(3);
    line->draw(buf, line->bounds, rect(0, 0, 8, 1), true, theme);
    EXPECT_SCREEN(buf, {" passwo "});
    Style caret = theme->input_focused_style;
    caret.reverse = true;
    EXPECT_STYLES(buf, (test_support::Legend{{'.', style_default()}, {'f', theme->input_focused_style}, {'r', caret}}),
                  {".fffrff."});
    line->set_text("pw"_t);
    line->set_mask('*');
    line->draw(buf, line->bounds, rect(0, 0, 8, 1), false, theme);
    EXPECT_SCREEN(buf, {" **     "});
    EXPECT_STYLES(buf, (test_support::Legend{{'.', style_default()}, {'i', theme->input_style}}), {".iiiiii."});
}

}  // namespace
