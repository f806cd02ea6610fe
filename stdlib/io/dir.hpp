// io.dir: directories and the working directory. `is_directory` is fs.stat's.
#pragma once
#include "stdlib/core/error.hpp"
#include "stdlib/fs/stat.hpp"

namespace stdlib {

bool dir_exists(const string& path);
// The part before the last "/" if that slash is not the first byte; otherwise "".
string parent_dir(const string& path);
// One level, mode 0755. Fails with "failed to create directory: " + path, of kind AlreadyExists if
// the directory is there, NotFound if a non-empty parent_dir is missing, else PermissionDenied.
Result<bool, Error> create_dir(const string& path);
// Every missing level. Ok(true) if the directory exists at the end; a failure below the last
// level gives "failed to create directory tree: " + path, IoError if the parent is something other
// than a directory, else PermissionDenied.
Result<bool, Error> create_dir_all(const string& path);
Result<string, Error> current_dir();
Result<bool, Error> change_dir(const string& path);  // for the whole process
// Entry names without "." and "..", unsorted; names longer than 255 bytes are cut. A path that is
// missing or not a directory gives NotFound, a directory that can't be opened IoError.
Result<string_array, Error> list_dir(const string& path);

}  // namespace stdlib
