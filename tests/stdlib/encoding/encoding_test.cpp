#include <gtest/gtest.h>

#include <tuple>

#include "stdlib/encoding/base64.hpp"
#include "stdlib/encoding/utf8.hpp"

using namespace stdlib;

namespace {

TEST(Encoding, Utf8CountsStartBytesAndBase64PadsAndSwitchesAlphabets) {
    // lead byte, length: a continuation byte and a byte that leads nothing count as one
    const std::pair<unsigned char, int32_t> leads[] = {{'a', 1}, {0xC3, 2}, {0xE2, 3}, {0xF0, 4}, {0x80, 1}, {0xF8, 1}};
    for (auto [byte, n] : leads) EXPECT_EQ(utf8_char_len(char(byte)), n) << int(byte);
    EXPECT_TRUE(!is_utf8_start_byte(char(0xBF)) && is_utf8_start_byte(char(0xFF)));
    EXPECT_EQ(utf8_strlen(from_c("\xF0\x9F\x98\x80\xF0\x9F\x98\x81")), 2);
    EXPECT_EQ(utf8_strlen(from_c("a\xC3\xA9\x80\x80z")), 3);
    EXPECT_EQ(utf8_strlen(string()), 0);

    EXPECT_EQ(base64_encode(""_t).get(), empty_string().get());
    const std::tuple<const char*, bool, const char*> cases[] = {{"Man", false, "TWFu"}, {"M", false, "TQ=="},
        {"Ma", false, "TWE="}, {"foobar", false, "Zm9vYmFy"}, {"\xfb\xff\xbf", false, "+/+/"},
        {"\xfb\xff\xbf", true, "-_-_"}, {"\xff", true, "_w=="}};
    for (auto& [bytes, url, out] : cases) EXPECT_STREQ(c_str(base64_encode_internal(from_c(bytes), url)), out);
}

}  // namespace
