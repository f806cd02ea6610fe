#include "stdlib/core/convert.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "stdlib/core/chars.hpp"

using namespace stdlib;

namespace {

// The number, or the message of an InvalidInput error.
std::string outcome(const Result<int32_t, Error>& result) {
    if (result.is_ok()) return std::to_string(result.unwrap_ok());
    EXPECT_EQ(result.unwrap_err()->kind, ErrorKind::InvalidInput);
    return c_str(result.unwrap_err()->message);
}

TEST(Convert, ToIntAcceptsExactlyTheIntRangeAndToStringWritesItBack) {
    const char *overflow = "integer overflow", *garbage = "trailing garbage in integer literal",
               *invalid = "invalid integer literal";
    const std::pair<const char*, const char*> cases[] = {
        {" 42 ", "42"}, {"+7", "7"}, {"2147483647", "2147483647"}, {"-2147483648", "-2147483648"}, {"007", "7"},
        {"2147483648", overflow}, {"-2147483649", overflow}, {"99999999999", overflow}, {"4 2", garbage},
        {"", invalid}, {"-", invalid}, {"+", invalid}, {" ", invalid}, {"+-1", invalid}, {"x1", invalid}};
    for (auto& [in, out] : cases) EXPECT_EQ(outcome(to_int(from_c(in))), out) << '"' << in << '"';
    EXPECT_EQ(outcome(to_int(from_bytes("4\0", 2))), garbage);
    EXPECT_EQ(outcome(to_int(string())), invalid);

    for (int32_t n : {0, INT32_MIN, INT32_MAX, -305}) EXPECT_EQ(c_str(to_string(n)), std::to_string(n));
    EXPECT_STREQ(c_str(to_string('x')), "x");
    EXPECT_EQ(length(to_string(char(0xE9))), 1);
    EXPECT_EXIT(to_string(char(0)), testing::ExitedWithCode(1), testing::Eq("panic: embedded NUL in string\n"));
}

TEST(Convert, BytesAndCharacterClasses) {
    EXPECT_EQ(to_char(-5), 0);
    EXPECT_EQ(to_code(to_char(300)), 255);
    EXPECT_EQ(to_code(char(0xC8)), 200);
    EXPECT_TRUE(char_to_digit('7') == 7 && digit_to_char(3) == '3');
    EXPECT_TRUE(is_hex_digit('F') && is_hex_digit('a') && !is_hex_digit('g'));
    EXPECT_TRUE(is_octal_digit('7') && !is_octal_digit('8') && is_binary_digit('1') && !is_binary_digit('2'));
    EXPECT_TRUE(is_whitespace('\r') && !is_whitespace('\v') && is_blank('\t') && !is_blank('\n'));
    EXPECT_TRUE(is_alphanumeric('z') && is_alphanumeric('0') && !is_alpha(char(0xC3)) && !is_alpha('_'));
    EXPECT_TRUE(stdlib::to_lower('Q') == 'q' && stdlib::to_lower('[') == '[');
}

}  // namespace
