#include "stdlib/sys/env.hpp"

#include "runtime/fs.hpp"

namespace stdlib {

Option<string> get_env(const string& name) {
    if (!nolt_getenv_exists(c_str(name))) return None;
    return Some(adopt(nolt_getenv(c_str(name))));
}

string get_env_or(const string& name, const string& fallback) { return get_env(name).unwrap_or(fallback); }

}  // namespace stdlib
