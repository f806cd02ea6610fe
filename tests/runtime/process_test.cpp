#include "runtime/process.hpp"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

namespace {

std::string read_all(int fd) {
    std::string all;
    char chunk[256];
    for (ssize_t n; (n = read(fd, chunk, sizeof chunk)) > 0;) all.append(chunk, (size_t)n);
    return all;
}

}  // namespace

TEST(Process, StatusWordsAndTheRecordOfTheLastWait) {
    struct {
        int32_t raw, exited, code, signaled, signal, core;
    } cases[] = {{0, 1, 0, 0, 0, 0},       {3 << 8, 1, 3, 0, 0, 0}, {9, 0, -1, 1, 9, 0},
                 {0x80 | 11, 0, -1, 1, 11, 1}, {0x137f, 0, -1, 0, 0, 0}};  // the last: stopped
    for (auto& c : cases) {
        EXPECT_EQ(nolt_wstatus_exited(c.raw), c.exited) << c.raw;
        EXPECT_EQ(nolt_wstatus_exit_code(c.raw), c.code) << c.raw;
        EXPECT_EQ(nolt_wstatus_signaled(c.raw), c.signaled) << c.raw;
        EXPECT_EQ(nolt_wstatus_term_signal(c.raw), c.signal) << c.raw;
        EXPECT_EQ(nolt_wstatus_core_dumped(c.raw), c.core) << c.raw;
    }

    pid_t pid = nolt_process_spawn_shell("kill -TERM $$");
    ASSERT_GT(pid, 0);
    EXPECT_EQ(nolt_process_wait(pid), -1);
    EXPECT_EQ(nolt_process_was_signaled(), 1);
    EXPECT_EQ(nolt_process_get_signal(), 15);
    EXPECT_EQ(nolt_last_process.pid, pid);

    EXPECT_EQ(nolt_process_waitpid(pid, false), -ECHILD);  // already reaped
    EXPECT_TRUE(nolt_last_process.pid == pid && nolt_process_get_exit_code() == -1 &&
                nolt_process_last_raw_status() == 0 && nolt_process_was_signaled() == 0);
    errno = 0;
    EXPECT_EQ(nolt_process_wait(0), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(nolt_process_try_wait(-4), -1);

    pid = nolt_process_spawn_shell("exec sleep 5");
    ASSERT_GT(pid, 0);
    EXPECT_EQ(nolt_process_try_wait(pid), 0);  // still asleep
    EXPECT_EQ(nolt_process_kill(pid, 9), 0);
    EXPECT_EQ(nolt_process_wait_any(), pid);
    EXPECT_EQ(nolt_process_wait_any_nohang(), -1);
}

TEST(Process, SpawnMovesTheGivenDescriptorsOntoTheStandardStreams) {
    int in[2], out[2];
    ASSERT_EQ(nolt_pipe_cloexec(in), 0);
    ASSERT_EQ(nolt_pipe_cloexec(out), 0);
    EXPECT_EQ(fcntl(in[0], F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    EXPECT_EQ(fcntl(in[1], F_GETFD) & FD_CLOEXEC, 0);
    fcntl(in[1], F_SETFD, FD_CLOEXEC);  // or the child would hold its own input open

    // One descriptor serves as stdout and stderr; a null text in the block stands as "".
    char* strings[] = {(char*)"sh", (char*)"-c", (char*)"cat; echo err >&2; echo \"[$1]\"", (char*)"sh", nullptr};
    char** argv = nolt_string_array_create(strings, 5);
    ASSERT_NE(argv, nullptr);
    EXPECT_EQ(argv[5], nullptr);
    pid_t pid = nolt_process_spawn_argv_fds("sh", argv, nullptr, in[0], out[1], out[1]);
    nolt_string_array_free(argv);
    ASSERT_GT(pid, 0);
    close(in[0]);
    close(out[1]);
    ASSERT_EQ(write(in[1], "piped\n", 6), 6);
    close(in[1]);
    EXPECT_EQ(read_all(out[0]), "piped\nerr\n[]\n");
    close(out[0]);
    EXPECT_EQ(nolt_process_wait(pid), 0);

    EXPECT_EQ(nolt_string_array_create(strings, -1), nullptr);
    nolt_process_capture_free();
    EXPECT_STREQ(nolt_process_capture_stdout(), "");
    EXPECT_EQ(nolt_process_capture_stderr_len(), 0);
}
