#include "kestrum/widgets/window.hpp"

#include <functional>

#include "kestrum/widgets/button.hpp"
#include "kestrum/widgets/label.hpp"
#include "kestrum/widgets/scrollbar.hpp"
#include "tests/support/boot.hpp"
#include "tests/support/golden.hpp"

using namespace kestrum;
using namespace stdlib;
using runtime::make;

namespace {

Event mouse(int32_t x, int32_t y, bool pressed, bool motion) {
    return event_mouse(mouse_event(x, y, mouse_left(), pressed, motion, false, false, false));
}
Event press(int32_t x, int32_t y) { return mouse(x, y, true, false); }
Event drag(int32_t x, int32_t y) { return mouse(x, y, true, true); }
Event release(int32_t x, int32_t y) { return mouse(x, y, false, false); }
const Event ESC = event_key(key_event_plain(key_escape()));

Root<Window> framed(Rect r, const string& title) {
    Root<Window> win = make<Window>(r, title);
    win->closable = win->minimizable = win->maximizable = true;
    return win;
}

TEST(Windows, ActiveInactiveMinimisedAndMaximisedFrames) {
    Root<Theme> theme = theme_classic();
    Root<CellBuffer> buf = cellbuf_create(24, 6);
    auto paint = [&](const Root<Window>& win) {
        cellbuf_fill_rect(buf, test_support::whole(buf), '.', style_default());
        win->draw(buf, win->bounds, test_support::whole(buf), true, theme);
    };
    Root<Window> win = framed(rect(0, 0, 22, 4), "Edit"_t);
    win->add(make<Label>(rect(0, 0, 5, 1), "hello"_t));
    win->add(make<Scrollbar>(rect(20, 0, 1, 2), 10, 2, 0));  // one column past the client: on the frame
    paint(win);
    EXPECT_SCREEN(buf, {"┌┤ Edit ├───┤ _ + x ├┐..", "│hello               █ .", "│                    ░ .",
                        "└────────────────────▄ .", ".                      .", "........................"});
    Style shade = style_make(color_rgb(20, 20, 20), color_rgb(20, 20, 20), false, false, false);
    test_support::Legend legend = {{'f', theme->frame_style}, {'t', theme->title_style}, {'c', theme->client_style},
                                   {'i', theme->inactive_style}, {'s', shade}, {'.', style_default()}};
    EXPECT_STYLES(buf, legend, {"ffttttttffffftttttttff..", "fccccccccccccccccccccfs.", "fccccccccccccccccccccfs.",
                                "fffffffffffffffffffffts.", ".ssssssssssssssssssssss.", "........................"});
    win->set_active(false);
    paint(win);
    EXPECT_STYLES_AT(buf, rect(0, 0, 24, 2), legend, {"iiiiiiiiiiiiiiiiiiiiii..", "iccccccccccccccccccccfs."});

    win->minimize();
    paint(win);
    EXPECT_SCREEN_AT(buf, rect(0, 0, 24, 2), {"┌┤ Edit ├───┤ _ + x ├┐..", "........................"});
    win->maximize(rect(0, 0, 24, 6));
    paint(win);
    EXPECT_SCREEN(buf, {"┌┤ Edit ├─────┤ _ = x ├┐", "│hello               █ │", "│                    ░ │",
                        "│                      │", "│                      │", "└──────────────────────┘"});

    Root<Window> narrow = make<Window>(rect(0, 3, 15, 3), "0123456789"_t);  // the title needs 15 cells
    paint(narrow);
    narrow->set_bounds(rect(0, 0, 14, 2));
    narrow->draw(buf, narrow->bounds, test_support::whole(buf), true, theme);
    EXPECT_SCREEN_AT(buf, rect(0, 0, 15, 4), {"┌────────────┐.", "└────────────▄ ", ".              ",
                                              "┌┤ 0123456789 ├"});
}

TEST(Windows, MouseMovesResizesAndFrameButtons) {
    Root<Window> win = framed(rect(10, 5, 20, 8), "T"_t);
    win->set_clamp(rect(0, 1, 80, 22));
    struct Step { Event ev; EventResult result; Rect bounds; bool dragging; };
    const EventResult ok = event_handled(), none = event_ignored(), close = event_command(CMD_CLOSE);
    const Rect big = rect(11, 6, 69, 17);
    const Step script[] = {
        {press(15, 5), ok, rect(10, 5, 20, 8), true},        {drag(-50, -20), ok, rect(-19, 1, 20, 8), true},
        {drag(200, 200), ok, rect(79, 22, 20, 8), true},     {drag(16, 6), ok, rect(11, 6, 20, 8), true},
        {release(16, 6), ok, rect(11, 6, 20, 8), false},     {press(30, 13), ok, rect(11, 6, 20, 8), true},  // grip
        {drag(12, 7), ok, rect(11, 6, 12, 5), true},         {drag(300, 300), ok, big, true},
        {ESC, close, big, false},  // a key ends the drag and goes on
        {drag(0, 0), none, big, false},                      {press(76, 6), close, big, false},
        {press(74, 6), event_command(CMD_MAXIMIZE), big, false}, {press(72, 6), event_command(CMD_MINIMIZE), big, false},
        {press(73, 6), none, big, false},  // between two glyphs: no button, no move
    };
    for (const Step& s : script) {
        SCOPED_TRACE(testing::Message() << "step " << &s - script);
        EXPECT_EQ(win->handle_event(s.ev), s.result);
        EXPECT_EQ(win->bounds, s.bounds);
        EXPECT_EQ(win->is_dragging(), s.dragging);
    }
    win->maximize(rect(0, 1, 80, 22));  // neither moved nor resized
    EXPECT_TRUE(win->handle_event(press(5, 1)) == none && win->handle_event(press(79, 22)) == none);
    win->minimize();  // moved, not resized
    EXPECT_TRUE(win->handle_event(press(79, 1)) == ok && win->handle_event(drag(70, 4)) == ok);
    EXPECT_EQ(win->bounds, rect(-9, 4, 80, 1));
    // A clamp smaller than the minimum size wins.
    EXPECT_EQ(drag_resize_bounds(rect(2, 2, 8, 3), 9, 4, 9, 4, rect(0, 0, 11, 6)), rect(2, 2, 9, 4));

    Root<Window> dialog = make<Window>(rect(0, 0, 12, 5), "T"_t);  // children count from the client origin
    dialog->add(make<Button>(rect(2, 0, 6, 1), "OK"_t, 101));
    EXPECT_TRUE(dialog->handle_event(press(3, 1)) == event_command(101) && dialog->handle_event(ESC) == close);
}

TEST(Windows, StatesKeepTheirRestoreGeometryAndFitTheArea) {
    Root<Window> win = make<Window>(rect(5, 5, 8, 3), "T"_t);
    win->set_clamp(rect(0, 0, 40, 20));
    const WindowState normal = WindowState::Normal, min = WindowState::Minimized, max = WindowState::Maximized;
    struct Op { std::function<void()> run; Rect bounds; WindowState state; };
    const Op ops[] = {
        {[&] { win->minimize(); }, rect(5, 5, 12, 1), min},  // wider than the window was, one row high
        {[&] { win->set_bounds(rect(5, 5, 12, 9)); }, rect(5, 5, 12, 1), min},
        {[&] { win->reclamp_to(rect(0, 0, 10, 20)); }, rect(0, 5, 10, 1), min},  // a terminal 10 wide
        {[&] { win->maximize(rect(0, 0, 40, 20)); }, rect(0, 0, 40, 20), max},
        {[&] { win->toggle_maximize(rect(0, 0, 40, 20)); }, rect(2, 5, 12, 5), normal},  // reclamped restore
        {[&] { win->maximize(rect(0, 0, 10, 3)); }, rect(0, 0, 12, 5), max},  // no less than the minimum
        {[&] { win->maximize(rect(0, 0, 10, 3)); }, rect(2, 5, 12, 5), normal},
        {[&] { win->center_in(rect(0, 0, 40, 20)); }, rect(14, 7, 12, 5), normal},
        {[&] { win->reclamp_to(rect(0, 0, 10, 4)); }, rect(0, 0, 10, 4), normal},
    };
    for (const Op& op : ops) {
        op.run();
        EXPECT_EQ(win->bounds, op.bounds) << "step " << &op - ops;
        EXPECT_EQ(win->state, op.state) << "step " << &op - ops;
    }
}

}  // namespace
