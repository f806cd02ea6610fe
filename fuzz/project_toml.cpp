// Reads arbitrary bytes as a project's nolt.toml. A project that loads has a name, a binary name
// and the file's directory as its root. The writer, given the loaded values (or fixed ones when
// the load failed), must be idempotent on the input text; and a file it writes from nothing must
// load back with exactly the values it was given.
#include <stdint.h>
#include <stdlib.h>
#include <sys/stat.h>


#include "fuzz/boot.hpp"
#include "ide/project.hpp"
#include "ide/project_settings.hpp"
#include "stdlib/io/file.hpp"

using namespace ide;
using namespace stdlib;

namespace {

void check(bool holds) {
    if (!holds) abort();
}

// The slots up to the last one in use.
int32_t dirs_in_use(const string_array& dirs) {
    int32_t n = runtime::length(dirs);
    while (n > 0 && is_empty(dirs[n - 1])) n--;
    return n;
}

string update(const string& text, const Root<Project>& p) {
    return surgical_update(text, p->name, p->entry, p->output, p->output_dir, p->source_dirs, dirs_in_use(p->source_dirs));
}

LoadResult load_text(const string& path, const string& text) {
    check(writeFile(path, text).is_ok());
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
        check(!is_empty(values->name) && !is_empty(values->output) && equals(values->root, root));
        check(runtime::length(string_array(values->source_dirs)) == max_source_dirs());
    } else {
        check(!is_empty(loaded.message));
        values->name = "fuzz"_t;
        values->output = "fuzz"_t;
        values->source_dirs = default_source_dirs();
    }

    string once = update(text, values);
    check(equals(update(once, values), once));

    LoadResult back = load_text(path, update(empty_string(), values));
    check(back.tag == LoadResult::Loaded);
    const Root<Project>& p = back.project;
    check(equals(p->name, values->name) && equals(p->entry, values->entry) && equals(p->output, values->output) &&
          equals(p->output_dir, values->output_dir));
    for (int32_t i = 0; i < max_source_dirs(); i++) check(equals(p->source_dirs[i], values->source_dirs[i]));
    return 0;
}
