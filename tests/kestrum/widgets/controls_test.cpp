
#include "kestrum/widgets/button.hpp"
#include "kestrum/widgets/checkbox.hpp"
#include "kestrum/widgets/label.hpp"
#include "tests/support/boot.hpp"
#include "tests/support/golden.hpp"

using namespace kestrum;
using namespace stdlib;
using runtime::make;

namespace {

Event key(KeyCode code, bool ctrl = false, bool alt = false, bool shift = false) {
    return event_key(key_event(code, ctrl, alt, shift));
}
Event mouse(int32_t x, int32_t y, bool pressed, bool motion = false) {
    return event_mouse(mouse_event(x, y, mouse_left(), pressed, motion, false, false, false));
}

TEST(Controls, DrawnInTheirStatesAndCutAtTheirEdges) {
    Root<Theme> theme = theme_classic();
    Root<CellBuffer> buf = cellbuf_create(12, 6);
    Rect all = test_support::whole(buf);
    cellbuf_fill_rect(buf, all, '.', style_default());
    Root<Button> ok = make<Button>(rect(0, 0, 9, 1), "OK"_t, 100);
    ok->draw(buf, ok->bounds, all, false, theme);
    ok->draw(buf, rect(0, 1, 9, 1), rect(0, 0, 5, 4), true, theme);  // focused, cut by the clip
    Root<Checkbox> box = make<Checkbox>(rect(0, 2, 10, 1), "Wrap"_t, true);
    box->draw(buf, box->bounds, all, true, theme);
    box->set_checked(false);
    box->set_label("Tabs \xe6\xbc\xa2"_t);  // a wide character that meets the edge becomes a blank
    box->draw(buf, rect(0, 3, 10, 1), all, false, theme);
    Root<Label> wrapped = make<Label>(rect(0, 4, 6, 2), "a bb ccc dd e"_t);  // three lines, two rows
    wrapped->set_wrap(true);
    wrapped->draw(buf, wrapped->bounds, all, false, theme);
    Root<Label> zero = make<Label>(rect(7, 4, 0, 2), "x y"_t);
    zero->set_wrap(true);
    zero->draw(buf, zero->bounds, all, false, theme);
    make<Label>(rect(7, 5, 3, 1), "long"_t)->draw(buf, rect(7, 5, 3, 1), all, false, theme);
    EXPECT_SCREEN(buf, {"[ OK ]   ...", "[ OK .......", "[X] Wrap  ..", "[ ] Tabs  ..", "a bb  ......",
                        "ccc dd.lon.."});
    test_support::Legend legend = {{'b', theme->button_style}, {'s', theme->selected_style},
                                   {'c', theme->client_style}, {'.', style_default()}};
    EXPECT_STYLES(buf, legend, {"bbbbbbbbb...", "sssss.......", "ssssssssss..", "cccccccccc..", "cccccc......",
                                "cccccc.ccc.."});
    wrapped->set_text("zz top"_t);  // the next draw shows the new text
    wrapped->draw(buf, wrapped->bounds, all, false, theme);
    EXPECT_SCREEN_AT(buf, rect(0, 4, 6, 2), {"zz top", "      "});
}

TEST(Controls, KeysAndPressesActivateEnabledControls) {
    Root<Group> form = make<Group>(rect(0, 0, 20, 5));
    Root<Button> ok = make<Button>(rect(0, 0, 8, 1), "OK"_t, 101);
    Root<Checkbox> box = make<Checkbox>(rect(0, 1, 8, 1), "On"_t, false);
    form->add(ok);
    form->add(box);
    const EventResult done = event_handled(), none = event_ignored(), run = event_command(101);
    struct Step { Event ev; EventResult result; bool checked; };
    const Step script[] = {
        {key(key_enter()), run, false},  {key(key_char(' ')), run, false},          {key(key_char(' '), false, true), none, false},
        {key(key_char('x')), none, false}, {mouse(3, 1, true), done, true},  // the press lands on the box, focus follows
        {mouse(3, 1, false), done, true},  {mouse(3, 1, true, true), done, true},  // a release or a drag does nothing
        {key(key_char(' '), false, false, true), done, false}, {key(key_char(' '), true), none, false},
    };
    for (const Step& s : script) {
        EXPECT_EQ(form->handle_event(s.ev), s.result) << int(s.ev.kind) << " " << s.ev.key.key.codepoint;
        EXPECT_EQ(box->checked, s.checked) << int(s.ev.kind) << " " << s.ev.key.key.codepoint;
    }
    ok->enabled = box->enabled = false;
    EXPECT_EQ(form->handle_event(mouse(3, 0, true)), none);
    EXPECT_EQ(ok->handle_event(key(key_enter())), none);
    EXPECT_EQ(box->handle_event(key(key_enter())), none);
    EXPECT_FALSE(box->checked);
}

}  // namespace
