// Sessions in the real binary: what a quit writes, what a start brings back, and opening,
// switching, renaming and closing projects.
#include "ide_steps.hpp"

using namespace e2e::steps;

namespace {

// File > Open Project… with a path typed into the requester's name field.
void open_project(e2e::Session& s, const std::string& path) {
    menu(s, 0, 2, "Open Project");
    ASSERT_TRUE(s.wait_text("\u2524 Open Project"));
    s.send(path + std::string(e2e::keys::tab) + std::string(e2e::keys::enter));
}

}  // namespace

TEST(Sessions, AQuitWritesTheSessionAStartBringsItBackAndProjectsSwitchRenameAndClose) {
    e2e::TempDir root, other, home, bin;
    write_project(root.path(), "alpha");
    write_project(other.path(), "beta");
    write_fake_noltc(bin.path(), "");
    const fs::path session = home.path() / ".config/noltide/session.toml";
    const std::string r = root.path().string(), util = r + "/src/util.nolt";
    auto options = [&] { return at80().with_home(home.path()).with_env("PATH", bin.path().string() + ":/usr/bin:/bin"); };
    {
        e2e::Session s(NOLTIDE_BIN, options().with_args({"nolt.toml"}).in_dir(root.path()));
        ASSERT_TRUE(s.wait_text("noltide - " + r + "/src/main.nolt"));
        s.send(e2e::keys::f5);
        ASSERT_TRUE(s.wait_text("\u2524 Build \u251c"));
        quit(s);
    }
    std::string written = read_file(session);
    EXPECT_NE(written.find("buffers = [\"" + r + "/src/main.nolt\"]"), std::string::npos) << written;
    EXPECT_NE(written.find("build_visible = true"), std::string::npos) << written;

    // Hand-written: a vanished file, then two windows in place, the second of them active.
    e2e::write_file(util, "u = 1\n");
    e2e::write_file(session, "last_root = \"" + r + "\"\n[\"" + r + "\"]\nactive = 1\nactive_kind = \"editor\"\nbuffers = [\"" +
                                 r + "/gone.nolt\", \"" + r + "/src/main.nolt\", \"" + util +
                                 "\"]\nrects = [\"1,2,30,8\", \"2,3,40,10\", \"30,5,45,12\"]\n");
    // No argument, and no nolt.toml in the working directory: the last project opens.
    e2e::Session s(NOLTIDE_BIN, options());
    ASSERT_TRUE(s.wait_text("noltide 0.1.0 \u2014 alpha"));
    ASSERT_TRUE(wait_status(s, util));
    // Each window's top left corner stands where its rectangle says.
    auto corner = [&](int row, int col) { return s.cell(row, col).text == "\u250c" || s.cell(row, col).text == "\u2554"; };
    EXPECT_TRUE(corner(3, 2) && corner(5, 30)) << s.screen();
    EXPECT_EQ(s.screen().find("gone.nolt"), std::string::npos);

    // A path with no project file: the box, and alpha stays.
    open_project(s, r + "/missing.toml");
    answer(s, "No nolt.toml at that path", "OK");
    EXPECT_TRUE(s.wait_text("noltide 0.1.0 \u2014 alpha"));

    // Switching: alpha's session is written, beta's entry opens beside alpha's windows.
    open_project(s, other.path().string() + "/nolt.toml");
    ASSERT_TRUE(s.wait_text("noltide 0.1.0 \u2014 beta"));
    ASSERT_TRUE(s.wait_text("noltide - " + other.path().string() + "/src/main.nolt"));
    written = read_file(session);
    EXPECT_TRUE(written.find(util) != std::string::npos && written.find("gone.nolt") == std::string::npos) << written;

    // And back: alpha's section closes beta's window silently and restores alpha's.
    open_project(s, r + "/nolt.toml");
    ASSERT_TRUE(s.wait_text("noltide 0.1.0 \u2014 alpha"));
    ASSERT_TRUE(wait_status(s, util));

    // Project Settings: a new name reaches nolt.toml and the bar. (The form's own tests hold
    // which bytes change and which values are refused.)
    menu(s, 3, 0, "Settings\u2026");
    ASSERT_TRUE(s.wait_text("Project Settings"));
    s.send(kClearLine + "renamed\t\t\t\t\t");  // then Apply
    s.send(e2e::keys::enter);
    ASSERT_TRUE(s.wait_text("noltide 0.1.0 \u2014 renamed"));
    EXPECT_EQ(read_file(r + "/nolt.toml").rfind("[package]\nname = \"renamed\"\n", 0), 0u);
    s.send(e2e::keys::esc);  // the window, then the file tree it brought forward
    ASSERT_TRUE(s.wait_text("Files \u2014 renamed"));
    s.send(e2e::keys::esc);
    ASSERT_TRUE(wait_gone(s, "Files \u2014 renamed"));

    // Close Project with a changed buffer: Cancel keeps the project, No closes it.
    s.send("x");
    ASSERT_TRUE(wait_status(s, util + "  modified"));
    menu(s, 0, 3, "Close Project");
    answer(s, "Save changes to " + util + "?", "Cancel");
    EXPECT_TRUE(s.wait_text("noltide 0.1.0 \u2014 renamed"));
    menu(s, 0, 3, "Close Project");
    answer(s, "Save changes to " + util + "?", "No");
    ASSERT_TRUE(wait_status(s, "ready"));
    EXPECT_TRUE(wait_gone(s, "renamed"));
    menu(s, 0, 3, "Close Project");
    answer(s, "No project is open", "OK");
    quit_discarding(s);
}
