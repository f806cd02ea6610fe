#include "ide/user_settings.hpp"

#include <sys/stat.h>

#include "ide/editor.hpp"
#include "tests/kestrum/stream.hpp"
#include "tests/support/golden.hpp"
#include "tests/support/home_dir.hpp"

using namespace ide;
using namespace runtime::literals;

namespace {

std::string str(const string& s) { return stdlib::c_str(s); }

// A home without settings.toml, and a menu bar whose Edit menu has the end-block row at 5.
class UserForm : public stream::RecordedLoops {
protected:
    test_support::TempHome home;
    Root<kestrum::MenuBar> bar = kestrum::MenuBar::create(2);
    void SetUp() override {
        RecordedLoops::SetUp();
        g_loaded = false;
        Root<kestrum::Menu> edit = kestrum::menu_create("Edit"_t, 6);
        for (int i = 0; i < 5; i++) kestrum::menu_add(edit, kestrum::menu_item_sep());
        kestrum::menu_add(edit, kestrum::menu_item(menu_label(), CMD_TOGGLE_AUTO_END));
        bar->add(kestrum::menu_create("File"_t, 1));
        bar->add(edit);
    }
    std::string menu_row() { return str(kestrum::menu_get(kestrum::menubar_get(bar, 1), 5)->label); }
};

TEST_F(UserForm, DefaultsLaidOutInTabOrderAndDirtyOnTrimmedChanges) {
    app->set_theme(kestrum::theme_ascii());
    Root<UserSettingsWin> win = UserSettingsWin::create(ensure_loaded());
    open_settings_modal(app, win);
    app->redraw();
    EXPECT_SCREEN_AT(app->frame, kestrum::rect(2, 1, 52, 12),
                     {"++ User Settings +----------------------------+ x ++",
                      "|[X] Auto End Block                                |",
                      "|                                                  |",
                      "|Theme            classic                          |",
                      "|                                                  |",
                      "|Log max lines    1000                             |",
                      "|                                                  |",
                      "|                                                  |",
                      "|                                                  |",
                      "|                                                  |",
                      "|                             [ Apply ]  [ Cancel ]|",
                      "+--------------------------------------------------▄"});
    EXPECT_EQ(tab_order(win, 6), (std::vector<int32_t>{2, 4, 5, 6, 0, 2}));
    // Space on the checkbox twice, and a blank behind the theme: still clean.
    for (int32_t key : {' ', ' '}) win->handle_event(kestrum::event_key(kestrum::key_event_char(key)));
    win->theme_input->set_text("classic "_t);
    win->sync_dirty_from_fields();
    EXPECT_FALSE(win->is_dirty());
    // A blank theme and a limit with no number are saved as the defaults and shown so.
    win->theme_input->set_text(""_t);
    win->log_max_input->set_text("abc"_t);
    win->auto_end_checkbox->toggle();
    ASSERT_TRUE(win->apply_to_disk());
    EXPECT_EQ(str(win->theme_input->text) + " " + str(win->log_max_input->text) + " " + str(win->title),
              "classic 1000 User Settings");
    EXPECT_FALSE(auto_end_block());
}

TEST_F(UserForm, ApplySavesTheFileSetsTheThemeAndTheMenuRowAtOnce) {
    // Off, theme amber, limit 10, Apply; Escape closes the clean window.
    script({{"", " \t\x7f\x7f\x7f\x7f\x7f\x7f\x7f" "amber\t\x7f\x7f\x7f\x7f" "10\t\r\x1b"}});
    do_user_settings(app, bar);
    EXPECT_EQ(test_support::read_bytes(home.config("settings.toml")),
              "auto_end_block = false\ntheme = \"amber\"\nbuild_log_max_lines = 50\n");
    EXPECT_EQ(str(app->theme->name) + "|" + menu_row() + "|" + str(app->status()),
              "amber|Auto End Block: Off|user settings saved");
    EXPECT_EQ(build_log_max_lines(), 50);
    EXPECT_FALSE(app->has_modal());
}

TEST_F(UserForm, AnUnwritableFileKeepsTheRunningValues) {
    ASSERT_EQ(mkdir((home.path() + "/.config").c_str(), 0700), 0);
    ASSERT_EQ(mkdir((home.path() + "/.config/noltide").c_str(), 0700), 0);
    ASSERT_EQ(mkdir(home.config("settings.toml").c_str(), 0700), 0);  // a directory cannot be written as a file
    script({{"", " \t\t\t\r"}, {"~/.config/noltide/settings.toml", "\r\x1b"}, {"unsaved", "\r"}});
    do_user_settings(app, bar);
    EXPECT_TRUE(auto_end_block());
    EXPECT_EQ(menu_row() + "|" + str(app->theme->name), "Auto End Block: On|classic");
    EXPECT_FALSE(app->has_modal());
}

}  // namespace
