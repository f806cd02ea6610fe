#include "ide/output_log.hpp"

#include <gtest/gtest.h>

#include "ide/user_prefs.hpp"
#include "tests/support/boot.hpp"
#include "tests/support/home_dir.hpp"

using namespace ide;
using namespace runtime::literals;
using kestrum::rect;

namespace {

std::string text(const string& s) { return std::string(stdlib::c_str(s), stdlib::length(s)); }
std::string log_of(const Root<OutputWin>& win) { return text(Root<kestrum::TextArea>(win->area)->text()); }

std::string numbered(int from, int to) {
    std::string s;
    for (int i = from; i <= to; i++) s += (i > from ? "\n" : "") + std::to_string(i);
    return s;
}

// Keeps the log limit of the current preferences at `max` while it lives.
struct LogLimit {
    test_support::TempHome home;
    explicit LogLimit(int32_t max) {
        g_loaded = false;
        ensure_loaded()->build_log_max_lines = max;
    }
    ~LogLimit() { g_loaded = false; }
};

TEST(OutputLog, TrimKeepsTheNewestLines) {
    test_support::boot();
    string three = "a\nb\nc"_t;
    EXPECT_EQ(text(trim_oldest_lines(three, 3)), "a\nb\nc");
    EXPECT_EQ(text(trim_oldest_lines(three, 2)), "b\nc");
    EXPECT_EQ(text(trim_oldest_lines("a\nb\n"_t, 2)), "b\n");  // the final line feed ends an empty piece
    EXPECT_EQ(text(trim_oldest_lines(three, 0)), "");
    EXPECT_EQ(text(append_capped(""_t, "x\n"_t, "--- Run ---"_t, 5)), "x\n");
    EXPECT_EQ(text(append_capped("x\n"_t, "y\n"_t, ""_t, 5)), "x\n\ny\n");
    EXPECT_EQ(text(append_capped("x\n"_t, "y\n"_t, "--- Run ---"_t, 4)), "\n--- Run ---\ny\n");
}

TEST(OutputLog, ReportsPileUpBehindMarkersUntilCleared) {
    test_support::boot();
    LogLimit limit(1000);
    Root<OutputWin> win = OutputWin::create(rect(0, 0, 40, 12), "Build"_t);
    nolt_heaps_gc();
    win->set_body("one\n"_t);
    win->append_chunk("two\n"_t);
    EXPECT_EQ(log_of(win), "one\n\n--- Build ---\ntwo\n");

    // Tab to the button, Enter: the log is emptied and the command goes no further.
    EXPECT_TRUE(win->handle_event(kestrum::event_key(kestrum::key_event_plain(kestrum::key_tab()))).handled);
    EXPECT_EQ(win->handle_event(kestrum::event_key(kestrum::key_event_plain(kestrum::key_enter()))),
              kestrum::event_handled());
    EXPECT_EQ(log_of(win), "");
    win->append_chunk("three\n"_t);
    EXPECT_EQ(log_of(win), "three\n");
}

TEST(OutputLog, LimitDropsTheOldestAndTheCaretFollowsTheEnd) {
    test_support::boot();
    LogLimit limit(50);
    Root<OutputWin> win = OutputWin::create(rect(0, 0, 40, 12), "Run"_t);
    win->set_body(stdlib::from_c(numbered(1, 60).c_str()));
    Root<kestrum::TextArea> area(win->area);
    EXPECT_EQ(log_of(win), numbered(11, 60));
    EXPECT_EQ(area->caret_line, 49);
    EXPECT_GE(area->caret_line, area->top_line);
    EXPECT_LT(area->caret_line, area->top_line + area->visible_rows);
}

TEST(OutputLog, NarrowWindowKeepsMinimumClientArea) {
    test_support::boot();
    LogLimit limit(50);
    Root<OutputWin> win = OutputWin::create(rect(0, 0, 20, 12), "Build"_t);
    EXPECT_EQ(Root<kestrum::TextArea>(win->area)->bounds, rect(0, 0, 18, 8));
    EXPECT_EQ(Root<kestrum::Button>(win->clear_button)->bounds, rect(0, 9, 12, 1));
    win->set_bounds(rect(0, 0, 6, 4));
    Root<kestrum::TextArea> area(win->area);
    EXPECT_EQ(area->bounds, rect(0, 0, 16, 3));
    EXPECT_EQ(area->visible_rows, 3);
    EXPECT_EQ(Root<kestrum::Button>(win->clear_button)->bounds, rect(0, 4, 12, 1));
}

}  // namespace
