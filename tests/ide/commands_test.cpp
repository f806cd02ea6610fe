#include "ide/commands.hpp"

#include "ide/user_prefs.hpp"
#include "tests/support/boot.hpp"
#include "tests/support/golden.hpp"
#include "tests/support/temp_dir.hpp"

using namespace kestrum;

namespace {

// That every key shown runs its row is checked by the end-to-end flows, which press each of them.
TEST(IdeMenus, EachPullsDownBelowItsTitle) {
    test_support::TempHome home;  // default preferences: end-block completion on
    ide::g_loaded = false;
    Root<MenuBar> bar = ide::build_menubar();
    // Each menu: the column of its left side line and its rows between the side lines.
    const std::pair<int32_t, test_support::Picture> menus[6] = {
        {1, {" New          ^N ", " Open…        ^O ", " Open Project…   ", " Close Project   ", " Save         ^S ",
             " Save As…        ", "─────────────────", " Quit        A-Q "}},
        {7, {" Cut               ^X ", " Copy              ^C ", " Paste             ^V ", " Select All        ^A ",
             "──────────────────────", " Auto End Block: On   "}},
        {13, {" Build    F5 ", " Run         "}},
        {20, {" Settings…   ", " File Tree   "}},
        {29, {" Preferences…   "}},
        {39, {" About      "}},
    };
    for (int32_t i = 0; i < 6; i++) {
        SCOPED_TRACE(i);
        menubar_open(bar, i);
        Root<Menu> menu = menubar_get(bar, i);
        Root<CellBuffer> buf = cellbuf_create(58, menu->count + 3);
        bar->draw(buf, rect(0, 0, 58, 1), test_support::whole(buf), false, theme_classic());
        auto [x, rows] = menus[i];
        for (std::string& row : rows) row = "│" + row + "│";
        int32_t width = (int32_t)test_support::glyph_count(rows[0]);
        EXPECT_TRUE(test_support::same_picture(test_support::screen_text(buf, rect(x, 2, width, menu->count)), rows));
    }
}

}  // namespace
