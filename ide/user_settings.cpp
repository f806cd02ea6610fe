#include "ide/user_settings.hpp"

#include "ide/endblock.hpp"
#include "stdlib/core/convert.hpp"

namespace ide {

using namespace runtime::literals;
using kestrum::rect;

namespace {

constexpr InputRows<UserSettingsWin, 2> ROWS = {
    {&UserSettingsWin::theme_input, &UserSettingsWin::log_max_input},
    {&UserSettingsWin::baseline_theme, &UserSettingsWin::baseline_log_max},
    1,
    true};

}  // namespace

Root<UserSettingsWin> UserSettingsWin::create(const Root<Prefs>& prefs) {
    Root<UserSettingsWin> win = runtime::make<UserSettingsWin>(rect(0, 0, 52, 12), string("User Settings"_t));
    win->init_settings();
    Root<kestrum::Checkbox> check =
        runtime::make<kestrum::Checkbox>(rect(0, 0, 48, 1), string("Auto End Block"_t), prefs->auto_end_block);
    win->auto_end_checkbox = check;
    win->baseline_auto_end = check->checked;
    win->add(check);
    const string labels[] = {"Theme"_t, "Log max lines"_t};
    const string values[] = {prefs->theme, stdlib::to_string(prefs->build_log_max_lines)};
    add_input_rows(*win, ROWS, labels, values, 30);
    win->add_apply_cancel(rect(30, 8, 10, 1), rect(41, 8, 10, 1), CMD_APPLY);
    return win;
}

void UserSettingsWin::sync_dirty_from_fields() {
    if (auto_end_checkbox->checked == baseline_auto_end && inputs_unchanged(*this, ROWS)) dirty->clear();
    else dirty->mark();
}

void UserSettingsWin::layout_contents() {
    Root<kestrum::FormGrid> grid = lay_out_chrome(8, label_w);
    if (child_count() < 7) return;
    child(0)->bounds = grid->full_rect(0);
    lay_out_input_rows(*this, ROWS, grid);
}

Root<Prefs> UserSettingsWin::prefs_from_fields() {
    Root<Prefs> prefs = default_prefs();
    prefs->auto_end_block = auto_end_checkbox->checked;
    string theme = stdlib::trim_ws(theme_input->text);
    if (!stdlib::is_empty(theme)) prefs->theme = theme;
    prefs->build_log_max_lines = parse_log_max(log_max_input->text);
    return prefs;
}

bool UserSettingsWin::apply_to_disk() {
    Root<Prefs> prefs = prefs_from_fields();
    if (!save(prefs)) return false;
    baseline_auto_end = prefs->auto_end_block;
    auto_end_checkbox->set_checked(prefs->auto_end_block);
    const string values[] = {prefs->theme, stdlib::to_string(prefs->build_log_max_lines)};
    show_input_values(*this, ROWS, values);
    dirty->clear();
    sync_title();
    return true;
}

void refresh_auto_end_menu(const Root<kestrum::MenuBar>& bar) {
    Root<kestrum::Menu> edit = kestrum::menubar_get(bar, 1);
    Root<kestrum::MenuItem> row = kestrum::menu_get(edit, 5);
    row->label = menu_label();
    kestrum::menu_set(edit, 5, row);
}

void do_user_settings(const Root<Application>& app, const Root<kestrum::MenuBar>& bar) {
    Root<UserSettingsWin> win = UserSettingsWin::create(ensure_loaded());
    open_settings_modal(app, win);
    while (next_settings_apply(app, win, UserSettingsWin::CMD_APPLY)) {
        if (!win->apply_to_disk()) {
            app->message_box("User Settings"_t, "Could not write ~/.config/noltide/settings.toml"_t,
                             kestrum::messagebox_kind_ok());
            continue;
        }
        app->set_theme(kestrum::theme_by_name(win->prefs_from_fields()->theme));
        refresh_auto_end_menu(bar);
        app->set_status("user settings saved"_t);
    }
}

}  // namespace ide
