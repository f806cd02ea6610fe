#include "runtime/signal.hpp"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include <gtest/gtest.h>

namespace {

volatile sig_atomic_t g_seen_signal = 0;
volatile sig_atomic_t g_seen_calls = 0;
void record_signal(int32_t signal) {
    g_seen_signal = signal;
    g_seen_calls = g_seen_calls + 1;
    errno = EPERM;  // the runtime's handler must hide this from the interrupted code
}

void stand_in_for_collector(int) {}

}  // namespace

TEST(Signal, SigurgAndOutOfRangeAreRefusedWithoutTouchingTheInstalledHandler) {
    struct sigaction mine {};
    mine.sa_handler = stand_in_for_collector;
    ASSERT_EQ(sigaction(SIGURG, &mine, nullptr), 0);
    int32_t with_urg[] = {SIGUSR1, 23};
    errno = 0;
    int32_t results[] = {nolt_signal_set_handler(32, record_signal), nolt_signal_ignore(23),
                         nolt_signal_default(23), nolt_signal_selfpipe_register(23, 1),
                         nolt_signal_block(23), nolt_signal_wait_set(with_urg, 2),
                         nolt_signal_set_handler(23, record_signal)};  // the last one sets errno
    for (int32_t result : results) EXPECT_EQ(result, -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(nolt_signal_check(-5), 0);

    struct sigaction now {};
    ASSERT_EQ(sigaction(SIGURG, nullptr, &now), 0);
    EXPECT_EQ(now.sa_handler, stand_in_for_collector);
    sigset_t mask;
    ASSERT_EQ(sigprocmask(SIG_BLOCK, nullptr, &mask), 0);
    EXPECT_FALSE(sigismember(&mask, SIGURG));
}

TEST(Signal, FlagIsReportedOncePerBatchAndUserFunctionGetsTheNumber) {
    nolt_signal_init();
    ASSERT_EQ(nolt_signal_set_handler(SIGUSR1, record_signal), 0);
    struct sigaction now {};
    ASSERT_EQ(sigaction(SIGUSR1, nullptr, &now), 0);
    EXPECT_TRUE(now.sa_flags & SA_RESTART);

    errno = EDOM;
    raise(SIGUSR1);
    EXPECT_EQ(errno, EDOM);
    raise(SIGUSR1);
    EXPECT_TRUE(g_seen_signal == SIGUSR1 && g_seen_calls == 2);
    EXPECT_EQ(nolt_signal_check(SIGUSR1), 1);
    EXPECT_EQ(nolt_signal_check(SIGUSR1), 0);

    // A flag raised before the handler is (re)installed is not reported afterwards.
    raise(SIGUSR1);
    ASSERT_EQ(nolt_signal_set_handler(SIGUSR1, nullptr), 0);
    EXPECT_EQ(nolt_signal_check(SIGUSR1), 0);

    // Back to the default: the table forgets the function and the flag.
    raise(SIGUSR1);
    EXPECT_EQ(g_seen_calls, 3);
    ASSERT_EQ(nolt_signal_default(SIGUSR1), 0);
    EXPECT_EQ(nolt_signal_check(SIGUSR1), 0);
    ASSERT_EQ(sigaction(SIGUSR1, nullptr, &now), 0);
    EXPECT_EQ(now.sa_handler, SIG_DFL);

    // A blocked signal waits to be collected.
    ASSERT_EQ(nolt_signal_block(SIGUSR2), 0);
    raise(SIGUSR2);
    int32_t wanted[] = {SIGUSR2};
    EXPECT_EQ(nolt_signal_wait_set(wanted, 1), SIGUSR2);
    EXPECT_EQ(nolt_signal_unblock(SIGUSR2), 0);
}

TEST(SelfPipe, CarriesTheSignalNumberAndDropsBytesWhenFull) {
    int32_t fds[2] = {-1, -1};
    ASSERT_EQ(nolt_signal_selfpipe_create(fds), 0);
    for (int32_t fd : fds) EXPECT_TRUE((fcntl(fd, F_GETFL) & O_NONBLOCK) && (fcntl(fd, F_GETFD) & FD_CLOEXEC));
    EXPECT_EQ(nolt_signal_selfpipe_read(fds[0]), -1);  // empty, and it does not block

    ASSERT_EQ(nolt_signal_selfpipe_register(SIGUSR1, fds[1]), 0);
    ASSERT_EQ(nolt_signal_selfpipe_register(nolt_SIGRTMIN_offset(1), fds[1]), 0);
    raise(SIGUSR1);
    raise(SIGRTMIN + 1);
    EXPECT_EQ(nolt_signal_selfpipe_read(fds[0]), SIGUSR1);
    EXPECT_EQ(nolt_signal_selfpipe_read(fds[0]), SIGRTMIN + 1);
    EXPECT_EQ(nolt_signal_selfpipe_read(fds[0]), -1);

    int64_t filled = 0;
    while (write(fds[1], "x", 1) == 1) filled++;
    errno = EDOM;
    raise(SIGUSR1);  // would hang here if the handler blocked on the full pipe
    EXPECT_EQ(errno, EDOM);
    int64_t drained = 0;
    while (nolt_signal_selfpipe_read(fds[0]) == 'x') drained++;
    EXPECT_EQ(drained, filled);
    EXPECT_EQ(nolt_signal_selfpipe_read(fds[0]), -1);
    close(fds[0]);
    close(fds[1]);
}

TEST(Poll, SetIsPerThreadAndReportsPipeEvents) {
    nolt_poll_clear();
    ASSERT_EQ(nolt_fd_pipe(), 0);
    int32_t rd = nolt_fd_pipe_read(), wr = nolt_fd_pipe_write();
    int32_t in_slot = nolt_poll_add(rd, nolt_POLLIN());
    int32_t out_slot = nolt_poll_add(wr, nolt_POLLOUT());
    EXPECT_EQ(nolt_poll_wait(0), 1);
    EXPECT_EQ(nolt_poll_has_event(in_slot, nolt_POLLIN()), 0);
    EXPECT_EQ(nolt_poll_has_event(out_slot, nolt_POLLOUT()), 1);

    ASSERT_EQ(nolt_fd_write(wr, "hi", 2), 2);
    EXPECT_EQ(nolt_poll_wait(1000), 2);
    EXPECT_EQ(nolt_poll_revents(in_slot), nolt_POLLIN());

    ASSERT_EQ(nolt_fd_close(wr), 0);
    nolt_poll_clear();
    in_slot = nolt_poll_add(rd, nolt_POLLIN());
    EXPECT_EQ(nolt_poll_wait(1000), 1);
    EXPECT_EQ(nolt_poll_has_event(in_slot, nolt_POLLHUP()), 1);
    int32_t other_count = -1;
    std::thread([&] { other_count = nolt_poll_count(); }).join();
    EXPECT_TRUE(other_count == 0 && nolt_poll_count() == 1);

    // A full set refuses more, and unused or unknown slots report nothing.
    for (int32_t slot = 1; slot < 63; slot++) ASSERT_EQ(nolt_poll_add(-1, nolt_POLLIN()), slot);
    EXPECT_EQ(nolt_poll_add(rd, nolt_POLLIN()), 63);
    EXPECT_EQ(nolt_poll_add(rd, nolt_POLLIN()), -1);
    EXPECT_EQ(nolt_poll_wait(0), 2);
    EXPECT_TRUE(nolt_poll_has_event(63, nolt_POLLHUP()));
    for (int32_t slot : {-1, 1, 64}) EXPECT_EQ(nolt_poll_revents(slot), 0) << slot;
    ASSERT_EQ(nolt_fd_close(rd), 0);

    // An empty set still sleeps for the timeout.
    nolt_poll_clear();
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(nolt_poll_wait(100), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(90));
}
