#include "stdlib/collections/vec.hpp"

#include <gtest/gtest.h>

#include "stdlib/core/convert.hpp"

using namespace stdlib;

namespace {

std::string contents(const Root<Vec<string>>& vec) {
    std::string all;
    for (int32_t i = 0; i < vec->len(); i++) all += std::string(c_str(vec->get(i).unwrap())) + ";";
    return all;
}

TEST(VecOfStrings, GrowsByDoublingAndEditsAtTheBoundaries) {
    auto grown = Vec<string>::create_with_capacity(0);
    for (int32_t i = 0; i < 5; i++) grown->push(to_string(i));
    EXPECT_EQ(grown->capacity(), 8);
    EXPECT_EQ(contents(grown), "0;1;2;3;4;");
    EXPECT_STREQ(c_str(grown->to_array()[4]), "4");

    auto vec = Vec<string>::create();
    EXPECT_TRUE(vec->pop().is_none() && vec->first().is_none() && vec->last().is_none());
    EXPECT_TRUE(vec->insert(0, "b"_t) && vec->insert(1, "d"_t));  // at len appends
    EXPECT_FALSE(vec->insert(3, "x"_t));                            // beyond len fails
    EXPECT_TRUE(vec->insert(0, "a"_t) && vec->insert(2, "c"_t));
    EXPECT_EQ(contents(vec), "a;b;c;d;");
    EXPECT_TRUE(vec->set(3, "D"_t) && !vec->set(4, "x"_t) && !vec->set(-1, "x"_t));
    EXPECT_TRUE(vec->remove_at(1) && !vec->remove_at(3));
    EXPECT_EQ(contents(vec), "a;c;D;");
    EXPECT_STREQ(c_str(vec->first().unwrap()), "a");
    EXPECT_STREQ(c_str(vec->pop().unwrap()), "D");
    EXPECT_STREQ(c_str(vec->last().unwrap()), "c");
    vec->clear();
    EXPECT_TRUE(vec->is_empty() && vec->capacity() == 16 && runtime::length(vec->to_array()) == 0);

    // What was popped, removed or cleared is no longer held by the vector.
    static int reclaimed = 0;
    for (int i = 0; i < 4; i++) {
        string item = from_c("x");
        nolt_heaps_add_finalizer(item.get(), [](void*) { reclaimed++; });
        vec->push(item);
    }
    vec->pop();
    vec->remove_at(0);
    vec->clear();
    nolt_heaps_gc();
    nolt_heaps_sweep_all();
    EXPECT_EQ(reclaimed, 4);
}

}  // namespace
