// Every test in this program runs with the runtime up.
#include "tests/support/boot.hpp"

static testing::Environment* const up = testing::AddGlobalTestEnvironment(new test_support::Booted);
