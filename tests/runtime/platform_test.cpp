#include "runtime/platform.hpp"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "runtime/builtins.hpp"
#include "runtime/signal.hpp"

namespace {

int64_t micros_of(void (*call)()) {
    struct timespec begin, end;
    clock_gettime(CLOCK_MONOTONIC, &begin);
    call();
    clock_gettime(CLOCK_MONOTONIC, &end);
    return (int64_t)(end.tv_sec - begin.tv_sec) * 1000000 + (end.tv_nsec - begin.tv_nsec) / 1000;
}

}  // namespace

// The collector's signal has no SA_RESTART: every sleep and read it interrupts carries on.
TEST(PlatformSleep, TheCollectorsSignalShortensNoSleepAndBreaksNoRead) {
    nolt_platform_gc_suspend_init();
    ASSERT_EQ(nolt_fd_pipe(), 0);
    int32_t rd = nolt_fd_pipe_read(), wr = nolt_fd_pipe_write();
    pthread_t target = pthread_self();
    std::atomic<int> phase{0};  // sleeping, reading, done
    std::thread sender([&] {
        for (int while_reading = 0; phase != 2; nolt_platform_sleep_us(5000)) {
            pthread_kill(target, SIGURG);
            if (phase == 1 && ++while_reading == 10) nolt_fd_write(wr, "z", 1);
        }
    });
    EXPECT_GE(micros_of([] { nolt_platform_sleep_us(60000); }), 60000);
    EXPECT_GE(micros_of([] { nolt_sleep_millis(60), nolt_sleep_millis(0), nolt_sleep_micros(-1); }), 60000);
    phase = 1;
    char got = 0;
    EXPECT_EQ(nolt_fd_read(rd, &got, 1), 1);
    EXPECT_EQ(got, 'z');
    phase = 2;
    sender.join();
    nolt_fd_close(rd);
    nolt_fd_close(wr);
}

TEST(PlatformFatalWrite, WritesToDescriptor2AndCutsAt255Bytes) {
    int pipe_fds[2];
    ASSERT_EQ(pipe(pipe_fds), 0);
    int saved_stderr = dup(2);
    dup2(pipe_fds[1], 2);
    nolt_platform_fatal_write("nolt: fatal: GC could not suspend registered thread (pid=%d)\n", 7);
    nolt_platform_fatal_write("%s", std::string(400, 'x').c_str());
    dup2(saved_stderr, 2);
    close(saved_stderr);
    close(pipe_fds[1]);
    char written[512] = {};
    for (ssize_t n, at = 0; (n = read(pipe_fds[0], written + at, sizeof written - 1 - at)) > 0;) at += n;
    close(pipe_fds[0]);
    EXPECT_EQ(written, "nolt: fatal: GC could not suspend registered thread (pid=7)\n" + std::string(255, 'x'));
}
