// fs.perm: access tests, and the error kind a failed call on a path is given. The layers below
// report only success or failure, so the kind is worked out afterwards from the path.
#pragma once
#include "stdlib/core/error.hpp"

namespace stdlib {

bool is_writable(const string& path);
bool is_executable(const string& path);

ErrorKind io_failure_kind(const string& path);      // IoError if the path exists, else NotFound
ErrorKind access_failure_kind(const string& path);  // PermissionDenied if it exists, else NotFound

}  // namespace stdlib
