#include "ide/user_prefs.hpp"

#include "ide/session.hpp"
#include "tests/support/boot.hpp"
#include "tests/support/temp_dir.hpp"

using namespace ide;

namespace {

std::string describe(const Root<Prefs>& p) {
    return (p->auto_end_block ? "on " : "off ") + std::string(stdlib::c_str(p->theme)) + " " +
           std::to_string(p->build_log_max_lines);
}

TEST(UserPrefs, LoadClampsAndFallsBackToDefaults) {
    test_support::TempDir dir;
    const std::string path = dir / "settings.toml";
    for (auto [file, expected] : std::initializer_list<std::pair<const char*, const char*>>{
             {"build_log_max_lines = 10\n", "on classic 50"},
             {"build_log_max_lines = 100001\ntheme = \"  \"\n", "on classic 100000"},
             {"auto_end_block = false\ntheme = \" dusk \"\nbuild_log_max_lines = 100000\n", "off dusk 100000"},
             {"auto_end_block = \"yes\"\nbuild_log_max_lines = \"many\"\n", "off classic 1000"},
             {"auto_end_block = false\ntheme = \"dusk\"\nbroken\n", "on classic 1000"}}) {
        test_support::write_bytes(path, file);
        EXPECT_EQ(describe(load_from(stdlib::from_c(path.c_str()))), expected) << file;
    }
    EXPECT_EQ(describe(load_from(stdlib::from_c((dir / "none").c_str()))), "on classic 1000");
    // The limit as a user types it in the settings form.
    for (auto [typed, limit] : {std::pair{" 250 ", 250}, {"7", 50}, {"100001", 100000}, {"  ", DEFAULT_LOG_MAX},
                                {"lots", DEFAULT_LOG_MAX}, {"99999999999", DEFAULT_LOG_MAX}})
        EXPECT_EQ(parse_log_max(stdlib::from_c(typed)), limit) << typed;
}

// What a save writes, clamped, is checked by the end-to-end settings flow, and a blank theme saved
// by the settings form's test.
TEST(UserPrefs, NoSaveWhereAFileStandsInPlaceOfTheSettingsFolder) {
    test_support::TempHome home;
    g_loaded = false;
    test_support::write_bytes(home / ".config", "");
    EXPECT_FALSE(ensure_session_dir());
    EXPECT_FALSE(save(ensure_loaded()));
}

}  // namespace
