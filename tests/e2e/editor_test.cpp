// Edit windows in the real binary: typing, saving, closing, the clipboard and the start path.
#include <fstream>
#include <sstream>

#include "harness.hpp"

namespace {

using e2e::keys::ctrl;
namespace fs = std::filesystem;

std::string read_file(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

e2e::Options at80(std::vector<std::string> args = {}) {
    return e2e::Options().with_size(80, 24).with_env("COLORTERM", "truecolor").with_args(std::move(args));
}

// The status line's left text, trimmed.
::testing::AssertionResult wait_status(e2e::Session& s, const std::string& text) {
    return s.wait_for([&] { return s.row_text(s.rows() - 1).rfind(" " + text + " ", 0) == 0 ||
                                   s.row_text(s.rows() - 1) == " " + text; },
                      e2e::kDefaultTimeout, text);
}

void quit(e2e::Session& s) {
    s.send(e2e::keys::alt_char('q'));
    ASSERT_TRUE(s.wait_exit());
    EXPECT_EQ(s.exit_status(), e2e::ExitStatus::exited(0));
}

}  // namespace

TEST(EditorFiles, TypedTextWithAnEndLineIsSavedExactlyAndTheToggleIsKeptInSettings) {
    e2e::Session s(NOLTIDE_BIN, at80({"new.nolt"}));
    ASSERT_TRUE(wait_status(s, "new.nolt"));
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

TEST(EditorFiles, TheNinthWindowIsRefused) {
    e2e::Session s(NOLTIDE_BIN, at80());
    for (int i = 0; i < 8; i++) {
        s.send(ctrl('n'));
        s.pump_for(std::chrono::milliseconds(120));  // one command per turn;
    }
    ASSERT_TRUE(wait_status(s, "untitled"));
    s.send(ctrl('n'));
    ASSERT_TRUE(s.wait_text("Too many windows"));
    EXPECT_TRUE(s.wait_text("Windows"));
    s.send(e2e::keys::enter);
    ASSERT_TRUE(s.wait_for([&] { return s.screen().find("Too many windows") == std::string::npos; }));
    quit(s);
}
