// The user settings window: a modal form for the user's preferences (end-block completion, the
// theme's name, the output windows' line limit). Apply saves settings.toml and the window stays
// open; the modal run also puts the new theme and the end-block switch to work at once.
#pragma once
#include "ide/settings_form.hpp"
#include "ide/user_prefs.hpp"
#include "kestrum/widgets/checkbox.hpp"

namespace ide {

inline constexpr int32_t CMD_USER_SETTINGS = 147;

// Children in order of adding, which is also the order of Tab: the checkbox; a label and an input
// for the theme and for the log limit; Apply and Cancel.
class UserSettingsWin : public kestrum::SettingsWindow {
    NOLT_MANAGED(UserSettingsWin, kestrum::SettingsWindow);

public:
    static constexpr int32_t CMD_APPLY = 148;
    static constexpr int32_t max_field_len = 64;
    static constexpr int32_t label_w = 16;

    UserSettingsWin() = default;
    UserSettingsWin(kestrum::Rect bounds, const string& title) : SettingsWindow(bounds, title) {}

    Member<kestrum::Checkbox> auto_end_checkbox;
    Member<kestrum::InputLine> theme_input;
    Member<kestrum::InputLine> log_max_input;
    // The values last read or written; the limit in decimal.
    bool baseline_auto_end = true;
    Member<Text> baseline_theme;
    Member<Text> baseline_log_max;

    // At (0, 0, 52, 12), titled "User Settings", clean.
    static Root<UserSettingsWin> create(const Root<Prefs>& prefs);

    // Dirty while the checkbox differs from its baseline or an input, trimmed, from its own.
    void sync_dirty_from_fields() override;
    void layout_contents() override;
    // A new record: a blank theme is the default one, and the limit goes through parse_log_max,
    // so nothing typed is refused.
    virtual Root<Prefs> prefs_from_fields();
    // Saves prefs_from_fields as the current preferences; false, with nothing changed, if the file
    // cannot be written. On success the controls show what was saved and the window is clean.
    virtual bool apply_to_disk();
};

// CMD_USER_SETTINGS. Each successful apply sets the saved theme on the application and the end-block
// row of `bar`'s Edit menu, and the status line reads "user settings saved".
void do_user_settings(const Root<Application>& app, const Root<kestrum::MenuBar>& bar);
// The Edit menu's end-block row takes the switch's current label.
void refresh_auto_end_menu(const Root<kestrum::MenuBar>& bar);

}  // namespace ide
