// The session store's place on disk, ~/.config/noltide, which the user's settings share.
#pragma once
#include "stdlib/core/str.hpp"

namespace ide {

// "~/.config/noltide" with the home directory expanded; the literal relative path when HOME is
// unset or empty.
stdlib::string session_dir();
stdlib::string session_file_path();
// Makes the directory if it is missing; false if that fails.
bool ensure_session_dir();

}  // namespace ide
