// The user's own preferences: one current record, loaded lazily from settings.toml.
#pragma once
#include "stdlib/core/str.hpp"

namespace ide {

using runtime::Global;
using runtime::Member;
using runtime::Root;
using runtime::Text;

inline constexpr int32_t DEFAULT_LOG_MAX = 1000;
inline Text* DEFAULT_THEME() {
    using namespace runtime::literals;
    return "classic"_t;
}

class Prefs {
    NOLT_MANAGED(Prefs, void);

public:
    bool auto_end_block = true;
    Member<Text> theme;
    int32_t build_log_max_lines = DEFAULT_LOG_MAX;
};

// The current record, and whether settings.toml has been read into it.
extern Global<Prefs> g_prefs;
extern bool g_loaded;

Root<Prefs> default_prefs();
// 50 to 100000.
int32_t clamp_log_max(int32_t n);
// What a user typed: trimmed; empty or not a number gives the default; a number is clamped.
int32_t parse_log_max(const stdlib::string& text);

// ~/.config/noltide/settings.toml.
stdlib::string settings_path();
// The file's three lines: auto_end_block, theme, build_log_max_lines.
stdlib::string format_prefs(const Root<Prefs>& prefs);
// The defaults for whatever is missing, and for everything when the file is missing, unreadable
// or does not parse. Out-of-range numbers are clamped, a blank theme is the default one.
Root<Prefs> load_from(const stdlib::string& path);
Root<Prefs> load();
// Normalises `prefs` in place and replaces the whole file; false if it could not be written, and
// then the old file stays as it was.
bool save_to(const stdlib::string& path, const Root<Prefs>& prefs);
// save_to at settings_path; on success `prefs` becomes the current record.
bool save(const Root<Prefs>& prefs);

// The current record, read from the file on the first call only. Changing a field of it changes
// the current state.
Root<Prefs> ensure_loaded();
bool auto_end_block();
int32_t build_log_max_lines();
// Sets the field of the current record and saves it. If the save fails the new value still holds
// for this run.
void set_auto_end_block(bool on);

}  // namespace ide
