// Writes that fail part-way (a full disk, an I/O error) lose nothing and end nothing.
#include <errno.h>

#include "ide_steps.hpp"

using namespace e2e::steps;
namespace fs = std::filesystem;

namespace {

// The real binary with the fault shim preloaded: under `prefix`, `call` fails with `error`.
e2e::Options faulty(e2e::Options opts, const fs::path& prefix, const std::string& call, int error) {
    const char* asan = getenv("ASAN_OPTIONS");  // the shim comes before a sanitizer's runtime
    return opts.with_env("LD_PRELOAD", E2E_FAULT_SHIM)
        .with_env("ASAN_OPTIONS", std::string(asan ? asan : "") + ":verify_asan_link_order=0")
        .with_env("FAULT_PATH", prefix.string() + "/")
        .with_env("FAULT_CALL", call)
        .with_env("FAULT_ERRNO", std::to_string(error));
}

}  // namespace

TEST(Faults, AFailedSaveKeepsTheFileAndTheBufferAndASaveKeepsTheMode) {
    const std::pair<std::string, int> cases[] = {{"write", ENOSPC}, {"fsync", EIO}, {"close", EIO}, {"none", 0}};
    const fs::perms mode = fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read;
    for (const auto& [call, error] : cases) {
        e2e::TempDir dir;
        fs::path file = dir.path() / "a.nolt";
        e2e::write_file(file, "old\n");
        fs::permissions(file, mode);
        e2e::Session s(NOLTIDE_BIN, faulty(at80({file.string()}), dir.path(), call, error));
        ASSERT_TRUE(s.wait_text("noltide - " + file.string()));
        s.send("x");
        s.send(ctrl('s'));
        if (error) {
            answer(s, "Could not write file", "OK");
            EXPECT_TRUE(wait_status(s, file.string() + "  modified")) << call;
            EXPECT_EQ(read_file(file), "old\n") << call;
            quit_discarding(s);
        } else {
            EXPECT_TRUE(wait_status(s, file.string() + "  saved"));
            EXPECT_EQ(read_file(file), "xold\n");
            quit(s);
        }
        EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), {}), 1) << call;
        EXPECT_EQ(fs::status(file).permissions(), mode) << call;
    }
}

TEST(Faults, FailedWritesOfTheThreeTomlFilesKeepTheRunningValues) {
    e2e::TempDir dir;
    write_project(dir.path() / "demo", "demo");
    std::string nolt_toml = read_file(dir.path() / "demo" / "nolt.toml");
    e2e::Session s(NOLTIDE_BIN, faulty(at80({"nolt.toml"}).in_dir(dir.path() / "demo").with_home(dir.path() / "home"),
                                       dir.path(), "write", ENOSPC));
    ASSERT_TRUE(s.wait_text("noltide 0.1.0 \u2014 demo"));
    menu(s, 3, 0, "Settings\u2026");
    ASSERT_TRUE(s.wait_text("Project Settings"));
    s.send("x\t\t\t\t\t");  // a changed name, then Apply
    s.send(e2e::keys::enter);
    answer(s, "Could not write nolt.toml (check Name/Entry/Output/Output dir)", "OK");
    s.send(e2e::keys::esc);
    answer(s, "Discard them?", "Yes");
    EXPECT_TRUE(s.wait_text("noltide 0.1.0 \u2014 demo"));

    e2e::Color theme = s.cell(12, 1).bg;
    menu(s, 4, 0, "Preferences");
    ASSERT_TRUE(s.wait_text("User Settings"));
    s.send(" \t" + kClearLine + "paper\t\t");  // the switch off, another theme, then Apply
    s.send(e2e::keys::enter);
    answer(s, "Could not write ~/.config/noltide/settings.toml", "OK");
    EXPECT_TRUE(s.wait_text("User Settings *"));
    s.send(e2e::keys::esc);
    answer(s, "Discard them?", "Yes");
    EXPECT_EQ(s.cell(12, 1).bg, theme);
    quit(s);  // the session cannot be written either
    EXPECT_EQ(read_file(dir.path() / "demo" / "nolt.toml"), nolt_toml);
}
