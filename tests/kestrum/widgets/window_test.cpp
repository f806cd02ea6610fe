#include "kestrum/widgets/window.hpp"

#include <gtest/gtest.h>

#include "kestrum/widgets/button.hpp"
#include "kestrum/widgets/label.hpp"
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
    test_support::boot();
    Root<Theme> theme = theme_classic();
    Root<CellBuffer> buf = cellbuf_create(24, 6);
    auto paint = [&](const Root<Window>& win) {
        cellbuf_fill_rect(buf, test_support::whole(buf), '.', style_default());
        win->draw(buf, win->bounds, test_support::whole(buf), true, theme);
    };
    Root<Window> win = framed(rect(0, 0, 22, 4), "Edit"_t);
    win->add(make<Label>(rect(0, 0, 5, 1), "hello"_t));
    paint(win);
    EXPECT_SCREEN(buf, {"┌┤ Edit ├───┤ _ + x ├┐..", "│hello               │ .", "│                    │ .",
                        "└────────────────────▄ .", ".                      .", "........................"});
    Style shade = style_make(color_rgb(20, 20, 20), color_rgb(20, 20, 20), false, false, false);
    test_support::Legend legend = {{'f', theme->frame_style}, {'t', theme->title_style}, {'c', theme->client_style},
                                   {'i', theme->inactive_style}, {'s', shade}, {'.', style_default()}};
    EXPECT_STYLES(buf, legend, {"ffttttttffffftttttttff..", "fccccccccccccccccccccfs.", "fccccccccccccccccccccfs.",
                                "fffffffffffffffffffffts.", ".ssssssssssssssssssssss.", "........................"});
    win->set_active(false);
    paint(win);
    EXPECT_STYLES_AT(buf, rect(0, 0, 24, 2), legend, {"iiiiiiiiiiiiiiiiiiiiii..", "iccccccccccccccccccccis."});

    win->minimize();
    paint(win);
    EXPECT_SCREEN_AT(buf, rect(0, 0, 24, 2), {"┌┤ Edit ├───┤ _ + x ├┐..", "........................"});
    win->maximize(rect(0, 0, 24, 6));
    paint(win);
    EXPECT_SCREEN(buf, {"┌┤ Edit ├─────┤ _ = x ├┐", "│hello                 │", "│                      │",
                        "│                      │", "│                      │", "└──────────────────────┘"});

    Root<Window> narrow = make<Window>(rect(0, 0, 14, 3), "0123456789"_t);  // the title needs 15
    paint(narrow);
    narrow->set_bounds(rect(0, 3, 15, 3));
    paint(narrow);
    EXPECT_SCREEN_AT(buf, rect(0, 0, 15, 4), {"...............", "...............", "...............",
                                              "┌┤ 0123456789 ├"});
}

TEST(Windows, MouseMovesResizesAndFrameButtons) {
    test_support::boot();
    Root<Window> win = framed(rect(10, 5, 20, 8), "T"_t);
    win->set_clamp(rect(0, 1, 80, 22));
    struct Step { Event ev; EventResult result; Rect bounds; bool dragging; };
    const EventResult ok = event_handled(), none = event_ignored();
    const Step script[] = {
        {press(15, 5), ok, rect(10, 5, 20, 8), true},       {drag(-50, -20), ok, rect(-19, 1, 20, 8), true},
        {drag(200, 200), ok, rect(79, 22, 20, 8), true},    {drag(16, 6), ok, rect(11, 6, 20, 8), true},
        {release(16, 6), ok, rect(11, 6, 20, 8), false},    {press(30, 13), ok, rect(11, 6, 20, 8), true},  // grip
        {drag(12, 7), ok, rect(11, 6, 12, 5), true},        {drag(300, 300), ok, rect(11, 6, 69, 17), true},
        {ESC, event_command(CMD_CLOSE), rect(11, 6, 69, 17), false},  // a key ends the drag and goes on
        {drag(0, 0), none, rect(11, 6, 69, 17), false},     {press(76, 6), event_command(CMD_CLOSE), rect(11, 6, 69, 17), false},
        {press(74, 6), event_command(CMD_MAXIMIZE), rect(11, 6, 69, 17), false},
        {press(72, 6), event_command(CMD_MINIMIZE), rect(11, 6, 69, 17), false},
        {press(73, 6), none, rect(11, 6, 69, 17), false},  // between two glyphs: no button, no move
    };
    for (const Step& s : script) {
        EXPECT_EQ(win->handle_event(s.ev), s.result) << s.ev.mouse.x << "," << s.ev.mouse.y;
        EXPECT_EQ(win->bounds, s.bounds) << s.ev.mouse.x << "," << s.ev.mouse.y;
        EXPECT_EQ(win->is_dragging(), s.dragging) << s.ev.mouse.x << "," << s.ev.mouse.y;
    }
    win->maximize(rect(0, 1, 80, 22));  // neither moved nor resized
    EXPECT_EQ(win->handle_event(press(5, 1)), none);
    EXPECT_EQ(win->handle_event(press(79, 22)), none);
    win->minimize();  // moved, not resized
    EXPECT_EQ(win->bounds, rect(0, 1, 80, 1));
    EXPECT_EQ(win->handle_event(press(79, 1)), ok);
    EXPECT_EQ(win->handle_event(drag(70, 4)), ok);
    EXPECT_EQ(win->bounds, rect(-9, 4, 80, 1));

    Root<Window> tiny = make<Window>(rect(0, 0, 8, 3), "T"_t);  // a clamp below the minimum size wins
    tiny->set_clamp(rect(0, 0, 8, 3));
    tiny->handle_event(press(7, 2));
    tiny->handle_event(drag(1, 1));
    EXPECT_EQ(tiny->bounds, rect(0, 0, 8, 3));
    Root<Button> ok_button = make<Button>(rect(2, 0, 6, 1), "OK"_t, 101);  // children count from the client origin
    tiny->add(ok_button);
    EXPECT_EQ(tiny->handle_event(release(3, 1)), ok);  // ends the drag
    EXPECT_EQ(tiny->handle_event(press(3, 1)), event_command(101));
    EXPECT_EQ(tiny->handle_event(ESC), event_command(CMD_CLOSE));
}

TEST(Windows, StatesKeepTheirRestoreGeometryAndFitTheArea) {
    test_support::boot();
    Root<Window> win = make<Window>(rect(5, 5, 8, 3), "T"_t);
    win->set_clamp(rect(0, 0, 40, 20));
    win->minimize();
    win->set_bounds(rect(5, 5, 12, 9));
    EXPECT_EQ(win->bounds, rect(5, 5, 12, 1));  // wider than the window was, one row high
    win->reclamp_to(rect(0, 0, 10, 20));        // a terminal 10 wide: the restore geometry fits it too
    EXPECT_EQ(win->bounds, rect(0, 5, 10, 1));
    EXPECT_EQ(rect(win->restore_x, win->restore_y, win->restore_w, win->restore_h), rect(2, 5, 8, 5));
    win->maximize(rect(0, 0, 40, 20));
    EXPECT_TRUE(win->is_maximized());
    EXPECT_EQ(win->bounds, rect(0, 0, 40, 20));
    win->toggle_maximize(rect(0, 0, 40, 20));
    EXPECT_EQ(win->state, WindowState::Normal);
    EXPECT_EQ(win->bounds, rect(2, 5, 12, 5));  // restored, then reclamped to the minimum size
    win->maximize(rect(0, 0, 10, 3));
    EXPECT_EQ(win->bounds, rect(0, 0, 12, 5));
    win->maximize(rect(0, 0, 10, 3));
    EXPECT_EQ(win->bounds, rect(2, 5, 12, 5));
    win->center_in(rect(0, 0, 40, 20));
    EXPECT_EQ(win->bounds, rect(14, 7, 12, 5));
    win->reclamp_to(rect(0, 0, 10, 4));
    EXPECT_EQ(win->bounds, rect(0, 0, 10, 4));
}

}  // namespace
