#include "ide/build_cmd.hpp"

#include <filesystem>

#include "tests/support/boot.hpp"
#include "tests/support/temp_dir.hpp"

using namespace ide;
using namespace runtime::literals;
using stdlib::CaptureResult;
using stdlib::ExitStatus;

namespace {

std::string text(const string& s) { return std::string(stdlib::c_str(s), stdlib::length(s)); }

// A core dump is named, a stream without a final line feed gets one, and a run in another
// directory comes back to where it was.
TEST(BuildCmd, ReportsAndRunsInADirectory) {
    EXPECT_EQ(text(status_text({ExitStatus::Signaled, 0, 11, true})), "signal 11 (core dumped)");
    Root<stdlib::ProcessCapture> report = runtime::make<stdlib::ProcessCapture>();
    report->status = {ExitStatus::Exited, 0};
    report->stdout = "partial"_t;
    report->stderr = "warning"_t;
    EXPECT_EQ(text(format_run_captured("hello"_t, report)),
              "=== Run ===\nprogram: hello\nexit:    0\n--- stdout ---\npartial\n--- stderr ---\nwarning\n");

    test_support::TempDir dir;
    const std::string before = std::filesystem::current_path();
    string_array args = runtime::Array<Member<Text>>::make(2);
    args[0] = "-c"_t;
    args[1] = "pwd; exit 3"_t;
    CaptureResult ran = run_capture_in_dir(stdlib::from_c(dir.path().c_str()), "sh"_t, args);
    ASSERT_EQ(ran.tag, CaptureResult::Captured);
    EXPECT_EQ(text(ran.capture->stdout) + std::to_string(ran.capture->status.code),
              std::filesystem::canonical(dir.path()).string() + "\n3");
    EXPECT_EQ(std::filesystem::current_path(), before);

    EXPECT_TRUE(run_capture_in_dir(stdlib::from_c((dir / "missing").c_str()), "sh"_t, args).tag == CaptureResult::Failed &&
                std::filesystem::current_path() == before);
}

}  // namespace
