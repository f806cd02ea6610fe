#include <gtest/gtest.h>

#include "stdlib/encoding/base64.hpp"
#include "stdlib/encoding/utf8.hpp"
#include "tests/support/boot.hpp"

using namespace stdlib;

namespace {

TEST(Utf8, CountsStartBytesAndToleratesBadOnes) {
    test_support::boot();
    EXPECT_EQ(utf8_char_len('a'), 1);
    EXPECT_EQ(utf8_char_len(char(0xC3)), 2);
    EXPECT_EQ(utf8_char_len(char(0xE2)), 3);
    EXPECT_EQ(utf8_char_len(char(0xF0)), 4);
    EXPECT_EQ(utf8_char_len(char(0x80)), 1);  // continuation byte
    EXPECT_EQ(utf8_char_len(char(0xF8)), 1);  // no such lead byte
    EXPECT_FALSE(is_utf8_start_byte(char(0xBF)));
    EXPECT_TRUE(is_utf8_start_byte(char(0xFF)));

    string four_byte = from_c("\xF0\x9F\x98\x80\xF0\x9F\x98\x81");
    EXPECT_EQ(utf8_strlen(four_byte), length(four_byte) / 4);
    EXPECT_EQ(utf8_strlen(from_c("a\xC3\xA9\x80\x80z")), 3);
    EXPECT_EQ(utf8_strlen(string()), 0);
}

TEST(Base64, PadsRemaindersAndSwitchesAlphabets) {
    test_support::boot();
    auto encode = [](const char* bytes, int32_t n, bool url = false) {
        return std::string(c_str(base64_encode_internal(from_bytes(bytes, n), url)));
    };
    EXPECT_EQ(base64_encode(""_t).get(), empty_string().get());
    EXPECT_EQ(encode("Man", 3), "TWFu");
    EXPECT_EQ(encode("M", 1), "TQ==");
    EXPECT_EQ(encode("Ma", 2), "TWE=");
    EXPECT_EQ(encode("foobar", 6), "Zm9vYmFy");
    EXPECT_EQ(std::string(c_str(base64_encode("hello world"_t))), "aGVsbG8gd29ybGQ=");
    EXPECT_EQ(encode("\xfb\xff\xbf", 3), "+/+/");
    EXPECT_EQ(encode("\xfb\xff\xbf", 3, true), "-_-_");
    EXPECT_EQ(encode("\xff", 1, true), "_w==");
    EXPECT_EQ(base64_char(62, false), '+');
    EXPECT_EQ(base64_char(63, true), '_');
}

}  // namespace
