// Edit windows in the real binary: typing, saving, closing, the clipboard and the start path.
#include "ide_steps.hpp"

using namespace e2e::steps;
using e2e::keys::ctrl;
namespace fs = std::filesystem;

TEST(EditorFiles, TypedTextWithAnEndLineIsSavedExactlyAndTheToggleIsKeptInSettings) {
    e2e::Session s(NOLTIDE_BIN, at80({"new.nolt"}));
    ASSERT_TRUE(s.wait_text("noltide - new.nolt"));
    EXPECT_FALSE(fs::exists(s.home() / "new.nolt")) << "opening creates nothing";
    s.send("fn add(a, b)");
    s.send(e2e::keys::enter);
    s.send("  return a");
    ASSERT_TRUE(wait_status(s, "new.nolt  modified"));
    EXPECT_TRUE(s.wait_text("noltide - new.nolt *"));
    EXPECT_TRUE(s.wait_text("3 lines  2:11  INS"));
    s.send(ctrl('s'));
    ASSERT_TRUE(wait_status(s, "new.nolt  saved"));
    EXPECT_EQ(read_file(s.home() / "new.nolt"), "fn add(a, b)\n  return a\nend add");

    // Off: Enter after an opener is a plain Enter, and settings.toml says so.
    s.send(std::string(e2e::keys::f10) + std::string(e2e::keys::right));
    ASSERT_TRUE(s.wait_text("Auto End Block: On"));
    s.send(std::string(e2e::keys::up) + std::string(e2e::keys::enter));  // up wraps to the last row
    ASSERT_TRUE(s.wait_for([&] {
        return read_file(s.home() / ".config/noltide/settings.toml").find("auto_end_block = false") != std::string::npos;
    }));
    s.send("\rif x\r" + ctrl('s'));
    ASSERT_TRUE(s.wait_for([&] { return read_file(s.home() / "new.nolt") == "fn add(a, b)\n  return a\nif x\n\nend add"; }));
    quit(s);
}


// Then a new buffer: the internal clipboard, sent out as OSC 52 too, and a quit that saves.
TEST(EditorFiles, ClosingAndQuittingAskAboutChangedBuffersAndHonourEachAnswerAndTheClipboardWorks) {
    e2e::TempDir home;
    e2e::write_file(home.path() / "a.txt", "A\nB");
    e2e::Session s(NOLTIDE_BIN, at80({"a.txt"}).with_home(home.path()));
    ASSERT_TRUE(wait_status(s, "a.txt"));
    for (const std::string& change : {std::string("x"), std::string(e2e::keys::enter)}) {
        s.send(change);
        ASSERT_TRUE(s.wait_text("noltide - a.txt *"));
        s.send(e2e::keys::backspace);  // back to the text on disk, then changed again
        ASSERT_TRUE(wait_gone(s, "modified"));
    }
    s.send("x");
    ASSERT_TRUE(s.wait_text("noltide - a.txt *"));
    s.send(e2e::keys::esc);
    answer(s, "Save changes to a.txt?", "Cancel");
    EXPECT_TRUE(s.wait_text("noltide - a.txt *")) << "Cancel keeps the window";
    s.send(e2e::keys::esc);
    answer(s, "Save changes to a.txt?", "No");
    ASSERT_TRUE(s.wait_for([&] { return s.row_text(2) == ""; })) << "No closes it";
    EXPECT_EQ(read_file(home.path() / "a.txt"), "A\nB");

    s.send(ctrl('n'));
    ASSERT_TRUE(wait_status(s, "untitled"));  // keys typed before the window exists go nowhere
    s.send("hello");
    ASSERT_TRUE(s.wait_text("1 hello"));
    s.send(ctrl('a'));
    ASSERT_TRUE(s.wait_for([&] { return s.cell(2, 4).reverse; }));
    s.send(ctrl('c'));
    ASSERT_TRUE(s.wait_for([&] { return s.output().find("\033]52;c;aGVsbG8=\a") != std::string::npos; }));
    s.send(ctrl('x'));
    ASSERT_TRUE(s.wait_for([&] { return s.row_text(2) == "\u2502 1" + std::string(76, ' ') + "\u2502"; }));
    s.send(ctrl('v'));
    ASSERT_TRUE(s.wait_text("1 hello "));
    s.send(ctrl('v'));
    ASSERT_TRUE(s.wait_text("1 hellohello "));
    s.send(ctrl('c'));  // nothing selected: the clipboard empties and paste does nothing
    ASSERT_TRUE(s.wait_for([&] { return s.output().find("\033]52;c;!\a") != std::string::npos; }));
    s.send(ctrl('v'));
    s.send("!");
    ASSERT_TRUE(s.wait_text("1 hellohello! "));

    // Quit asks in window order, bringing the closed buffer back; Yes saves it.
    s.send(e2e::keys::alt_char('q'));
    answer(s, "Save changes to a.txt?", "Yes");
    EXPECT_TRUE(s.wait_for([&] { return read_file(home.path() / "a.txt") == "xA\nB"; }));
    // A buffer without a path asks for one; Cancel in the requester stops the quit.
    answer(s, "Save changes?", "Yes");
    ASSERT_TRUE(s.wait_text("\u2524 Save As \u251c"));
    s.send(e2e::keys::esc);
    ASSERT_TRUE(wait_gone(s, "Save As"));
    s.send(e2e::keys::alt_char('q'));
    answer(s, "Save changes?", "Yes");
    ASSERT_TRUE(s.wait_text("\u2524 Save As \u251c"));
    s.send("b.txt");
    ASSERT_TRUE(s.wait_text("b.txt"));
    s.send(std::string(e2e::keys::tab) + std::string(e2e::keys::enter));
    ASSERT_TRUE(s.wait_exit());
    EXPECT_EQ(s.exit_status(), e2e::ExitStatus::exited(0));
    EXPECT_EQ(read_file(home.path() / "b.txt"), "hellohello!");
}

TEST(EditorFiles, TheStartPathRefusesDirectoriesAndMissingFilesAndCarriageReturnsOpenChanged) {
    e2e::TempDir home;
    e2e::write_file(home.path() / "proj/nolt.toml", "[project]\nname = \"p\"\n");
    e2e::write_file(home.path() / "crlf.txt", "one\r\ntwo\r\n");
    const std::pair<std::string, std::string> cases[] = {
        {"proj", "Cannot open a directory: proj"}, {"nope.txt", "Not found: nope.txt"}, {"crlf.txt", "noltide - crlf.txt *"}};
    for (const auto& [arg, shown] : cases) {
        e2e::Session s(NOLTIDE_BIN, at80({arg}).with_home(home.path()));
        ASSERT_TRUE(s.wait_text(shown)) << arg;
        if (shown.find(':') != std::string::npos) {
            EXPECT_TRUE(s.wait_text("Open")) << arg;
            answer(s, shown, "OK");
            EXPECT_TRUE(wait_status(s, "ready")) << arg;
        }
        quit_discarding(s);
    }
    EXPECT_EQ(read_file(home.path() / "crlf.txt"), "one\r\ntwo\r\n") << "nothing written";
}

// The bundled example, started as tools/run.sh starts it (NOLT_HOME at the checkout, in the
// example's directory), is coloured as Nolt; the same text in a file of an unknown language stays plain.
TEST(EditorFiles, TheExampleIsColouredAsNoltAndAnUnknownLanguageStaysPlain) {
    const std::string example = std::string(NOLT_SOURCE_DIR) + "/examples/hello";
    e2e::TempDir home;
    e2e::write_file(home.path() / "m.unknownlang", read_file(example + "/src/main.nolt"));
    const e2e::Color fg = e2e::Color::rgb(220, 230, 245), keyword = e2e::Color::rgb(255, 210, 80),
                     text = e2e::Color::rgb(140, 230, 160), comment = e2e::Color::rgb(150, 175, 210);
    for (bool nolt : {true, false}) {
        e2e::Session s(NOLTIDE_BIN, (nolt ? at80().in_dir(example) : at80({"m.unknownlang"}).with_home(home.path()))
                                        .with_env("NOLT_HOME", NOLT_SOURCE_DIR));
        ASSERT_TRUE(s.wait_text("end main")) << nolt;  // the last line: the rows above are drawn
        auto cell = [&](const std::string& at) { return s.cell(find_text(s, at).first, find_text(s, at).second); };
        EXPECT_EQ(cell("fn main(").fg, nolt ? keyword : fg) << nolt;
        EXPECT_EQ(cell("main(").fg, fg) << nolt;
        EXPECT_EQ(cell("\"world\"").fg, nolt ? text : fg) << nolt;
        EXPECT_EQ(cell("# A first").fg, nolt ? comment : fg) << nolt;
        quit(s);
    }
}

// Opened through the requester, an overlong file is cut to the editor's limits and marked changed.
TEST(EditorFiles, TheOpenRequesterListsTheFolderEntersDirectoriesAndOpensAFile) {
    e2e::TempDir home;
    std::string longfile = std::string(600, 'w') + "\n";
    for (int i = 1; i <= 1100; i++) longfile += "line " + std::to_string(i) + "\n";
    e2e::write_file(home.path() / "src" / "long.txt", longfile);
    e2e::write_file(home.path() / "b.txt", "B");
    e2e::Session s(NOLTIDE_BIN, at80().with_home(home.path()));
    ASSERT_TRUE(wait_status(s, "ready"));
    s.send(ctrl('o'));
    ASSERT_TRUE(s.wait_text("\u2502 ../"));
    EXPECT_TRUE(s.wait_text("\u25b8 src"));
    EXPECT_TRUE(s.wait_text("b.txt"));
    s.send("src\t");
    s.send(e2e::keys::enter);  // OK on a directory's name enters it
    ASSERT_TRUE(s.wait_text("long.txt"));
    s.send(std::string(e2e::keys::backtab) + "long.txt\t");
    s.send(e2e::keys::enter);
    ASSERT_TRUE(s.wait_text("long.txt *"));
    EXPECT_TRUE(s.wait_text("1024 lines  1:1  INS"));
    s.send(e2e::keys::end);
    EXPECT_TRUE(s.wait_text("1024 lines  1:513  INS")) << "the first line is cut to 512 bytes";
    quit_discarding(s);
    EXPECT_EQ(read_file(home.path() / "src/long.txt"), longfile) << "nothing written";
}
