#include "stdlib/sys/process.hpp"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "runtime/objects.hpp"

using namespace stdlib;

namespace {

// A working directory that exists, which the shell in a child needs.
void start() { ASSERT_EQ(chdir("/"), 0); }

string_array texts(std::initializer_list<const char*> items) {
    string_array array = Array<Member<Text>>::make(items.size());
    int i = 0;
    for (const char* item : items) array[i++] = from_c(item);
    return array;
}

Root<ProcessCapture> sh(const char* script) {
    CaptureResult result = process_run_capture(from_c("/bin/sh"), texts({"-c", script}));
    EXPECT_EQ(result.tag, CaptureResult::Captured) << script;
    return result.capture;
}

std::string bytes(const Member<Text>& text) { return std::string(text->c_str(), (size_t)text->length()); }

// `count` bytes of `word` repeated, as `yes word | head -c count` writes them.
std::string repeated(const std::string& word, size_t count) {
    std::string all;
    while (all.size() < count) all += word + "\n";
    all.resize(count);
    return all;
}

int open_descriptors() {
    int count = 0;
    for (int fd = 0; fd < 4096; fd++) count += fcntl(fd, F_GETFD) != -1;
    return count;
}

bool no_child_left() { return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; }

// Both streams at once and in turns, each far more than a pipe holds.
constexpr const char* kChatty =
    "yes o | head -c 1000000 & yes e | head -c 1000000 >&2; wait; "
    "for i in 1 2 3 4 5 6 7 8; do yes out$i | head -c 70000; yes err$i | head -c 70000 >&2; done";

void expect_chatty(const Root<ProcessCapture>& capture) {
    std::string out = repeated("o", 1000000), err = repeated("e", 1000000);
    for (int i = 1; i <= 8; i++) {
        out += repeated("out" + std::to_string(i), 70000);
        err += repeated("err" + std::to_string(i), 70000);
    }
    EXPECT_TRUE(capture && bytes(capture->stdout) == out && bytes(capture->stderr) == err);
}

}  // namespace

TEST(SysProcess, CapturesKeepEveryByteOfBothStreamsAndTheStatus) {
    start();
    Root<ProcessCapture> capture = sh("printf 'a\\000b\\000c'; exec 2>&-; yes x | head -c 200000");
    EXPECT_TRUE(bytes(capture->stdout) == std::string("a\0b\0c", 5) + repeated("x", 200000));
    EXPECT_TRUE(capture->stderr->length() == 0 && capture->status.success());

    capture = sh("echo early; (sleep 0.3; echo late) & exit 3");  // a grandchild holds stdout
    EXPECT_EQ(bytes(capture->stdout), "early\nlate\n");
    EXPECT_TRUE(capture->status.tag == ExitStatus::Exited && capture->code == 3 && !capture->status.success());

    capture = sh("kill -9 $$");
    EXPECT_TRUE(capture->status.tag == ExitStatus::Signaled && capture->status.signal == 9 &&
                !capture->status.core_dumped && capture->code == 137);

    CaptureResult missing = process_run_capture(from_c("/no/such/program"), texts({}));
    ASSERT_EQ(missing.tag, CaptureResult::Captured);
    EXPECT_TRUE(missing.capture->status.tag == ExitStatus::Exited && missing.capture->code == 127 &&
                missing.capture->stdout->length() + missing.capture->stderr->length() == 0);

    // A status word with the core flag: SIGSEGV (11) and bit 7.
    ExitStatus core = exit_status_from_raw(0x80 | 11);
    EXPECT_TRUE(core.tag == ExitStatus::Signaled && core.signal == 11 && core.core_dumped && core.shell_code() == 139);
}

TEST(SysProcess, SpawnAndWaitGiveShellCodesAndTypedErrors) {
    start();
    Option<int32_t> pid = process_spawn(from_c("/bin/sh"), texts({"sh", "-c", "exit 5"}));
    ASSERT_TRUE(pid.is_some());
    EXPECT_EQ(process_wait_status(pid.unwrap()).unwrap_ok().shell_code(), 5);
    // The same child again is gone; pid 1 was never ours.
    for (int32_t other : {pid.unwrap(), 1}) EXPECT_EQ(process_wait_status(other).unwrap_err().tag, SysError::NoChild);
    for (int32_t bad : {0, -1}) {
        SysError error = process_wait_status(bad).unwrap_err();
        EXPECT_TRUE(error.tag == SysError::InvalidPid && error.pid == bad);
    }
    EXPECT_EQ(sys_error_from_neg(-EINVAL).code, EINVAL);

    EXPECT_EQ(process_wait_any().tag, WaitAnyResult::Failed);  // no child left
}

// The stop signal interrupts polls, reads and waits of every capturing thread; no capture leaves
// a descriptor or a child behind.
TEST(SysProcess, CapturesSurviveCollectionsForcedByOtherThreadsAndLeaveNothingBehind) {
    start();
    int fds = open_descriptors();
    ASSERT_TRUE(no_child_left());
    std::atomic<bool> running{true};
    std::atomic<int> collections{0};
    std::thread collector([&] {
        nolt_objects_register_spawn();
        while (running) {
            nolt_heaps_gc();
            collections++;
        }
        nolt_objects_deregister_spawn();
    });
    std::thread other([&] {
        nolt_objects_register_spawn();
        for (int i = 0; i < 2; i++) expect_chatty(sh(kChatty));
        nolt_objects_deregister_spawn();
    });
    for (int i = 0; i < 2; i++) expect_chatty(sh(kChatty));
    other.join();
    running = false;
    collector.join();
    EXPECT_GT(collections.load(), 10);
    EXPECT_EQ(open_descriptors(), fds);
    EXPECT_TRUE(no_child_left());
}
