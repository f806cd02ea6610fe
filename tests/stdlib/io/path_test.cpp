#include "stdlib/io/path.hpp"

#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <string>

#include "tests/support/boot.hpp"

using namespace stdlib;

namespace {

class Path : public testing::Test {
protected:
    void SetUp() override { test_support::boot(); }
    static std::string s(const string& text) { return c_str(text); }
    static string t(const char* bytes) { return from_c(bytes); }
};

TEST_F(Path, JoinKeepsExactlyOneSlashAndNeverRestartsAtAnAbsolutePart) {
    EXPECT_EQ(s(join_path(t("a/"), t("/b"))), "a/b");
    EXPECT_EQ(s(join_path(t("a"), t("b"))), "a/b");
    EXPECT_EQ(s(join_path(t("/x"), t("/y"))), "/x/y");
    EXPECT_EQ(s(join_path(t("/"), t("/"))), "/");
    EXPECT_EQ(s(join_path(t("a//"), t("//b"))), "a///b");
    EXPECT_EQ(s(join_path(t(""), t("b"))), "b");
    EXPECT_EQ(s(join_path(t("a"), t(""))), "a");
    EXPECT_EQ(s(join(string(), string())), "");
}

TEST_F(Path, DirnameBasenameAndExtensionsAtTheirEdges) {
    EXPECT_EQ(s(dirname(t("/a"))), "/");
    EXPECT_EQ(s(dirname(t("a"))), "");
    EXPECT_EQ(s(dirname(t(""))), "");
    EXPECT_EQ(s(dirname(t("a/b/"))), "a/b");

    EXPECT_EQ(s(basename(t("a/"))), "");
    EXPECT_EQ(s(basename(t("a"))), "a");
    EXPECT_EQ(s(basename(t("/x/y.nolt"))), "y.nolt");

    EXPECT_EQ(s(strip_extension(t("a.b/c"))), "a.b/c");
    EXPECT_EQ(s(strip_extension(t("x.tar.gz"))), "x.tar");
    EXPECT_EQ(s(strip_extension(t(".bashrc"))), "");
    EXPECT_EQ(s(strip_extension(t("dir/.hidden"))), "dir/");

    EXPECT_TRUE(is_absolute(t("/")));
    EXPECT_FALSE(is_absolute(t("")));
    EXPECT_FALSE(is_absolute(t("~/x")));
}

TEST_F(Path, NormalizeResolvesDotsTextually) {
    const char* cases[][2] = {
        {"/a//b/./c/../", "/a/b"}, {"../a/..", ".."},   {"///", "/"},     {"/..", "/"},
        {"/../a/../../b", "/b"},   {"a/..", ""},        {"../..", "../.."}, {"a/../..", ".."},
        {".", ""},                 {"./", ""},          {"", ""},         {"a/./b//c/", "a/b/c"},
        {"../../x/../y", "../../y"}, {"a/b/../../..", ".."}, {"/a/b/../..", "/"}, {"..a/b..", "..a/b.."},
    };
    for (auto& [in, out] : cases) EXPECT_EQ(s(normalize(t(in))), out) << "normalize(\"" << in << "\")";
    EXPECT_EQ(normalize(t("a/..")).get(), empty_string().get());
}

TEST_F(Path, HomeExpansionFollowsHomeAndThePasswordDatabase) {
    setenv("HOME", "/home/me", 1);
    EXPECT_EQ(s(expand_home(t("~"))), "/home/me");
    EXPECT_EQ(s(expand_home(t("~/"))), "/home/me/");
    EXPECT_EQ(s(expand_home(t("~/src/x.nolt"))), "/home/me/src/x.nolt");
    EXPECT_EQ(s(expand_home(t("a/~"))), "a/~");
    setenv("HOME", "/", 1);
    EXPECT_EQ(s(expand_home(t("~/x"))), "/x");
    EXPECT_EQ(s(expand_home(t("~/"))), "/");

    for (bool set : {false, true}) {
        if (set) setenv("HOME", "", 1);
        else unsetenv("HOME");
        EXPECT_EQ(s(expand_home(t("~"))), "~");
        EXPECT_EQ(s(expand_home(t("~/x"))), "~/x");
        EXPECT_EQ(s(expand_user(t("~/x"))), "~/x");
    }

    EXPECT_EQ(s(expand_user(t("~nobody-here/x"))), "~nobody-here/x");
    EXPECT_EQ(s(expand_home(t("~nobody-here"))), "~nobody-here");
    struct passwd* me = getpwuid(getuid());
    ASSERT_NE(me, nullptr);
    std::string name = me->pw_name, home = me->pw_dir;
    EXPECT_EQ(s(expand_user(t(("~" + name).c_str()))), home);
    EXPECT_EQ(s(expand_home(t(("~" + name + "/a/b").c_str()))), s(join_path(t(home.c_str()), t("a/b"))));
    EXPECT_EQ(s(expand_user(t(("~" + name + "/").c_str()))), s(join_path(t(home.c_str()), t("/"))));
}

}  // namespace
