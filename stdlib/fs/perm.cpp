#include "stdlib/fs/perm.hpp"

#include "runtime/fs.hpp"
#include "stdlib/fs/stat.hpp"

namespace stdlib {

bool is_writable(const string& path) { return nolt_access(c_str(path), nolt_W_OK()) == 0; }

bool is_executable(const string& path) { return nolt_access(c_str(path), nolt_X_OK()) == 0; }

ErrorKind io_failure_kind(const string& path) { return exists(path) ? ErrorKind::IoError : ErrorKind::NotFound; }

ErrorKind access_failure_kind(const string& path) {
    return exists(path) ? ErrorKind::PermissionDenied : ErrorKind::NotFound;
}

}  // namespace stdlib
