#include "kestrum/event.hpp"

#include <gtest/gtest.h>

using namespace kestrum;

namespace {

TEST(Keys, IdentityAndEquality) {
    EXPECT_FALSE(keycode_eq(key_char(65), key_char(97)));
    EXPECT_TRUE(keycode_eq(key_char(65), key_char(65)));
    EXPECT_TRUE(keycode_eq(key_enter(), key_enter()));
    EXPECT_FALSE(keycode_eq(key_enter(), key_tab()));
    // A stray codepoint on a non-Char key does not make it differ.
    EXPECT_TRUE(keycode_eq(KeyCode{KeyCode::Home, 7}, key_home()));

    EXPECT_EQ(key_f(1).tag, KeyCode::F1);
    EXPECT_EQ(key_f(12).tag, KeyCode::F12);
    EXPECT_EQ(key_f(0).tag, KeyCode::Unknown);
    EXPECT_EQ(key_f(13).tag, KeyCode::Unknown);

    EXPECT_TRUE(is_char(key_char(32)));
    EXPECT_FALSE(is_char(key_escape()));
    EXPECT_EQ(key_codepoint_or(key_char(0x263A), -1), 0x263A);
    EXPECT_EQ(key_codepoint_or(key_page_down(), -1), -1);

    EXPECT_EQ(keycode_index(key_arrow_down()), 12);
    EXPECT_EQ(keycode_index(key_f(12)), 30);
    EXPECT_EQ(keycode_index(KeyCode{31, 0}), 0);
    EXPECT_EQ(keycode_index(KeyCode{-1, 0}), 0);
}

TEST(Keys, ControlLettersFoldToUpperCase) {
    EXPECT_EQ(key_event_ctrl_letter(113), key_event_ctrl_letter(81));
    KeyEvent ctrl_a = key_event_ctrl_letter('a');
    EXPECT_EQ(ctrl_a.key, key_char('A'));
    EXPECT_TRUE(ctrl_a.ctrl);
    EXPECT_FALSE(ctrl_a.alt || ctrl_a.shift);
    // Only letters fold.
    EXPECT_EQ(key_event_ctrl_letter('['), key_event(key_char('['), true, false, false));
    EXPECT_EQ(empty_key(), key_event_plain(key_unknown()));
}

TEST(Events, KindsCarryTheEmptyValueOfTheOtherPart) {
    Event key = event_key(key_event_char('x'));
    EXPECT_TRUE(is_key_event(key));
    EXPECT_EQ(key.mouse, empty_mouse());
    EXPECT_EQ(key.command, CMD_NONE);

    Event mouse = event_mouse(mouse_event(3, 4, mouse_right(), true, false, false, true, false));
    EXPECT_TRUE(is_mouse_event(mouse));
    EXPECT_EQ(mouse.key, empty_key());
    EXPECT_EQ(mouse.mouse.button, MouseButton::Right);

    Event quit = event_quit();
    EXPECT_TRUE(is_quit_event(quit));
    EXPECT_FALSE(is_key_event(quit) || is_mouse_event(quit));
    EXPECT_EQ(quit.command, CMD_QUIT);
    EXPECT_EQ(quit.data1 | quit.data2, 0);
}

TEST(Events, LeftClickAndActivation) {
    auto left = [](bool pressed, bool motion) {
        return event_mouse(mouse_event(0, 0, mouse_left(), pressed, motion, false, false, false));
    };
    EXPECT_TRUE(is_left_click(left(true, false)));
    EXPECT_FALSE(is_left_click(left(false, false)));  // release
    EXPECT_FALSE(is_left_click(left(true, true)));    // drag
    EXPECT_FALSE(is_left_click(event_mouse(mouse_event(0, 0, mouse_middle(), true, false, false, false, false))));
    EXPECT_FALSE(is_left_click(event_key(key_event_char(' '))));

    EXPECT_TRUE(is_activate_key(event_key(key_event_plain(key_enter()))));
    EXPECT_TRUE(is_activate_key(event_key(key_event(key_enter(), true, true, true))));
    EXPECT_TRUE(is_activate_key(event_key(key_event(key_char(32), false, false, true))));  // Shift-Space
    EXPECT_FALSE(is_activate_key(event_key(key_event(key_char(32), false, true, false))));  // Alt-Space
    EXPECT_FALSE(is_activate_key(event_key(key_event(key_char(32), true, false, false))));
    EXPECT_FALSE(is_activate_key(event_key(key_event_char('a'))));
    EXPECT_FALSE(is_activate_key(left(true, false)));
}

TEST(Events, MouseButtonsOutsideTheEnumerationEqualNothing) {
    EXPECT_TRUE(mouse_button_eq(mouse_wheel_up(), MouseButton::WheelUp));
    EXPECT_TRUE(mouse_button_eq(mouse_none(), mouse_none()));
    EXPECT_FALSE(mouse_button_eq(mouse_wheel_up(), mouse_wheel_down()));
    EXPECT_FALSE(mouse_button_eq(MouseButton(9), MouseButton(9)));
    EXPECT_FALSE(mouse_button_eq(MouseButton(-1), mouse_none()));
}

}  // namespace
