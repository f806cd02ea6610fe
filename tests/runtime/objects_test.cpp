#include "runtime/objects.hpp"

#include <gtest/gtest.h>

#include <atomic>
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
};
const nolt_type shared_type = {sizeof(Shared), 0, "Shared", nullptr, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0};

Root<Shared> make_shared_object() { return Root<Shared>((Shared*)nolt_heaps_new_protected_object(&shared_type)); }

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

}  // namespace

TEST(Objects, LocksAndConditionsHandOverBetweenProcesses) {
    boot();
    Root<Shared> shared = make_shared_object();
    int32_t holders = nolt_objects_exclusive_holder_count();
    std::vector<nolt_process*> processes;
    for (auto body : {writer, writer, writer, reader, reader, producer, producer, consumer, consumer})
        processes.push_back(nolt_objects_create_process(body, 1, false, shared.get()));
    for (nolt_process* p : processes) ASSERT_NE(p, nullptr);
    for (nolt_process* p : processes) nolt_objects_join_process(p);

    EXPECT_TRUE(shared->a == 3 * kRounds && shared->b == 3 * kRounds) << shared->a << " " << shared->b;
    EXPECT_EQ(torn_reads.load(), 0);
    EXPECT_EQ(consumed_sum.load(), 2 * (int64_t)kItems * (kItems + 1) / 2);
    EXPECT_TRUE(shared->count == 0 && !shared->header.exclusive_owner && shared->header.shared_count == 0);
    EXPECT_TRUE(nolt_objects_exclusive_holder_count() == holders && nolt_objects_process_count() == 1);

    // A process cancelled while it waits for the lock leaves the lock working.
    nolt_objects_lock(shared.get(), true);
    nolt_process* blocked = nolt_objects_create_process(writer, 1, false, shared.get());
    for (int i = 0; i < 20000 && nolt_objects_get_waiting_count() != 1; i++) nolt_platform_sleep_us(500);
    ASSERT_EQ(nolt_objects_get_waiting_count(), 1);
    nolt_objects_cancel_process(blocked);
    EXPECT_EQ(nolt_objects_process_count(), 1);
    nolt_objects_unlock(shared.get());
    nolt_objects_lock(shared.get(), false);
    EXPECT_EQ(shared->header.shared_count, 1);
    nolt_objects_unlock(shared.get());
    nolt_objects_cleanup_protected(&shared->header);

    EXPECT_DEATH(std::thread([&] { nolt_objects_lock(shared.get(), true); }).join(),
                 "FATAL ERROR: nolt_objects_lock\\(\\) called from non-process context!\n.*\n.*\n"
                 "  Object: 0x[0-9a-f]+, Exclusive: true");
}

#define EXPECT_HARNESS_DEATH(body, text) EXPECT_DEATH({ nolt_owner_harness_enable(); body; }, "OWNER-HARNESS: " text)

TEST(Objects, OwnerHarnessRefusesAccessFromElsewhere) {
    boot();
    Root<Shared> old = make_shared_object(), ao = make_shared_object();
    EXPECT_HARNESS_DEATH(nolt_owner_probe_read(old.get()), "read: object has no owner stamp");
    EXPECT_HARNESS_DEATH(
        {
            Root<Shared> mine = make_shared_object();  // stamped by this thread outside any active object
            nolt_owner_probe_write(mine.get());
            std::thread([&] { nolt_owner_probe_read(mine.get()); }).join();
        },
        "read: object owned by a different thread");
    EXPECT_HARNESS_DEATH(nolt_owner_leave_ao(ao.get()), "AO context stack mismatch on leave");
    nolt_owner_probe_write(old.get());  // off, nothing is checked
    nolt_owner_leave_ao(old.get());
}
