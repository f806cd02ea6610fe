#include "ide/project_settings.hpp"

#include <gtest/gtest.h>

#include "ide/project.hpp"
#include "tests/support/boot.hpp"
#include "tests/support/temp_dir.hpp"

using namespace ide;
using namespace runtime::literals;

namespace {

const std::string PKG = "[package]\nname = \"new\"";
const std::string BLD = "[build]\nentry = \"e\"\noutput = \"app\"\noutput_dir = \"out\"\nsource_dirs = [\"src\"]";

string_array dirs() { return stdlib::split("src,lib"_t, ','); }

std::string update(const std::string& text, int32_t dir_count = 1) {
    string out = surgical_update(stdlib::from_c(text.c_str()), "new"_t, "e"_t, "app"_t, "out"_t, dirs(), dir_count);
    return stdlib::c_str(out);
}

TEST(SurgicalUpdate, OnlyTheFiveKeysChange) {
    test_support::boot();
    // Comments, odd spacing, unknown keys, an array of tables, another table with the same keys.
    EXPECT_EQ(update("# demo\n[package]\nname  =  \"old\"  # was\nversion = \"1.2\"\n[[package.x]]\n  name = \"in\"\n\n"
                     "[build]\n\tentry=\"old\"\n# binary\noutput_dir = 'bin'\nf = { o = 2 }\n\n[tool]\nname = \"k\"\n"),
              "# demo\n[package]\nname = \"new\"\nversion = \"1.2\"\n[[package.x]]\nname = \"new\"\n\n[build]\n"
              "entry = \"e\"\n# binary\noutput_dir = \"out\"\nf = { o = 2 }\n\noutput = \"app\"\n"
              "source_dirs = [\"src\"]\n[tool]\nname = \"k\"\n");
    // Missing tables and keys; forms the writer does not own stay as they are.
    for (auto& [text, expected] : std::initializer_list<std::pair<std::string, std::string>>{
             {"", PKG + "\n\n" + BLD},
             {"[package]\nname = \"a\"\n", PKG + "\n\n" + BLD},
             {"[package]\nname = \"a\"", PKG + "\n\n" + BLD},
             {"[build]\nentry = \"x\"\n[package]\nname = \"a\"", BLD + "\n" + PKG},
             {"[package]\n\"name\" = \"q\"", "[package]\n\"name\" = \"q\"\nname = \"new\"\n\n" + BLD},
             {"package = { name = \"x\" }\nbuild.entry = \"y\"\n",
              "package = { name = \"x\" }\nbuild.entry = \"y\"\n\n" + PKG + "\n\n" + BLD}})
        EXPECT_EQ(update(text), expected) << text;
    EXPECT_TRUE(update("", 0).ends_with("source_dirs = []") && update("", 9).ends_with("[\"src\", \"lib\"]"));
}

TEST(SurgicalUpdate, SavedValuesReadBack) {
    test_support::boot();
    test_support::TempDir dir;
    string path = stdlib::from_c((dir / "nolt.toml").c_str());
    test_support::write_bytes(dir / "nolt.toml", "[package]\nname = \"a\"\nversion = \"1.2\"\n");
    const string name = "de\"mo\\x\ty"_t;
    ASSERT_TRUE(save_nolt_toml(path, name, "src/app.nolt"_t, ""_t, "out"_t, dirs(), 2));
    Root<Project> p = project_load(path).project;
    ASSERT_TRUE(p);
    EXPECT_TRUE(stdlib::equals(p->name, name) && stdlib::equals(p->output, name));
    EXPECT_EQ(std::string(stdlib::c_str(p->version)) + " " + stdlib::c_str(p->entry) + " " +
                  stdlib::c_str(p->source_dirs[1]),
              "1.2 src/app.nolt lib");
    for (const std::string& bad : {std::string(), dir / "gone/nolt.toml", dir.path()})
        EXPECT_FALSE(save_nolt_toml(stdlib::from_c(bad.c_str()), name, ""_t, ""_t, ""_t, dirs(), 2)) << bad;
}

}  // namespace
