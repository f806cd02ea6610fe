// Reads arbitrary bytes as the user's settings.toml. Whatever the file holds, the preferences
// read from it are usable (a trimmed theme name that is not blank, a line limit within its
// range), and written out and read again they come back the same, in the same text.
#include <stdint.h>
#include <stdlib.h>


#include "fuzz/boot.hpp"
#include "ide/user_prefs.hpp"
#include "stdlib/io/file.hpp"

using namespace ide;
using namespace stdlib;

namespace {

Root<Prefs> load_text(const string& path, const string& text) {
    FUZZ_CHECK(writeFile(path, text).is_ok());
    return load_from(path);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_boot();
    if (size > 1 << 14) return 0;
    static const std::string file = fuzz_scratch("settings");
    string path = from_c(file.c_str());
    Root<Prefs> prefs = load_text(path, from_bytes(reinterpret_cast<const char*>(data), (int32_t)size));
    string theme = prefs->theme;
    FUZZ_CHECK(!is_empty(theme) && equals(trim_ws(theme), theme));
    FUZZ_CHECK(prefs->build_log_max_lines == clamp_log_max(prefs->build_log_max_lines));

    string written = format_prefs(prefs);
    Root<Prefs> back = load_text(path, written);
    FUZZ_CHECK(back->auto_end_block == prefs->auto_end_block && equals(back->theme, theme) &&
          back->build_log_max_lines == prefs->build_log_max_lines);
    FUZZ_CHECK(equals(format_prefs(back), written));
    return 0;
}
