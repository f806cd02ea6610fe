#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "runtime/heaps.hpp"
#include "tests/support/boot.hpp"

using test_support::boot;
using test_support::run_with_env;

namespace {

const nolt_type leaf_type = {16, 0, "Leaf", nullptr, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0};
const nolt_type big_type = {1024, 0, "Big", nullptr, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0};

using Frame1 = test_support::Frame;

bool live(void* reference) { return nolt_heaps_is_live(reference); }

void* global_slot;
void* table_storage[2];
void** table = table_storage;

// Puts a fresh object in the slot and checks that a collection keeps it.
void* kept_in(void** slot) {
    *slot = nolt_heaps_new_object(&leaf_type);
    nolt_heaps_gc();
    EXPECT_TRUE(live(*slot));
    return *slot;
}

void expect_reclaimed(void* object) {
    nolt_heaps_gc();
    EXPECT_FALSE(live(object));
}

TEST(Collector, EachKindOfRootKeepsItsObjectAndOnlyWhileItHoldsIt) {
    boot();
    void *in_frame = nullptr, *object;
    {
        Frame1 frame(&in_frame);
        object = kept_in(&in_frame);
    }
    expect_reclaimed(object);
    object = kept_in(&__nolt_gc_handoff[3]);
    __nolt_gc_handoff[3] = nullptr;
    expect_reclaimed(object);
    nolt_heaps_register_global_root(&global_slot);
    object = kept_in(&global_slot);
    global_slot = nullptr;
    expect_reclaimed(object);

    nolt_heaps_register_roots(&table, 2);
    object = kept_in(&table[1]);
    static int slots_seen;
    nolt_heaps_enumerate_roots([](void** slot) { slots_seen += slot == &table[0] || slot == &table[1]; });
    EXPECT_EQ(slots_seen, 2);
    nolt_heaps_unregister_roots(&table);
    expect_reclaimed(object);
}

}  // namespace

TEST(Collector, ThresholdIsTwiceTheLiveBytesAndNeverBelowTheFloor) {
    boot();
    void* keep = nullptr;
    Frame1 frame(&keep);
    keep = nolt_heaps_new_ptr_array(300);
    nolt_heaps_gc();
    EXPECT_EQ(nolt_heaps_trigger_threshold(), 262144u);  // live bytes far below 131072
    EXPECT_EQ(nolt_heaps_bytes_since_gc(), 0u);
    for (int i = 0; i < 100; i++) ((void**)keep)[i] = nolt_heaps_new_object(&big_type);  // 100 * 1088 bytes
    nolt_heaps_gc();
    uint64_t live_bytes = 2496 + 100 * 1088;
    EXPECT_EQ(nolt_heaps_get_gc_stats()->live_bytes, live_bytes);
    EXPECT_EQ(nolt_heaps_trigger_threshold(), 262144u);  // 2 * 111296 is still below the floor
    for (int i = 100; i < 200; i++) ((void**)keep)[i] = nolt_heaps_new_object(&big_type);
    nolt_heaps_gc();
    live_bytes += 100 * 1088;
    EXPECT_EQ(nolt_heaps_trigger_threshold(), 2 * live_bytes);
    // A cycle that reclaims nothing still starts the count again.
    nolt_heaps_new_object(&leaf_type);
    EXPECT_GT(nolt_heaps_bytes_since_gc(), 0u);
    nolt_heaps_gc();
    EXPECT_EQ(nolt_heaps_bytes_since_gc(), 0u);
}

TEST(Collector, LazySweepMergesDeadRunsButNotFreeNeighbours) {
    SKIP_UNDER_TORTURE();
    boot();
    void* keep[2] = {};
    Frame1 f0(&keep[0]), f1(&keep[1]);
    keep[0] = nolt_heaps_new_object(&leaf_type);  // A, live
    char* b = (char*)nolt_block_of(nolt_heaps_new_object(&leaf_type));
    nolt_heaps_new_object(&leaf_type);
    nolt_heaps_new_object(&leaf_type);              // B, C, D die
    keep[1] = nolt_heaps_new_object(&leaf_type);  // E, live
    char* f = (char*)nolt_block_of(nolt_heaps_new_object(&leaf_type));  // F dies, free space behind it
    nolt_block* rest = nolt_heaps_free_list_head(15);
    uint64_t rest_size = rest->block_size;
    ASSERT_EQ((char*)rest, f + 64);

    nolt_heaps_gc();
    EXPECT_FALSE(nolt_heaps_sweep_epoch_clean());
    uint64_t swept_before = nolt_heaps_get_gc_stats()->swept;
    nolt_heaps_test_lazy_sweep_probe(192);
    EXPECT_EQ((char*)nolt_heaps_free_list_head(2), b);  // B, C and D became one block of 192
    EXPECT_EQ(((nolt_block*)b)->block_size, 192u);
    const nolt_type mid_type = {144, 0, "Mid", nullptr, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0};
    EXPECT_EQ((char*)nolt_heaps_new_object(&mid_type), b + 48);  // served from the list...
    EXPECT_FALSE(nolt_heaps_sweep_epoch_clean());                // ...without moving the sweep
    nolt_heaps_test_lazy_sweep_probe(64);
    EXPECT_EQ((char*)nolt_heaps_free_list_head(0), f);  // F stays apart from the free space behind it
    EXPECT_EQ(((nolt_block*)f)->block_size, 64u);
    EXPECT_EQ(rest->block_size, rest_size);
    EXPECT_EQ(nolt_heaps_get_gc_stats()->swept - swept_before, 4u);

    nolt_heaps_test_lazy_sweep_probe(1ull << 40);  // nothing is that large: the sweep finishes
    EXPECT_TRUE(nolt_heaps_sweep_epoch_clean());
    EXPECT_TRUE(nolt_heaps_validate());
}

TEST(Collector, WhollyFreeRegionsGoBackExceptTheNewest) {
    SKIP_UNDER_TORTURE();
    run_with_env({{"NOLT_HEAP_BLOCK_SIZE", "128"}}, [] {
        static void* keep;
        nolt_heaps_register_global_root(&keep);
        keep = nolt_heaps_new_ptr_array(200);
        for (int i = 0; i < 200; i++) ((void**)keep)[i] = nolt_heaps_new_object(&big_type);
        int before = 0;
        for (nolt_region* r = nolt_machine_get_memory_blocks(); r; r = r->next) before++;
        ASSERT_GE(before, 3);
        keep = nullptr;
        nolt_heaps_gc();
        nolt_heaps_test_lazy_sweep_probe(1ull << 40);
        int after = 0;
        for (nolt_region* r = nolt_machine_get_memory_blocks(); r; r = r->next) after++;
        EXPECT_EQ(after, 1);
        EXPECT_TRUE(nolt_heaps_validate());
        // The heap still serves and grows.
        for (int i = 0; i < 200; i++) EXPECT_NE(nolt_heaps_new_object(&big_type), nullptr);
        EXPECT_TRUE(nolt_heaps_validate());
    });
}

namespace {
int finalized;
void count_finalizer(void*) { finalized++; }
void allocating_finalizer(void*) { nolt_heaps_new_object(&leaf_type); }
}  // namespace

TEST(Collector, FinalizersRunOnceWhenTheirObjectIsReclaimed) {
    boot();
    void* keep = nullptr;
    Frame1 frame(&keep);
    keep = nolt_heaps_new_object(&leaf_type);
    nolt_heaps_add_finalizer(keep, count_finalizer);
    nolt_heaps_add_finalizer(nolt_heaps_new_object(&leaf_type), count_finalizer);
    void* unregistered = nolt_heaps_new_object(&leaf_type);
    nolt_heaps_add_finalizer(unregistered, count_finalizer);
    nolt_heaps_remove_finalizer(unregistered);
    for (int round = 0; round < 3; round++) {
        nolt_heaps_gc();
        nolt_heaps_test_lazy_sweep_probe(1ull << 40);
    }
    EXPECT_EQ(finalized, 1);
    uint64_t stats[5];
    nolt_heaps_finalizer_stats(stats);
    // The live object's finalizer is still registered; every other node waits for reuse.
    EXPECT_TRUE(stats[0] == 1u && stats[0] + stats[1] == stats[2] && stats[3] == 64u);

    nolt_heaps_add_finalizer(nolt_heaps_new_object(&leaf_type), allocating_finalizer);
    EXPECT_DEATH((nolt_heaps_gc(), nolt_heaps_test_lazy_sweep_probe(1ull << 40)),
                 "\\[Heaps\\] FATAL: a finalizer allocated from the GC heap.\n  Nolt's finalizer no-allocation rule");
}

TEST(Collector, TwoThreadsReachingTheTriggerTogetherMakeOneCycle) {
    SKIP_UNDER_TORTURE();
    boot();
    for (int attempt = 0; attempt < 10; attempt++) {
        while (nolt_heaps_bytes_since_gc() < nolt_heaps_trigger_threshold()) nolt_heaps_new_object(&leaf_type);
        uint64_t before = nolt_heaps_get_gc_stats()->collections;
        std::atomic<int> ready{0};
        auto worker = [&] {
            nolt_objects_register_spawn();
            ready++;
            while (ready.load() < 2) {
            }
            nolt_heaps_new_object(&leaf_type);
            nolt_objects_deregister_spawn();
        };
        std::thread a(worker), b(worker);
        a.join();
        b.join();
        EXPECT_EQ(nolt_heaps_get_gc_stats()->collections - before, 1u);
    }
}

TEST(Collector, ForkedChildAllocatesWithoutCollectingAndParentGoesOn) {
    boot();
    void* keep = nullptr;
    Frame1 frame(&keep);
    keep = nolt_heaps_new_object(&leaf_type);
    pid_t pid = fork();
    if (pid == 0) {
        uint64_t collections = nolt_heaps_get_gc_stats()->collections;
        nolt_heaps_gc();
        bool ok = nolt_heaps_get_gc_stats()->collections == collections;
        for (int i = 0; i < 20000 && ok; i++) ok = nolt_heaps_new_object(&big_type) != nullptr;
        ok = ok && nolt_heaps_get_gc_stats()->collections == collections && nolt_heaps_validate();
        _exit(ok ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    uint64_t collections = nolt_heaps_get_gc_stats()->collections;
    nolt_heaps_gc();
    EXPECT_EQ(nolt_heaps_get_gc_stats()->collections, collections + 1);
    EXPECT_TRUE(live(keep));
}
