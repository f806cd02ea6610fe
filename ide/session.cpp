#include "ide/session.hpp"

#include "stdlib/io/dir.hpp"
#include "stdlib/io/path.hpp"

namespace ide {

using namespace runtime::literals;

stdlib::string session_dir() { return stdlib::expand_home("~/.config/noltide"_t); }

stdlib::string session_file_path() { return stdlib::join(session_dir(), "session.toml"_t); }

bool ensure_session_dir() {
    stdlib::string dir = session_dir();
    if (stdlib::is_empty(dir)) return false;
    if (stdlib::dir_exists(dir)) return true;
    auto made = stdlib::create_dir_all(dir);
    return made.is_ok() && made.unwrap_ok();
}

}  // namespace ide
