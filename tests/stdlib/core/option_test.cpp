#include "stdlib/core/error.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

TEST(OptionResult, PayloadsStayAliveAndTheWrongVariantPanics) {
    Option<string> some = lookup(true);
    Result<string, Error> failed = load(false);
    nolt_heaps_gc();
    EXPECT_STREQ(c_str(some.unwrap()), "value");
    EXPECT_STREQ(c_str(lookup(false).unwrap_or("none"_t)), "none");
    EXPECT_TRUE(failed.unwrap_err()->kind == ErrorKind::NotFound && failed.unwrap_err()->code == 2);
    EXPECT_STREQ(c_str(failed.unwrap_err()->message), "no such file");
    EXPECT_STREQ(c_str(load(true).unwrap_ok()), "contents");
    EXPECT_STREQ(c_str(failed.unwrap_or("fallback"_t)), "fallback");
    EXPECT_EXIT(lookup(false).unwrap(), ExitedWithCode(1), Eq("panic: Option.unwrap called on None\n"));
    EXPECT_EXIT(load(false).unwrap_ok(), ExitedWithCode(1), Eq("panic: Result.unwrap_ok called on Err\n"));
    EXPECT_EXIT(load(true).unwrap_err(), ExitedWithCode(1), Eq("panic: Result.unwrap_err called on Ok\n"));
}

}  // namespace
