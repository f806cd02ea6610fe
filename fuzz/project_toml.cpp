// Reads arbitrary bytes as a project's nolt.toml. A project that loads has a name, a binary name
// and the file's directory as its root, and the writer, given the loaded values, is idempotent on
// the file's text unless a value spreads over lines or a table header stands twice. A file the
// writer makes from nothing, from the loaded values or fixed ones, loads back with exactly those
// values.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <set>
#include <string>

#include "fuzz/boot.hpp"
#include "ide/project.hpp"
#include "ide/project_settings.hpp"
#include "stdlib/io/file.hpp"

using namespace ide;
using namespace stdlib;

namespace {

// The slots up to the last one in use.
int32_t dirs_in_use(const string_array& dirs) {
    int32_t n = runtime::length(dirs);
    while (n > 0 && is_empty(dirs[n - 1])) n--;
    return n;
}

// A text value over several lines, which a writer that works line by line cannot see through;
// the writer runs only on files that load, which have no such lines inside its own keys.
bool spread_text(const string& text) {
    Result<TomlDoc, Error> parsed = toml_parse_doc(text);
    const stdlib::toml_doc& doc = parsed.unwrap_ok();
    for (int32_t i = 0; i < doc->count; i++)
        if (!equals(doc->keys[i], "build.source_dirs"_t) && index_of_char(doc->values[i], '\n').is_some()) return true;
    return false;
}

// A table header that stands twice: the writer edits the first table of that name only, so a
// second pass may find the keys it added where the first pass did not look.
bool repeated_table(const uint8_t* data, size_t size) {
    std::set<std::string> seen;
    std::string text(reinterpret_cast<const char*>(data), size), line;
    for (size_t at = 0; at <= text.size(); at = text.find('\n', at) + 1) {
        line = text.substr(at, text.find('\n', at) - at);
        line.erase(0, line.find_first_not_of(" \t"));
        if (!line.empty() && line[0] == '[' && !seen.insert(line.substr(0, line.find(']') + 1)).second) return true;
        if (text.find('\n', at) == std::string::npos) break;
    }
    return false;
}

string update(const string& text, const Root<Project>& p) {
    return surgical_update(text, p->name, p->entry, p->output, p->output_dir, p->source_dirs, dirs_in_use(p->source_dirs));
}

LoadResult load_text(const string& path, const string& text) {
    FUZZ_CHECK(writeFile(path, text).is_ok());
    return project_load(path);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_boot();
    if (size > 1 << 14) return 0;
    static const std::string dir = fuzz_scratch("project");
    static const bool made = (mkdir(dir.c_str(), 0700), true);
    (void)made;
    string root = from_c(dir.c_str());
    string path = concat(root, "/nolt.toml"_t);
    string text = from_bytes(reinterpret_cast<const char*>(data), (int32_t)size);

    LoadResult loaded = load_text(path, text);
    Root<Project> values = empty_project();
    if (loaded.tag == LoadResult::Loaded) {
        values = loaded.project;
        FUZZ_CHECK(!is_empty(values->name) && !is_empty(values->output) && equals(values->root, root));
        FUZZ_CHECK(runtime::length(string_array(values->source_dirs)) == max_source_dirs());
    } else {
        FUZZ_CHECK(!is_empty(loaded.message));
        values->name = "fuzz"_t;
        values->output = "fuzz"_t;
        values->source_dirs = default_source_dirs();
    }

    if (loaded.tag == LoadResult::Loaded && !spread_text(text) && !repeated_table(data, size)) {
        string once = update(text, values);
        FUZZ_CHECK(equals(update(once, values), once));
    }

    LoadResult back = load_text(path, update(empty_string(), values));
    FUZZ_CHECK(back.tag == LoadResult::Loaded);
    const Root<Project>& p = back.project;
    FUZZ_CHECK(equals(p->name, values->name) && equals(p->entry, values->entry) && equals(p->output, values->output) &&
          equals(p->output_dir, values->output_dir));
    for (int32_t i = 0; i < max_source_dirs(); i++) FUZZ_CHECK(equals(p->source_dirs[i], values->source_dirs[i]));
    return 0;
}
