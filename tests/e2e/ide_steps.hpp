// Steps that end-to-end tests of the IDE share: waiting for the status line, answering boxes,
// menus, projects and quitting.
#pragma once
#include "harness.hpp"

namespace e2e::steps {

using e2e::read_file;
using e2e::keys::ctrl;
namespace fs = std::filesystem;

inline e2e::Options at80(std::vector<std::string> args = {}) {
    return e2e::Options().with_size(80, 24).with_env("COLORTERM", "truecolor").with_args(std::move(args));
}

// The status line's left text, trimmed.
inline ::testing::AssertionResult wait_status(e2e::Session& s, const std::string& text) {
    return s.wait_for([&] { return s.row_text(s.rows() - 1).rfind(" " + text + " ", 0) == 0 ||
                                   s.row_text(s.rows() - 1) == " " + text; },
                      e2e::kDefaultTimeout, text);
}

// Backspaces enough to empty an input line.
inline const std::string kClearLine(40, '\x7f');

// `text` has gone from the screen.
inline ::testing::AssertionResult wait_gone(e2e::Session& s, const std::string& text) {
    return s.wait_for([&] { return s.screen().find(text) == std::string::npos; }, e2e::kDefaultTimeout, text);
}

inline void quit(e2e::Session& s, char key = 'q') {
    s.send(e2e::keys::alt_char(key));
    ASSERT_TRUE(s.wait_exit());
    EXPECT_EQ(s.exit_status(), e2e::ExitStatus::exited(0));
}

// Where `text` (ASCII) first stands on the screen, as {row, col}; {-1, -1} when nowhere.
inline std::pair<int, int> find_text(e2e::Session& s, const std::string& text) {
    for (int r = 0; r < s.rows(); r++) {
        std::string cells;  // a byte a cell, 0 for a cell that is not ASCII
        for (int c = 0; c < s.cols(); c++) cells += s.cell(r, c).text.size() == 1 ? s.cell(r, c).text[0] : '\0';
        if (size_t c = cells.find(text); c != std::string::npos) return {r, static_cast<int>(c)};
    }
    return {-1, -1};
}

// Clicks the first place where `text` (ASCII) stands on the screen.
inline void click_text(e2e::Session& s, const std::string& text) {
    auto [row, col] = find_text(s, text);
    if (row < 0) ADD_FAILURE() << "no " << text << " on\n" << s.screen();
    else s.send(e2e::keys::mouse(row, col + 1));
}

// Waits for the box with `text`, answers it with the button `answer`, and waits for it to go.
inline void answer(e2e::Session& s, const std::string& text, const std::string& button) {
    ASSERT_TRUE(s.wait_text(text));
    ASSERT_TRUE(s.wait_text("[ " + button + " ]"));
    click_text(s, "[ " + button + " ]");
    ASSERT_TRUE(wait_gone(s, text));
}

// Opens a new edit window and waits until it is the active one. The loop keeps one command a
// turn, so nothing is sent before that; `mark` types a letter into it (leaving it changed) so
// that the next new window can be told from this one.
inline void new_window(e2e::Session& s, bool mark = true) {
    s.send(ctrl('n'));
    ASSERT_TRUE(s.wait_for([&] { return s.row_text(s.rows() - 1).rfind(" untitled   ", 0) == 0; }));
    if (!mark) return;
    s.send("k");
    ASSERT_TRUE(wait_status(s, "untitled  modified"));
}

// Quits, answering No for every changed buffer: each answer is clicked once the screen has
// been drawn again after the one before.
inline void quit_discarding(e2e::Session& s) {
    s.send(e2e::keys::alt_char('q'));
    while (s.running()) {
        ASSERT_TRUE(s.wait_for([&] { return !s.running() || s.screen().find("[ No ]") != std::string::npos; }));
        size_t drawn = s.output().size();
        if (s.running()) click_text(s, "[ No ]");
        ASSERT_TRUE(s.wait_for([&] { return !s.running() || s.output().size() > drawn; }));
    }
    ASSERT_TRUE(s.wait_exit());
}

// A project called `name` under `root`: its nolt.toml (with `build` in its [build] table) and a
// good entry file.
inline void write_project(const fs::path& root, const std::string& name, const std::string& build = "") {
    e2e::write_file(root / "nolt.toml", "[package]\nname = \"" + name + "\"\n\n[build]\n" + build);
    e2e::write_file(root / "src/main.nolt", "fn main()\nend main\n");
}

// A fake compiler called noltc in `dir`: a shell script with this body.
inline void write_fake_noltc(const fs::path& dir, const std::string& body) {
    e2e::write_file(dir / "noltc", "#!/bin/sh\n" + body);
    fs::permissions(dir / "noltc", fs::perms::owner_all);
}

// `lines` stand on consecutive rows, each starting in the same column.
inline ::testing::AssertionResult wait_lines(e2e::Session& s, const std::vector<std::string>& lines) {
    return s.wait_for(
        [&] {
            for (int r = 0; r + (int)lines.size() <= s.rows(); r++) {
                size_t col = s.row_text(r).find(lines[0]);
                if (col == std::string::npos) continue;
                bool all = true;
                for (size_t i = 1; i < lines.size() && all; i++)
                    all = s.row_text(r + (int)i).compare(col, lines[i].size(), lines[i]) == 0;
                if (all) return true;
            }
            return false;
        },
        e2e::kDefaultTimeout, lines[0]);
}

// Opens the menu at `index` on the bar by F10 and chooses its row `row`, once `label` shows.
inline void menu(e2e::Session& s, int index, int row, const std::string& label) {
    std::string keys(e2e::keys::f10);
    for (int i = 0; i < index; i++) keys += e2e::keys::right;
    for (int i = 0; i < row; i++) keys += e2e::keys::down;
    s.send(keys);
    ASSERT_TRUE(s.wait_text(label));
    s.send(e2e::keys::enter);
}

}  // namespace e2e::steps
