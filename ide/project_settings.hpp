// Writing a project's settings back into its nolt.toml: the five keys that the settings window
// edits are replaced in place, and every other line of the file stays as it was.
#pragma once
#include "stdlib/core/str.hpp"

namespace ide {

using stdlib::string;
using stdlib::string_array;

inline constexpr int32_t CMD_PROJECT_SETTINGS = 145;

// `text` with package.name and build.entry, output, output_dir and source_dirs (the first
// `dir_count` of `dirs`) set. Works line by line on the table form: a key's line is replaced where
// it stands, a missing key is added at the end of its table, a missing table at the end of the
// text. Lines with values spread over several lines keep their continuation lines.
string surgical_update(const string& text, const string& name, const string& entry, const string& output,
                       const string& output_dir, const string_array& dirs, int32_t dir_count);
// Applies surgical_update to the file at `toml_path`, or to the empty text if there is no file.
// False for an empty path, a file that exists but cannot be read (it is left alone), or a failed
// write.
bool save_nolt_toml(const string& toml_path, const string& name, const string& entry, const string& output,
                    const string& output_dir, const string_array& dirs, int32_t dir_count);

}  // namespace ide
