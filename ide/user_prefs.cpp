#include "ide/user_prefs.hpp"

#include "stdlib/core/convert.hpp"

namespace ide {

Global<Prefs> g_prefs;
bool g_loaded = false;

Root<Prefs> default_prefs() {
    Root<Prefs> prefs = runtime::make<Prefs>();
    prefs->theme = DEFAULT_THEME();
    return prefs;
}

int32_t clamp_log_max(int32_t n) { return n < 50 ? 50 : n > 100000 ? 100000 : n; }

int32_t parse_log_max(const stdlib::string& text) {
    stdlib::string trimmed = stdlib::trim_ws(text);
    if (stdlib::is_empty(trimmed)) return DEFAULT_LOG_MAX;
    auto number = stdlib::to_int(trimmed);
    return number.is_ok() ? clamp_log_max(number.unwrap_ok()) : DEFAULT_LOG_MAX;
}

}  // namespace ide
