#include "kestrum/event.hpp"

#include <gtest/gtest.h>

using namespace kestrum;

namespace {

TEST(Events, ClicksAndActivation) {
    auto left = [](bool pressed, bool motion) {
        return event_mouse(mouse_event(0, 0, mouse_left(), pressed, motion, false, false, false));
    };
    EXPECT_TRUE(is_left_click(left(true, false)));
    EXPECT_FALSE(is_left_click(left(false, false)));  // release
    EXPECT_FALSE(is_left_click(left(true, true)));    // drag
    EXPECT_FALSE(is_left_click(event_mouse(mouse_event(0, 0, mouse_right(), true, false, false, false, false))));

    EXPECT_TRUE(is_activate_key(event_key(key_event(key_enter(), true, true, true))));
    EXPECT_TRUE(is_activate_key(event_key(key_event(key_char(32), false, false, true))));   // Shift-Space
    EXPECT_FALSE(is_activate_key(event_key(key_event(key_char(32), false, true, false))));  // Alt-Space
    EXPECT_FALSE(is_activate_key(event_key(key_event(key_char(32), true, false, false))));
    EXPECT_FALSE(is_activate_key(left(true, false)));
}

}  // namespace
