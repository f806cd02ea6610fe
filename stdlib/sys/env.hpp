// sys.env: the process's environment, read as managed copies.
#pragma once
#include "stdlib/core/str.hpp"

namespace stdlib {

// Some("") for a variable set to nothing, None if unset.
Option<string> get_env(const string& name);
string get_env_or(const string& name, const string& fallback);

}  // namespace stdlib
