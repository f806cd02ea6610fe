// Brings the runtime up once per fuzzing process.
#pragma once
#include "tests/support/runtime_up.hpp"

inline void fuzz_boot() { test_support::runtime_up(); }
