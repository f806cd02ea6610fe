#include "stdlib/text/stringbuilder.hpp"

#include <gtest/gtest.h>

#include "stdlib/core/convert.hpp"
#include "tests/support/boot.hpp"

using namespace stdlib;

namespace {

TEST(StringBuilder, BuildsEveryPartOnceAndCanBuildAgain) {
    test_support::boot();
    string_builder sb = sb_with_capacity(0);
    EXPECT_EQ(sb_build(sb).get(), empty_string().get());
    sb_append(sb, "x = "_t);
    sb_append_int(sb, INT32_MIN);
    sb_newline(sb);
    sb_append(sb, string());
    sb_append(sb, ""_t);
    for (int32_t i = 0; i < 40; i++) sb_append(sb, to_string(i % 10));
    nolt_heaps_gc();
    string built = sb_build(sb);
    EXPECT_STREQ(c_str(built), "x = -2147483648\n0123456789012345678901234567890123456789");
    EXPECT_EQ(length(built), sb->total_length);
    EXPECT_EQ(sb->capacity, 64);
    string again = sb_build(sb);
    EXPECT_NE(again.get(), built.get());
    EXPECT_TRUE(equals(again, built));
}

}  // namespace
