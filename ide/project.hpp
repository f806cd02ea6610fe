// The project model: a directory with a nolt.toml, read into a Project record.
#pragma once
#include "stdlib/core/str.hpp"
#include "stdlib/encoding/toml.hpp"

namespace ide {

using runtime::Array;
using runtime::Member;
using runtime::Root;
using runtime::Text;
using stdlib::string;
using stdlib::string_array;

constexpr int32_t max_source_dirs() { return 8; }

inline constexpr int32_t CMD_OPEN_PROJECT = 142;
inline constexpr int32_t CMD_CLOSE_PROJECT = 143;

// Replaced as a whole, never changed: a new one is loaded on every activation.
class Project {
    NOLT_MANAGED(Project, void);

public:
    Member<Text> root;  // absolute and normalised; empty: no project is open
    Member<Text> name;
    Member<Text> version;
    Member<Text> entry;                       // relative to root
    Member<Array<Member<Text>>> source_dirs;  // max_source_dirs() slots, used from the front
    Member<Text> output;                      // file name of the binary
    Member<Text> output_dir;                  // relative to root
};

// Loaded carries the project, Failed a message for the user.
struct LoadResult {
    enum Tag : int32_t { Loaded, Failed };
    Tag tag = Failed;
    Root<Project> project;
    string message;
};

Root<Project> empty_project();
// max_source_dirs() empty texts; the default has "src" in the first.
string_array alloc_source_dirs();
string_array default_source_dirs();
bool is_open(const Root<Project>& project);

// The path of an existing project file: `path`/nolt.toml for a directory, `path` itself for a
// readable file of any name; otherwise empty.
string resolve_toml_path(const string& path);
string cwd_toml_path();
// Ends in ".nolt", case and all.
bool is_nolt_source(const string& path);
// The last path component is exactly "nolt.toml".
bool is_nolt_toml_arg(const string& path);
// Normalised, relative paths taken from the current directory.
string make_absolute(const string& path);

// build.source_dirs: "src" when the key is absent, nothing for an empty array, at most eight.
string_array load_source_dirs(const stdlib::toml_doc& doc);
// Reads the project file at `path`; the project's root is the file's directory.
LoadResult project_load(const string& path);

string entry_path(const Root<Project>& project);
string binary_path(const Root<Project>& project);

}  // namespace ide
