// Projects in the real binary: Build and Run with the stand-in compiler and with fake ones, the
// output windows, and the file tree.
#include "ide_steps.hpp"

using namespace e2e::steps;

namespace {

e2e::Options in_project(const fs::path& root, const std::string& path_dirs) {
    return e2e::Options().with_size(100, 40).with_args({"nolt.toml"}).in_dir(root).with_env("PATH", path_dirs + ":/usr/bin:/bin");
}

// The callers wait for what each build shows before the next command.
void build(e2e::Session& s) { s.send(e2e::keys::f5); }

}  // namespace

// One project: failing builds, the file tree, then the stand-in compiler builds it and Run runs it.
TEST(ProjectBuild, FailedBuildsReportAppendAfterTheMarkerTheTreeOpensFilesAndTheStandInBuildsAndRuns) {
    e2e::TempDir root, bin;
    write_project(root.path(), "demo", "source_dirs = [\"src\", \"lib\"]\n");
    e2e::write_file(root.path() / "lib/x.nolt", "");
    write_fake_noltc(bin.path(), "sleep 0.4\necho \"args: $*\"\necho 'src/main.nolt:2:3: error: boom' >&2\nexit 1\n");
    e2e::Session s(NOLTIDE_BIN, in_project(root.path(), bin.path()));
    ASSERT_TRUE(s.wait_text("noltide 0.1.0 \u2014 demo"));
    ASSERT_TRUE(s.wait_text("noltide - " + (root.path() / "src/main.nolt").string()));
    build(s);
    EXPECT_TRUE(wait_status(s, "Building project demo \u2026"));
    std::string out = (root.path() / "build/demo").string();
    ASSERT_TRUE(wait_lines(s, {"=== Build ===", "program: noltc", "output:  " + out, "exit:    1", "--- stdout ---",
                               "args: build", "--- stderr ---", "src/main.nolt:2:3: error: boom"}));
    EXPECT_TRUE(wait_status(s, "Build exit 1"));

    // Closed by Escape, the window comes back with its text: the new report follows a marker.
    s.send(e2e::keys::esc);
    ASSERT_TRUE(wait_gone(s, "\u2524 Build \u251c"));
    build(s);
    ASSERT_TRUE(wait_lines(s, {"src/main.nolt:2:3: error: boom", "", "--- Build ---", "=== Build ==="}));

    // A compiler killed by a signal, and none on PATH at all.
    write_fake_noltc(bin.path(), "kill -9 $$\n");
    build(s);
    EXPECT_TRUE(wait_lines(s, {"exit:    signal 9", "--- stdout ---", "(empty)", "--- stderr ---", "(empty)"}));
    EXPECT_TRUE(wait_status(s, "Build exit signal 9"));
    fs::remove(bin.path() / "noltc");
    build(s);
    EXPECT_TRUE(wait_status(s, "Build exit 127"));

    menu(s, 3, 1, "File Tree");
    ASSERT_TRUE(wait_lines(s, {"lib/x.nolt", "src/main.nolt"}));
    e2e::write_file(root.path() / "lib/new.nolt", "");
    ASSERT_TRUE(wait_status(s, "file tree"));
    click_text(s, "[ Refresh");
    ASSERT_TRUE(s.wait_text("3 files"));
    EXPECT_TRUE(wait_status(s, "file tree refreshed"));
    click_text(s, "lib/x.nolt");
    click_text(s, "lib/x.nolt");
    ASSERT_TRUE(s.wait_text("noltide - " + (root.path() / "lib/x.nolt").string()));

    // The stand-in builds the project, and Run shows what its program printed.
    fs::create_symlink(fs::path(NOLTC_DIR) / "noltc", bin.path() / "noltc");
    build(s);
    EXPECT_TRUE(wait_status(s, "Build OK \u2192 " + out));
    menu(s, 2, 1, "\u2502 Run");
    ASSERT_TRUE(wait_lines(s, {"=== Run ===", "program: " + out, "exit:    0", "--- stdout ---"}));
    EXPECT_TRUE(s.wait_text("stand-in compiler"));
    EXPECT_TRUE(wait_status(s, "Run exit 0"));
    quit(s);
}

TEST(ProjectBuild, ASingleFileIsSavedBuiltAndRunWithoutAProjectAndACancelledSaveStopsTheBuild) {
    e2e::TempDir home;
    e2e::write_file(home.path() / "prog.nolt", "fn main()\nend main\n");
    e2e::Session s(NOLTIDE_BIN, in_project(home.path(), NOLTC_DIR).with_args({"prog.nolt"}));
    ASSERT_TRUE(s.wait_text("noltide - prog.nolt"));
    s.send("# edited\n");
    ASSERT_TRUE(s.wait_text("noltide - prog.nolt *"));
    build(s);
    ASSERT_TRUE(wait_lines(s, {"=== Build ===", "program: noltc", "output:  prog", "exit:    0"}));
    EXPECT_EQ(read_file(home.path() / "prog.nolt"), "# edited\nfn main()\nend main\n");
    EXPECT_TRUE(fs::exists(home.path() / "prog"));

    // Run takes the binary beside the active buffer: closing the report brings it forward.
    s.send(e2e::keys::esc);
    ASSERT_TRUE(wait_gone(s, "\u2524 Build \u251c"));
    menu(s, 2, 1, "\u2502 Run");
    ASSERT_TRUE(wait_lines(s, {"=== Run ===", "program: prog", "exit:    0"}));

    // An untitled buffer goes through Save As first; Escape there cancels the build.
    new_window(s, false);
    s.send("x");
    build(s);
    ASSERT_TRUE(s.wait_text("Save As"));
    s.send(e2e::keys::esc);
    // The text shows for one turn; the frame diff skips its blank, which the last status had too.
    EXPECT_TRUE(s.wait_for([&] { return s.output().find("Build cancelled (save") != std::string::npos; }));
    quit_discarding(s);
}

TEST(ProjectBuild, ANinthWindowIsRefusedAndReportsTrimToTheLogLimit) {
    e2e::TempDir root, bin, home;
    write_project(root.path(), "demo");
    e2e::write_file(home.path() / ".config/noltide/settings.toml", "build_log_max_lines = 50\n");
    write_fake_noltc(bin.path(), "seq -f line%g 1 60\n");
    e2e::Session s(NOLTIDE_BIN, in_project(root.path(), bin.path()).with_home(home.path()));
    ASSERT_TRUE(s.wait_text("noltide 0.1.0 \u2014 demo"));
    // The tree and the entry make two; six new buffers fill the desktop.
    for (int i = 0; i < 6; i++) new_window(s, i < 5);
    build(s);
    answer(s, "Too many windows to show output", "OK");
    s.send(ctrl('n'));
    answer(s, "Too many windows", "OK");  // nor a ninth edit window

    s.send(e2e::keys::esc);  // a clean new buffer closes without a question
    ASSERT_TRUE(wait_status(s, "untitled  modified"));
    s.send(e2e::keys::backspace);  // the one below is clean again: the build asks for no name
    ASSERT_TRUE(s.wait_for([&] { return s.row_text(s.rows() - 1).rfind(" untitled   ", 0) == 0; }));
    build(s);
    ASSERT_TRUE(wait_lines(s, {"line60", "--- stderr ---", "(empty)"}));
    // 68 lines of report keep their last 50: the top of the log is line14.
    for (int i = 0; i < 4; i++) s.send(e2e::keys::pgup);
    ASSERT_TRUE(wait_lines(s, {"line14", "line15"}));
    EXPECT_EQ(s.screen().find("line13"), std::string::npos);
    quit_discarding(s);
}
