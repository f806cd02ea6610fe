#include "ide/user_prefs.hpp"

#include "ide/session.hpp"
#include "stdlib/core/convert.hpp"
#include "stdlib/encoding/toml.hpp"
#include "stdlib/io/file.hpp"
#include "stdlib/io/path.hpp"

namespace ide {

using namespace runtime::literals;
using stdlib::string;

Global<Prefs> g_prefs;
bool g_loaded = false;

Root<Prefs> default_prefs() {
    Root<Prefs> prefs = runtime::make<Prefs>();
    prefs->theme = DEFAULT_THEME();
    return prefs;
}

namespace {

// A theme name that is never blank and a log limit within its range.
void normalize(const Root<Prefs>& prefs) {
    string theme = stdlib::trim_ws(prefs->theme);
    prefs->theme = stdlib::is_empty(theme) ? string(DEFAULT_THEME()) : theme;
    prefs->build_log_max_lines = clamp_log_max(prefs->build_log_max_lines);
}

}  // namespace

int32_t clamp_log_max(int32_t n) { return n < 50 ? 50 : n > 100000 ? 100000 : n; }

int32_t parse_log_max(const stdlib::string& text) {
    stdlib::string trimmed = stdlib::trim_ws(text);
    if (stdlib::is_empty(trimmed)) return DEFAULT_LOG_MAX;
    auto number = stdlib::to_int(trimmed);
    return number.is_ok() ? clamp_log_max(number.unwrap_ok()) : DEFAULT_LOG_MAX;
}

string settings_path() { return stdlib::join(session_dir(), "settings.toml"_t); }

string format_prefs(const Root<Prefs>& prefs) {
    stdlib::toml_builder_ref builder = stdlib::toml_builder();
    stdlib::toml_set_bool(builder, "auto_end_block"_t, prefs->auto_end_block);
    stdlib::toml_set_string(builder, "theme"_t, prefs->theme);
    stdlib::toml_set_int(builder, "build_log_max_lines"_t, prefs->build_log_max_lines);
    return stdlib::toml_render(builder);
}

Root<Prefs> load_from(const string& path) {
    Root<Prefs> prefs = default_prefs();
    if (stdlib::is_empty(path) || !stdlib::fileExists(path)) return prefs;
    auto body = stdlib::readFile(path);
    if (body.is_err()) return prefs;
    auto parsed = stdlib::toml_parse_doc(body.unwrap_ok());
    if (parsed.is_err()) return prefs;
    const stdlib::toml_doc& doc = parsed.unwrap_ok();
    prefs->auto_end_block = stdlib::toml_get_bool_doc_or(doc, "auto_end_block"_t, true);
    prefs->theme = stdlib::toml_get_doc_or(doc, "theme"_t, DEFAULT_THEME());
    prefs->build_log_max_lines = stdlib::toml_get_int_doc_or(doc, "build_log_max_lines"_t, DEFAULT_LOG_MAX);
    normalize(prefs);
    return prefs;
}

Root<Prefs> load() { return load_from(settings_path()); }

bool save_to(const string& path, const Root<Prefs>& prefs) {
    if (stdlib::is_empty(path) || !ensure_session_dir()) return false;
    normalize(prefs);
    return stdlib::replaceFile(path, format_prefs(prefs)).is_ok();
}

bool save(const Root<Prefs>& prefs) {
    if (!save_to(settings_path(), prefs)) return false;
    g_prefs.register_root();
    g_prefs = prefs;  // save_to has normalised it
    g_loaded = true;
    return true;
}

Root<Prefs> ensure_loaded() {
    g_prefs.register_root();  // the program's entry has done so; a test may come here first
    if (!g_loaded) {
        g_prefs = load();
        g_loaded = true;
    }
    return g_prefs;
}

bool auto_end_block() { return ensure_loaded()->auto_end_block; }

int32_t build_log_max_lines() { return ensure_loaded()->build_log_max_lines; }

void set_auto_end_block(bool on) {
    Root<Prefs> prefs = ensure_loaded();
    prefs->auto_end_block = on;
    save(prefs);
}

}  // namespace ide
