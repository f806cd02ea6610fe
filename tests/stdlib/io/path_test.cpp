#include "stdlib/io/path.hpp"

#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <string>
#include <tuple>

using namespace stdlib;

namespace {

class Path : public testing::Test {
protected:
    static std::string s(const string& text) { return c_str(text); }
    static string t(const char* bytes) { return from_c(bytes); }
};

TEST_F(Path, JoinSplitAndNormalizeAtTheirEdges) {
    const char* joins[][3] = {{"a/", "/b", "a/b"}, {"a", "b", "a/b"}, {"/x", "/y", "/x/y"}, {"/", "/", "/"},
                              {"a//", "//b", "a///b"}, {"", "b", "b"}, {"a", "", "a"}};
    for (auto& [a, b, out] : joins) EXPECT_EQ(s(join_path(t(a), t(b))), out) << a << " + " << b;
    EXPECT_EQ(s(join(string(), string())), "");

    using Op = string (*)(const string&);
    const std::tuple<Op, const char*, const char*> cases[] = {
        {dirname, "/a", "/"}, {dirname, "a", ""}, {dirname, "", ""}, {dirname, "a/b/", "a/b"},
        {basename, "a/", ""}, {basename, "a", "a"}, {basename, "/x/y.nolt", "y.nolt"},
        {strip_extension, "a.b/c", "a.b/c"}, {strip_extension, "x.tar.gz", "x.tar"},
        {strip_extension, ".bashrc", ""}, {strip_extension, "dir/.hidden", "dir/"},
        {normalize, "/a//b/./c/../", "/a/b"}, {normalize, "../a/..", ".."}, {normalize, "///", "/"},
        {normalize, "/..", "/"}, {normalize, "/../a/../../b", "/b"}, {normalize, "a/..", ""},
        {normalize, "../..", "../.."}, {normalize, "a/../..", ".."}, {normalize, ".", ""}, {normalize, "./", ""},
        {normalize, "", ""}, {normalize, "a/./b//c/", "a/b/c"}, {normalize, "../../x/../y", "../../y"},
        {normalize, "a/b/../../..", ".."}, {normalize, "/a/b/../..", "/"}, {normalize, "..a/b..", "..a/b.."},
    };
    for (auto& [op, in, out] : cases) EXPECT_EQ(s(op(t(in))), out) << '"' << in << '"';
    EXPECT_EQ(normalize(t("a/..")).get(), empty_string().get());
    EXPECT_TRUE(is_absolute(t("/")) && !is_absolute(t("")) && !is_absolute(t("~/x")));
}

TEST_F(Path, HomeExpansionFollowsHomeAndThePasswordDatabase) {
    using Op = string (*)(const string&);
    const std::tuple<Op, const char*, const char*, const char*> cases[] = {  // HOME (nullptr: unset), in, out
        {expand_home, "/home/me", "~", "/home/me"}, {expand_home, "/home/me", "~/", "/home/me/"},
        {expand_home, "/home/me", "~/src/x.nolt", "/home/me/src/x.nolt"}, {expand_home, "/home/me", "a/~", "a/~"},
        {expand_home, "/", "~/x", "/x"}, {expand_home, "/", "~/", "/"}, {expand_home, nullptr, "~", "~"},
        {expand_home, nullptr, "~/x", "~/x"}, {expand_user, nullptr, "~/x", "~/x"}, {expand_home, "", "~/x", "~/x"},
    };
    for (auto& [op, home, in, out] : cases) {
        if (home) setenv("HOME", home, 1);
        else unsetenv("HOME");
        EXPECT_EQ(s(op(t(in))), out) << "HOME=" << (home ? home : "(unset)") << " " << in;
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
