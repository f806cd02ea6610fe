#include "ide/user_prefs.hpp"

#include <gtest/gtest.h>

#include "ide/session.hpp"
#include "tests/support/boot.hpp"
#include "tests/support/home_dir.hpp"

using namespace ide;
using namespace runtime::literals;

namespace {

TEST(UserPrefs, DefaultsAndTheLogLimitTypedByAUser) {
    test_support::boot();
    Root<Prefs> prefs = default_prefs();
    nolt_heaps_gc();
    EXPECT_TRUE(prefs->auto_end_block);
    EXPECT_STREQ(stdlib::c_str(prefs->theme), "classic");
    EXPECT_EQ(prefs->build_log_max_lines, 1000);

    EXPECT_EQ(clamp_log_max(49), 50);
    EXPECT_EQ(clamp_log_max(100000), 100000);
    EXPECT_EQ(clamp_log_max(100001), 100000);
    EXPECT_EQ(parse_log_max(" 250 "_t), 250);
    EXPECT_EQ(parse_log_max("7"_t), 50);
    EXPECT_EQ(parse_log_max("  "_t), DEFAULT_LOG_MAX);
    EXPECT_EQ(parse_log_max("lots"_t), DEFAULT_LOG_MAX);
    EXPECT_EQ(parse_log_max("99999999999"_t), DEFAULT_LOG_MAX);
}

TEST(UserPrefs, LoadClampsAndFallsBackToDefaults) {
    test_support::boot();
    test_support::TempDir dir;
    struct Case { const char* file; bool auto_end; const char* theme; int32_t log_max; };
    const Case cases[] = {
        {"build_log_max_lines = 10\n", true, "classic", 50},
        {"build_log_max_lines = 100001\ntheme = \"  \"\n", true, "classic", 100000},
        {"auto_end_block = false\ntheme = \" dusk \"\nbuild_log_max_lines = 100000\n", false, "dusk", 100000},
        {"auto_end_block = \"yes\"\nbuild_log_max_lines = \"many\"\n", false, "classic", 1000},
        {"auto_end_block = false\ntheme = \"dusk\"\nbroken\n", true, "classic", 1000},
    };
    for (const Case& c : cases) {
        test_support::write_bytes(dir / "settings.toml", c.file);
        Root<Prefs> prefs = load_from(stdlib::from_c((dir / "settings.toml").c_str()));
        nolt_heaps_gc();
        EXPECT_EQ(prefs->auto_end_block, c.auto_end) << c.file;
        EXPECT_STREQ(stdlib::c_str(prefs->theme), c.theme) << c.file;
        EXPECT_EQ(prefs->build_log_max_lines, c.log_max) << c.file;
    }
    EXPECT_EQ(load_from(stdlib::from_c((dir / "missing.toml").c_str()))->build_log_max_lines, 1000);
}

TEST(UserPrefs, SaveRewritesTheFileAndBecomesCurrent) {
    test_support::boot();
    test_support::TempHome home;
    EXPECT_EQ(std::string(stdlib::c_str(settings_path())), home.config("settings.toml"));
    g_loaded = false;
    Root<Prefs> prefs = default_prefs();
    prefs->auto_end_block = false;
    prefs->theme = "  "_t;
    prefs->build_log_max_lines = 7;
    ASSERT_TRUE(save(prefs));  // makes ~/.config/noltide
    EXPECT_EQ(test_support::read_bytes(home.config("settings.toml")),
              "auto_end_block = false\ntheme = \"classic\"\nbuild_log_max_lines = 50\n");
    EXPECT_STREQ(stdlib::c_str(prefs->theme), "classic");
    EXPECT_EQ(ensure_loaded().get(), prefs.get());
    EXPECT_FALSE(save_to(""_t, prefs));

    setenv("HOME", "", 1);
    EXPECT_STREQ(stdlib::c_str(session_dir()), "~/.config/noltide");
}

TEST(UserPrefs, UnwritableFileKeepsTheRunningValues) {
    test_support::boot();
    test_support::TempHome home;
    std::filesystem::create_directories(home.config("settings.toml"));  // a directory cannot be written as a file
    g_loaded = false;
    Root<Prefs> current = ensure_loaded();
    EXPECT_TRUE(current->auto_end_block);
    set_auto_end_block(false);
    EXPECT_FALSE(auto_end_block());
    Root<Prefs> other = default_prefs();
    EXPECT_FALSE(save(other));
    EXPECT_EQ(ensure_loaded().get(), current.get());

    test_support::TempHome blocked;  // ~/.config is a plain file: the directory cannot be made
    test_support::write_bytes(blocked / ".config", "x");
    EXPECT_FALSE(ensure_session_dir());
    EXPECT_FALSE(save_to(stdlib::from_c((blocked / "elsewhere.toml").c_str()), other));
}

}  // namespace
