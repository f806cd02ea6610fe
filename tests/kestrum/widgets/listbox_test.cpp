#include "kestrum/widgets/listbox.hpp"

#include "tests/support/boot.hpp"
#include "tests/support/golden.hpp"

using namespace kestrum;
using namespace stdlib;

namespace {

Event key(KeyCode code) { return event_key(key_event_plain(code)); }
Event press(int32_t x, int32_t y, MouseButton b = MouseButton::Left, bool pressed = true, bool motion = false) {
    return event_mouse(mouse_event(x, y, b, pressed, motion, false, false, false));
}

Root<ListBox> list_of(int32_t n, Rect r = rect(2, 1, 6, 4), int32_t capacity = 64) {
    static const char* names[] = {"alpha", "beta", "gamma", "delta", "eps", "zeta", "eta", "theta"};
    Root<ListBox> list = ListBox::create(r, capacity, r.h);
    for (int32_t i = 0; i < n; i++) list->add_item(from_c(names[i % 8]));
    return list;
}

TEST(ListBoxes, KeysMoveTheSelectionWithinTheRows) {
    Root<ListBox> full = list_of(3, rect(0, 0, 5, 5), 2);
    EXPECT_TRUE(full->count == 2 && !full->add_item("x"_t));
    Root<ListBox> empty = list_of(0);
    EXPECT_TRUE(empty->selected == 0 && !empty->has_selection());
    EXPECT_EQ(empty->handle_event(key(key_arrow_down())), event_ignored());
    EXPECT_EQ(empty->handle_event(press(3, 1)), event_ignored());

    Root<ListBox> list = list_of(20, rect(0, 0, 6, 5));
    const struct {
        KeyCode key;
        int32_t selected, offset;
    } steps[] = {{key_arrow_down(), 1, 0}, {key_end(), 19, 15},    {key_page_up(), 14, 14}, {key_home(), 0, 0},
                 {key_page_down(), 5, 1},  {key_arrow_up(), 4, 1}, {key_end(), 19, 15},     {key_page_down(), 19, 15}};
    for (const auto& s : steps) {
        EXPECT_EQ(list->handle_event(key(s.key)), event_handled());
        EXPECT_TRUE(list->selected == s.selected && list->offset == s.offset) << list->selected;
    }
    list->clear_selection();
    list->handle_event(key(key_arrow_up()));  // -2 is raised to 0
    EXPECT_TRUE(list->selected == 0 && !list->activate && list->handle_event(key(key_tab())) == event_ignored());
    list->handle_event(key(key_enter()));
    EXPECT_TRUE(list->activate);
    list->clear();
    EXPECT_TRUE(list->count == 0 && !list->activate && list->item(0).is_none());
}

TEST(ListBoxes, ClicksDoubleClicksWheelAndTheScrollbar) {
    const int32_t gaps[][5] = {{10, 100, 10, 599, 1}, {10, 100, 10, 600, 0}, {10, 700, 11, 199, 1},
                               {10, 700, 11, 200, 0}, {10, 900, 12, 100, 0}, {10, 600, 10, 500, 1}};
    for (auto [s0, ms0, s1, ms1, twice] : gaps) EXPECT_EQ(clicks_within_double(s0, ms0, s1, ms1), twice == 1) << ms1;

    Root<ListBox> list = list_of(8);  // at x 2, y 1: 4 of 8 rows, the scrollbar in column 7
    EXPECT_TRUE(list->handle_mouse(press(3, 2)) && list->selected == 1);
    list->handle_mouse(press(3, 3));  // another row: no double click
    EXPECT_FALSE(list->activate);
    list->handle_mouse(press(3, 3));
    EXPECT_TRUE(list->selected == 2 && list->activate);
    list->handle_mouse(press(3, 3, MouseButton::WheelDown));
    EXPECT_TRUE(list->offset == 3 && list->selected == 2);
    list->handle_mouse(press(3, 3, MouseButton::WheelUp));
    EXPECT_EQ(list->offset, 0);

    EXPECT_TRUE(list->handle_mouse(press(7, 4)));  // the track's last row
    EXPECT_TRUE(list->offset == 4 && list->captures_mouse());
    list->handle_mouse(press(7, 0, MouseButton::Left, true, true));  // dragged above the list
    EXPECT_EQ(list->offset, 0);
    list->handle_mouse(press(7, 0, MouseButton::None, false));
    EXPECT_FALSE(list->captures_mouse());
    EXPECT_FALSE(list->handle_mouse(press(7, 5)));  // the scrollbar column below the rows

    Root<ListBox> half = list_of(2);
    EXPECT_FALSE(half->handle_mouse(press(3, 4)));  // below the last item
    EXPECT_TRUE(half->selected == 0 && half->handle_mouse(press(7, 2)));  // no scrollbar: a row's column
    EXPECT_EQ(half->selected, 1);
}

TEST(ListBoxes, DrawsRowsSelectionAndScrollbar) {
    Root<Theme> theme = theme_classic();
    Root<CellBuffer> buf = cellbuf_create(6, 4);
    Root<ListBox> list = list_of(8, rect(0, 0, 6, 4));
    list->set_selected(5);
    list->draw(buf, list->bounds, test_support::whole(buf), true, theme);
    EXPECT_SCREEN(buf, {"gamma\xe2\x96\x91", "delta\xe2\x96\x88", "eps  \xe2\x96\x88", "zeta \xe2\x96\x91"});
    test_support::Legend legend = {{'c', theme->client_style}, {'s', theme->selected_style},
                                   {'b', theme->button_style}, {'f', theme->frame_style}};
    EXPECT_STYLES(buf, legend, {"cccccf", "cccccf", "cccccf", "sssssf"});
    list->draw(buf, list->bounds, rect(0, 0, 6, 3), false, theme);  // clipped: row 4 untouched
    EXPECT_STYLES(buf, legend, {"cccccf", "cccccf", "cccccf", "sssssf"});
    list->draw(buf, list->bounds, test_support::whole(buf), false, theme);
    EXPECT_STYLES_AT(buf, rect(0, 3, 6, 1), legend, {"bbbbbf"});
}

}  // namespace
