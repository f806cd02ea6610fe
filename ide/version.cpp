#include "ide/version.hpp"

namespace ide {

using namespace runtime::literals;

stdlib::string version() { return "0.1.0"_t; }

}  // namespace ide
