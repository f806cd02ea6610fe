#include "kestrum/commands.hpp"

#include <gtest/gtest.h>

#include <utility>

#include "tests/support/boot.hpp"

using namespace kestrum;
using runtime::Root;

namespace {

constexpr int32_t SAVE = 100, QUIT = CMD_QUIT, BUILD = 140, OTHER = 200;

KeyEvent ctrl(int32_t ch) { return key_event(key_char(ch), true, false, false); }
KeyEvent alt(int32_t ch) { return key_event(key_char(ch), false, true, false); }

class Commands : public testing::Test {
protected:
    void SetUp() override { test_support::boot(); }
};

TEST_F(Commands, CapacityEnabledFlagsAndFullTables) {
    EXPECT_EQ(commands_create(0)->capacity, 1);
    EXPECT_EQ(commands_create(1000)->capacity, 128);
    Root<CommandTable> table = commands_create(2);
    EXPECT_FALSE(commands_is_enabled(table, CMD_NONE));
    EXPECT_TRUE(commands_is_enabled(table, 999));  // unknown ids count as enabled
    EXPECT_TRUE(commands_set_accel(table, SAVE, ctrl('S')) && commands_set(table, SAVE, false));
    EXPECT_FALSE(commands_is_enabled(table, SAVE));
    EXPECT_TRUE(table->has_accel[0] && table->accels[0] == ctrl('S'));  // commands_set kept the key
    EXPECT_FALSE(commands_set_accel(table, CMD_NONE, ctrl('Z')));
    EXPECT_TRUE(commands_set(table, BUILD, true) && commands_find(table, BUILD).unwrap() == 1);
    // Full: nothing changes.
    EXPECT_FALSE(commands_set(table, OTHER, true) || commands_set_accel(table, OTHER, ctrl('O')));
    EXPECT_TRUE(table->count == 2 && !table->has_accel[1] && table->accels[1] == empty_accel());
}

TEST_F(Commands, AcceleratorsMatchByKindModifiersAndFoldedLetters) {
    Root<CommandTable> table = commands_create(8);
    commands_set_accel(table, SAVE, key_event_ctrl_letter('s'));
    commands_set_accel(table, QUIT, alt('Q'));
    commands_set_accel(table, BUILD, key_event_plain(key_f(5)));
    commands_set_accel(table, OTHER, key_event_char('x'));
    // Ctrl and Alt letters match in either case, a plain letter only in its own; Shift counts.
    const std::pair<KeyEvent, int32_t> presses[] = {
        {ctrl('s'), SAVE}, {alt('q'), QUIT}, {alt('Q'), QUIT}, {key_event_plain(key_f(5)), BUILD},
        {key_event_char('x'), OTHER}, {key_event_char('X'), CMD_NONE},
        {key_event(key_f(5), false, false, true), CMD_NONE},
        {key_event(key_char('s'), true, true, false), CMD_NONE}, {key_event_plain(key_f(6)), CMD_NONE}};
    for (auto [key, command] : presses) EXPECT_EQ(commands_match_key(table, key), command);

    // The key bound twice: the first entry answers, and while it is disabled the next one does.
    commands_set_accel(table, 300, ctrl('S'));
    commands_set(table, SAVE, false);
    EXPECT_EQ(commands_match_key(table, ctrl('S')), 300);
    commands_set(table, 300, false);
    EXPECT_EQ(commands_match_key(table, ctrl('S')), CMD_NONE);
    commands_set(table, SAVE, true);  // enabled again without binding again
    EXPECT_EQ(commands_match_key(table, ctrl('S')), SAVE);
}

}  // namespace
