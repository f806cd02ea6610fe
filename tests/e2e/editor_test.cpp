// Edit windows in the real binary: typing, saving, closing, the clipboard and the start path.
#include "ide_steps.hpp"

using namespace e2e::steps;
using e2e::keys::ctrl;
namespace fs = std::filesystem;

TEST(EditorFiles, TypedTextWithAnEndLineIsSavedExactlyAndTheToggleIsKeptInSettings) {
    e2e::Session s(NOLTIDE_BIN, at80({"new.nolt"}));
    ASSERT_TRUE(s.wait_text("noltide - new.nolt"));
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
    s.send(e2e::keys::f10);
    s.send(e2e::keys::right);
    ASSERT_TRUE(s.wait_text("Auto End Block: On"));
    s.send(e2e::keys::up);  // wraps to the last row
    s.send(e2e::keys::enter);
    ASSERT_TRUE(s.wait_for([&] {
        return read_file(s.home() / ".config/noltide/settings.toml").find("auto_end_block = false") != std::string::npos;
    }));
    s.send(e2e::keys::enter);
    s.send("if x");
    s.send(e2e::keys::enter);
    s.send(ctrl('s'));
    ASSERT_TRUE(s.wait_for([&] { return read_file(s.home() / "new.nolt") == "fn add(a, b)\n  return a\nif x\n\nend add"; }));
    quit(s);
}


TEST(EditorFiles, ClosingAndQuittingAskAboutChangedBuffersAndHonourEachAnswer) {
    e2e::TempDir home;
    e2e::write_file(home.path() / "a.txt", "A\nB");
    e2e::Session s(NOLTIDE_BIN, at80({"a.txt"}).with_home(home.path()));
    ASSERT_TRUE(wait_status(s, "a.txt"));
    for (const std::string& change : {std::string("x"), std::string(e2e::keys::enter)}) {
        s.send(change);
        ASSERT_TRUE(s.wait_text("noltide - a.txt *"));
        s.send(e2e::keys::backspace);  // back to the text on disk, then changed again
        ASSERT_TRUE(s.wait_for([&] { return s.screen().find("modified") == std::string::npos; }));
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
    ASSERT_TRUE(s.wait_text("┤ noltide ├"));
    s.send("new");
    ASSERT_TRUE(wait_status(s, "untitled  modified"));
    // Quit asks in window order, bringing the closed buffer back; Yes saves it.
    s.send(e2e::keys::alt_char('q'));
    answer(s, "Save changes to a.txt?", "Yes");
    EXPECT_TRUE(s.wait_for([&] { return read_file(home.path() / "a.txt") == "xA\nB"; }));
    // A buffer without a path asks for one; Cancel in the requester stops the quit.
    answer(s, "Save changes?", "Yes");
    ASSERT_TRUE(s.wait_text("┤ Save As ├"));
    s.send(e2e::keys::esc);
    ASSERT_TRUE(s.wait_for([&] { return s.screen().find("Save As") == std::string::npos; }));
    ASSERT_TRUE(s.running());
    s.send(e2e::keys::alt_char('q'));
    answer(s, "Save changes?", "Yes");
    ASSERT_TRUE(s.wait_text("┤ Save As ├"));
    s.send("b.txt");
    ASSERT_TRUE(s.wait_text("b.txt"));
    s.send(e2e::keys::tab);
    s.send(e2e::keys::enter);
    ASSERT_TRUE(s.wait_exit());
    EXPECT_EQ(s.exit_status(), e2e::ExitStatus::exited(0));
    EXPECT_EQ(read_file(home.path() / "b.txt"), "new");
}

TEST(EditorFiles, CopyCutAndPasteUseTheInternalClipboardAndSendOsc52AndTheNinthWindowIsRefused) {
    e2e::Session s(NOLTIDE_BIN, at80());
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
    for (int i = 0; i < 7; i++) new_window(s);
    s.send(ctrl('n'));
    answer(s, "Too many windows", "OK");  // the ninth window is refused
    quit_discarding(s);
}

TEST(EditorFiles, AFailedSaveKeepsTheBufferAndSaysSo) {
    e2e::Session s(NOLTIDE_BIN, at80({"/etc/hostname/x.nolt"}));
    ASSERT_TRUE(s.wait_text("noltide - /etc/hostname/x.nolt"));
    s.send("kept");
    s.send(ctrl('s'));
    answer(s, "Could not write file", "OK");
    EXPECT_TRUE(s.wait_text("1 kept"));
    EXPECT_TRUE(wait_status(s, "/etc/hostname/x.nolt  modified"));
    quit_discarding(s);
}

TEST(EditorFiles, CarriageReturnsAndOverlongFilesOpenChangedAndShortened) {
    e2e::TempDir home;
    e2e::write_file(home.path() / "crlf.txt", "one\r\ntwo\r\n");
    std::string longfile;
    for (int i = 1; i <= 1100; i++) longfile += "line " + std::to_string(i) + "\n";
    e2e::write_file(home.path() / "long.txt", std::string(600, 'w') + "\n" + longfile);
    {
        e2e::Session s(NOLTIDE_BIN, at80({"crlf.txt"}).with_home(home.path()));
        ASSERT_TRUE(s.wait_text("noltide - crlf.txt *"));
        EXPECT_TRUE(s.wait_text("2 two "));
        s.send(ctrl('s'));
        ASSERT_TRUE(wait_status(s, "crlf.txt  saved"));
        EXPECT_EQ(read_file(home.path() / "crlf.txt"), "one\ntwo\n");
        quit(s);
    }
    e2e::Session s(NOLTIDE_BIN, at80({"long.txt"}).with_home(home.path()));
    ASSERT_TRUE(s.wait_text("noltide - long.txt *"));
    EXPECT_TRUE(s.wait_text("1024 lines  1:1  INS"));
    s.send(e2e::keys::end);
    EXPECT_TRUE(s.wait_text("1024 lines  1:513  INS")) << "the first line is cut to 512 bytes";
    quit_discarding(s);
    EXPECT_EQ(read_file(home.path() / "long.txt").size(), 600 + 1 + longfile.size()) << "nothing written";
}

TEST(EditorFiles, TheStartPathOpensFilesAndRefusesDirectoriesAndMissingFiles) {
    e2e::TempDir home;
    e2e::write_file(home.path() / "proj/nolt.toml", "[project]\nname = \"p\"\n");
    e2e::write_file(home.path() / "plain", "text here\n");
    struct Case {
        std::string arg, shown;
    };
    const Case cases[] = {
        {"proj", "Cannot open a directory: proj"},
        {"nope.txt", "Not found: nope.txt"},
        {"missing.nolt", "noltide - missing.nolt"},
        {"plain", "1 text here"},
    };
    for (const Case& c : cases) {
        e2e::Session s(NOLTIDE_BIN, at80({c.arg}).with_home(home.path()));
        ASSERT_TRUE(s.wait_text(c.shown)) << c.arg;
        if (c.shown.find(':') != std::string::npos) {
            EXPECT_TRUE(s.wait_text("Open")) << c.arg;
            answer(s, c.shown, "OK");
            EXPECT_TRUE(wait_status(s, "ready")) << c.arg;
        }
        quit(s);
    }
    EXPECT_FALSE(fs::exists(home.path() / "missing.nolt")) << "opening creates nothing";
}

TEST(EditorFiles, NoltSourceIsColouredAndAnUnknownLanguageStaysPlain) {
    e2e::TempDir home;
    const std::string line = "fn f() \"s\" # c";
    e2e::write_file(home.path() / "m.nolt", line + "\n");
    e2e::write_file(home.path() / "m.unknownlang", line + "\n");
    const e2e::Color fg = e2e::Color::rgb(220, 230, 245), keyword = e2e::Color::rgb(255, 210, 80),
                     text = e2e::Color::rgb(140, 230, 160), comment = e2e::Color::rgb(150, 175, 210);
    const int at = 4;  // frame, then a gutter of three cells
    for (const char* name : {"m.nolt", "m.unknownlang"}) {
        e2e::Session s(NOLTIDE_BIN, at80({name}).with_home(home.path()).with_env("NOLT_HOME", NOLT_SOURCE_DIR));
        ASSERT_TRUE(s.wait_text("1 " + line)) << name;
        bool nolt = std::string(name) == "m.nolt";
        EXPECT_EQ(s.cell(2, at).fg, nolt ? keyword : fg) << name;
        EXPECT_EQ(s.cell(2, at + 3).fg, fg) << name;
        EXPECT_EQ(s.cell(2, at + 8).fg, nolt ? text : fg) << name;
        EXPECT_EQ(s.cell(2, at + 13).fg, nolt ? comment : fg) << name;
        quit(s);
    }
}

TEST(EditorFiles, TheOpenRequesterListsTheFolderEntersDirectoriesAndOpensAFile) {
    e2e::TempDir home;
    e2e::write_file(home.path() / "src" / "main.nolt", "fn main()\nend\n");
    e2e::write_file(home.path() / "b.txt", "B");
    e2e::Session s(NOLTIDE_BIN, at80({}).with_home(home.path()));
    ASSERT_TRUE(wait_status(s, "ready"));
    s.send(ctrl('o'));
    ASSERT_TRUE(s.wait_text("\u2524 Open \u251c"));
    ASSERT_TRUE(s.wait_text("\u2502 ../"));
    EXPECT_TRUE(s.wait_text("\u25b8 src"));
    EXPECT_TRUE(s.wait_text("b.txt"));
    s.send(e2e::keys::esc);
    ASSERT_TRUE(s.wait_for([&] { return s.screen().find("\u2524 Open \u251c") == std::string::npos; }));
    s.send(ctrl('o'));
    ASSERT_TRUE(s.wait_text("\u2524 Open \u251c"));
    s.send("src");
    s.send(e2e::keys::tab);
    s.send(e2e::keys::enter);  // OK on a directory's name enters it
    ASSERT_TRUE(s.wait_text("main.nolt"));
    s.send(e2e::keys::backtab);
    s.send("main.nolt");
    s.send(e2e::keys::tab);
    s.send(e2e::keys::enter);
    ASSERT_TRUE(s.wait_text("\u2502 1 fn main()"));
}
