// Moved to tests/support/; kept until the IDE tests include it from there.
#pragma once
#include "tests/support/stream.hpp"
