#include "stdlib/fs/stat.hpp"

#include "runtime/fs.hpp"

namespace stdlib {

bool is_file(const string& path) { return nolt_fs_is_file(c_str(path)) == 1; }

bool is_directory(const string& path) { return nolt_stat_isdir(c_str(path)) == 1; }

bool exists(const string& path) { return nolt_access(c_str(path), nolt_F_OK()) == 0; }

}  // namespace stdlib
