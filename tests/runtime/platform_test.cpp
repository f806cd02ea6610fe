#include "runtime/platform.hpp"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

namespace {

int64_t monotonic_us() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000000 + now.tv_nsec / 1000;
}
}  // namespace

TEST(PlatformSleep, TheCollectorsSignalDoesntShortenASleep) {
    nolt_platform_gc_suspend_init();  // SIGURG now interrupts blocking calls (no SA_RESTART)
    std::atomic<nolt_thread_id> sleeper_id{0};
    std::atomic<int64_t> slept_us{-1};
    std::thread sleeper([&] {
        sleeper_id = nolt_platform_thread_self_id();
        int64_t begin = monotonic_us();
        nolt_platform_sleep_us(200000);
        slept_us = monotonic_us() - begin;
    });
    while (sleeper_id == 0) nolt_platform_thread_yield();
    for (int i = 0; i < 5; i++) {
        nolt_platform_sleep_us(20000);
        pthread_kill((pthread_t)sleeper_id.load(), SIGURG);
    }
    sleeper.join();
    EXPECT_GE(slept_us.load(), 200000);
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
    std::string written;
    char chunk[512];
    for (ssize_t n; (n = read(pipe_fds[0], chunk, sizeof chunk)) > 0;)
        written.append(chunk, (size_t)n);
    close(pipe_fds[0]);
    EXPECT_EQ(written, "nolt: fatal: GC could not suspend registered thread (pid=7)\n" +
                           std::string(255, 'x'));
}
