#include "runtime/objects.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "runtime/managed.hpp"
#include "tests/support/boot.hpp"

using runtime::Root;
using test_support::boot;

namespace {

// A protected object: the lock header, then plain data.
struct Shared {
    nolt_protected header;
    int64_t a, b;  // changed together under the exclusive lock
    int32_t items[8];
    int32_t count;
    std::atomic<bool> flag;
};
const nolt_type shared_type = {sizeof(Shared), 0, "Shared", nullptr, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0};

Root<Shared> make_shared_object() { return Root<Shared>((Shared*)nolt_heaps_new_protected_object(&shared_type)); }

template <typename Condition>
bool wait_for(Condition condition) {
    for (int i = 0; i < 20000 && !condition(); i++) nolt_platform_sleep_us(500);  // about 10 s
    return condition();
}

// Writers keep a == b only while they hold the lock; readers check it under shared locks.
constexpr int kRounds = 300;
std::atomic<int> torn_reads;

void writer(void* object) {
    auto* shared = (Shared*)object;
    for (int i = 0; i < kRounds; i++) {
        nolt_objects_lock(shared, true);
        nolt_objects_lock(shared, false);  // an exclusive holder may ask again, either way
        shared->a++;
        nolt_objects_yield();
        shared->b++;
        nolt_objects_unlock(shared);
        nolt_objects_unlock(shared);
    }
}

void reader(void* object) {
    auto* shared = (Shared*)object;
    for (int i = 0; i < kRounds; i++) {
        nolt_objects_lock(shared, false);
        if (shared->a != shared->b) torn_reads++;
        nolt_objects_unlock(shared);
    }
}

bool has_item(void* object) { return ((Shared*)object)->count > 0; }
bool has_room(void* object) { return ((Shared*)object)->count < 8; }

constexpr int kItems = 400;
std::atomic<int64_t> consumed_sum;

void producer(void* object) {
    auto* shared = (Shared*)object;
    for (int i = 1; i <= kItems; i++) {
        nolt_objects_lock(shared, true);
        nolt_objects_await(has_room, shared, shared);
        shared->items[shared->count++] = i;
        nolt_objects_unlock(shared);
    }
}

void consumer(void* object) {
    auto* shared = (Shared*)object;
    for (int i = 0; i < kItems; i++) {
        nolt_objects_lock(shared, true);
        nolt_objects_lock(shared, true);
        nolt_objects_await(has_item, shared, shared);  // the whole depth is given up and restored
        consumed_sum += shared->items[--shared->count];
        nolt_objects_unlock(shared);
        nolt_objects_unlock(shared);
    }
}

struct TestTimer {
    nolt_timer timer;
    int id;
};
std::mutex fired_mutex;
std::vector<int> fired;

void record_firing(nolt_timer* timer) {
    std::lock_guard<std::mutex> hold(fired_mutex);
    fired.push_back(((TestTimer*)timer)->id);
}

int fired_count() {
    std::lock_guard<std::mutex> hold(fired_mutex);
    return (int)fired.size();
}

}  // namespace

TEST(Objects, LocksAndConditionsHandOverBetweenProcesses) {
    boot();
    Root<Shared> shared = make_shared_object();
    int32_t holders = nolt_objects_exclusive_holder_count();
    torn_reads = 0;
    consumed_sum = 0;
    std::vector<nolt_process*> processes;
    for (int i = 0; i < 3; i++) processes.push_back(nolt_objects_create_process(writer, 1, false, shared.get()));
    for (int i = 0; i < 2; i++) processes.push_back(nolt_objects_create_process(reader, 1, false, shared.get()));
    for (int i = 0; i < 2; i++) processes.push_back(nolt_objects_create_process(producer, 1, false, shared.get()));
    for (int i = 0; i < 2; i++) processes.push_back(nolt_objects_create_process(consumer, 1, false, shared.get()));
    for (nolt_process* p : processes) ASSERT_NE(p, nullptr);
    EXPECT_GE(nolt_objects_process_count(), 2);
    for (nolt_process* p : processes) nolt_objects_join_process(p);

    EXPECT_EQ(shared->a, 3 * kRounds);
    EXPECT_EQ(shared->b, 3 * kRounds);
    EXPECT_EQ(torn_reads.load(), 0);
    EXPECT_EQ(shared->count, 0);
    EXPECT_EQ(consumed_sum.load(), 2 * (int64_t)kItems * (kItems + 1) / 2);
    EXPECT_EQ(shared->header.exclusive_owner, nullptr);
    EXPECT_EQ(shared->header.shared_count, 0);
    EXPECT_EQ(nolt_objects_exclusive_holder_count(), holders);
    EXPECT_EQ(nolt_objects_process_count(), 1);

    // A process cancelled while it waits for the lock leaves the lock working.
    nolt_objects_lock(shared.get(), true);
    nolt_process* blocked = nolt_objects_create_process(writer, 1, false, shared.get());
    ASSERT_TRUE(wait_for([] { return nolt_objects_get_waiting_count() == 1; }));
    nolt_objects_cancel_process(blocked);
    EXPECT_EQ(nolt_objects_process_count(), 1);
    nolt_objects_unlock(shared.get());
    nolt_objects_lock(shared.get(), false);
    EXPECT_EQ(shared->header.shared_count, 1);
    nolt_objects_unlock(shared.get());
    nolt_objects_cleanup_protected(&shared->header);
}

TEST(Objects, AwaitEndsByATimeoutAndTimersFireInDeadlineOrder) {
    boot();
    // The waiter's condition is "data or time-out"; the timer sets the flag and wakes a helper,
    // whose lock and unlock hand the object on, which tests the condition again.
    Root<Shared> shared = make_shared_object();
    static nolt_platform_mutex* wake_mutex = nolt_platform_mutex_create();
    static nolt_platform_condvar* wake = nolt_platform_condvar_create();
    static std::atomic<bool> rung, gave_up;
    static Shared* target;
    target = shared.get();
    rung = gave_up = false;
    fired.clear();
    nolt_process* waiter = nolt_objects_create_process(
        [](void* object) {
            auto* s = (Shared*)object;
            nolt_objects_lock(s, true);
            nolt_objects_await([](void* o) { return ((Shared*)o)->count > 0 || ((Shared*)o)->flag.load(); }, s, s);
            gave_up = s->count == 0;
            nolt_objects_unlock(s);
        },
        1, false, shared.get());
    nolt_process* helper = nolt_objects_create_process(
        [](void*) {
            nolt_platform_mutex_lock(wake_mutex);
            while (!rung) nolt_platform_condvar_wait(wake, wake_mutex);
            nolt_platform_mutex_unlock(wake_mutex);
            nolt_objects_lock(target, true);
            nolt_objects_unlock(target);
        },
        1, false, nullptr);
    ASSERT_TRUE(wait_for([] { return nolt_objects_get_waiting_count() >= 1; }));
    nolt_timer* timeout = nolt_objects_create_timer();
    nolt_objects_set_timeout(
        timeout,
        [](nolt_timer*) {
            target->flag = true;
            nolt_platform_mutex_lock(wake_mutex);
            rung = true;
            nolt_platform_condvar_signal(wake);
            nolt_platform_mutex_unlock(wake_mutex);
        },
        30);
    nolt_objects_join_process(helper);
    nolt_objects_join_process(waiter);
    EXPECT_TRUE(gave_up.load());
    nolt_objects_free_timer(timeout);
    nolt_objects_cleanup_protected(&shared->header);

    // Armed out of order, re-armed and cancelled: the rest fire by deadline.
    TestTimer timers[6];
    const int delays[6] = {120, 40, 100, 60, 0, 80};
    for (int i = 0; i < 6; i++) {
        timers[i] = {{}, i};
        nolt_objects_set_timeout(&timers[i].timer, record_firing, delays[i]);
    }
    nolt_objects_set_timeout(&timers[1].timer, record_firing, 140);  // moves behind all
    nolt_objects_cancel_timeout(&timers[3].timer);
    ASSERT_TRUE(wait_for([] { return fired_count() == 5; }));
    nolt_platform_sleep_us(100000);
    std::lock_guard<std::mutex> hold(fired_mutex);
    EXPECT_EQ(fired, (std::vector<int>{4, 5, 2, 0, 1}));
}

TEST(Objects, DiagnosticsNameWhatIsInconsistent) {
    boot();
    nolt_process* self = nolt_objects_current_process();
    Root<Shared> shared = make_shared_object();
    static Shared* held;
    held = shared.get();
    // A process that ends holding the lock of an object that isn't its own leaves it held.
    nolt_process* holder = nolt_objects_create_process(
        [](void*) {
            nolt_objects_lock(held, true);
            nolt_objects_exit_process();
        },
        1, false, nullptr);
    ASSERT_TRUE(wait_for([&] { return nolt_objects_process_count() == 1; }));
    EXPECT_EQ(nolt_objects_check_locks_simple(), 0);

    testing::internal::CaptureStderr();
    self->mode = NOLT_MODE_AWAITING_LOCK;
    EXPECT_EQ(nolt_objects_validate_locks(), 1);
    self->mode = NOLT_MODE_AWAITING_COND;
    EXPECT_EQ(nolt_objects_check_locks_simple(), 1);
    EXPECT_EQ(nolt_objects_validate_locks(), 1);
    self->mode = NOLT_MODE_AWAITING_LOCK;
    self->awaited_object = shared.get();
    shared->header.shared_count = -2;
    EXPECT_EQ(nolt_objects_validate_locks(), 2);
    nolt_objects_dump_process_list();
    std::string text = testing::internal::GetCapturedStderr();
    self->mode = NOLT_MODE_RUNNING;
    self->awaited_object = nullptr;
    char expected[1024];
    snprintf(expected, sizeof expected,
             "[LockValidation] Process %d: awaiting lock with no target object\n"
             "[LockValidation] Found 1 lock inconsistencies\n"
             "[LockValidation] Process %d: awaiting condition with no condition function\n"
             "[LockValidation] Found 1 lock inconsistencies\n"
             "[LockValidation] Process %d: waiting on lock held by terminated process %d\n"
             "[LockValidation] Object %p: negative lock count -2\n"
             "[LockValidation] Found 2 lock inconsistencies\n"
             "Process List (1 processes):\n"
             "  PID %d: mode=AWAITING_LOCK, priority=1\n",
             self->pid, self->pid, self->pid, holder->pid, (void*)shared.get(), self->pid);
    EXPECT_EQ(text, expected);
    shared->header.exclusive_owner = nullptr;
    nolt_objects_join_process(holder);
    nolt_objects_cleanup_protected(&shared->header);

    EXPECT_DEATH(std::thread([&] { nolt_objects_lock(shared.get(), true); }).join(),
                 "FATAL ERROR: nolt_objects_lock\\(\\) called from non-process context!\n"
                 "  Lock operations require Active Object process context.\n"
                 "  Use nolt_objects_create_process\\(\\), NOT pthread_create\\(\\).\n"
                 "  Object: 0x[0-9a-f]+, Exclusive: true");
    EXPECT_DEATH(std::thread([&] { nolt_objects_unlock(shared.get()); }).join(),
                 "FATAL ERROR: nolt_objects_unlock\\(\\) called from non-process context!");
}

TEST(Objects, OwnerHarnessRefusesAccessFromElsewhere) {
    boot();
    Root<Shared> mine = make_shared_object();
    auto enabled = [](auto body) {
        return [body] {
            nolt_owner_harness_enable();
            body();
        };
    };
    // Stamped once the harness is on, by this thread outside any active object.
    EXPECT_DEATH(enabled([] {
                     Root<Shared> fresh = make_shared_object();
                     nolt_owner_probe_read(fresh.get());
                     nolt_owner_probe_write(fresh.get());
                     std::thread([&] { nolt_owner_probe_read(fresh.get()); }).join();
                 })(),
                 "OWNER-HARNESS: read: object owned by a different thread");
    EXPECT_DEATH(enabled([&] { nolt_owner_probe_read(mine.get()); })(),
                 "OWNER-HARNESS: read: object has no owner stamp");
    EXPECT_DEATH(enabled([] {
                     Root<Shared> ao = make_shared_object(), other = make_shared_object();
                     nolt_owner_enter_ao(ao.get(), false);
                     Root<Shared> inside = make_shared_object();
                     nolt_owner_probe_read(inside.get());
                     nolt_owner_leave_ao(ao.get());
                     nolt_owner_enter_ao(other.get(), true);
                     nolt_owner_probe_write(inside.get());
                 })(),
                 "OWNER-HARNESS: write: object owned by a different Active Object");
    EXPECT_DEATH(enabled([] {
                     Root<Shared> ao = make_shared_object();
                     nolt_owner_enter_ao(ao.get(), true);
                     Root<Shared> inside = make_shared_object();
                     nolt_owner_leave_ao(ao.get());
                     nolt_owner_probe_read(inside.get());
                 })(),
                 "OWNER-HARNESS: read: object owned by an Active Object, current context is a thread");
    EXPECT_DEATH(enabled([] {
                     for (int i = 0; i < 33; i++) nolt_owner_enter_ao(nullptr, false);
                 })(),
                 "OWNER-HARNESS: AO context stack overflow");
    EXPECT_DEATH(enabled([&] { nolt_owner_leave_ao(mine.get()); })(), "OWNER-HARNESS: AO context stack mismatch on leave");
    // Off, nothing is checked.
    nolt_owner_probe_write(mine.get());
    nolt_owner_leave_ao(mine.get());
}
