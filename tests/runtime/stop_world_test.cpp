#include <errno.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "runtime/heaps.hpp"
#include "runtime/platform.hpp"
#include "tests/runtime/machine_support.hpp"

namespace {

constexpr int kWorkers = 4;
constexpr int kRounds = 300;
constexpr int kFrames = 8;

// A worker publishes where its own root state lives so that the collector can compare what the
// suspend handler published with the real thing while the worker is parked.
struct Worker {
    int index = 0;
    std::atomic<nolt_thread_id> id{0};
    std::atomic<uint64_t> progress{0};
    nolt_gc_frame** top_address = nullptr;
    void** inflight_address = nullptr;
    void* handoff_address = nullptr;
    std::atomic<int> probes{0};
    std::atomic<bool> probe_saw_parked{false};
    std::atomic<bool> probe_saw_stopped{false};
};

std::atomic<bool> workers_running;
thread_local Worker* current_worker;

// SIGFPE is one of the signals that a parked thread still takes: it asks the parked thread
// where it is.
void probe_handler(int) {
    Worker* worker = current_worker;
    if (!worker) return;
    worker->probe_saw_parked = nolt_platform_gc_parked_here();
    worker->probe_saw_stopped = nolt_platform_gc_world_stopped();
    worker->probes.fetch_add(1);
}

// Keeps pushing and popping shadow frames and changing its in-flight reference.
void* work(void* argument) {
    Worker* worker = (Worker*)argument;
    current_worker = worker;
    worker->top_address = &__nolt_gc_top;
    worker->inflight_address = &__nolt_gc_inflight;
    worker->handoff_address = (void*)__nolt_gc_handoff;
    nolt_gc_frame frames[kFrames] = {};
    int depth = 0;
    bool growing = true;
    uint64_t step = 0;
    worker->id = nolt_platform_thread_self_id();
    while (workers_running.load(std::memory_order_relaxed)) {
        if (growing) {
            frames[depth].previous = __nolt_gc_top;
            __nolt_gc_top = &frames[depth];
            growing = ++depth < kFrames;
        } else {
            __nolt_gc_top = frames[--depth].previous;
            growing = depth == 0;
        }
        __nolt_gc_inflight = (void*)(((uint64_t)worker->index << 40) | ++step);
        std::atomic_signal_fence(std::memory_order_seq_cst);
        worker->progress.fetch_add(1, std::memory_order_relaxed);
        if (step % 64 == 0) nolt_platform_thread_yield();  // more workers than processors
    }
    __nolt_gc_top = nullptr;
    __nolt_gc_inflight = nullptr;
    return nullptr;
}

template <typename Condition>
bool wait_for(Condition condition) {
    for (int i = 0; i < 100000; i++) {  // up to about 10 s
        if (condition()) return true;
        nolt_platform_sleep_us(100);
    }
    return condition();
}

void* const kUnset = (void*)0x5a5a5a5a;

struct Published {
    void* chain = kUnset;
    void* inflight = kUnset;
    void* handoff = kUnset;
};

}  // namespace

TEST(StopWorld, WorkersAreParkedWithTheirOwnRootsAndResumeRepeatedly) {
    nolt_platform_gc_suspend_init();
    struct sigaction probe = {};
    probe.sa_handler = probe_handler;
    sigemptyset(&probe.sa_mask);
    ASSERT_EQ(sigaction(SIGFPE, &probe, nullptr), 0);

    // The collector has roots of its own, which must never be the ones published.
    nolt_gc_frame collector_frame = {};
    __nolt_gc_top = &collector_frame;
    __nolt_gc_inflight = &collector_frame;

    workers_running = true;
    Worker workers[kWorkers];
    nolt_platform_thread* threads[kWorkers];
    for (int i = 0; i < kWorkers; i++) {
        workers[i].index = i + 1;
        threads[i] = nolt_platform_thread_create(work, &workers[i], 0);
        ASSERT_NE(threads[i], nullptr);
    }
    for (Worker& worker : workers) ASSERT_TRUE(wait_for([&] { return worker.id != 0; }));

    for (int round = 0; round < kRounds; round++) {
        SCOPED_TRACE(testing::Message() << "round " << round);
        nolt_platform_gc_stop_begin();
        ASSERT_TRUE(nolt_platform_gc_world_stopped());
        Published published[kWorkers];
        for (int i = 0; i < kWorkers; i++)
            ASSERT_TRUE(nolt_platform_gc_suspend_thread(workers[i].id, &published[i].chain,
                                                        &published[i].inflight, &published[i].handoff));
        uint64_t stopped_at[kWorkers];
        for (int i = 0; i < kWorkers; i++) stopped_at[i] = workers[i].progress.load();

        for (int i = 0; i < kWorkers; i++) {
            EXPECT_EQ(published[i].chain, (void*)*workers[i].top_address);
            EXPECT_EQ(published[i].inflight, *workers[i].inflight_address);
            EXPECT_EQ(published[i].handoff, workers[i].handoff_address);
        }

        if (round % 10 == 0) {
            for (Worker& worker : workers) {
                // A foreign signal wakes the parked thread's sigsuspend; it must park again.
                int before = worker.probes.load();
                pthread_kill((pthread_t)worker.id.load(), SIGFPE);
                ASSERT_TRUE(wait_for([&] { return worker.probes.load() > before; }));
                EXPECT_TRUE(worker.probe_saw_parked.load());
                EXPECT_TRUE(worker.probe_saw_stopped.load());
            }
            for (int i = 0; i < kWorkers; i++) {
                // Targeting a parked thread again makes it publish again.
                Published again;
                ASSERT_TRUE(nolt_platform_gc_suspend_thread(workers[i].id, &again.chain,
                                                            &again.inflight, &again.handoff));
                EXPECT_EQ(again.chain, published[i].chain);
                EXPECT_EQ(again.inflight, published[i].inflight);
                EXPECT_EQ(again.handoff, published[i].handoff);
            }
            // A stray signal to the collector during the stop must not park it.
            pthread_kill(pthread_self(), SIGURG);
            nolt_platform_sleep_us(500);
        }
        for (int i = 0; i < kWorkers; i++) EXPECT_EQ(workers[i].progress.load(), stopped_at[i]);
        EXPECT_FALSE(nolt_platform_gc_parked_here());

        nolt_platform_gc_resume_begin();
        EXPECT_FALSE(nolt_platform_gc_world_stopped());
        for (Worker& worker : workers) nolt_platform_gc_resume_thread(worker.id);
        for (int i = 0; i < kWorkers; i++)
            ASSERT_TRUE(wait_for([&] { return workers[i].progress.load() > stopped_at[i]; }));

        // A stray signal while no collection runs leaves the worker running.
        if (round % 7 == 3) {
            Worker& worker = workers[round % kWorkers];
            pthread_kill((pthread_t)worker.id.load(), SIGURG);
            uint64_t now = worker.progress.load();
            ASSERT_TRUE(wait_for([&] { return worker.progress.load() > now + 1000; }));
        }
    }

    workers_running = false;
    for (nolt_platform_thread* thread : threads) nolt_platform_thread_join(thread);
    __nolt_gc_top = nullptr;
    __nolt_gc_inflight = nullptr;
}

TEST(StopWorld, ErrnoSurvivesAStraySignalAndAFullStop) {
    machine_up();  // the tick thread runs beside, as in the real process
    nolt_platform_gc_suspend_init();
    errno = 4242;
    ASSERT_EQ(pthread_kill(pthread_self(), SIGURG), 0);
    EXPECT_EQ(errno, 4242);

    // Parking goes through sigsuspend, which always fails with EINTR; the stopped thread must
    // not see that.
    std::atomic<nolt_thread_id> id{0};
    std::atomic<uint64_t> progress{0};
    std::atomic<bool> done{false};
    std::atomic<int> errno_after{0};
    std::thread worker([&] {
        errno = 5151;
        id = nolt_platform_thread_self_id();
        while (!done) {
            std::atomic_signal_fence(std::memory_order_seq_cst);
            progress.fetch_add(1);
        }
        errno_after = errno;
    });
    ASSERT_TRUE(wait_for([&] { return id != 0; }));
    void* chain = nullptr;
    void* inflight = nullptr;
    void* handoff = nullptr;
    nolt_platform_gc_stop_begin();
    ASSERT_TRUE(nolt_platform_gc_suspend_thread(id, &chain, &inflight, &handoff));
    EXPECT_FALSE(nolt_platform_gc_suspend_thread(nolt_platform_thread_self_id(), &chain, &inflight,
                                                 &handoff));  // never the collector itself
    nolt_platform_gc_resume_begin();
    nolt_platform_gc_resume_thread(id);
    uint64_t stopped_at = progress.load();
    EXPECT_TRUE(wait_for([&] { return progress.load() > stopped_at; }));
    done = true;
    worker.join();
    EXPECT_EQ(errno_after.load(), 5151);
    EXPECT_NE(handoff, nullptr);
}

TEST(StopWorld, NothingIsSuspendedBeforeTheMechanismIsReady) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            std::atomic<bool> done{false};
            std::atomic<nolt_thread_id> id{0};
            std::thread other([&] {
                id = nolt_platform_thread_self_id();
                while (!done) nolt_platform_sleep_us(1000);
            });
            while (id == 0) nolt_platform_sleep_us(1000);
            void* chain = nullptr;
            bool suspended = nolt_platform_gc_suspend_thread(id, &chain, &chain, &chain);
            done = true;
            other.join();
            _exit(suspended ? 1 : 0);
        },
        ::testing::ExitedWithCode(0), "");
}
