#include "kestrum/event.hpp"

#include <gtest/gtest.h>

using namespace kestrum;

namespace {

TEST(Keys, IdentityEqualityAndControlLetters) {
    EXPECT_FALSE(keycode_eq(key_char(65), key_char(97)));
    EXPECT_TRUE(keycode_eq(key_enter(), key_enter()));
    EXPECT_FALSE(keycode_eq(key_enter(), key_tab()));
    EXPECT_TRUE(keycode_eq(KeyCode{KeyCode::Home, 7}, key_home()));  // a stray codepoint is not compared
    EXPECT_EQ(key_f(1).tag, KeyCode::F1);
    EXPECT_EQ(key_f(12).tag, KeyCode::F12);
    EXPECT_EQ(key_f(0).tag, KeyCode::Unknown);
    EXPECT_EQ(key_f(13).tag, KeyCode::Unknown);
    EXPECT_EQ(key_codepoint_or(key_char(0x263A), -1), 0x263A);
    EXPECT_EQ(key_codepoint_or(key_page_down(), -1), -1);
    EXPECT_EQ(keycode_index(key_f(12)), 30);
    EXPECT_EQ(keycode_index(KeyCode{31, 0}), 0);
    EXPECT_EQ(keycode_index(KeyCode{-1, 0}), 0);

    EXPECT_EQ(key_event_ctrl_letter(113), key_event_ctrl_letter(81));
    EXPECT_EQ(key_event_ctrl_letter('a'), key_event(key_char('A'), true, false, false));
    EXPECT_EQ(key_event_ctrl_letter('['), key_event(key_char('['), true, false, false));
}

TEST(Events, KindsClicksAndActivation) {
    Event key = event_key(key_event_char('x'));
    EXPECT_TRUE(is_key_event(key));
    EXPECT_EQ(key.mouse, empty_mouse());
    Event quit = event_quit();
    EXPECT_TRUE(is_quit_event(quit) && !is_key_event(quit) && !is_mouse_event(quit));
    EXPECT_EQ(quit.command, CMD_QUIT);
    EXPECT_EQ(quit.key, empty_key());

    auto left = [](bool pressed, bool motion) {
        return event_mouse(mouse_event(0, 0, mouse_left(), pressed, motion, false, false, false));
    };
    EXPECT_EQ(left(true, false).key, empty_key());
    EXPECT_TRUE(is_left_click(left(true, false)));
    EXPECT_FALSE(is_left_click(left(false, false)));  // release
    EXPECT_FALSE(is_left_click(left(true, true)));    // drag
    EXPECT_FALSE(is_left_click(event_mouse(mouse_event(0, 0, mouse_right(), true, false, false, false, false))));

    EXPECT_TRUE(is_activate_key(event_key(key_event(key_enter(), true, true, true))));
    EXPECT_TRUE(is_activate_key(event_key(key_event(key_char(32), false, false, true))));   // Shift-Space
    EXPECT_FALSE(is_activate_key(event_key(key_event(key_char(32), false, true, false))));  // Alt-Space
    EXPECT_FALSE(is_activate_key(event_key(key_event(key_char(32), true, false, false))));
    EXPECT_FALSE(is_activate_key(left(true, false)));

    EXPECT_TRUE(mouse_button_eq(mouse_wheel_up(), MouseButton::WheelUp));
    EXPECT_FALSE(mouse_button_eq(mouse_wheel_up(), mouse_wheel_down()));
    EXPECT_FALSE(mouse_button_eq(MouseButton(9), MouseButton(9)));
}

}  // namespace
