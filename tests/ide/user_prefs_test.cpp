#include "ide/user_prefs.hpp"

#include <gtest/gtest.h>

#include "tests/support/boot.hpp"

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

}  // namespace
