// Build and Run through the compiler.
#pragma once
#include <stdint.h>

namespace ide {

inline constexpr int32_t CMD_BUILD = 140;
inline constexpr int32_t CMD_RUN = 141;

}  // namespace ide
