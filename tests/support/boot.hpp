// Brings the runtime up once per test process, in the order the program's entry uses.
#pragma once
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>

#include <initializer_list>
#include <utility>

#include "tests/support/runtime_up.hpp"

namespace test_support {

inline void boot() {
    static bool up = [] {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        runtime_up();
        return true;
    }();
    (void)up;
}

// Brings the runtime up before the first test of a program that registers it once, as
// tests/kestrum/up.cpp and tests/ide/up.cpp do.
struct Booted : testing::Environment {
    void SetUp() override { boot(); }
};

// A hand-built shadow frame of one slot, pushed and popped in strict order, as code that keeps
// references in plain locals does.
struct Frame {
    nolt_gc_frame* previous;
    uint32_t slot_count = 1;
    uint32_t reserved = 0;
    void** slot;

    explicit Frame(void** local) : previous(__nolt_gc_top), slot(local) { __nolt_gc_top = (nolt_gc_frame*)this; }
    ~Frame() { __nolt_gc_top = previous; }
};

// True when the suite runs with a collection at every allocation or with verification, where
// tests of the allocator's exact layout do not apply.
inline bool torture() { return getenv("NOLT_GC_TORTURE") || getenv("NOLT_GC_VERIFY"); }

#define SKIP_UNDER_TORTURE() \
    if (test_support::torture()) GTEST_SKIP() << "exact heap layout does not hold under torture"

// Runs `body` in a fresh process whose runtime starts with the given switches set; the test
// passes if the body's assertions hold there.
template <class Body>
void run_with_env(std::initializer_list<std::pair<const char*, const char*>> env, Body body) {
    EXPECT_EXIT(
        {
            for (auto& [name, value] : env) setenv(name, value, 1);
            boot();
            body();
            if (::testing::Test::HasFailure())
                fprintf(stderr, "assertions failed in the child; run the test alone with that environment\n");
            exit(::testing::Test::HasFailure() ? 1 : 0);
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace test_support
