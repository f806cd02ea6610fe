#include "ide/project.hpp"

#include <unistd.h>

#include "tests/support/boot.hpp"
#include "tests/support/temp_dir.hpp"

using namespace ide;
using namespace runtime::literals;
using test_support::write_bytes;

namespace {

std::string str(const string& s) { return stdlib::c_str(s); }
string text(const std::string& s) { return stdlib::from_c(s.c_str()); }
Root<Project> loaded(const std::string& path) { return project_load(text(path)).project; }
std::string load_error(const std::string& path) { return str(project_load(text(path)).message); }

TEST(Project, FindsProjectFilesAndSaysWhyOneDoesNotLoad) {
    test_support::TempDir dir;
    const std::string path = dir / "nolt.toml";
    EXPECT_EQ(str(resolve_toml_path(text(dir.path()))), "");  // a directory without the file
    EXPECT_EQ(load_error(""), "empty path");
    EXPECT_EQ(load_error(path), "nolt.toml not found: " + path);
    EXPECT_EQ(load_error(dir.path()), "could not read " + dir.path());
    write_bytes(path, "[package\nname = \"x\"\n");
    EXPECT_EQ(load_error(path), "invalid nolt.toml: " + path);
    write_bytes(dir / "other.cfg", "[package]\nname = \"\"\n[tool]\nname = \"x\"\n");
    EXPECT_EQ(load_error(dir / "other.cfg"), "missing [package] name in " + dir / "other.cfg");

    EXPECT_EQ(str(resolve_toml_path(text(dir.path()))), path);
    EXPECT_EQ(str(resolve_toml_path(text(dir / "other.cfg"))), dir / "other.cfg");
    EXPECT_EQ(str(resolve_toml_path(text(dir / "gone.toml"))), "");
    for (auto [arg, source, toml] : {std::tuple{"a.nolt", true, false}, {"a.NOLT", false, false},
                                      {"a.nolt.bak", false, false}, {"", false, false}, {"x/nolt.toml", false, true},
                                      {"my-nolt.toml", false, false}, {"nolt.toml/", false, false}})
        EXPECT_TRUE(is_nolt_source(text(arg)) == source && is_nolt_toml_arg(text(arg)) == toml) << arg;
}

TEST(Project, LoadFillsDefaultsAndRootsAtTheFilesDirectory) {
    test_support::TempDir dir;
    write_bytes(dir / "nolt.toml", "[package]\nname = \"demo\"\n[build]\noutput = \"\"\n");
    Root<Project> p = loaded(dir.path() + "/./nolt.toml");
    ASSERT_TRUE(p && is_open(p));
    EXPECT_EQ(str(p->root) + " " + str(p->version) + " " + str(p->source_dirs[0]) + str(p->source_dirs[1]),
              dir.path() + " 0.0.0 src");
    EXPECT_EQ(str(entry_path(p)) + " " + str(binary_path(p)), dir / "src/main.nolt " + dir / "build/demo");

    write_bytes(dir / "nolt.toml", "package.name = \"d\"\nbuild.source_dirs = []\n");
    EXPECT_EQ(str(loaded(dir / "nolt.toml")->source_dirs[0]), "");
    write_bytes(dir / "nolt.toml", "package.name = \"d\"\nbuild.source_dirs = [\"1\", \"2\", \"3\", \"4\", \"5\", "
                                   "\"6\", \"7\", \"8\", \"9\"]");
    EXPECT_EQ(str(loaded(dir / "nolt.toml")->source_dirs[7]), "8");

    std::string cwd = std::filesystem::current_path();
    ASSERT_EQ(chdir(dir.path().c_str()), 0);
    p = loaded("nolt.toml");
    ASSERT_EQ(chdir(cwd.c_str()), 0);
    EXPECT_EQ(str(p->root), dir.path());
}

}  // namespace
