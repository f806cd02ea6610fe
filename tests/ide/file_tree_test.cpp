#include "ide/file_tree.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/boot.hpp"
#include "tests/support/temp_dir.hpp"

using namespace ide;
using namespace kestrum;
using namespace runtime::literals;

namespace {

std::string str(const string& s) { return stdlib::c_str(s); }

Root<Project> project_at(const std::string& root, const std::vector<std::string>& dirs) {
    Root<Project> p = empty_project();
    p->root = stdlib::from_c(root.c_str());
    p->name = "demo"_t;
    for (size_t i = 0; i < dirs.size(); i++) p->source_dirs[(int32_t)i] = stdlib::from_c(dirs[i].c_str());
    return p;
}

// Title, count and rows: "Files — demo|2 files|src/a.nolt,src/b.nolt".
std::string shown(const Root<FileTreeWin>& win) {
    std::string out = str(string(win->title)) + "|" + str(string(win->count_label->text)) + "|";
    for (int32_t i = 0; i < win->list->count; i++) out += (i ? "," : "") + str(win->list->item(i).unwrap());
    return out;
}

TEST(FileTree, ListsEverySourceDirectorySortedUpTo256AndKeepsItsControlsUsableWhenSmall) {
    test_support::TempDir tmp, outside;
    for (const char* d : {"src", "src/a", "src/.cache", "tests", "build", "many"}) mkdir((tmp / d).c_str(), 0700);
    for (const char* f : {"src/b.nolt", "src/a/z.nolt", "src/Up.NOLT", "src/notes.txt", "src/.hid.nolt",
                          "src/.cache/c.nolt", "tests/a.nolt", "build/out.nolt", "top.nolt"})
        test_support::write_bytes(tmp / f, "x");
    test_support::write_bytes(outside / "o.nolt", "x");
    Root<FileTreeWin> win = FileTreeWin::create();
    // Padded, missing, empty and outside entries; a link to a file counts as one, a link loop ends.
    symlink((tmp / "tests/a.nolt").c_str(), (tmp / "src/link.nolt").c_str());
    symlink((tmp / "src").c_str(), (tmp / "src/a/loop").c_str());
    win->reload(project_at(tmp.path(), {" tests ", "gone", "", "src", outside.path()}));
    // 64 directories, alternately src (two sources) and a (one), then tests and the outside file.
    EXPECT_EQ(str(string(win->count_label->text)), "98 files");
    unlink((tmp / "src/a/loop").c_str());
    win->reload(project_at(tmp.path(), {" tests ", "gone", "", "src", outside.path()}));
    EXPECT_EQ(shown(win), "Files — demo|5 files|" + outside / "o.nolt" +
                              ",src/a/z.nolt,src/b.nolt,src/link.nolt,tests/a.nolt");
    // A second reload starts at the first file again; no source directories list nothing.
    win->list->set_selected(3);
    win->reload(project_at(tmp.path(), {"tests"}));
    EXPECT_TRUE(shown(win) == "Files — demo|1 file|tests/a.nolt" && win->list->selected == 0) << shown(win);
    win->reload(project_at(tmp.path(), {}));
    EXPECT_EQ(shown(win), "Files — demo|0 files|");
    win->reload(empty_project());
    EXPECT_TRUE(shown(win) == "Files||" && str(string(win->root)).empty());
    EXPECT_FALSE(win->activate_selection());  // nothing listed, nothing to open
    // Paths are compared normalised, and a sibling sharing the root's name is outside it.
    EXPECT_EQ(str(rel_to_root("/p/r/"_t, "/p/./r//src/../x.nolt"_t)) + str(rel_to_root("/p/r"_t, "/p/r/"_t)), "x.nolt");
    EXPECT_EQ(str(rel_to_root("/p/r"_t, "/p/rest/x.nolt"_t)), "/p/rest/x.nolt");
    // 300 files: the first 256 the walk finds, sorted.
    for (int i = 0; i < 300; i++) test_support::write_bytes(tmp / ("many/f" + std::to_string(1000 + i) + ".nolt"), "");
    win->reload(project_at(tmp.path(), {"many", "src"}));
    std::vector<std::string> got;
    for (int32_t i = 0; i < win->list->count; i++) got.push_back(str(win->list->item(i).unwrap()));
    EXPECT_TRUE(got.size() == 256 && std::is_sorted(got.begin(), got.end()) && shown(win).starts_with(
                    "Files — demo|256 files|")) << shown(win);
    win->set_bounds(rect(0, 0, 8, 3));  // below the minimum: the controls keep a usable size
    EXPECT_TRUE(win->list->bounds == rect(0, 0, 12, 3) && win->list->rows == 3 &&
                win->count_label->bounds == rect(11, 4, 4, 1));
}

}  // namespace
