#include "runtime/fs.hpp"

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "runtime/machine.hpp"
#include "runtime/managed.hpp"
#include "tests/support/boot.hpp"
#include "tests/support/temp_dir.hpp"

using namespace runtime;
using namespace runtime::literals;
using test_support::read_bytes;
using test_support::TempDir;
using test_support::write_bytes;

namespace {

Root<Text> adopt(char* fresh) { return Root<Text>(reinterpret_cast<Text*>(fresh)); }

int32_t mode_of(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0 ? int32_t(st.st_mode & 07777) : -1;
}

TEST(RuntimeFs, RemoveTreeRefusesShortPathsAndNeverFollowsALink) {
    TempDir dir;
    ASSERT_TRUE(dir.ok());
    ASSERT_EQ(chdir(dir.path().c_str()), 0);
    for (const char* sub : {"tmp", "tmp/x"}) ASSERT_EQ(mkdir(sub, 0700), 0);

    // A refusal is EINVAL; a walk of a missing path would be ENOENT.
    for (const char* path : {"", "/", "///", "tmp", "tmp/", "./tmp", "/nolt-no-such-top", "tmp/x/..", "tmp/../tmp"}) {
        errno = 0;
        EXPECT_EQ(nolt_fs_remove_tree(path), -1) << path;
        EXPECT_EQ(errno, EINVAL) << path;
    }
    EXPECT_EQ(nolt_fs_remove_tree(nullptr), -1);
    EXPECT_TRUE(nolt_stat_isdir("tmp/x"));
    errno = 0;
    EXPECT_EQ(nolt_fs_remove_tree("/nolt-no-such-top/x"), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(nolt_fs_remove_tree("./tmp/x"), 0);
    EXPECT_FALSE(nolt_stat_isdir("tmp/x"));

    // Symbolic links are unlinked, not followed.
    std::string keep = dir / "keep", tree = dir / "tree";
    ASSERT_EQ(mkdir(keep.c_str(), 0700), 0);
    write_bytes(keep + "/precious", "data");
    for (const char* sub : {"", "/a", "/a/b", "/empty"}) ASSERT_EQ(mkdir((tree + sub).c_str(), 0700), 0);
    write_bytes(tree + "/a/b/file", "x");
    write_bytes(tree + "/top", "y");
    ASSERT_EQ(mkfifo((tree + "/a/fifo").c_str(), 0600), 0);
    ASSERT_EQ(symlink(keep.c_str(), (tree + "/a/link").c_str()), 0);
    ASSERT_EQ(symlink("/nowhere", (tree + "/dangling").c_str()), 0);

    EXPECT_EQ(nolt_fs_remove_tree(tree.c_str()), 0);
    EXPECT_FALSE(nolt_access(tree.c_str(), nolt_F_OK()) == 0);
    EXPECT_EQ(read_bytes(keep + "/precious"), "data");

    // The tree's own top is a link: the link goes, even written with a trailing slash.
    std::string top_link = dir / "top-link";
    ASSERT_EQ(symlink(keep.c_str(), top_link.c_str()), 0);
    EXPECT_EQ(nolt_fs_remove_tree((top_link + "/").c_str()), 0);
    EXPECT_FALSE(nolt_fs_is_symlink(top_link.c_str()));
    EXPECT_EQ(read_bytes(keep + "/precious"), "data");
}

TEST(RuntimeFs, CopiesKeepBitsAndLinksSkipSpecialFilesAndNeverOverwriteTheSource) {
    TempDir dir;
    ASSERT_TRUE(dir.ok());
    std::string from = dir / "from", to = dir / "to";
    ASSERT_EQ(mkdir(from.c_str(), 0750), 0);
    ASSERT_EQ(mkdir((from + "/sub").c_str(), 0700), 0);
    write_bytes(from + "/sub/script", std::string("#!\0bin", 6));
    ASSERT_EQ(chmod((from + "/sub/script").c_str(), 0751), 0);
    ASSERT_EQ(mkdir((from + "/locked").c_str(), 0700), 0);
    write_bytes(from + "/locked/inside", "z");
    ASSERT_EQ(chmod((from + "/locked").c_str(), 0555), 0);
    ASSERT_EQ(symlink("sub/script", (from + "/link").c_str()), 0);
    ASSERT_EQ(mkfifo((from + "/fifo").c_str(), 0600), 0);

    ASSERT_EQ(nolt_fs_copy_tree(from.c_str(), to.c_str()), 0);
    EXPECT_EQ(read_bytes(to + "/sub/script"), std::string("#!\0bin", 6));
    EXPECT_TRUE(mode_of(to + "/sub/script") == 0751 && mode_of(to) == 0750);
    EXPECT_EQ(mode_of(to + "/locked"), 0555);  // made writable for the copy, closed afterwards
    EXPECT_EQ(read_bytes(to + "/locked/inside"), "z");
    char target[64];
    EXPECT_EQ(std::string(target, std::max(0, nolt_fs_readlink((to + "/link").c_str(), target, 64))), "sub/script");
    EXPECT_FALSE(nolt_access((to + "/fifo").c_str(), nolt_F_OK()) == 0);

    // Into a directory that is already there, and into itself: the new part is not copied again.
    std::string nested = from + "/sub/copy";
    ASSERT_EQ(mkdir(nested.c_str(), 0700), 0);
    EXPECT_EQ(nolt_fs_copy_tree(from.c_str(), nested.c_str()), 0);
    EXPECT_EQ(read_bytes(nested + "/sub/script"), std::string("#!\0bin", 6));
    EXPECT_FALSE(nolt_stat_isdir((nested + "/sub/copy/sub").c_str()));

    EXPECT_EQ(nolt_fs_copy_tree((dir / "missing").c_str(), (dir / "x").c_str()), -1);

    // A file is not copied onto itself.
    std::string file = dir / "f", alias = dir / "alias";
    write_bytes(file, "keep me");
    ASSERT_EQ(symlink(file.c_str(), alias.c_str()), 0);
    EXPECT_EQ(nolt_fs_copy_file(file.c_str(), alias.c_str()), -1);
    EXPECT_EQ(read_bytes(file), "keep me");

    ASSERT_EQ(chmod(file.c_str(), 0604), 0);
    EXPECT_EQ(nolt_fs_copy_file_preserve(file.c_str(), (dir / "g").c_str()), 0);
    EXPECT_TRUE(read_bytes(dir / "g") == "keep me" && mode_of(dir / "g") == 0604);
    EXPECT_EQ(nolt_fs_copy_file((dir / "none").c_str(), (dir / "h").c_str()), -1);
    EXPECT_FALSE(nolt_access((dir / "h").c_str(), nolt_F_OK()) == 0);

    EXPECT_TRUE(nolt_fs_fsync_parent("no-slash") == 0 && nolt_fs_fsync_parent("") == -1);  // "": no directory
}

TEST(RuntimeFs, ManagedBuffersAreFilledToTheirRoomAndLiteralsRefused) {
    test_support::boot();
    TempDir dir;
    ASSERT_TRUE(dir.ok());
    std::string long_name(40, 'n');
    write_bytes(dir / long_name, "");

    Root<Text> name = adopt(nolt_string_alloc(8));
    DIR* handle = nolt_opendir(dir.path().c_str());
    ASSERT_NE(handle, nullptr);
    std::string seen;
    while (int32_t n = nolt_readdir_name(handle, name->bytes(), 64)) {
        EXPECT_EQ(n, name->length());
        if (name->c_str()[0] != '.') seen = name->c_str();
    }
    nolt_closedir(handle);
    EXPECT_EQ(seen, std::string(7, 'n'));  // cut to the text's capacity, not the size asked
    EXPECT_EQ(nolt_opendir_valid((dir / long_name).c_str()), 0);

    Root<Text> cwd = adopt(nolt_string_alloc(4096));
    ASSERT_EQ(chdir(dir.path().c_str()), 0);
    ASSERT_EQ(nolt_getcwd_safe(cwd->bytes(), 4096), 1);
    EXPECT_TRUE(cwd->c_str() == dir.path() && cwd->length() == (int32_t)dir.path().size());
    EXPECT_TRUE(nolt_getcwd_safe(cwd->bytes(), 3) == 0 && cwd->length() == 0);

    EXPECT_EXIT(nolt_getcwd_safe("literal"_t->bytes(), 8), testing::ExitedWithCode(1),
                testing::Eq("Runtime error: getcwd_safe on a string literal\n"));
    EXPECT_EXIT(nolt_readdir_name(nullptr, "literal"_t->bytes(), 8), testing::ExitedWithCode(1),
                testing::Eq("Runtime error: readdir_name on a string literal\n"));
}

}  // namespace
