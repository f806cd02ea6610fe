#include "kestrum/commands.hpp"

#include <utility>

#include "tests/support/boot.hpp"

using namespace kestrum;
using runtime::Root;

namespace {

constexpr int32_t SAVE = 100, QUIT = CMD_QUIT, BUILD = 140, OTHER = 200;

KeyEvent ctrl(int32_t ch) { return key_event(key_char(ch), true, false, false); }
KeyEvent alt(int32_t ch) { return key_event(key_char(ch), false, true, false); }

TEST(Commands, AcceleratorsMatchByKindModifiersAndFoldedLetters) {
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
