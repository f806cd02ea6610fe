// Steps that end-to-end tests of the IDE share: reading files, waiting for the status line,
// answering boxes and quitting.
#pragma once
#include <fstream>
#include <sstream>

#include "harness.hpp"

namespace e2e::steps {

using e2e::keys::ctrl;
namespace fs = std::filesystem;

inline std::string read_file(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

inline e2e::Options at80(std::vector<std::string> args = {}) {
    return e2e::Options().with_size(80, 24).with_env("COLORTERM", "truecolor").with_args(std::move(args));
}

// The status line's left text, trimmed.
inline ::testing::AssertionResult wait_status(e2e::Session& s, const std::string& text) {
    return s.wait_for([&] { return s.row_text(s.rows() - 1).rfind(" " + text + " ", 0) == 0 ||
                                   s.row_text(s.rows() - 1) == " " + text; },
                      e2e::kDefaultTimeout, text);
}

inline void quit(e2e::Session& s) {
    s.send(e2e::keys::alt_char('q'));
    ASSERT_TRUE(s.wait_exit());
    EXPECT_EQ(s.exit_status(), e2e::ExitStatus::exited(0));
}


// Clicks the first place where `text` (ASCII) stands on the screen.
inline void click_text(e2e::Session& s, const std::string& text) {
    for (int r = 0; r < s.rows(); r++)
        for (int c = 0; c + (int)text.size() <= s.cols(); c++) {
            bool match = true;
            for (size_t i = 0; i < text.size() && match; i++) match = s.cell(r, c + (int)i).text == std::string(1, text[i]);
            if (match) return s.send(e2e::keys::mouse(r, c + 1));
        }
    ADD_FAILURE() << "no " << text << " on\n" << s.screen();
}

// Waits for the box with `text`, answers it with the button `answer`, and waits for it to go.
inline void answer(e2e::Session& s, const std::string& text, const std::string& button) {
    ASSERT_TRUE(s.wait_text(text));
    ASSERT_TRUE(s.wait_text("[ " + button + " ]"));
    click_text(s, "[ " + button + " ]");
    ASSERT_TRUE(s.wait_for([&] { return s.screen().find(text) == std::string::npos; }, e2e::kDefaultTimeout, text));
}

// A Ctrl-letter command, given a turn of the loop of its own: the loop keeps one command a turn.
inline void command(e2e::Session& s, char letter) {
    s.send(ctrl(letter));
    s.pump_for(std::chrono::milliseconds(120));
}

// Quits, answering No for the one changed buffer.
inline void quit_discarding(e2e::Session& s) {
    s.send(e2e::keys::alt_char('q'));
    answer(s, "Save changes", "No");
    ASSERT_TRUE(s.wait_exit());
}

}  // namespace e2e::steps
