#include "ide/build_cmd.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "stdlib/core/convert.hpp"
#include "tests/support/boot.hpp"
#include "tests/support/temp_dir.hpp"

using namespace ide;
using namespace runtime::literals;
using stdlib::CaptureResult;
using stdlib::ExitStatus;

namespace {

std::string text(const string& s) { return std::string(stdlib::c_str(s), stdlib::length(s)); }

Root<stdlib::ProcessCapture> capture(ExitStatus status, const string& out, const string& err) {
    Root<stdlib::ProcessCapture> c = runtime::make<stdlib::ProcessCapture>();
    c->status = status;
    c->stdout = out;
    c->stderr = err;
    return c;
}

TEST(BuildCmd, StatusWordsAndCommandLines) {
    test_support::boot();
    EXPECT_EQ(text(status_text({ExitStatus::Exited, 3})), "3");
    EXPECT_EQ(text(status_text({ExitStatus::Signaled, 0, 9, false})), "signal 9");
    EXPECT_EQ(text(status_text({ExitStatus::Signaled, 0, 11, true})), "signal 11 (core dumped)");
    EXPECT_EQ(text(output_path_for("src/main.nolt"_t)), "src/main");
    string_array args = build_arg_list("a.nolt"_t, "a"_t);
    nolt_heaps_gc();
    EXPECT_EQ(text(stdlib::join(args, " "_t)), "a.nolt -o a");
    EXPECT_EQ(text(stdlib::join(project_build_arg_list(), " "_t)), "build");
}

TEST(BuildCmd, ReportsEndEachStreamWithOneLineFeed) {
    test_support::boot();
    Root<stdlib::ProcessCapture> failed = capture({ExitStatus::Exited, 1}, ""_t, "main.nolt:3:1: error: x\n"_t);
    nolt_heaps_gc();
    EXPECT_EQ(text(format_captured("noltc"_t, "build/hello"_t, failed)),
              "=== Build ===\nprogram: noltc\noutput:  build/hello\nexit:    1\n--- stdout ---\n(empty)\n"
              "--- stderr ---\nmain.nolt:3:1: error: x\n");
    Root<stdlib::ProcessCapture> ran = capture({ExitStatus::Signaled, 0, 9, false}, "partial"_t, ""_t);
    EXPECT_EQ(text(format_run_captured("build/hello"_t, ran)),
              "=== Run ===\nprogram: build/hello\nexit:    signal 9\n--- stdout ---\npartial\n"
              "--- stderr ---\n(empty)\n");
    EXPECT_EQ(text(format_failed("noltc"_t)), "FAILED to spawn `noltc` (pipe/fork). Is it on PATH?\n");
}

TEST(BuildCmd, RunInDirectoryComesBackToWhereItWas) {
    test_support::boot();
    test_support::TempDir dir;
    const std::string before = std::filesystem::current_path();
    string_array args = runtime::Array<Member<Text>>::make(2);
    args[0] = "-c"_t;
    args[1] = "pwd; exit 3"_t;
    CaptureResult ran = run_capture_in_dir(stdlib::from_c(dir.path().c_str()), "sh"_t, args);
    ASSERT_EQ(ran.tag, CaptureResult::Captured);
    EXPECT_EQ(text(ran.capture->stdout), std::filesystem::canonical(dir.path()).string() + "\n");
    EXPECT_EQ(ran.capture->status.code, 3);
    EXPECT_EQ(std::filesystem::current_path(), before);

    EXPECT_EQ(run_capture_in_dir(stdlib::from_c((dir / "missing").c_str()), "sh"_t, args).tag, CaptureResult::Failed);
    EXPECT_EQ(std::filesystem::current_path(), before);

    CaptureResult missing = run_binary(stdlib::from_c((dir / "no-such-program").c_str()));
    ASSERT_EQ(missing.tag, CaptureResult::Captured);
    EXPECT_EQ(text(status_text(missing.capture->status)), "127");
}

}  // namespace
