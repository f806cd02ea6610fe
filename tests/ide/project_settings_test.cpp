#include "ide/project_settings.hpp"

#include <gtest/gtest.h>

#include "ide/project.hpp"
#include "tests/support/boot.hpp"
#include "tests/support/temp_dir.hpp"

using namespace ide;
using namespace runtime::literals;

namespace {

const std::string PKG = "[package]\nname = \"new\"";
const std::string BLD =
    "[build]\nentry = \"src/app.nolt\"\noutput = \"app\"\noutput_dir = \"out\"\nsource_dirs = [\"src\"]";

// Comments, odd spacing, unknown keys, an array of tables and another table with the same keys.
const std::string BEFORE =
    "# demo project\n[package]\nname    =   \"old\"   # renamed below\nversion = \"1.2.3\"\n"
    "[[package.extra]]\n  name = \"inner\"\n\n[build]\n\tentry=\"src/old.nolt\"\n# where the binary goes\n"
    "output_dir = 'bin'\nflags = { opt = 2 }\n\n[tool.fmt]\nname = \"keep\"\noutput = \"keep\"\n";

string_array dirs() {
    string_array items = runtime::Array<Member<Text>>::make(2);
    items[0] = "src"_t;
    items[1] = "lib"_t;
    return items;
}

std::string update(const std::string& text, int32_t dir_count = 1, const char* name = "new") {
    string_array items = dirs();
    string out = surgical_update(stdlib::from_c(text.c_str()), stdlib::from_c(name), "src/app.nolt"_t, "app"_t, "out"_t,
                                 items, dir_count);
    nolt_heaps_gc();
    return stdlib::c_str(out);
}

TEST(SurgicalUpdate, OnlyTheFiveKeysOfARealFileChange) {
    test_support::boot();
    const std::string after =
        "# demo project\n[package]\nname = \"new\"\nversion = \"1.2.3\"\n[[package.extra]]\nname = \"new\"\n\n"
        "[build]\nentry = \"src/app.nolt\"\n# where the binary goes\noutput_dir = \"out\"\nflags = { opt = 2 }\n\n"
        "output = \"app\"\nsource_dirs = [\"src\"]\n[tool.fmt]\nname = \"keep\"\noutput = \"keep\"\n";
    EXPECT_EQ(update(BEFORE), after);

    // Missing tables and keys; forms the writer does not own stay as they are.
    for (auto& [text, expected] : std::initializer_list<std::pair<std::string, std::string>>{
             {"", PKG + "\n\n" + BLD},
             {"[package]\nname = \"a\"\n", PKG + "\n\n" + BLD},
             {"[package]\nname = \"a\"", PKG + "\n\n" + BLD},
             {"[build]\nentry = \"x\"\n[package]\nname = \"a\"", BLD + "\n" + PKG},
             {"[package]\n\"name\" = \"q\"", "[package]\n\"name\" = \"q\"\nname = \"new\"\n\n" + BLD},
             {"package = { name = \"x\" }\nbuild.entry = \"y\"\n", "package = { name = \"x\" }\nbuild.entry = \"y\"\n\n" + PKG + "\n\n" + BLD},
         })
        EXPECT_EQ(update(text), expected) << text;
    for (auto [count, line] : {std::pair{0, "source_dirs = []"}, {-1, "source_dirs = []"}, {9, "source_dirs = [\"src\", \"lib\"]"}})
        EXPECT_TRUE(update("", count).ends_with(line)) << count;
}

TEST(SurgicalUpdate, SavedValuesReadBack) {
    test_support::boot();
    test_support::TempDir dir;
    string path = stdlib::from_c((dir / "nolt.toml").c_str());
    string_array items = dirs();
    const string name = "de\"mo\\x\ty"_t;
    test_support::write_bytes(dir / "nolt.toml", BEFORE);
    ASSERT_TRUE(save_nolt_toml(path, name, "src/app.nolt"_t, ""_t, "out"_t, items, 2));
    LoadResult loaded = project_load(path);
    ASSERT_EQ(loaded.tag, LoadResult::Loaded);
    EXPECT_TRUE(stdlib::equals(loaded.project->name, name));
    EXPECT_TRUE(stdlib::equals(loaded.project->output, name));
    EXPECT_STREQ(stdlib::c_str(loaded.project->entry), "src/app.nolt");
    EXPECT_STREQ(stdlib::c_str(loaded.project->version), "1.2.3");
    EXPECT_STREQ(stdlib::c_str(loaded.project->source_dirs[1]), "lib");

    EXPECT_FALSE(save_nolt_toml(""_t, name, ""_t, ""_t, ""_t, items, 2));
    EXPECT_FALSE(save_nolt_toml(stdlib::from_c((dir / "gone/nolt.toml").c_str()), name, ""_t, ""_t, ""_t, items, 2));
    EXPECT_FALSE(save_nolt_toml(stdlib::from_c(dir.path().c_str()), name, ""_t, ""_t, ""_t, items, 2));
    EXPECT_TRUE(std::filesystem::is_directory(dir.path()));
}

}  // namespace
