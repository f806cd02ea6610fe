// The program's version, shown by --version, the menu bar and the About box.
#pragma once
#include "stdlib/core/str.hpp"

namespace ide {

stdlib::string version();

}  // namespace ide
