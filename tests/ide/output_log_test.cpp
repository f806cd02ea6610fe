#include "ide/output_log.hpp"

#include "ide/user_prefs.hpp"
#include "tests/support/boot.hpp"
#include "tests/support/temp_dir.hpp"

using namespace ide;
using namespace runtime::literals;
using kestrum::rect;

namespace {

std::string text(const string& s) { return std::string(stdlib::c_str(s), stdlib::length(s)); }

TEST(OutputLog, TakesAReportAfterClearWithoutAMarkerAndKeepsAMinimumSize) {
    test_support::TempHome home;  // preferences read afresh from an empty home
    g_loaded = false;
    Root<OutputWin> win = OutputWin::create(rect(0, 0, 40, 12), "Build"_t);
    win->set_body("one\n"_t);
    // Tab to the button, Enter: the log is emptied and the command goes no further.
    EXPECT_TRUE(win->handle_event(kestrum::event_key(kestrum::key_event_plain(kestrum::key_tab()))).handled);
    EXPECT_EQ(win->handle_event(kestrum::event_key(kestrum::key_event_plain(kestrum::key_enter()))),
              kestrum::event_handled());
    win->append_chunk("two\n"_t);
    EXPECT_EQ(text(Root<kestrum::TextArea>(win->area)->text()), "two\n");

    win->set_bounds(rect(0, 0, 6, 4));
    Root<kestrum::TextArea> area(win->area);
    EXPECT_TRUE(area->bounds == rect(0, 0, 16, 3) && area->visible_rows == 3 &&
                Root<kestrum::Button>(win->clear_button)->bounds == rect(0, 4, 12, 1));
}

}  // namespace
