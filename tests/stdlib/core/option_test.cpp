#include "stdlib/core/error.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/boot.hpp"

using namespace stdlib;
using testing::Eq;
using testing::ExitedWithCode;

namespace {

Option<string> lookup(bool found) {
    if (!found) return None;
    return Some(from_c("value"));
}

Result<string, Error> load(bool ok) {
    if (!ok) return Err(error_with_code(ErrorKind::NotFound, from_c("no such file"), 2));
    return Ok(from_c("contents"));
}

TEST(OptionResult, PayloadsStayAliveAndUnwrapOrFallsBack) {
    test_support::boot();
    Option<string> some = lookup(true);
    Result<string, Error> failed = load(false);
    Result<string, Error> loaded = load(true);
    nolt_heaps_gc();
    EXPECT_TRUE(some.is_some());
    EXPECT_STREQ(c_str(some.unwrap()), "value");
    EXPECT_STREQ(c_str(lookup(false).unwrap_or("none"_t)), "none");
    EXPECT_TRUE(failed.is_err());
    EXPECT_EQ(failed.unwrap_err()->kind, ErrorKind::NotFound);
    EXPECT_EQ(failed.unwrap_err()->code, 2);
    EXPECT_STREQ(c_str(failed.unwrap_err()->message), "no such file");
    EXPECT_STREQ(c_str(loaded.unwrap_ok()), "contents");
    EXPECT_STREQ(c_str(failed.unwrap_or("fallback"_t)), "fallback");
    EXPECT_EQ(error(ErrorKind::Other, ""_t)->code, 0);
    EXPECT_EQ(int(ErrorKind::OutOfRange), 8);
}

TEST(OptionResult, UnwrappingTheWrongVariantPanics) {
    test_support::boot();
    EXPECT_EXIT(lookup(false).unwrap(), ExitedWithCode(1), Eq("panic: Option.unwrap called on None\n"));
    EXPECT_EXIT(load(false).unwrap_ok(), ExitedWithCode(1), Eq("panic: Result.unwrap_ok called on Err\n"));
    EXPECT_EXIT(load(true).unwrap_err(), ExitedWithCode(1), Eq("panic: Result.unwrap_err called on Ok\n"));
}

}  // namespace
