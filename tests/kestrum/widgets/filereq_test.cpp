#include "kestrum/widgets/filereq.hpp"

#include <sys/stat.h>

#include "tests/support/stream.hpp"
#include "tests/support/golden.hpp"
#include "tests/support/temp_dir.hpp"

using namespace kestrum;
using namespace stdlib;
using Rows = std::vector<std::string>;

namespace {

string text(const std::string& s) { return from_c(s.c_str()); }
std::string dir_and_name(const Root<FileReq>& req) {
    return std::string(c_str(string(req->dir))) + "|" + c_str(string(req->name_input->text));
}
Rows entries(const Root<FileReq>& req) {
    Rows rows;
    for (int32_t i = 0; i < req->list->count; i++) rows.push_back(c_str(req->list->item(i).unwrap()));
    return rows;
}

// Directories, files and hidden names of both kinds, in mixed case, under a fresh directory.
class FileReqs : public stream::Loops {
protected:
    test_support::TempDir tmp;
    void SetUp() override {
        Loops::SetUp();
        for (const char* d : {"src", "Zeta", ".git", "src/inner"}) mkdir((tmp / d).c_str(), 0700);
        for (const char* f : {"b.txt", "A.md", ".hidden", "a", "src/main.nt"}) test_support::write_bytes(tmp / f, "x");
    }
    // Runs the dialog at the screen's top left as the IDE does: the path on OK, "" otherwise.
    std::string run(const Root<FileReq>& req, int32_t expected_end) {
        app->modal_push(req);
        int32_t end = app->modal_run();
        EXPECT_EQ(end, expected_end);
        return end == CMD_OK ? c_str(req->selected_path().unwrap_or(empty_string())) : "";
    }
    static std::string double_click_row(int32_t row) { return click(3, 4 + row) + click(3, 4 + row); }
};

TEST_F(FileReqs, ListsParentThenDirectoriesThenFilesInByteOrderHiddenIncluded) {
    Root<FileReq> req = FileReq::create("Open"_t, text(tmp / ""));
    EXPECT_EQ(entries(req), (Rows{"../", "▸ .git", "▸ Zeta", "▸ src", ".hidden", "A.md", "a", "b.txt"}));
    EXPECT_EQ(dir_and_name(req), tmp.path() + "/|");
    EXPECT_TRUE(req->selected_path().is_none());  // OK on a directory with no name gives nothing
    req = FileReq::create("Open"_t, text(tmp / "src/main.nt"));
    EXPECT_EQ(entries(req), (Rows{"../", "▸ inner", "main.nt"}));
    EXPECT_EQ(dir_and_name(req), tmp / "src|main.nt");
    req = FileReq::create("Open"_t, text(tmp / "src/inner"));
    EXPECT_EQ(entries(req), Rows{"../"});
    for (int i = 0; i < 20; i++) req->go_parent();
    EXPECT_EQ(dir_and_name(req), "/|inner");  // up to "/" and no further; the name stays
}

TEST_F(FileReqs, KeysEnterAndLeaveDirectoriesTypeNamesAndEscapeCancels) {
    // Tab, Tab: the list. Enter on "▸ src" enters it, on "../" comes back; Escape cancels.
    Root<FileReq> req = FileReq::create("Open"_t, text(tmp / ""));
    type("\t\t\x1b[B\x1b[B\x1b[B\r\r\x1b");
    EXPECT_EQ(run(req, CMD_CANCEL), "");
    EXPECT_EQ(dir_and_name(req), tmp.path() + "|");
    // Enter in the field does nothing. OK on a typed directory moves and empties the field; OK on
    // ".." goes up and leaves it; a typed name ends the dialog, and so does an absolute one.
    req = FileReq::create("Save As"_t, text(tmp / ""));
    type("src\r\t\r\x1b[Z..\t\r\x1b[Z\x7f\x7fnew.nt\t\r");
    EXPECT_EQ(run(req, CMD_OK), tmp / "new.nt");
    req = FileReq::create("Save As"_t, text(tmp / "src/"));
    type("/etc/typed\t\r");
    EXPECT_EQ(run(req, CMD_OK), "/etc/typed");
    // OK with an empty field: on a directory it enters it; a selected file follows into the field.
    req = FileReq::create("Open"_t, text(tmp / ""));
    type("\t\t\x1b[B\x1b[B\x1b[B\t\t\t\t\r\t\x1b[B\x1b[B\x1b[Z\r");
    EXPECT_EQ(run(req, CMD_OK), tmp / "src/main.nt");
}

TEST_F(FileReqs, ClicksOnButtonsTheCloseBoxAndDoubleClicksOnRows) {
    Root<FileReq> req = FileReq::create("Open"_t, text(tmp / "src/inner/"));
    // Parent goes to src, "../" to the top, "▸ src" in again, and "main.nt" is the answer.
    type(click(43, 6) + double_click_row(0) + double_click_row(3) + double_click_row(2));
    EXPECT_EQ(run(req, CMD_OK), tmp / "src/main.nt");
    type(click(43, 4));
    EXPECT_EQ(run(req, CMD_CANCEL), "");
    type(click(sys_glyph_x(req->bounds, *req, 2).unwrap(), 0));
    EXPECT_EQ(run(req, CMD_CANCEL), "");
}

TEST(FileReqLayout, FixedControlsAtTheDefaultSize) {
    Root<FileReq> req = FileReq::create("Open"_t, "/no-such-dir/draft.nt"_t);  // unreadable: "../" alone
    Root<CellBuffer> buf = cellbuf_create(56, 16);
    req->draw(buf, req->bounds, test_support::whole(buf), true, theme_ascii());
    EXPECT_SCREEN_AT(buf, rect(0, 0, 56, 7), {"++ Open +-----------------------------------------+ x ++",
                                              "| Name                                                 |",
                                              "| draft.nt                                 [ OK ]      |",
                                              "| Files                                                |",
                                              "| ../                                      [ Cancel ]  |",
                                              "|                                                      |",
                                              "|                                          [ Parent ]  |"});
    EXPECT_SCREEN_AT(buf, rect(0, 13, 56, 1), {"| /no-such-dir                                         |"});
}

}  // namespace
