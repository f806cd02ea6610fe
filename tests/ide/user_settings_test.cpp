#include "ide/user_settings.hpp"

#include "tests/support/stream.hpp"
#include "tests/support/golden.hpp"
#include "tests/support/temp_dir.hpp"

using namespace ide;
using namespace runtime::literals;

namespace {

std::string str(const string& s) { return stdlib::c_str(s); }

using UserForm = stream::Loops;

TEST_F(UserForm, DefaultsOnASmallTerminalAndDirtyOnTrimmedChanges) {
    test_support::TempHome home;  // without settings.toml
    g_loaded = false;
    app->term->width = 44, app->term->height = 8;
    app->rebuild_buffers();
    app->set_theme(kestrum::theme_ascii());
    Root<UserSettingsWin> win = UserSettingsWin::create(ensure_loaded());
    open_settings_modal(app, win);
    app->redraw();
    // Lowered to the content area but placed at (2, 1), the window hangs over the right and bottom edges.
    EXPECT_SCREEN(app->frame, {"▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒▒",
                               "▒▒++ User Settings +--------------------+ x ",
                               "▒▒|[X] Auto End Block                       ",
                               "▒▒|                                         ",
                               "▒▒|Theme            classic                 ",
                               "▒▒|                                         ",
                               "▒▒|Log max lines    1000                    ",
                               "▒▒|                                         "});
    // Space on the checkbox twice, and a blank behind the theme: still clean.
    for (int32_t key : {' ', ' '}) win->handle_event(kestrum::event_key(kestrum::key_event_char(key)));
    win->theme_input->set_text("classic "_t);
    win->sync_dirty_from_fields();
    EXPECT_FALSE(win->is_dirty());
    // A blank theme and a limit with no number are saved as the defaults and shown so.
    win->theme_input->set_text(""_t);
    win->log_max_input->set_text("abc"_t);
    ASSERT_TRUE(win->apply_to_disk());
    EXPECT_EQ(str(win->theme_input->text) + " " + str(win->log_max_input->text) + " " + str(win->title),
              "classic 1000 User Settings");
}

}  // namespace
