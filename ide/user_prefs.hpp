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

}  // namespace ide
