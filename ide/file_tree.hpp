// The project's file tree window.
#pragma once
#include <stdint.h>

namespace ide {

inline constexpr int32_t CMD_FILE_TREE = 149;
inline constexpr int32_t CMD_OPEN_TREE_FILE = 150;
inline constexpr int32_t CMD_REFRESH_TREE = 151;

}  // namespace ide
