#include "stdlib/io/dir.hpp"

#include "runtime/fs.hpp"
#include "stdlib/collections/vec.hpp"
#include "stdlib/fs/perm.hpp"

namespace stdlib {

namespace {

constexpr int32_t DIR_MODE = 493;  // 0755
constexpr int32_t CWD_BYTES = 4096;
constexpr int32_t NAME_BYTES = 256;
constexpr int32_t PATH_LIMIT = 4096;

bool is_dot_entry(const string& name) { return equals(name, "."_t) || equals(name, ".."_t); }

}  // namespace

bool dir_exists(const string& path) { return is_directory(path); }

string parent_dir(const string& path) {
    int32_t slash = last_index_of_char(path, '/').unwrap_or(-1);
    return slash > 0 ? substring(path, 0, slash) : empty_string();
}

Result<bool, Error> create_dir(const string& path) {
    if (nolt_mkdir(c_str(path), DIR_MODE) == 0) return Ok(true);
    ErrorKind kind = ErrorKind::PermissionDenied;
    string parent = parent_dir(path);
    if (dir_exists(path)) kind = ErrorKind::AlreadyExists;
    else if (!is_empty(parent) && !exists(parent)) kind = ErrorKind::NotFound;
    return Err(error(kind, concat("failed to create directory: "_t, path)));
}

Result<bool, Error> create_dir_all(const string& path) {
    if (dir_exists(path)) return Ok(true);
    Result<bool, Error> made = create_dir(path);
    if (made.is_ok()) return made;
    int32_t slash = last_index_of_char(path, '/').unwrap_or(-1);
    if (slash <= 0) return create_dir(path);
    // A path the system would refuse anyway is not walked back one byte at a time.
    if (length(path) >= PATH_LIMIT) return made;
    // Another process, or a trailing slash, may have made the last level by the time the
    // parents exist; what counts is that the directory is there.
    if (create_dir_all(substring(path, 0, slash)).is_ok() && (create_dir(path).is_ok() || dir_exists(path)))
        return Ok(true);
    string parent = parent_dir(path);
    ErrorKind kind = !is_empty(parent) && !is_directory(parent) ? ErrorKind::IoError : ErrorKind::PermissionDenied;
    return Err(error(kind, concat("failed to create directory tree: "_t, path)));
}

Result<string, Error> current_dir() {
    string buffer = adopt(nolt_string_alloc(CWD_BYTES));
    if (!nolt_getcwd_safe(buffer->bytes(), CWD_BYTES))
        return Err(error(ErrorKind::IoError, "failed to get current working directory"_t));
    return Ok(from_bytes(c_str(buffer), length(buffer)));
}

Result<bool, Error> change_dir(const string& path) {
    if (nolt_chdir(c_str(path)) == 0) return Ok(true);
    return Err(error(access_failure_kind(path), concat("failed to change directory: "_t, path)));
}

Result<string_array, Error> list_dir(const string& path) {
    DIR* dir = nolt_opendir(c_str(path));
    if (!dir) {
        ErrorKind kind = is_directory(path) ? ErrorKind::IoError : ErrorKind::NotFound;
        return Err(error(kind, concat("failed to open directory: "_t, path)));
    }
    Root<Vec<string>> names = Vec<string>::create();
    string name = adopt(nolt_string_alloc(NAME_BYTES));
    while (nolt_readdir_name(dir, name->bytes(), NAME_BYTES) > 0) {
        if (!is_dot_entry(name)) names->push(from_bytes(c_str(name), length(name)));
    }
    nolt_closedir(dir);
    return Ok(names->to_array());
}

}  // namespace stdlib
