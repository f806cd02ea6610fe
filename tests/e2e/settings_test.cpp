// The two settings windows in the real binary: preferences applied live and saved, and the
// project's nolt.toml rewritten in place.
#include "ide_steps.hpp"

using namespace e2e::steps;
namespace fs = std::filesystem;

namespace {

fs::path settings_file(const fs::path& home) { return home / ".config/noltide/settings.toml"; }

void preferences(e2e::Session& s) {
    menu(s, 4, 0, "Preferences");
    ASSERT_TRUE(s.wait_text("User Settings"));
}

// Empties the focused input line and types `text` into it.
void retype(e2e::Session& s, const std::string& text) {
    std::string keys;
    for (int i = 0; i < 40; i++) keys += e2e::keys::backspace;
    s.send(keys + text);
}

// Opens the Edit menu, looks for its switch row, and closes it again.
::testing::AssertionResult edit_menu_shows(e2e::Session& s, const std::string& row) {
    s.send(std::string(e2e::keys::f10) + std::string(e2e::keys::right));
    ::testing::AssertionResult shown = s.wait_text(row);
    s.send(e2e::keys::esc);
    if (shown) shown = s.wait_for([&] { return s.screen().find(row) == std::string::npos; });
    return shown;
}

}  // namespace

TEST(UserSettings, ApplyChangesTheThemeTheSwitchAndTheLimitLiveAndCancelAsksAboutChanges) {
    e2e::TempDir home;
    e2e::Session s(NOLTIDE_BIN, at80().with_home(home.path()));
    ASSERT_TRUE(wait_status(s, "ready"));
    e2e::Color classic = s.cell(12, 40).bg;
    preferences(s);
    s.send(" \t");  // the switch off, then the theme's field
    retype(s, "paper\t");
    retype(s, "10\t");
    s.send(e2e::keys::enter);  // Apply
    ASSERT_TRUE(wait_status(s, "user settings saved"));
    EXPECT_EQ(read_file(settings_file(home.path())),
              "auto_end_block = false\ntheme = \"paper\"\nbuild_log_max_lines = 50\n");
    EXPECT_TRUE(s.wait_text("50  "));  // the limit as saved
    EXPECT_NE(s.cell(12, 70).bg, classic);

    // Clean again after Apply: Escape closes at once, and the new theme and switch stay.
    s.send(e2e::keys::esc);
    ASSERT_TRUE(s.wait_for([&] { return s.screen().find("User Settings") == std::string::npos; }));
    EXPECT_NE(s.cell(12, 40).bg, classic);
    EXPECT_TRUE(edit_menu_shows(s, "Auto End Block: Off"));
    menu(s, 3, 0, "Settings\u2026");  // the project's settings, without a project
    answer(s, "No project is open", "OK");
    s.send(e2e::keys::f2);  // the cycle goes on from the theme chosen
    EXPECT_TRUE(wait_status(s, "Theme: nord"));

    // A change and Cancel: the question, and Yes leaves the file as it was.
    preferences(s);
    s.send("\t");
    retype(s, "nord\t\t\t");
    s.send(e2e::keys::enter);  // Cancel
    answer(s, "Discard them?", "Yes");
    EXPECT_EQ(read_file(settings_file(home.path())),
              "auto_end_block = false\ntheme = \"paper\"\nbuild_log_max_lines = 50\n");
    quit(s);
}

TEST(UserSettings, AnUnwritableFileIsReportedAndTheRunningValuesStay) {
    e2e::TempDir home;
    fs::create_directories(settings_file(home.path()));  // a directory where the file belongs
    e2e::Session s(NOLTIDE_BIN, at80().with_home(home.path()));
    ASSERT_TRUE(wait_status(s, "ready"));
    e2e::Color classic = s.cell(12, 40).bg;
    preferences(s);
    s.send(" \t");
    retype(s, "paper\t\t");
    s.send(e2e::keys::enter);
    answer(s, "Could not write ~/.config/noltide/settings.toml", "OK");
    EXPECT_TRUE(s.wait_text("User Settings *"));
    s.send(e2e::keys::esc);
    answer(s, "Discard them?", "Yes");
    EXPECT_TRUE(s.wait_for([&] { return s.screen().find("User Settings") == std::string::npos; }));
    EXPECT_EQ(s.cell(12, 40).bg, classic) << s.screen();
    EXPECT_TRUE(edit_menu_shows(s, "Auto End Block: On"));
    quit(s);
}

TEST(ProjectSettings, ApplyRewritesOnlyTheFiveKeysAndBlankFieldsAreRefused) {
    e2e::TempDir root, home;
    const std::string toml =
        "# the demo\n[package]\nname = \"demo\"   # shown in the bar\nversion = \"0.3\"\n\n"
        "[build]\nentry = \"src/main.nolt\"\nflags = [\"-O\"]\n\n[tool.fmt]\nwidth = 80\n";
    e2e::write_file(root.path() / "nolt.toml", toml);
    e2e::write_file(root.path() / "src/main.nolt", "fn main()\nend main\n");
    e2e::Session s(NOLTIDE_BIN, at80({"nolt.toml"}).in_dir(root.path()).with_home(home.path()));
    ASSERT_TRUE(s.wait_text("noltide 0.1.0 \u2014 demo"));
    menu(s, 3, 0, "Settings\u2026");
    ASSERT_TRUE(s.wait_text("Project Settings"));
    retype(s, "\t\t\t\t\t");  // a blank name, then Apply
    s.send(e2e::keys::enter);
    answer(s, "Could not write nolt.toml (check Name/Entry/Output/Output dir)", "OK");
    EXPECT_EQ(read_file(root.path() / "nolt.toml"), toml);

    for (int i = 0; i < 5; i++) s.send(e2e::keys::backtab);  // back to the name
    for (const char* field : {"renamed\t", "src/app.nolt\t", "app\t", "out\t"}) retype(s, field);
    s.send(std::string(e2e::keys::end) + ", lib\t");
    s.send(e2e::keys::enter);
    ASSERT_TRUE(s.wait_text("noltide 0.1.0 \u2014 renamed"));
    std::string written = read_file(root.path() / "nolt.toml");
    EXPECT_NE(written.find("source_dirs = [\"src\", \"lib\"]\n[tool.fmt]\nwidth = 80\n"), std::string::npos) << written;
    s.send(e2e::keys::esc);
    ASSERT_TRUE(s.wait_text("Files \u2014 renamed"));
    quit(s);
}
