// The user settings window.
#pragma once
#include <stdint.h>

namespace ide {

inline constexpr int32_t CMD_USER_SETTINGS = 147;

}  // namespace ide
