#include "ide/user_settings.hpp"

#include "ide/endblock.hpp"
#include "kestrum/widgets/label.hpp"
#include "stdlib/core/convert.hpp"

namespace ide {

using namespace runtime::literals;
using kestrum::InputLine;
using kestrum::rect;

Root<UserSettingsWin> UserSettingsWin::create(const Root<Prefs>& prefs) {
    Root<UserSettingsWin> win = runtime::make<UserSettingsWin>(rect(0, 0, 52, 12), string("User Settings"_t));
    win->init_settings();
    Root<kestrum::Checkbox> check =
        runtime::make<kestrum::Checkbox>(rect(0, 0, 48, 1), string("Auto End Block"_t), prefs->auto_end_block);
    win->auto_end_checkbox = check;
    win->add(check);
    win->add(runtime::make<kestrum::Label>(rect(0, 2, label_w, 1), string("Theme"_t)));
    Root<InputLine> theme = InputLine::create(rect(label_w + 1, 2, 30, 1), max_field_len, prefs->theme);
    win->theme_input = theme;
    win->add(theme);
    win->add(runtime::make<kestrum::Label>(rect(0, 4, label_w, 1), string("Log max lines"_t)));
    Root<InputLine> log_max = InputLine::create(rect(label_w + 1, 4, 30, 1), max_field_len,
                                                stdlib::to_string(prefs->build_log_max_lines));
    win->log_max_input = log_max;
    win->add(log_max);
    win->add_apply_cancel(rect(30, 8, 10, 1), rect(41, 8, 10, 1), CMD_APPLY);
    win->baseline_auto_end = check->checked;
    win->baseline_theme = stdlib::trim_ws(theme->text);
    win->baseline_log_max = stdlib::trim_ws(log_max->text);
    return win;
}

void UserSettingsWin::sync_dirty_from_fields() {
    Root<UserSettingsWin> self(this);
    bool same = auto_end_checkbox->checked == baseline_auto_end &&
                stdlib::equals(stdlib::trim_ws(self->theme_input->text), self->baseline_theme) &&
                stdlib::equals(stdlib::trim_ws(self->log_max_input->text), self->baseline_log_max);
    if (same) self->dirty->clear();
    else self->dirty->mark();
}

void UserSettingsWin::layout_contents() {
    Root<UserSettingsWin> self(this);
    Root<kestrum::FormGrid> grid = self->lay_out_chrome(8, label_w);
    if (self->child_count() < 7) return;
    self->child(0)->bounds = grid->full_rect(0);
    for (int32_t row = 1; row <= 2; row++) {
        self->child(2 * row - 1)->bounds = grid->label_rect(row);
        self->child(2 * row)->bounds = grid->field_rect(row);
    }
}

Root<Prefs> UserSettingsWin::prefs_from_fields() {
    Root<UserSettingsWin> self(this);
    Root<Prefs> prefs = default_prefs();
    prefs->auto_end_block = self->auto_end_checkbox->checked;
    string theme = stdlib::trim_ws(self->theme_input->text);
    if (!stdlib::is_empty(theme)) prefs->theme = theme;
    prefs->build_log_max_lines = parse_log_max(self->log_max_input->text);
    return prefs;
}

bool UserSettingsWin::apply_to_disk() {
    Root<UserSettingsWin> self(this);
    Root<Prefs> prefs = self->prefs_from_fields();
    if (!save(prefs)) return false;
    string log_max = stdlib::to_string(prefs->build_log_max_lines);
    self->baseline_auto_end = prefs->auto_end_block;
    self->baseline_theme = prefs->theme;
    self->baseline_log_max = log_max;
    self->auto_end_checkbox->set_checked(prefs->auto_end_block);
    self->theme_input->set_text(prefs->theme);
    self->log_max_input->set_text(log_max);
    self->dirty->clear();
    self->sync_title();
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
