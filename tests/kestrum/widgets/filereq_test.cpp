#include "kestrum/widgets/filereq.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "kestrum/desktop.hpp"
#include "tests/kestrum/stream.hpp"
#include "tests/support/golden.hpp"
#include "tests/support/temp_dir.hpp"

using namespace kestrum;
using namespace stdlib;

namespace {

string text(const std::string& s) { return from_c(s.c_str()); }
std::string std_text(const string& s) { return c_str(s); }

std::vector<std::string> entries(const Root<FileReq>& req) {
    std::vector<std::string> rows;
    for (int32_t i = 0; i < req->list->count; i++) rows.push_back(std_text(req->list->item(i).unwrap()));
    return rows;
}

// A directory with subdirectories, files and hidden names of both kinds, in mixed case.
class FileReqs : public testing::Test {
protected:
    stream::Pipe keys;
    int null_fd = open("/dev/null", O_WRONLY);
    Root<Application> app = (test_support::boot(), Application::create(theme_classic()));
    test_support::TempDir tmp;

    void SetUp() override {
        for (const char* d : {"src", "Zeta", ".git", "src/inner"}) mkdir((tmp / d).c_str(), 0700);
        for (const char* f : {"b.txt", "A.md", ".hidden", "a", "src/main.nt"}) test_support::write_bytes(tmp / f, "x");
        Root<Term> term = stream::open_on(null_fd, ColorDepth::TrueColor);
        term->in_fd = keys.read_end;
        app->term = term;
        app->is_open = app->running = true;
        app->rebuild_buffers();
    }
    void TearDown() override { close(null_fd); }
    void type(const std::string& bytes) { ASSERT_EQ(write(keys.write_end, bytes.data(), bytes.size()), (ssize_t)bytes.size()); }
    static std::string click(int32_t x, int32_t y) {
        return "\x1b[<0;" + std::to_string(x + 1) + ";" + std::to_string(y + 1) + "M";
    }
    // A left press on list row `row` of a dialog at the screen's top left.
    static std::string click_row(int32_t row) { return click(3, 4 + row); }
    // Runs the dialog on the queued keys as the IDE does: the path on OK, "" on anything else.
    std::string run(const Root<FileReq>& req, int32_t* cmd = nullptr) {
        app->modal_push(req);
        int32_t end = app->modal_run();
        if (cmd) *cmd = end;
        return end == CMD_OK ? std_text(req->selected_path().unwrap_or(empty_string())) : "";
    }
};

TEST_F(FileReqs, ListsParentThenDirectoriesThenFilesByteOrderHiddenIncluded) {
    Root<FileReq> req = FileReq::create("Open"_t, text(tmp / ""));
    EXPECT_EQ(entries(req), (std::vector<std::string>{"../", "▸ .git", "▸ Zeta", "▸ src", ".hidden", "A.md", "a", "b.txt"}));
    EXPECT_EQ(std_text(string(req->dir)), tmp.path() + "/");
    EXPECT_EQ(std_text(string(req->name_input->text)), "");
    EXPECT_EQ(std_text(string(req->dir_label->text)), tmp.path() + "/");

    req = FileReq::create("Open"_t, text(tmp / "src/main.nt"));  // an existing file: its directory
    EXPECT_EQ(entries(req), (std::vector<std::string>{"../", "▸ inner", "main.nt"}));
    EXPECT_EQ(std_text(string(req->name_input->text)), "main.nt");
    req = FileReq::create("Open"_t, text(tmp / "src/inner"));  // empty: the parent entry alone
    EXPECT_EQ(entries(req), (std::vector<std::string>{"../"}));
    req = FileReq::create("Open"_t, text(tmp / "missing/new.nt"));  // unreadable: the same
    EXPECT_EQ(entries(req), (std::vector<std::string>{"../"}));
    EXPECT_EQ(std_text(string(req->dir)), tmp / "missing");

    req->go_parent();
    EXPECT_EQ(std_text(string(req->dir)), tmp.path());
    EXPECT_EQ(entries(req).size(), 8u);
    EXPECT_EQ(std_text(string(req->name_input->text)), "new.nt");  // going up keeps the name
    for (int i = 0; i < 20; i++) req->go_parent();
    EXPECT_EQ(std_text(string(req->dir)), "/");
    EXPECT_EQ(entries(req)[0], "../");
}

TEST(FileReqPaths, TextOnlyPathAndEntryFunctions) {
    test_support::boot();
    auto s = [](const string& t) { return std_text(t); };
    EXPECT_EQ(s(path_basename("/a/b.nt"_t)) + "|" + s(path_basename("/a/"_t)) + "|" + s(path_basename("b"_t)), "b.nt||b");
    EXPECT_EQ(s(path_parent("/"_t)) + s(path_parent("a"_t)) + s(path_parent("/a"_t)), "///");
    EXPECT_EQ(s(path_parent("/a/b/"_t)) + "|" + s(path_parent("x/y"_t)), "/a|x");
    EXPECT_EQ(s(path_dir(""_t)) + "|" + s(path_dir("/"_t)) + "|" + s(path_dir("/no/such/file"_t)), "/|/|/no/such");
    EXPECT_EQ(s(path_join("/a/"_t, "b"_t)) + "|" + s(path_join("/a"_t, "b"_t)) + "|" + s(path_join("/"_t, "b"_t)), "/a/b|/a/b|/b");
    EXPECT_EQ(s(path_join("/a"_t, "/etc/x"_t)) + "|" + s(path_join("/a"_t, ""_t)) + "|" + s(path_join(""_t, "b"_t)), "/etc/x|/a|b");
    EXPECT_EQ(s(entry_name("../"_t)) + "|" + s(entry_name("▸ src"_t)) + "|" + s(entry_name("lib/"_t)) + "|" + s(entry_name("a.nt"_t)), "..|src|lib|a.nt");
    EXPECT_TRUE(entry_is_dir("lib/"_t) && entry_is_dir("▸ x"_t) && !entry_is_dir("x"_t));
    EXPECT_TRUE(entry_less("../"_t, "▸ A"_t) && !entry_less("▸ A"_t, "../"_t));
    EXPECT_TRUE(entry_less("▸ z"_t, "A"_t) && entry_less("B"_t, "a"_t) && !entry_less("b"_t, "b"_t));
}

TEST_F(FileReqs, KeysEnterAndLeaveDirectoriesTypeNamesAndEscapeCancels) {
    Root<FileReq> req = FileReq::create("Open"_t, text(tmp / ""));
    int32_t cmd = CMD_NONE;
    // Tab twice reaches the list; Enter on "▸ src" enters it, Enter on "../" comes back; Escape.
    type("\t\t\x1b[B\x1b[B\x1b[B\r\r\x1b");
    EXPECT_EQ(run(req, &cmd), "");
    EXPECT_EQ(cmd, CMD_CANCEL);
    EXPECT_EQ(std_text(string(req->dir)), tmp.path());

    // Enter in the name field does nothing; OK is reached by Tab. A typed directory moves the
    // dialog and empties the field, ".." goes up again and stays in the field, a typed name ends it.
    req = FileReq::create("Save As"_t, text(tmp / ""));
    type("src\r\t\r");
    type("\x1b[Z..\t\r");
    type("\x1b[Z\x7f\x7fnew.nt\t\r");
    EXPECT_EQ(run(req, &cmd), tmp / "new.nt");
    EXPECT_EQ(cmd, CMD_OK);

    req = FileReq::create("Save As"_t, text(tmp / "src/"));
    type("/etc/typed\t\r");  // an absolute name takes over
    EXPECT_EQ(run(req), "/etc/typed");

    // OK with an empty field on a directory enters it; a selected file follows into the field.
    req = FileReq::create("Open"_t, text(tmp / ""));
    EXPECT_TRUE(req->selected_path().is_none());
    type("\t\t\x1b[B\x1b[B\x1b[B\t\t\t\t\r");
    type("\t\x1b[B\x1b[B\x1b[Z\r");
    EXPECT_EQ(run(req), tmp / "src/main.nt");
    EXPECT_EQ(std_text(string(req->dir)), tmp / "src");

    req = FileReq::create("Open"_t, text(tmp / ""));
    type("\t\r\x1b");  // OK on "../" with nothing named goes up
    EXPECT_EQ(run(req, &cmd), "");
    EXPECT_EQ(cmd, CMD_CANCEL);
    EXPECT_EQ(std_text(string(req->dir)), "/tmp");
}

TEST_F(FileReqs, ClicksOnParentAndDoubleClicksOnRows) {
    Root<FileReq> req = FileReq::create("Open"_t, text(tmp / "src/inner/"));
    type(click(43, 6));                         // Parent: to src
    type(click_row(0) + click_row(0));          // a double click on "../": to tmp
    type(click_row(3) + click_row(3));          // on "▸ src": in again
    type(click_row(2) + click_row(2));          // on "main.nt": the answer
    int32_t cmd = CMD_NONE;
    EXPECT_EQ(run(req, &cmd), tmp / "src/main.nt");
    EXPECT_EQ(cmd, CMD_OK);

    req = FileReq::create("Open"_t, text(tmp / ""));
    type(click(43, 4));  // Cancel; then the close box
    EXPECT_EQ(run(req, &cmd), "");
    EXPECT_EQ(cmd, CMD_CANCEL);
    type(click(sys_glyph_x(req->bounds, *req, 2).unwrap(), 0));
    EXPECT_EQ(run(req, &cmd), "");
    EXPECT_EQ(cmd, CMD_CANCEL);
}

TEST(FileReqLayout, FixedControlsAtTheDefaultSize) {
    test_support::boot();
    Root<FileReq> req = FileReq::create("Open"_t, "/no-such-dir/draft.nt"_t);
    Root<CellBuffer> buf = cellbuf_create(58, 17);
    req->draw(buf, req->bounds, test_support::whole(buf), true, theme_ascii());
    EXPECT_SCREEN(buf, {"++ Open +-----------------------------------------+ x ++  ",
                        "| Name                                                 |  ",
                        "| draft.nt                                 [ OK ]      |  ",
                        "| Files                                                |  ",
                        "| ../                                      [ Cancel ]  |  ",
                        "|                                                      |  ",
                        "|                                          [ Parent ]  |  ",
                        "|                                                      |  ",
                        "|                                                      |  ",
                        "|                                                      |  ",
                        "|                                                      |  ",
                        "|                                                      |  ",
                        "|                                                      |  ",
                        "| /no-such-dir                                         |  ",
                        "|                                                      |  ",
                        "+------------------------------------------------------▄  ",
                        "                                                          "});
}

}  // namespace
