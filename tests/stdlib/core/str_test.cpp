#include "stdlib/core/str.hpp"

#include <gtest/gtest.h>

using namespace stdlib;

namespace {

class Str : public testing::Test {
protected:
    static string text(const char* bytes) { return from_c(bytes); }
    static bool shared_empty(const string& s) { return s.get() == empty_string().get(); }
};

TEST_F(Str, ComparisonsStopAtTheFirstZeroByteAndReadBytesUnsigned) {
    EXPECT_TRUE(length(string()) == 0 && is_empty(string()));
    EXPECT_TRUE(equals(text("abc"), "abc"_t) && equals(from_bytes("ab\0x", 4), "ab"_t));
    EXPECT_EQ(compare("a"_t, "ab"_t), -1);
    EXPECT_EQ(compare("ab"_t, "a"_t), 1);
    EXPECT_EQ(compare(text("\xc8"), text("\x64")), 1);
    EXPECT_EQ(compare(string(), ""_t), 0);
    EXPECT_TRUE(contains("abc"_t, ""_t) && contains("abc"_t, "bc"_t) && !contains("ab"_t, "abc"_t));
    EXPECT_TRUE(starts_with("abc"_t, ""_t) && !starts_with("a"_t, "ab"_t));
    EXPECT_TRUE(ends_with("abc"_t, "bc"_t) && !ends_with("c"_t, "bc"_t));
}

TEST_F(Str, SubstringTrimPadAndSearchKeepTheirBoundaries) {
    string abc = text("abc");
    EXPECT_STREQ(c_str(substring(abc, 1, 100)), "bc");
    EXPECT_EQ(length(substring(abc, 1, 100)), 2);
    EXPECT_TRUE(shared_empty(substring(abc, 3, 1)) && shared_empty(substring(abc, -1, 2)));
    EXPECT_TRUE(shared_empty(substring(abc, 0, 0)) && shared_empty(substring(string(), 0, 5)));
    EXPECT_STREQ(c_str(trim_ws(text(" \t a b\r\n"))), "a b");
    EXPECT_TRUE(shared_empty(trim_ws(text(" \n\t"))) && shared_empty(trim_ws(string())));
    EXPECT_TRUE(pad_left(abc, 2, ' ').get() == abc.get() && pad_right(abc, 3, ' ').get() == abc.get());
    EXPECT_STREQ(c_str(pad_left(abc, 5, '.')), "..abc");
    EXPECT_STREQ(c_str(pad_right(abc, 5, '.')), "abc..");
    EXPECT_EQ(length(pad_left(string(), 3, '0')), 3);

    string s = text("a.b.c");
    EXPECT_EQ(index_of(s, ""_t).unwrap(), 0);
    EXPECT_EQ(index_of(s, ".c"_t).unwrap(), 3);
    EXPECT_TRUE(index_of(s, "a.b.c.d"_t).is_none());
    EXPECT_EQ(index_of_char(s, '.').unwrap(), 1);
    EXPECT_EQ(last_index_of_char(s, '.').unwrap(), 3);
    EXPECT_TRUE(index_of_char(s, 'x').is_none() && last_index_of_char(string(), 'x').is_none());
    EXPECT_EQ(count_char(s, '.'), 2);
    EXPECT_EQ(char_at(s, 4).unwrap(), 'c');
    EXPECT_TRUE(char_at(s, 5).is_none() && char_at(s, -1).is_none());
    EXPECT_STREQ(c_str(to_lower(text("MiXeD 1\xc3\x89"))), "mixed 1\xc3\x89");
}

TEST_F(Str, SplitKeepsEmptyPiecesAndJoinReturnsALoneItemItself) {
    string_array none = split(string(), ',');
    EXPECT_EQ(runtime::length(none), 0);
    EXPECT_TRUE(shared_empty(join(none, ","_t)));
    string_array three = split(text("a,,b"), ',');
    ASSERT_EQ(runtime::length(three), 3);
    EXPECT_TRUE(shared_empty(three[1]));
    EXPECT_STREQ(c_str(join(three, "--"_t)), "a----b");
    EXPECT_EQ(runtime::length(split(text(","), ',')), 2);
    EXPECT_EQ(runtime::length(split(text("abc"), ',')), 1);
    string_array one = split(text("solo"), ',');
    EXPECT_EQ(join(one, ", "_t).get(), one[0].get());
    EXPECT_TRUE(shared_empty(join(split(text(","), ','), ""_t)));
}

}  // namespace
