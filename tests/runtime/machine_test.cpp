#include "runtime/machine.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>

#include "runtime/platform.hpp"

// nolt_machine_init starts the layer once per process; later calls find it running.

TEST(MachineLock, TakingALockAtOrBelowTheHeldLevelAborts) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // the tick thread runs
    nolt_machine_init();
    nolt_machine_lock* gc_lock = nolt_machine_lock_create(2);
    nolt_machine_lock* inner = nolt_machine_lock_create(3);
    nolt_machine_lock_acquire(gc_lock);
    nolt_machine_lock_acquire(inner);
    EXPECT_EQ(nolt_machine_current_lock_level(), 3);
    nolt_machine_lock_release(inner);
    nolt_machine_lock_release(gc_lock);
    EXPECT_TRUE(nolt_machine_current_lock_level() == -1 && !gc_lock->held);
    EXPECT_DEATH((nolt_machine_lock_acquire(inner), nolt_machine_lock_acquire(gc_lock)),
                 "^\\[Machine\\] Lock order violation: current=3, acquiring=2\n");
    EXPECT_DEATH((nolt_machine_lock_acquire(gc_lock), nolt_machine_lock_acquire(gc_lock)),
                 "^\\[Machine\\] Lock order violation: current=2, acquiring=2\n");
    nolt_machine_lock_destroy(inner);
    nolt_machine_lock_destroy(gc_lock);
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

// The exit code names what failed; a lock that stayed taken shows as a death by SIGALRM.
int child_after_fork(nolt_machine_lock* held_by_other, nolt_machine_lock* held_by_self) {
    alarm(10);
    if (!nolt_machine_locked(0)) return 10;
    nolt_machine_release(0);
    for (int n = 0; n < NOLT_GLOBAL_LOCK_COUNT; n++) {
        nolt_machine_acquire(n);
        nolt_machine_release(n);
    }
    nolt_machine_lock_reinit_after_fork(held_by_other);
    nolt_machine_lock_reinit_after_fork(held_by_self);
    if (nolt_machine_current_lock_level() != -1) return 30;
    for (nolt_machine_lock* lock : {held_by_other, held_by_self}) nolt_machine_lock_acquire(lock);
    for (nolt_machine_lock* lock : {held_by_self, held_by_other}) nolt_machine_lock_release(lock);
    return nolt_platform_gc_world_stopped() ? 40 : 0;
}

}  // namespace

TEST(MachineFork, ChildCanUseLocksHeldAtTheForkAndParentsAreFree) {
    nolt_machine_init();
    nolt_platform_gc_suspend_init();
    LockHolder holder;
    holder.lock = nolt_machine_lock_create(2);
    nolt_machine_lock* own = nolt_machine_lock_create(3);
    nolt_platform_thread* other = nolt_platform_thread_create(hold_locks, &holder, 0);
    ASSERT_NE(other, nullptr);
    while (!holder.holding) nolt_platform_sleep_us(1000);

    nolt_machine_acquire(0);
    nolt_machine_lock_acquire(own);
    nolt_platform_gc_stop_begin();  // the child must not inherit a stop in progress
    fflush(nullptr);
    pid_t child = fork();
    if (child == 0) _exit(child_after_fork(holder.lock, own));
    ASSERT_GT(child, 0);
    nolt_platform_gc_resume_begin();
    EXPECT_TRUE(nolt_machine_locked(0));
    nolt_machine_lock_release(own);
    nolt_machine_release(0);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child's status " << status;

    holder.may_release = true;
    nolt_platform_thread_join(other);
    for (int n = 0; n < NOLT_GLOBAL_LOCK_COUNT; n++) {
        nolt_machine_acquire(n);
        nolt_machine_release(n);
    }
    nolt_machine_lock_acquire(holder.lock);
    nolt_machine_lock_release(holder.lock);
    nolt_machine_lock_destroy(holder.lock);
    nolt_machine_lock_destroy(own);
}
