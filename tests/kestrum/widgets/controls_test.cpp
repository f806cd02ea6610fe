#include <gtest/gtest.h>

#include "kestrum/widgets/button.hpp"
#include "kestrum/widgets/checkbox.hpp"
#include "kestrum/widgets/label.hpp"
#include "tests/support/boot.hpp"
#include "tests/support/golden.hpp"

using namespace kestrum;
using namespace stdlib;
using runtime::make;

namespace {

Event key(KeyEvent k) { return event_key(k); }
Event mouse(int32_t x, int32_t y, bool pressed, bool motion = false) {
    return event_mouse(mouse_event(x, y, mouse_left(), pressed, motion, false, false, false));
}

class Controls : public testing::Test {
protected:
    void SetUp() override {
        test_support::boot();
        theme = theme_classic();
        buf = cellbuf_create(12, 4);
        cellbuf_fill_rect(buf, all, '.', style_default());
        legend = {{'b', theme->button_style}, {'s', theme->selected_style}, {'c', theme->client_style},
                  {'.', style_default()}};
    }
    Root<Theme> theme;
    Root<CellBuffer> buf;
    Rect all = rect(0, 0, 12, 4);
    test_support::Legend legend;
};

TEST_F(Controls, ButtonsAndCheckboxesInTheirStates) {
    Root<Button> ok = make<Button>(rect(0, 0, 9, 1), "OK"_t, 100);
    ok->draw(buf, ok->bounds, all, false, theme);
    ok->draw(buf, rect(0, 1, 9, 1), rect(0, 0, 5, 4), true, theme);  // focused, cut by the clip
    Root<Checkbox> box = make<Checkbox>(rect(0, 2, 10, 1), "Wrap"_t, true);
    box->draw(buf, box->bounds, all, true, theme);
    box->set_checked(false);
    box->set_label("Tabs \xe6\xbc\xa2"_t);  // a wide character that meets the edge becomes a blank
    box->draw(buf, rect(0, 3, 10, 1), all, false, theme);
    EXPECT_SCREEN(buf, {"[ OK ]   ...", "[ OK .......", "[X] Wrap  ..", "[ ] Tabs  .."});
    EXPECT_STYLES(buf, legend, {"bbbbbbbbb...", "sssss.......", "ssssssssss..", "cccccccccc.."});
}

TEST_F(Controls, LabelsCutOrWrapWithinTheirRectangle) {
    Root<Label> wrapped = make<Label>(rect(0, 0, 6, 2), "a bb ccc dd e"_t);
    wrapped->set_wrap(true);
    wrapped->draw(buf, wrapped->bounds, all, false, theme);  // three lines, two rows
    Root<Label> cut = make<Label>(rect(7, 0, 3, 1), "long"_t);
    cut->draw(buf, cut->bounds, all, false, theme);
    Root<Label> empty = make<Label>(rect(7, 1, 3, 1), string());
    empty->draw(buf, empty->bounds, all, false, theme);
    Root<Label> zero = make<Label>(rect(7, 2, 0, 2), "x y"_t);
    zero->set_wrap(true);
    zero->draw(buf, zero->bounds, all, false, theme);
    EXPECT_SCREEN(buf, {"a bb  .lon..", "ccc dd.   ..", "............", "............"});
    wrapped->set_text("zz top"_t);  // the next draw shows the new text
    wrapped->draw(buf, wrapped->bounds, all, false, theme);
    EXPECT_SCREEN_AT(buf, rect(0, 0, 6, 2), {"zz top", "      "});
    EXPECT_STYLES_AT(buf, rect(0, 0, 10, 2), legend, {"cccccc.ccc", "cccccc.ccc"});
}

TEST_F(Controls, KeysAndPressesActivateEnabledControls) {
    Root<Group> form = make<Group>(rect(0, 0, 20, 5));
    Root<Button> ok = make<Button>(rect(0, 0, 8, 1), "OK"_t, 101);
    Root<Checkbox> box = make<Checkbox>(rect(0, 1, 8, 1), "On"_t, false);
    form->add(ok);
    form->add(box);
    EXPECT_EQ(form->handle_event(key(key_event_plain(key_enter()))), event_command(101));
    EXPECT_EQ(ok->handle_event(key(key_event_char(' '))), event_command(101));
    EXPECT_EQ(ok->handle_event(key(key_event(key_char(' '), false, true, false))), event_ignored());
    EXPECT_EQ(ok->handle_event(key(key_event_char('x'))), event_ignored());
    EXPECT_EQ(form->handle_event(mouse(3, 1, true)), event_handled());  // the press lands on the box
    EXPECT_EQ(form->focus, 1);
    EXPECT_TRUE(box->checked);
    EXPECT_EQ(form->handle_event(mouse(3, 1, false)), event_handled());  // the release does nothing
    EXPECT_EQ(form->handle_event(mouse(3, 1, true, true)), event_handled());  // nor does a drag
    EXPECT_TRUE(box->checked);
    EXPECT_EQ(box->handle_event(key(key_event(key_char(' '), false, false, true))), event_handled());
    EXPECT_FALSE(box->checked);
    EXPECT_EQ(box->handle_event(key(key_event(key_char(' '), true, false, false))), event_ignored());
    box->toggle();
    EXPECT_TRUE(box->checked);

    ok->enabled = box->enabled = false;
    EXPECT_EQ(form->handle_event(mouse(3, 0, true)), event_ignored());
    EXPECT_EQ(ok->handle_event(key(key_event_plain(key_enter()))), event_ignored());
    EXPECT_EQ(box->handle_event(key(key_event_plain(key_enter()))), event_ignored());
    EXPECT_TRUE(box->checked);
}

}  // namespace
