#include "ide/project.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/boot.hpp"
#include "tests/support/temp_dir.hpp"

using namespace ide;
using namespace runtime::literals;
using test_support::write_bytes;

namespace {

std::string str(const string& s) { return stdlib::c_str(s); }
string text(const std::string& s) { return stdlib::from_c(s.c_str()); }

std::string loaded_error(const std::string& path) {
    LoadResult result = project_load(text(path));
    return result.tag == LoadResult::Failed ? str(result.message) : "loaded";
}

TEST(Project, ResolvesProjectFilesAndClassifiesArguments) {
    test_support::boot();
    test_support::TempDir dir;
    write_bytes(dir / "nolt.toml", "");
    write_bytes(dir / "other.cfg", "");
    std::filesystem::create_directory(dir / "empty");
    EXPECT_EQ(str(resolve_toml_path(text(dir.path()))), dir / "nolt.toml");
    EXPECT_EQ(str(resolve_toml_path(text(dir / "other.cfg"))), dir / "other.cfg");
    EXPECT_EQ(str(resolve_toml_path(text(dir / "empty"))), "");
    EXPECT_EQ(str(resolve_toml_path(text(dir / "missing/nolt.toml"))), "");
    EXPECT_EQ(str(resolve_toml_path(""_t)), "");

    for (auto [path, source, toml] : {std::tuple{"a.nolt", true, false}, {"a.NOLT", false, false},
                                      {"a.nolt.bak", false, false}, {"", false, false}, {"x/nolt.toml", false, true},
                                      {"my-nolt.toml", false, false}, {"nolt.toml/", false, false}}) {
        EXPECT_EQ(is_nolt_source(stdlib::from_c(path)), source) << path;
        EXPECT_EQ(is_nolt_toml_arg(stdlib::from_c(path)), toml) << path;
    }
}

TEST(Project, LoadFillsDefaultsAndRootsAtTheFilesDirectory) {
    test_support::boot();
    test_support::TempDir dir;
    write_bytes(dir / "nolt.toml", "[package]\nname = \"demo\"\n[build]\noutput = \"\"\n");
    LoadResult result = project_load(text(dir.path() + "/./nolt.toml"));
    nolt_heaps_gc();
    ASSERT_EQ(result.tag, LoadResult::Loaded);
    Root<Project> p = result.project;
    EXPECT_EQ(str(p->root), dir.path());
    EXPECT_EQ(str(p->version), "0.0.0");
    EXPECT_EQ(str(p->output), "demo");
    EXPECT_EQ(str(entry_path(p)), dir / "src/main.nolt");
    EXPECT_EQ(str(binary_path(p)), dir / "build/demo");
    EXPECT_EQ(str(p->source_dirs[0]), "src");
    EXPECT_EQ(str(p->source_dirs[1]), "");

    write_bytes(dir / "nolt.toml", "[build]\nsource_dirs = []\n[package]\nname = \"d\"\n");
    EXPECT_EQ(str(project_load(text(dir / "nolt.toml")).project->source_dirs[0]), "");
    write_bytes(dir / "nolt.toml", "package.name = \"d\"\nbuild.source_dirs = [\"1\",\"2\",\"3\",\"4\",\"5\",\"6\",\"7\",\"8\",\"9\"]\n");
    Root<Project> nine = project_load(text(dir / "nolt.toml")).project;
    EXPECT_EQ(runtime::length(Root<runtime::Array<Member<Text>>>(nine->source_dirs)), 8);
    EXPECT_EQ(str(nine->source_dirs[7]), "8");

    std::string cwd = std::filesystem::current_path();
    ASSERT_EQ(chdir(dir.path().c_str()), 0);
    LoadResult relative = project_load("nolt.toml"_t);
    EXPECT_EQ(chdir(cwd.c_str()), 0);
    EXPECT_EQ(str(relative.project->root), dir.path());
    EXPECT_FALSE(is_open(empty_project()));
    EXPECT_TRUE(is_open(relative.project));
}

TEST(Project, LoadFailuresNameTheFile) {
    test_support::boot();
    test_support::TempDir dir;
    EXPECT_EQ(loaded_error(""), "empty path");
    EXPECT_EQ(loaded_error(dir / "nolt.toml"), "nolt.toml not found: " + dir / "nolt.toml");
    EXPECT_EQ(loaded_error(dir.path()), "could not read " + dir.path());
    write_bytes(dir / "nolt.toml", "[package\nname = \"x\"\n");
    EXPECT_EQ(loaded_error(dir / "nolt.toml"), "invalid nolt.toml: " + dir / "nolt.toml");
    write_bytes(dir / "nolt.toml", "[package]\nname = \"\"\n[tool]\nname = \"x\"\n");
    EXPECT_EQ(loaded_error(dir / "nolt.toml"), "missing [package] name in " + dir / "nolt.toml");
}

}  // namespace
