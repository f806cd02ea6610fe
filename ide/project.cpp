#include "ide/project.hpp"

#include "stdlib/io/dir.hpp"
#include "stdlib/io/file.hpp"
#include "stdlib/io/path.hpp"

namespace ide {

using namespace runtime::literals;

namespace {

LoadResult failed(const string& message, const string& path) {
    return LoadResult{LoadResult::Failed, Root<Project>(), stdlib::concat(message, path)};
}

}  // namespace

Root<Project> empty_project() {
    Root<Project> project = runtime::make<Project>();
    project->root = stdlib::empty_string();
    project->name = stdlib::empty_string();
    project->version = stdlib::empty_string();
    project->entry = "src/main.nolt"_t;
    project->source_dirs = alloc_source_dirs();
    project->output = stdlib::empty_string();
    project->output_dir = "build"_t;
    return project;
}

string_array alloc_source_dirs() {
    string_array dirs = Array<Member<Text>>::make(max_source_dirs());
    for (int32_t i = 0; i < max_source_dirs(); i++) dirs[i] = stdlib::empty_string();
    return dirs;
}

string_array default_source_dirs() {
    string_array dirs = alloc_source_dirs();
    dirs[0] = "src"_t;
    return dirs;
}

bool is_open(const Root<Project>& project) { return !stdlib::is_empty(project->root); }

string resolve_toml_path(const string& path) {
    if (stdlib::is_empty(path)) return stdlib::empty_string();
    if (stdlib::is_directory(path)) {
        string file = stdlib::join(path, "nolt.toml"_t);
        return stdlib::fileExists(file) ? file : stdlib::empty_string();
    }
    return stdlib::fileExists(path) ? path : stdlib::empty_string();
}

string cwd_toml_path() { return resolve_toml_path("."_t); }

bool is_nolt_source(const string& path) { return stdlib::ends_with(path, ".nolt"_t); }

bool is_nolt_toml_arg(const string& path) { return stdlib::equals(stdlib::basename(path), "nolt.toml"_t); }

string make_absolute(const string& path) {
    if (stdlib::is_empty(path)) return stdlib::empty_string();
    if (stdlib::is_absolute(path)) return stdlib::normalize(path);
    auto cwd = stdlib::current_dir();
    return stdlib::normalize(cwd.is_ok() ? stdlib::join(cwd.unwrap_ok(), path) : path);
}

string_array load_source_dirs(const stdlib::toml_doc& doc) {
    const string key = "build.source_dirs"_t;
    int32_t count = stdlib::toml_array_len_doc_or(doc, key, -1);
    if (count < 0) return default_source_dirs();
    string_array dirs = alloc_source_dirs();
    for (int32_t i = 0; i < count && i < max_source_dirs(); i++)
        dirs[i] = stdlib::toml_array_item_doc_or(doc, key, i, stdlib::empty_string());
    return dirs;
}

LoadResult project_load(const string& path) {
    if (stdlib::is_empty(path)) return failed("empty path"_t, stdlib::empty_string());
    if (!stdlib::fileExists(path)) return failed("nolt.toml not found: "_t, path);
    auto body = stdlib::readFile(path);
    if (body.is_err()) return failed("could not read "_t, path);
    auto parsed = stdlib::toml_parse_doc(body.unwrap_ok());
    if (parsed.is_err()) return failed("invalid nolt.toml: "_t, path);
    const stdlib::toml_doc& doc = parsed.unwrap_ok();
    string name = stdlib::toml_get_doc_or(doc, "package.name"_t, stdlib::empty_string());
    if (stdlib::is_empty(name)) return failed("missing [package] name in "_t, path);

    Root<Project> project = runtime::make<Project>();
    project->name = name;
    project->version = stdlib::toml_get_doc_or(doc, "package.version"_t, "0.0.0"_t);
    project->entry = stdlib::toml_get_doc_or(doc, "build.entry"_t, "src/main.nolt"_t);
    string output = stdlib::toml_get_doc_or(doc, "build.output"_t, name);
    project->output = stdlib::is_empty(output) ? name : output;
    project->output_dir = stdlib::toml_get_doc_or(doc, "build.output_dir"_t, "build"_t);
    string dir = stdlib::dirname(path);
    project->root = make_absolute(stdlib::is_empty(dir) ? string("."_t) : dir);
    project->source_dirs = load_source_dirs(doc);
    return LoadResult{LoadResult::Loaded, project, string()};
}

string entry_path(const Root<Project>& project) {
    if (stdlib::is_empty(project->root)) return project->entry;
    return stdlib::join(project->root, project->entry);
}

string binary_path(const Root<Project>& project) {
    string binary = stdlib::join(project->output_dir, project->output);
    return stdlib::is_empty(project->root) ? binary : stdlib::join(project->root, binary);
}

}  // namespace ide
