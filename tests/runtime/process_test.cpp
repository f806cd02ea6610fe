#include "runtime/process.hpp"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

TEST(Process, TheRecordOfTheLastWait) {
    pid_t pid = nolt_process_spawn_shell("kill -TERM $$");
    ASSERT_GT(pid, 0);
    EXPECT_EQ(nolt_process_wait(pid), -1);
    EXPECT_TRUE(nolt_process_was_signaled() == 1 && nolt_process_get_signal() == 15 && nolt_last_process.pid == pid);
    EXPECT_EQ(nolt_process_waitpid(pid, false), -ECHILD);  // already reaped: a failed wait is recorded too
    EXPECT_TRUE(nolt_last_process.pid == pid && nolt_process_get_exit_code() == -1 &&
                nolt_process_last_raw_status() == 0 && nolt_process_was_signaled() == 0);
    errno = 0;
    EXPECT_EQ(nolt_process_wait(0), -1);
    EXPECT_EQ(errno, EINVAL);

    pid = nolt_process_spawn_shell("exec sleep 5");
    ASSERT_GT(pid, 0);
    EXPECT_EQ(nolt_process_try_wait(pid), 0);
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
    ASSERT_TRUE(argv && argv[5] == nullptr);
    pid_t pid = nolt_process_spawn_argv_fds("sh", argv, nullptr, in[0], out[1], out[1]);
    nolt_string_array_free(argv);
    ASSERT_GT(pid, 0);
    close(in[0]);
    close(out[1]);
    ASSERT_EQ(write(in[1], "piped\n", 6), 6);
    close(in[1]);
    char all[64] = {};
    size_t n = 0;
    for (ssize_t got; (got = read(out[0], all + n, sizeof all - 1 - n)) > 0;) n += (size_t)got;
    EXPECT_STREQ(all, "piped\nerr\n[]\n");
    close(out[0]);
    EXPECT_EQ(nolt_process_wait(pid), 0);
    EXPECT_EQ(nolt_string_array_create(strings, -1), nullptr);
}
