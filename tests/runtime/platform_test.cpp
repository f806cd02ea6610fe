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

void* report_stack_size(void*) {
    pthread_attr_t attributes;
    size_t size = 0;
    pthread_getattr_np(pthread_self(), &attributes);
    pthread_attr_getstacksize(&attributes, &size);
    pthread_attr_destroy(&attributes);
    return (void*)size;
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

TEST(PlatformSync, TimedWaitTellsSignalFromTimeout) {
    nolt_platform_mutex* mutex = nolt_platform_mutex_create();
    nolt_platform_condvar* condition = nolt_platform_condvar_create();
    nolt_platform_mutex_lock(mutex);
    int64_t begin = monotonic_us();
    EXPECT_FALSE(nolt_platform_condvar_timedwait(condition, mutex, 30000));
    EXPECT_GE(monotonic_us() - begin, 29000);

    bool ready = false;
    bool signalled = true;
    std::thread signaller([&] {
        nolt_platform_mutex_lock(mutex);
        ready = true;
        nolt_platform_condvar_signal(condition);
        nolt_platform_mutex_unlock(mutex);
    });
    while (!ready && signalled)
        signalled = nolt_platform_condvar_timedwait(condition, mutex, 5000000);
    nolt_platform_mutex_unlock(mutex);
    signaller.join();
    EXPECT_TRUE(signalled);
    EXPECT_FALSE(nolt_platform_condvar_timedwait(nullptr, mutex, 1000));  // null handles are no-ops
    nolt_platform_condvar_destroy(condition);
    nolt_platform_mutex_destroy(mutex);
}

TEST(PlatformThreads, StackSizeJoinValueAndIdentity) {
    nolt_platform_thread* big = nolt_platform_thread_create(report_stack_size, nullptr, 4u << 20);
    ASSERT_NE(big, nullptr);
    EXPECT_GE((size_t)nolt_platform_thread_join(big), 4u << 20);
    EXPECT_EQ(nolt_platform_thread_get_id(nolt_platform_thread_self()),
              nolt_platform_thread_self_id());
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
