#include "kestrum/desktop.hpp"

#include <random>
#include <vector>

#include "kestrum/widgets/label.hpp"
#include "kestrum/widgets/textarea.hpp"
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


// Two desktops made alike take the same random steps. One draws each frame over the last and
// flushes it; the other draws on a fresh buffer of a glyph that nothing draws, so a cell left out
// shows. The frames agree cell for cell, and the flush leaves the shown frame equal to the drawn.
TEST(DesktopFrames, AFrameDrawnOverTheLastIsAFreshFrame) {
    auto build = [] {
        Root<Desktop> d = Desktop::create();
        Root<MenuBar> bar = MenuBar::create(4);
        bar->add(menu_create("File"_t, 2));
        d->set_menubar(bar);
        d->set_bounds(rect(0, 0, 60, 20));
        d->set_status("ready"_t);
        for (int32_t i = 0; i < 5; i++) {
            Root<Window> win = make<Window>(rect(i * 9, 1 + i * 2, 24, 9), from_c(std::to_string(i).c_str()));
            win->closable = win->minimizable = win->maximizable = true;
            if (i == 2) {
                win->add(make<Label>(rect(0, 0, 10, 3), "a label that lets the client show"_t));
            } else {
                Root<TextArea> area = TextArea::create(rect(0, 0, 22, 7), 64, 7, 64);
                area->set_text(from_c(("fn f" + std::to_string(i) + "()\n\tx = \"\xe6\xbc\xa2\"\nend\n").c_str()));
                area->set_line_numbers(i % 2 == 0);
                win->add(area);
            }
            d->add(win);
        }
        return d;
    };
    Root<Desktop> a = build(), b = build();
    Root<Theme> themes[] = {theme_classic(), theme_ascii(), theme_nord()};
    Root<CellBuffer> frame = cellbuf_create(60, 20), shown = cellbuf_create(60, 20);
    std::mt19937 rng(5);
    for (int32_t step = 0; step < 1500; step++) {
        uint32_t pick = rng() % 16, i = rng() % 5, arg = rng();
        for (Root<Desktop> d : {a, b}) {
            Root<Window> win = d->window_at((int32_t)i);
            const KeyCode keys[] = {key_char('a' + arg % 26), key_enter(), key_backspace(), key_arrow_down(),
                                    key_arrow_up(), key_page_down(), key_end(), key_char(0x6f22)};
            if (pick < 6) d->handle_event(event_key(key_event_plain(keys[arg % std::size(keys)])));
            else if (pick == 6) d->set_active_idx((int32_t)i);
            else if (pick == 7) win->set_bounds(rect(arg % 50, 1 + arg / 64 % 14, 12 + arg / 8 % 30, 3 + arg / 16 % 12));
            else if (pick == 8) win->is_minimized() ? win->restore() : win->minimize();
            else if (pick == 9) win->toggle_maximize(d->content_rect());
            else if (pick == 10) arg % 2 ? d->tile() : d->cascade();
            else if (pick == 11) d->set_canvas_fill(arg % 3 == 0 ? 0x4E00 : arg % 3 == 1 ? 0x2591 : 0);
            else if (pick == 12) d->set_status(from_c(std::string(arg % 30, 's').c_str()));
            else if (pick == 13) win->visible ? d->close_window_at((int32_t)i) : d->show_window_at((int32_t)i);
            else if (pick == 14) d->handle_event(press(2 + arg % 3, 0));
            else d->handle_event(press(arg % 60, arg / 64 % 20, MouseButton::Left, arg / 8 % 2, arg / 16 % 2));
        }
        Root<Theme> theme = themes[step / 100 % 3];
        a->draw(frame, a->bounds, test_support::whole(frame), false, theme);
        cellbuf_flush(Root<Term>(), frame, shown);
        Root<CellBuffer> fresh = cellbuf_create(60, 20);
        cellbuf_fill_rect(fresh, test_support::whole(fresh), 0x2603, style_make(color_rgb(1, 2, 3), color_rgb(4, 5, 6), 1, 1, 1));
        b->draw(fresh, b->bounds, test_support::whole(fresh), false, theme);
        auto same = [](const Root<CellBuffer>& x, const Root<CellBuffer>& y) {
            return memcmp(x->cells->data(), y->cells->data(), x->cells->size() * sizeof(Cell)) == 0;
        };
        ASSERT_TRUE(same(frame, fresh) && same(frame, shown))
            << "step " << step << "\n"
            << test_support::same_picture(test_support::screen_text(frame, test_support::whole(frame)),
                                          test_support::screen_text(fresh, test_support::whole(fresh)))
                   .message();
    }
}

}  // namespace
