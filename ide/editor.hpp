// The editor's commands: files, the clipboard, the About box and the edit window's own.
#pragma once
#include <stdint.h>

namespace ide {

inline constexpr int32_t CMD_SAVE = 100;
inline constexpr int32_t CMD_ABOUT = 101;
inline constexpr int32_t CMD_SAVE_AS = 102;
inline constexpr int32_t CMD_OPEN = 103;
inline constexpr int32_t CMD_NEW = 104;
inline constexpr int32_t CMD_COPY = 105;
inline constexpr int32_t CMD_CUT = 106;
inline constexpr int32_t CMD_PASTE = 107;
inline constexpr int32_t CMD_SELECT_ALL = 108;
inline constexpr int32_t CMD_EDIT_CLOSE = 133;
inline constexpr int32_t CMD_TOGGLE_AUTO_END = 134;

}  // namespace ide
