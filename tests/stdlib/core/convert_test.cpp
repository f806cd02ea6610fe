#include "stdlib/core/convert.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "stdlib/core/chars.hpp"
#include "tests/support/boot.hpp"

using namespace stdlib;

namespace {

std::string failure(const Result<int32_t, Error>& result) {
    if (result.is_ok()) return "Ok";
    const Root<Error>& e = result.unwrap_err();
    EXPECT_EQ(e->kind, ErrorKind::InvalidInput);
    return c_str(e->message);
}

TEST(Convert, ToIntAcceptsExactlyTheIntRange) {
    test_support::boot();
    EXPECT_EQ(to_int(from_c(" 42 ")).unwrap_ok(), 42);
    EXPECT_EQ(to_int("+7"_t).unwrap_ok(), 7);
    EXPECT_EQ(to_int("2147483647"_t).unwrap_ok(), 2147483647);
    EXPECT_EQ(to_int("-2147483648"_t).unwrap_ok(), INT32_MIN);
    EXPECT_EQ(to_int("007"_t).unwrap_ok(), 7);
    EXPECT_EQ(failure(to_int("2147483648"_t)), "integer overflow");
    EXPECT_EQ(failure(to_int("-2147483649"_t)), "integer overflow");
    EXPECT_EQ(failure(to_int("99999999999"_t)), "integer overflow");
    EXPECT_EQ(failure(to_int("4 2"_t)), "trailing garbage in integer literal");
    EXPECT_EQ(failure(to_int(from_bytes("4\0", 2))), "trailing garbage in integer literal");
    for (const char* bad : {"", "-", "+", " ", "+-1", "x1"})
        EXPECT_EQ(failure(to_int(from_c(bad))), "invalid integer literal") << '"' << bad << '"';
    EXPECT_EQ(failure(to_int(string())), "invalid integer literal");
}

TEST(Convert, ToStringCoversZeroAndTheSmallestInt) {
    test_support::boot();
    EXPECT_STREQ(c_str(to_string(0)), "0");
    EXPECT_STREQ(c_str(to_string(INT32_MIN)), "-2147483648");
    EXPECT_STREQ(c_str(to_string(INT32_MAX)), "2147483647");
    EXPECT_STREQ(c_str(to_string(-305)), "-305");
    EXPECT_STREQ(c_str(to_string('x')), "x");
    EXPECT_EQ(length(to_string(char(0xE9))), 1);
    EXPECT_EXIT(to_string(char(0)), testing::ExitedWithCode(1), testing::Eq("panic: embedded NUL in string\n"));
}

TEST(Convert, BytesAndCharacterClasses) {
    EXPECT_EQ(to_char(-5), 0);
    EXPECT_EQ(to_code(to_char(300)), 255);
    EXPECT_EQ(to_code(char(0xC8)), 200);
    EXPECT_EQ(char_to_digit('7'), 7);
    EXPECT_EQ(digit_to_char(3), '3');
    EXPECT_TRUE(is_hex_digit('F') && is_hex_digit('a') && !is_hex_digit('g'));
    EXPECT_TRUE(is_octal_digit('7') && !is_octal_digit('8'));
    EXPECT_TRUE(is_binary_digit('1') && !is_binary_digit('2'));
    EXPECT_TRUE(is_whitespace('\r') && !is_whitespace('\v') && is_blank('\t') && !is_blank('\n'));
    EXPECT_TRUE(is_alphanumeric('z') && is_alphanumeric('0') && !is_alpha(char(0xC3)) && !is_alpha('_'));
    EXPECT_EQ(stdlib::to_lower('Q'), 'q');
    EXPECT_EQ(stdlib::to_lower('['), '[');
}

}  // namespace
