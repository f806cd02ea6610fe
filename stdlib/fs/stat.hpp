// fs.stat: what a path is. These never fail: a path that can't be examined is simply false.
#pragma once
#include "stdlib/core/str.hpp"

namespace stdlib {

bool is_file(const string& path);       // a regular file, symbolic links followed
bool is_directory(const string& path);  // a directory, symbolic links followed
bool exists(const string& path);        // access with F_OK succeeds

}  // namespace stdlib
