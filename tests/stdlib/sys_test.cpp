#include "stdlib/sys/poll.hpp"
#include "stdlib/sys/signal.hpp"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

TEST(SysPoll, HangupDuringWaitReadsAsQuietTurnAndSetsTheFlag) {
    stdlib::signal_init();
    ASSERT_TRUE(stdlib::signal_handle(stdlib::SIGHUP()));
    EXPECT_FALSE(stdlib::signal_handle(23));  // the collector's signal
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    stdlib::poll_clear();
    int32_t slot = stdlib::poll_add(ends[0], stdlib::POLLIN());
    ASSERT_EQ(stdlib::poll_wait(0), 1);
    ASSERT_TRUE(stdlib::poll_readable(slot));
    char byte;
    ASSERT_EQ(read(ends[0], &byte, 1), 1);

    // Keep sending until the wait is over, so that a signal sent before the wait began
    // cannot leave it sleeping for the whole timeout.
    pthread_t poller = pthread_self();
    std::atomic<bool> done{false};
    std::thread sender([&] {
        std::this_thread::sleep_for(50ms);
        while (!done.load()) {
            pthread_kill(poller, stdlib::SIGHUP());
            std::this_thread::sleep_for(20ms);
        }
    });
    auto start = Clock::now();
    int32_t ready = stdlib::poll_wait(10000);
    auto waited = Clock::now() - start;
    done = true;
    sender.join();

    EXPECT_EQ(ready, 0);
    EXPECT_LT(waited, 5s);
    EXPECT_FALSE(stdlib::poll_readable(slot));  // nothing left over from the earlier wait
    EXPECT_TRUE(stdlib::signal_received(stdlib::SIGHUP()));
    EXPECT_FALSE(stdlib::signal_received(stdlib::SIGHUP()));  // once per batch of arrivals
    close(ends[0]);
    close(ends[1]);
}
