#include "kestrum/desktop.hpp"

#include <vector>

#include "tests/support/boot.hpp"
#include "tests/support/golden.hpp"

using namespace kestrum;
using namespace stdlib;
using runtime::make;

namespace {

Event key(KeyCode code) { return event_key(key_event_plain(code)); }
Event press(int32_t x, int32_t y, MouseButton button = MouseButton::Left, bool pressed = true, bool motion = false) {
    return event_mouse(mouse_event(x, y, button, pressed, motion, false, false, false));
}

class Desktops : public testing::Test {
protected:
    Root<Desktop> desk = Desktop::create();

    // A desktop of w by h with a menu bar and a status line, and `n` windows.
    void make_desk(int32_t w, int32_t h, int32_t n) {
        desk->set_menubar(MenuBar::create(8));
        desk->set_status(empty_string());
        desk->set_bounds(rect(0, 0, w, h));
        for (int32_t i = 0; i < n; i++) desk->add(make<Window>(rect(i, i + 1, 20, 6), from_c(std::to_string(i).c_str())));
    }
    std::vector<Rect> rects() {
        std::vector<Rect> out;
        for (int32_t i = 0; i < desk->window_count(); i++) out.push_back(desk->window_at(i)->bounds);
        return out;
    }
};

TEST_F(Desktops, CascadeAndTileShareTheContentArea) {
    struct Case { int32_t w, h, n; bool tile; std::vector<Rect> expected; };
    const Case cases[] = {
        {80, 24, 2, true, {rect(0, 1, 40, 22), rect(40, 1, 40, 22)}},
        {80, 24, 3, true, {rect(0, 1, 40, 11), rect(40, 1, 40, 11), rect(0, 12, 40, 11)}},
        {80, 24, 5, true,
         {rect(0, 1, 26, 11), rect(26, 1, 26, 11), rect(52, 1, 28, 11), rect(0, 12, 26, 11), rect(26, 12, 26, 11)}},
        {80, 24, 8, false,
         {rect(0, 1, 53, 14), rect(2, 3, 53, 14), rect(4, 5, 53, 14), rect(6, 7, 53, 14), rect(8, 9, 53, 14),
          rect(10, 2, 53, 14), rect(12, 4, 53, 14), rect(14, 6, 53, 14)}},
        {200, 60, 8, true,
         {rect(0, 1, 66, 19), rect(66, 1, 66, 19), rect(132, 1, 68, 19), rect(0, 20, 66, 19), rect(66, 20, 66, 19),
          rect(132, 20, 68, 19), rect(0, 39, 66, 20), rect(66, 39, 66, 20)}},
        {30, 8, 5, true,  // a small screen: windows keep their minimum size and overlap
         {rect(0, 1, 12, 5), rect(12, 1, 12, 5), rect(24, 1, 12, 5), rect(0, 6, 12, 5), rect(12, 6, 12, 5)}},
    };
    for (const Case& c : cases) {
        desk = Desktop::create();
        make_desk(c.w, c.h, c.n);
        desk->window_at(0)->minimize();
        c.tile ? desk->tile() : desk->cascade();
        EXPECT_EQ(rects(), c.expected) << c.w << "x" << c.h << " " << c.n << (c.tile ? " tiled" : " cascaded");
        EXPECT_FALSE(desk->window_at(0)->is_minimized());
    }
}

TEST_F(Desktops, UpperWindowWinsEverySharedCellAndTheStatusLineHoldsBothTexts) {
    make_desk(30, 9, 0);
    Root<Window> a = make<Window>(rect(1, 1, 14, 5), "A"_t), b = make<Window>(rect(8, 3, 14, 5), "B"_t);
    desk->add(a);
    desk->add(b);
    desk->set_active_idx(0);  // activation raises A above B without reordering the list
    desk->set_status("a long status text that is cut"_t);
    desk->set_status_right("1:1"_t);
    Root<Theme> theme = theme_ascii();
    Root<CellBuffer> buf = cellbuf_create(30, 9);
    desk->draw(buf, desk->bounds, test_support::whole(buf), false, theme);
    EXPECT_SCREEN(buf, {"                              ",
                        " ++ A +-------+               ",
                        " |            |               ",
                        " |            | -----+        ",
                        " |            |      |        ",
                        " +------------▄      |        ",
                        "                     |        ",
                        "        +------------▄        ",
                        " a long status text that  1:1 "});
    EXPECT_TRUE(desk->window_hit_test(9, 4).unwrap() == 0 && desk->window_hit_test(20, 4).unwrap() == 1);
    EXPECT_TRUE(desk->window_hit_test(25, 2).is_none());
}

TEST_F(Desktops, WindowsAreHiddenNotRemovedAndAtMostEightAreVisible) {
    make_desk(80, 24, 8);
    EXPECT_EQ(desk->active_idx, 7);
    desk->add(make<Window>(rect(0, 1, 20, 5), "ninth"_t));
    EXPECT_EQ(desk->window_count(), 8);
    desk->set_active_idx(2);
    desk->close_window_at(2);  // the highest visible index takes over, not the last used
    EXPECT_TRUE(desk->active_idx == 7 && desk->window_at(7)->active);
    desk->add(make<Window>(rect(0, 1, 20, 5), "ninth"_t));
    EXPECT_EQ(desk->window_count() * 10 + desk->visible_window_count(), 98);
    desk->show_window_at(2);  // only add enforces the limit
    EXPECT_TRUE(desk->visible_window_count() == 9 && desk->active_idx == 2);
    for (int32_t i = 0; i < 9; i++) desk->close_window_at(i);
    EXPECT_TRUE(desk->active_idx == -1 && desk->handle_event(key(key_enter())) == event_ignored());
}

TEST_F(Desktops, EventsReachTheActiveWindowAndClicksActivate) {
    make_desk(80, 24, 0);
    Root<Window> a = make<Window>(rect(0, 1, 20, 6), "A"_t), b = make<Window>(rect(30, 1, 20, 6), "B"_t);
    a->closable = true;
    desk->add(a);
    desk->add(b);
    EXPECT_EQ(desk->handle_event(key(key_escape())), event_command(CMD_CLOSE));  // B has the keys
    EXPECT_EQ(desk->handle_event(press(5, 3)), event_ignored());                 // A's client: nothing there
    EXPECT_EQ(desk->handle_event(press(16, 1)), event_command(CMD_CLOSE));       // A's close button
    EXPECT_EQ(desk->handle_event(press(60, 10)), event_ignored());               // the canvas
    EXPECT_EQ(desk->active_idx, 0);
    EXPECT_EQ(desk->handle_event(press(2, 1)), event_handled());                 // a drag of the title...
    EXPECT_EQ(desk->handle_event(press(40, 0, MouseButton::Left, true, true)), event_handled());  // ...over the bar
    desk->handle_event(press(40, 0, MouseButton::Left, false));
    EXPECT_EQ(a->bounds, rect(38, 1, 20, 6));
    EXPECT_EQ(desk->handle_event(press(45, 3, MouseButton::Right)), event_ignored());  // no context menu
    Root<PopupMenu> popup = popup_create(4);
    popup_add(popup, menu_item("Tile"_t, 120));
    desk->set_context_menu(popup);
    EXPECT_TRUE(desk->handle_event(press(45, 3, MouseButton::Right)) == event_handled() && desk->context_is_open());
    EXPECT_EQ(desk->handle_event(key(key_enter())), event_command(120));
    EXPECT_FALSE(desk->context_is_open());
}

}  // namespace
