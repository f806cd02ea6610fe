#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

#include "runtime/machine.hpp"
#include "runtime/platform.hpp"
#include "tests/runtime/machine_support.hpp"

namespace {

int64_t monotonic_ms() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

}  // namespace

TEST(MachineLock, OrderIsEnforcedAndReleaseResetsTheLevel) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    machine_up();
    nolt_machine_lock* gc_lock = nolt_machine_lock_create(2);
    nolt_machine_lock* inner = nolt_machine_lock_create(3);
    ASSERT_NE(gc_lock, nullptr);
    ASSERT_NE(inner, nullptr);

    EXPECT_EQ(nolt_machine_current_lock_level(), -1);
    nolt_machine_lock_acquire(gc_lock);
    EXPECT_EQ(nolt_machine_current_lock_level(), 2);
    EXPECT_EQ(gc_lock->owner, nolt_platform_thread_self_id());
    EXPECT_TRUE(gc_lock->held);
    nolt_machine_lock_acquire(inner);  // upward is allowed
    EXPECT_EQ(nolt_machine_current_lock_level(), 3);
    nolt_machine_lock_release(inner);
    nolt_machine_lock_release(gc_lock);
    EXPECT_EQ(nolt_machine_current_lock_level(), -1);
    EXPECT_EQ(gc_lock->owner, 0u);
    EXPECT_FALSE(gc_lock->held);

    EXPECT_DEATH(
        {
            nolt_machine_lock_acquire(inner);
            nolt_machine_lock_acquire(gc_lock);
        },
        "^\\[Machine\\] Lock order violation: current=3, acquiring=2\n");
    EXPECT_DEATH(
        {
            nolt_machine_lock_acquire(gc_lock);
            nolt_machine_lock_acquire(gc_lock);
        },
        "^\\[Machine\\] Lock order violation: current=2, acquiring=2\n");

    // Another thread has its own level.
    nolt_machine_lock_acquire(inner);
    int32_t other_level = 0;
    std::thread([&] { other_level = nolt_machine_current_lock_level(); }).join();
    EXPECT_EQ(other_level, -1);
    nolt_machine_lock_release(inner);

    nolt_machine_lock_destroy(inner);
    nolt_machine_lock_destroy(gc_lock);
}

TEST(MachineLock, GlobalLocksKnowTheirHolder) {
    machine_up();
    nolt_machine_acquire(4);
    EXPECT_TRUE(nolt_machine_locked(4));
    EXPECT_FALSE(nolt_machine_locked(3));
    bool seen_by_other = true;
    std::thread([&] { seen_by_other = nolt_machine_locked(4); }).join();
    EXPECT_FALSE(seen_by_other);

    std::atomic<bool> other_has_it{false};
    std::thread waiter([&] {
        nolt_machine_acquire(4);
        other_has_it = true;
        nolt_machine_release(4);
    });
    nolt_platform_sleep_us(20000);
    EXPECT_FALSE(other_has_it.load());  // still excluded while this thread holds it
    nolt_machine_release(4);
    waiter.join();
    EXPECT_TRUE(other_has_it.load());
    EXPECT_FALSE(nolt_machine_locked(4));

    // Numbers outside 0..5 are ignored.
    nolt_machine_acquire(NOLT_GLOBAL_LOCK_COUNT);
    nolt_machine_release(-1);
    EXPECT_FALSE(nolt_machine_locked(NOLT_GLOBAL_LOCK_COUNT));
    EXPECT_FALSE(nolt_machine_locked(-1));
}

namespace {

struct LockHolder {
    nolt_machine_lock* lock;
    std::atomic<bool> holding{false};
    std::atomic<bool> may_release{false};
};

void* hold_locks(void* argument) {
    LockHolder* holder = (LockHolder*)argument;
    nolt_machine_acquire(1);
    nolt_machine_lock_acquire(holder->lock);
    holder->holding = true;
    while (!holder->may_release) nolt_platform_sleep_us(1000);
    nolt_machine_lock_release(holder->lock);
    nolt_machine_release(1);
    return nullptr;
}

// Exit codes of the forked child name what failed there.
int child_after_fork(nolt_machine_lock* held_by_other, nolt_machine_lock* held_by_self) {
    alarm(10);  // a lock that stayed taken shows as a death by SIGALRM
    if (!nolt_machine_locked(0)) return 10;
    nolt_machine_release(0);
    for (int n = 0; n < NOLT_GLOBAL_LOCK_COUNT; n++) {
        nolt_machine_acquire(n);
        if (!nolt_machine_locked(n)) return 20 + n;
        nolt_machine_release(n);
    }
    nolt_machine_lock_reinit_after_fork(held_by_other);
    nolt_machine_lock_reinit_after_fork(held_by_self);
    if (nolt_machine_current_lock_level() != -1) return 30;
    if (held_by_other->held || held_by_self->held) return 31;
    nolt_machine_lock_acquire(held_by_other);
    nolt_machine_lock_acquire(held_by_self);
    nolt_machine_lock_release(held_by_self);
    nolt_machine_lock_release(held_by_other);
    if (nolt_platform_gc_world_stopped()) return 40;
    return 0;
}

}  // namespace

TEST(MachineFork, ChildCanUseLocksHeldAtTheForkAndParentsAreFree) {
    machine_up();
    nolt_platform_gc_suspend_init();
    LockHolder holder;
    holder.lock = nolt_machine_lock_create(2);
    nolt_machine_lock* own = nolt_machine_lock_create(3);
    nolt_platform_thread* other = nolt_platform_thread_create(hold_locks, &holder, 0);
    ASSERT_NE(other, nullptr);
    while (!holder.holding) nolt_platform_sleep_us(1000);

    nolt_machine_acquire(0);
    nolt_machine_lock_acquire(own);
    nolt_platform_gc_stop_begin();  // no thread is targeted; the child must not inherit the stop
    fflush(nullptr);
    pid_t child = fork();
    if (child == 0) _exit(child_after_fork(holder.lock, own));
    ASSERT_GT(child, 0);
    nolt_platform_gc_resume_begin();
    EXPECT_TRUE(nolt_machine_locked(0));
    EXPECT_EQ(nolt_machine_current_lock_level(), 3);
    nolt_machine_lock_release(own);
    nolt_machine_release(0);

    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << "child died by signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), 0);

    holder.may_release = true;
    nolt_platform_thread_join(other);
    for (int n = 0; n < NOLT_GLOBAL_LOCK_COUNT; n++) {
        nolt_machine_acquire(n);
        nolt_machine_release(n);
    }
    nolt_machine_lock_acquire(holder.lock);
    nolt_machine_lock_acquire(own);
    nolt_machine_lock_release(own);
    nolt_machine_lock_release(holder.lock);
    nolt_machine_lock_destroy(own);
    nolt_machine_lock_destroy(holder.lock);
}

TEST(MachineTicks, CounterAdvancesAboutAThousandASecond) {
    machine_up();
    while (nolt_machine_tick_thread_tid() == 0) nolt_platform_sleep_us(1000);
    uint32_t first = nolt_machine_ticks;
    int64_t begin = monotonic_ms();
    nolt_platform_sleep_us(400000);
    uint32_t last = nolt_machine_ticks;
    int64_t elapsed = monotonic_ms() - begin;
    double advanced = (double)(uint32_t)(last - first);
    EXPECT_NEAR(advanced, (double)elapsed, 0.3 * (double)elapsed + 5);
}

TEST(MachineTime, ConversionsUseTheMeasuredFrequencyOrTheFallback) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // A fresh process knows no frequency until it measures one.
    EXPECT_EXIT(
        {
            bool fallback = nolt_machine_timer_to_us(3000) == 1 && nolt_machine_timer_to_us(2999) == 0 &&
                            nolt_machine_timer_to_ms(6000000) == 2 &&
                            nolt_machine_timer_to_ms(5999999) == 1;
            _exit(fallback ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");

    uint64_t frequency = nolt_machine_timer_frequency();
    ASSERT_GT(frequency, 1000000u);
    EXPECT_EQ(nolt_machine_timer_to_us(frequency), 1000000u);
    EXPECT_EQ(nolt_machine_timer_to_ms(frequency), 1000u);
    EXPECT_EQ(nolt_machine_timer_to_ms(frequency * 3600), 3600000u);  // an hour doesn't overflow

    uint64_t start = nolt_machine_get_timer();
    nolt_platform_sleep_us(50000);
    uint64_t waited = nolt_machine_timer_to_ms(nolt_machine_get_timer() - start);
    EXPECT_GE(waited, 45u);
    EXPECT_LT(waited, 5000u);
}

TEST(MachineAtomics, ReturnTheDocumentedValuesAndDontLoseUpdates) {
    volatile int32_t value = 5;
    EXPECT_EQ(nolt_machine_atomic_cas(&value, 5, 7), 5);
    EXPECT_EQ(value, 7);
    EXPECT_EQ(nolt_machine_atomic_cas(&value, 5, 9), 7);  // failed swap leaves the value
    EXPECT_EQ(value, 7);
    EXPECT_EQ(nolt_machine_atomic_inc(&value), 8);
    EXPECT_EQ(nolt_machine_atomic_dec(&value), 7);
    EXPECT_EQ(nolt_machine_atomic_add(&value, -10), -3);
    EXPECT_EQ(nolt_machine_atomic_exchange(&value, 42), -3);
    EXPECT_EQ(value, 42);

    volatile int32_t counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++)
        threads.emplace_back([&] {
            for (int i = 0; i < 100000; i++) {
                nolt_machine_atomic_inc(&counter);
                nolt_machine_atomic_add(&counter, 2);
                nolt_machine_atomic_dec(&counter);
            }
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(counter, 4 * 100000 * 2);
}

TEST(MachineSystem, ProcessorsMemoryAndCpuInfo) {
    machine_up();
    nolt_machine_init_processors();
    int32_t processors = nolt_machine_get_num_processors();
    EXPECT_EQ(processors, (int32_t)sysconf(_SC_NPROCESSORS_ONLN));
    nolt_machine_set_num_processors(0);
    nolt_machine_set_num_processors(-3);
    nolt_machine_set_num_processors(processors + 1);
    EXPECT_EQ(nolt_machine_get_num_processors(), processors);
    nolt_machine_set_num_processors(1);
    EXPECT_EQ(nolt_machine_get_num_processors(), 1);
    nolt_machine_set_num_processors(processors);  // never above the present value
    EXPECT_EQ(nolt_machine_get_num_processors(), 1);

    const nolt_cpu_info* cpu = nolt_machine_get_cpu_info();
    EXPECT_TRUE(cpu->sse && cpu->sse2);  // every x86-64 processor has both
    EXPECT_EQ(strlen(cpu->vendor), 12u);
    EXPECT_GT(strlen(cpu->brand), 0u);
    EXPECT_NE(cpu->brand[0], ' ');

    EXPECT_GT(nolt_machine_get_total_memory(), 0u);
    EXPECT_LE(nolt_machine_get_available_memory(), nolt_machine_get_total_memory());
    int64_t page = nolt_machine_get_page_size();
    EXPECT_EQ(page, sysconf(_SC_PAGESIZE));

    uint32_t* words = (uint32_t*)mmap(nullptr, (size_t)page, PROT_READ | PROT_WRITE,
                                      MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(words, MAP_FAILED);
    nolt_machine_fill32(words, 3, 0xdeadbeef);
    EXPECT_EQ(words[0], 0xdeadbeefu);
    EXPECT_EQ(words[2], 0xdeadbeefu);
    EXPECT_EQ(words[3], 0u);
    EXPECT_TRUE(nolt_machine_protect_memory(words, (size_t)page));
    EXPECT_EQ(words[1], 0xdeadbeefu);
    EXPECT_TRUE(nolt_machine_unprotect_memory(words, (size_t)page));
    words[1] = 1;
    EXPECT_FALSE(nolt_machine_protect_memory((char*)words + 1, 8));  // not page-aligned
    munmap(words, (size_t)page);
}

TEST(MachineArgs, RawArgumentsAndRangeChecks) {
    char program[] = "noltide";
    char first[] = "project";
    char* argv[] = {program, first, nullptr};
    nolt_args_init(2, argv);
    EXPECT_EQ(nolt_args_count(), 2);
    EXPECT_STREQ(nolt_args_program(), "noltide");
    EXPECT_STREQ(nolt_args_raw(1), "project");
    EXPECT_EQ(nolt_args_raw(2), nullptr);
    EXPECT_EQ(nolt_args_raw(-1), nullptr);
    nolt_args_init(0, nullptr);
    EXPECT_EQ(nolt_args_count(), 0);
    EXPECT_STREQ(nolt_args_program(), "");
}

TEST(MachineExit, BufferedOutputIsFlushedBeforeLeaving) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    machine_up();
    static char buffer[256];
    EXPECT_EXIT(
        {
            setvbuf(stderr, buffer, _IOFBF, sizeof buffer);
            fputs("pending line", stderr);
            nolt_machine_exit(3);
        },
        ::testing::ExitedWithCode(3), "pending line");
    EXPECT_EXIT(
        {
            setvbuf(stderr, buffer, _IOFBF, sizeof buffer);
            fputs("pending now", stderr);
            nolt_exit_now(4);
        },
        ::testing::ExitedWithCode(4), "pending now");
}
