// The user's settings window in the real binary: preferences applied live and saved. The
// project's settings are renamed in the session flow and fail to save in the fault tests.
#include "ide_steps.hpp"

using namespace e2e::steps;

// Started without a project, and the last one gone: ready. Then Preferences.
TEST(UserSettings, ApplyChangesTheThemeTheSwitchAndTheLimitLiveAndCancelAsksAboutChanges) {
    e2e::TempDir home;
    const fs::path file = home.path() / ".config/noltide/settings.toml";
    e2e::write_file(home.path() / ".config/noltide/session.toml", "last_root = \"/nonexistent/project\"\n");
    e2e::Session s(NOLTIDE_BIN, at80().with_home(home.path()));
    ASSERT_TRUE(wait_status(s, "ready"));
    EXPECT_EQ(s.row_text(0).find("\u2014"), std::string::npos) << "no project in the bar";
    e2e::Color classic = s.cell(12, 40).bg;
    menu(s, 4, 0, "Preferences");
    ASSERT_TRUE(s.wait_text("User Settings"));
    s.send(" \t");  // the switch off, then the theme's field
    s.send(kClearLine + "paper\t" + kClearLine + "10\t");
    s.send(e2e::keys::enter);  // Apply
    ASSERT_TRUE(wait_status(s, "user settings saved"));
    const std::string saved = "auto_end_block = false\ntheme = \"paper\"\nbuild_log_max_lines = 50\n";
    EXPECT_EQ(read_file(file), saved);
    EXPECT_TRUE(s.wait_text("50  "));  // the limit as saved
    EXPECT_NE(s.cell(12, 70).bg, classic);

    // Clean again after Apply: Escape closes at once, and the new theme and switch stay.
    s.send(e2e::keys::esc);
    ASSERT_TRUE(wait_gone(s, "User Settings"));
    EXPECT_NE(s.cell(12, 40).bg, classic);
    s.send(std::string(e2e::keys::f10) + std::string(e2e::keys::right));
    EXPECT_TRUE(s.wait_text("Auto End Block: Off"));
    s.send(e2e::keys::esc);
    ASSERT_TRUE(wait_gone(s, "Auto End Block"));
    menu(s, 3, 0, "Settings\u2026");  // the project's settings, without a project
    answer(s, "No project is open", "OK");
    s.send(e2e::keys::f2);  // the cycle goes on from the theme chosen
    EXPECT_TRUE(wait_status(s, "Theme: nord"));

    // A change and Cancel: the question; No keeps the changed window, and Yes leaves the file as it was.
    menu(s, 4, 0, "Preferences");
    ASSERT_TRUE(s.wait_text("User Settings"));
    s.send("\t");
    s.send(kClearLine + "nord\t\t\t");
    s.send(e2e::keys::enter);  // Cancel
    answer(s, "Discard them?", "No");
    ASSERT_TRUE(s.wait_text("User Settings *"));
    s.send(e2e::keys::enter);
    answer(s, "Discard them?", "Yes");
    EXPECT_EQ(read_file(file), saved);
    quit(s);
}
