// Sessions in the real binary: what a quit writes, what a start brings back, and opening,
// closing and switching projects.
#include "ide_steps.hpp"

using namespace e2e::steps;
namespace fs = std::filesystem;

namespace {

fs::path session_file(const fs::path& home) { return home / ".config/noltide/session.toml"; }

e2e::Options in_dir(const fs::path& dir, const fs::path& home, std::vector<std::string> args = {}) {
    return at80(std::move(args)).in_dir(dir).with_home(home).with_env("PATH", "/usr/bin:/bin");
}

// File > Open Project… with a path typed into the requester's name field.
void open_project(e2e::Session& s, const std::string& path) {
    menu(s, 0, 2, "Open Project");
    ASSERT_TRUE(s.wait_text("\u2524 Open Project"));
    s.send(path);
    s.send(e2e::keys::tab);
    s.send(e2e::keys::enter);
}

}  // namespace

TEST(Sessions, AQuitWritesTheSessionAndAStartBringsItBack) {
    e2e::TempDir root, home, bin;
    write_project(root.path(), "demo");
    write_fake_noltc(bin.path(), "");
    std::string r = root.path().string();
    {
        e2e::Session s(NOLTIDE_BIN, in_dir(root.path(), home.path(), {"nolt.toml"})
                                        .with_env("PATH", bin.path().string() + ":/usr/bin:/bin"));
        ASSERT_TRUE(s.wait_text("noltide - " + r + "/src/main.nolt"));
        s.send(e2e::keys::f5);
        ASSERT_TRUE(s.wait_text("\u2524 Build \u251c"));
        quit(s);
    }
    std::string written = read_file(session_file(home.path()));
    EXPECT_NE(written.find("buffers = [\"" + r + "/src/main.nolt\"]"), std::string::npos) << written;
    EXPECT_NE(written.find("build_visible = true"), std::string::npos) << written;

    // Hand-written: a vanished file, then two windows in place, the second of them active.
    e2e::write_file(root.path() / "src/util.nolt", "u = 1\n");
    e2e::write_file(session_file(home.path()),
                    "last_root = \"" + r + "\"\n[\"" + r + "\"]\nactive = 1\nactive_kind = \"editor\"\nbuffers = [\"" +
                        r + "/gone.nolt\", \"" + r + "/src/main.nolt\", \"" + r +
                        "/src/util.nolt\"]\nrects = [\"1,2,30,8\", \"2,3,40,10\", \"30,5,45,12\"]\n");
    // No argument, and no nolt.toml in the working directory: the last project opens.
    e2e::Session s(NOLTIDE_BIN, in_dir(home.path(), home.path()));
    ASSERT_TRUE(s.wait_text("noltide 0.1.0 \u2014 demo"));
    ASSERT_TRUE(wait_status(s, r + "/src/util.nolt"));
    // Each window's top left corner stands where its rectangle says.
    auto corner = [&](int row, int col) {
        std::string t = s.cell(row, col).text;
        return t == "\u2554" || t == "\u250c";
    };
    EXPECT_TRUE(corner(3, 2) && corner(5, 30)) << s.screen();
    EXPECT_EQ(s.screen().find("gone.nolt"), std::string::npos);
    quit(s);
}

TEST(Sessions, ProjectsOpenCloseAndSwitchWithEveryAnswerOfTheirPrompts) {
    e2e::TempDir a, b, home;
    write_project(a.path(), "alpha");
    write_project(b.path(), "beta");
    e2e::Session s(NOLTIDE_BIN, in_dir(a.path(), home.path(), {"nolt.toml"}));
    ASSERT_TRUE(s.wait_text("noltide 0.1.0 \u2014 alpha"));
    std::string a_main = a.path().string() + "/src/main.nolt";
    ASSERT_TRUE(s.wait_text("noltide - " + a_main));

    // A path with no project file: the box, and alpha stays.
    open_project(s, a.path().string() + "/missing.toml");
    answer(s, "No nolt.toml at that path", "OK");
    EXPECT_TRUE(s.wait_text("noltide 0.1.0 \u2014 alpha"));

    // Switching: alpha's session is written, beta's entry opens beside alpha's window.
    open_project(s, b.path().string() + "/nolt.toml");
    ASSERT_TRUE(s.wait_text("noltide 0.1.0 \u2014 beta"));
    ASSERT_TRUE(s.wait_text("noltide - " + b.path().string() + "/src/main.nolt"));
    EXPECT_NE(read_file(session_file(home.path())).find("buffers = [\"" + a_main + "\"]"), std::string::npos);

    // And back: alpha's section closes beta's window silently and restores alpha's.
    open_project(s, a.path().string() + "/nolt.toml");
    ASSERT_TRUE(s.wait_text("noltide 0.1.0 \u2014 alpha"));
    ASSERT_TRUE(wait_status(s, a_main));

    // Close Project with a changed buffer: Cancel keeps the project, No closes it.
    s.send("x");
    ASSERT_TRUE(s.wait_text("noltide - " + a_main + " *"));
    menu(s, 0, 3, "Close Project");
    answer(s, "Save changes to " + a_main + "?", "Cancel");
    EXPECT_TRUE(s.wait_text("noltide 0.1.0 \u2014 alpha"));
    menu(s, 0, 3, "Close Project");
    answer(s, "Save changes to " + a_main + "?", "No");
    ASSERT_TRUE(wait_status(s, "ready"));
    EXPECT_TRUE(s.wait_for([&] { return s.screen().find("alpha") == std::string::npos; }));
    menu(s, 0, 3, "Close Project");
    answer(s, "No project is open", "OK");
    quit_discarding(s);
}
