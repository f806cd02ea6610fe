#include "ide/commands.hpp"

#include "ide/user_prefs.hpp"
#include "tests/support/boot.hpp"
#include "tests/support/golden.hpp"
#include "tests/support/temp_dir.hpp"

using namespace kestrum;
using namespace runtime::literals;

namespace {

TEST(IdeMenus, EachPullsDownBelowItsTitleAndEveryKeyShownRunsItsRow) {
    test_support::TempHome home;  // default preferences: end-block completion on
    ide::g_loaded = false;
    Root<CommandTable> table = ide::build_commands();
    Root<MenuBar> bar = ide::build_menubar();
    bar->set_right_text("noltide 0.1"_t);
    const char* bar_row = "  File  Edit  Build  Project  Settings  Help  noltide 0.1 ";
    const test_support::Picture pictures[6] = {
        {bar_row,
         " ┌─────────────────┐                                      ",
         " │ New          ^N │                                      ",
         " │ Open…        ^O │                                      ",
         " │ Open Project…   │                                      ",
         " │ Close Project   │                                      ",
         " │ Save         ^S │                                      ",
         " │ Save As…        │                                      ",
         " │─────────────────│                                      ",
         " │ Quit        A-Q │                                      ",
         " └─────────────────┘                                      "},
        {bar_row,
         "       ┌──────────────────────┐                           ",
         "       │ Cut               ^X │                           ",
         "       │ Copy              ^C │                           ",
         "       │ Paste             ^V │                           ",
         "       │ Select All        ^A │                           ",
         "       │──────────────────────│                           ",
         "       │ Auto End Block: On   │                           ",
         "       └──────────────────────┘                           "},
        {bar_row,
         "             ┌─────────────┐                              ",
         "             │ Build    F5 │                              ",
         "             │ Run         │                              ",
         "             └─────────────┘                              "},
        {bar_row,
         "                    ┌─────────────┐                       ",
         "                    │ Settings…   │                       ",
         "                    │ File Tree   │                       ",
         "                    └─────────────┘                       "},
        {bar_row,
         "                             ┌────────────────┐           ",
         "                             │ Preferences…   │           ",
         "                             └────────────────┘           "},
        {bar_row,
         "                                       ┌────────────┐     ",
         "                                       │ About      │     ",
         "                                       └────────────┘     "},
    };
    for (int32_t i = 0; i < 6; i++) {
        SCOPED_TRACE(i);
        menubar_open(bar, i);
        Root<Menu> menu = menubar_get(bar, i);
        Root<CellBuffer> buf = cellbuf_create(58, menu->count + 3);
        bar->draw(buf, rect(0, 0, 58, 1), test_support::whole(buf), false, theme_classic());
        EXPECT_TRUE(test_support::same_picture(test_support::screen_text(buf, test_support::whole(buf)), pictures[i]));
        for (int32_t row = 0; row < menu->count; row++) {
            Root<MenuItem> item = menu_get(menu, row);
            EXPECT_EQ(commands_match_key(table, item->accel), item->has_accel ? item->command : CMD_NONE);
        }
    }
}

}  // namespace
