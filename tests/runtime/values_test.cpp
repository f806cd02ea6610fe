#include "runtime/values.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "runtime/managed.hpp"
#include "tests/support/boot.hpp"

using namespace runtime;
using namespace runtime::literals;
using testing::Eq;
using testing::ExitedWithCode;

namespace {

char* raw(const Root<Text>& t) { return t ? t->bytes() : nullptr; }
auto line(const char* words) { return Eq(std::string("Runtime error: ") + words + "\n"); }
std::vector<int32_t> ints(const Root<Array<int32_t>>& array) {
    return std::vector<int32_t>(array->data(), array->data() + length(array));
}

TEST(RuntimeTexts, LengthsCapacityFillingAndSearches) {
    test_support::boot();
    EXPECT_TRUE(nolt_string_length(nullptr) == 0 && nolt_string_length(nolt_string_empty()) == 0);
    EXPECT_EQ(nolt_string_empty(), ""_t->bytes());
    Root<Text> room(reinterpret_cast<Text*>(nolt_string_alloc(8)));
    EXPECT_TRUE(room->length() == 0 && nolt_string_capacity(raw(room)) == 8u);
    EXPECT_EQ(nolt_string_copy_range(raw(room), "hello"_t->bytes(), 1, 3), 3);
    EXPECT_EQ(nolt_string_copy_range(raw(room), "hello"_t->bytes(), 0, 4), 4);
    EXPECT_STREQ(room->c_str(), "ellhell");  // seven bytes and the zero byte fill all eight

    Root<Text> buffer(reinterpret_cast<Text*>(nolt_alloc_string_buffer(6)));
    EXPECT_EQ(buffer->length(), 5);
    strcpy(buffer->bytes(), "ab");
    nolt_string_sync_length(raw(buffer));
    EXPECT_EQ(buffer->length(), 2);
    nolt_string_set_length(raw(buffer), 1);
    nolt_string_store_char(raw(buffer), 0, 'z');
    EXPECT_STREQ(buffer->c_str(), "z");

    // Concatenation and searches stop at the first zero byte.
    Root<Text> with_zero = make_text("ab\0cd", 5);
    Root<Text> joined(reinterpret_cast<Text*>(nolt_string_concat(raw(with_zero), "xy"_t->bytes())));
    EXPECT_TRUE(joined->equals("abxy")) << joined->c_str();
    EXPECT_EQ(reinterpret_cast<Text*>(nolt_string_dup_c(nullptr))->length(), 0);
    Root<Text> s = make_text("a.b.c");
    const int32_t found[][3] = {{'.', 0, 1}, {'.', 2, 3}, {'.', 4, -1}, {'.', 99, -1}, {'\0', 0, -1}};
    for (auto& [c, from, at] : found) EXPECT_EQ(nolt_index_of_char_from(raw(s), (char)c, from), at) << from;
    EXPECT_TRUE(nolt_last_index_of_char(raw(s), '.') == 3 && nolt_last_index_of_char(raw(s), 'q') == -1);
}

TEST(RuntimeTexts, RunTimeErrorsHaveTheirExactWords) {
    test_support::boot();
    Root<Text> s = make_text("abc");
    Root<Text> small(reinterpret_cast<Text*>(nolt_string_alloc(4)));
    EXPECT_EXIT(s[3], ExitedWithCode(1), line("string index 3 out of bounds (length 3)"));
    EXPECT_EXIT(nolt_string_check(nullptr, 0), ExitedWithCode(1), line("string index 0 on NULL string"));
    EXPECT_EXIT(nolt_string_set_length(nullptr, 0), ExitedWithCode(1), line("set_length on NULL string"));
    EXPECT_EXIT(nolt_string_set_length("abc"_t->bytes(), 1), ExitedWithCode(1),
                line("set_length on a string literal"));
    EXPECT_EXIT(nolt_string_set_length(raw(s), 4), ExitedWithCode(1), line("set_length 4 out of range (capacity 4)"));
    EXPECT_EXIT(nolt_string_sync_length(nullptr), ExitedWithCode(1), line("sync_length on NULL string"));
    EXPECT_EXIT(nolt_string_sync_length("x"_t->bytes()), ExitedWithCode(1), line("sync_length on a string literal"));
    EXPECT_EXIT(nolt_string_copy_range(""_t->bytes(), raw(s), 0, 1), ExitedWithCode(1),
                line("string_copy_range on a string literal"));
    EXPECT_EXIT(nolt_string_copy_range(raw(small), raw(s), 0, 4), ExitedWithCode(1),
                line("string append overflow or invalid range (start=0, len=4, dest_len=0, capacity=4)"));
    EXPECT_EXIT(nolt_string_copy_range(raw(small), raw(s), -1, 1), ExitedWithCode(1),
                line("string append overflow or invalid range (start=-1, len=1, dest_len=0, capacity=4)"));
    EXPECT_EXIT(nolt_string_store_char(raw(s), 0, 0), ExitedWithCode(1), Eq("panic: embedded NUL in string\n"));
}

TEST(RuntimeArrays, AppendAndConcatMakeNewArraysOfTheSameKind) {
    test_support::boot();
    Root<Array<int32_t>> none;
    auto numbers = append(append(none, 1), 2);
    auto longer = append(numbers, 3);
    EXPECT_EQ(ints(numbers), (std::vector<int32_t>{1, 2}));
    EXPECT_EQ(ints(concat(numbers, longer)), (std::vector<int32_t>{1, 2, 1, 2, 3}));
    EXPECT_EQ(ints(concat(none, numbers)), ints(numbers));
    EXPECT_FALSE(concat(none, Array<int32_t>::make(0)));

    auto names = Array<Member<Text>>::make(0);
    for (const char* word : {"one", "two", "three"}) names = append(names, make_text(word));
    nolt_heaps_gc();
    auto twice = concat(names, names);
    EXPECT_EQ(nolt_block_of(twice.get())->flags & NOLT_FLAG_POINTER_ARRAY, (uint32_t)NOLT_FLAG_POINTER_ARRAY);
    nolt_heaps_gc();
    EXPECT_TRUE(length(twice) == 6 && twice[5]->equals("three"));

    EXPECT_EXIT(numbers[2], ExitedWithCode(1), line("array index 2 out of bounds (length 2)"));
    EXPECT_EXIT(none[0], ExitedWithCode(1), line("array index 0 on NULL/empty array"));
}

TEST(RuntimeExit, PanicAndExitFlushStdioAndSkipCleanUp) {
    test_support::boot();
    EXPECT_TRUE(nolt_int_div(-7, 2) == -3 && nolt_int_mod(-7, 2) == -1 && nolt_int_div(INT32_MIN, 1) == INT32_MIN);
    EXPECT_EXIT(nolt_int_div(1, 0), ExitedWithCode(1), Eq("panic: integer division by zero\n"));
    EXPECT_EXIT(nolt_int_mod(1, 0), ExitedWithCode(1), Eq("panic: integer division by zero\n"));
    EXPECT_EXIT(nolt_int_div(INT32_MIN, -1), ExitedWithCode(1), Eq("panic: integer division overflow\n"));
    EXPECT_EXIT(nolt_panic("it broke"), ExitedWithCode(1), Eq("panic: it broke\n"));
    EXPECT_EXIT(
        {
            static char buffer[256];
            setvbuf(stderr, buffer, _IOFBF, sizeof buffer);
            fputs("buffered", stderr);
            atexit([] { fputs(" and clean-up ran", stderr); });
            nolt_exit(3);
        },
        ExitedWithCode(3), Eq("buffered"));
}

}  // namespace
