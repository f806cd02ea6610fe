#include <errno.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>

#include "runtime/heaps.hpp"
#include "runtime/platform.hpp"

namespace {

constexpr int kWorkers = 4;

// A worker shows where its root state lives, so that the collector can compare what the handler
// published with the real values while the worker is parked.
struct Worker {
    int index = 0;
    std::atomic<nolt_thread_id> id{0};
    std::atomic<uint64_t> progress{0};
    nolt_gc_frame** top = nullptr;
    void** inflight = nullptr;
    void* handoff = nullptr;
    std::atomic<int> probes{0};
    std::atomic<bool> probe_saw_parked{false};
    bool errno_kept = false;  // parking goes through sigsuspend, which always sets EINTR
};

std::atomic<bool> workers_running;
void* const kTorn = (void*)-1;
thread_local Worker* current_worker;

// SIGFPE still reaches a parked thread: the probe asks it whether it is inside the handler.
void probe_handler(int) {
    if (Worker* worker = current_worker) {
        worker->probe_saw_parked =
            nolt_platform_gc_parked_here() && nolt_platform_gc_world_stopped();
        worker->probes.fetch_add(1);
    }
}

// Pushes and pops shadow frames and changes its in-flight reference, without end.
void* work(void* argument) {
    Worker* worker = current_worker = (Worker*)argument;
    worker->top = &__nolt_gc_top;
    worker->inflight = &__nolt_gc_inflight;
    worker->handoff = (void*)__nolt_gc_handoff;
    nolt_gc_frame frames[8] = {};
    int depth = 0;
    errno = 5000 + worker->index;
    worker->id = nolt_platform_thread_self_id();
    for (uint64_t step = 0; workers_running.load(std::memory_order_relaxed); step++) {
        // Odd workers change their roots inside a section that a stop must wait for, and leave
        // them torn for a moment there.
        bool held = worker->index % 2;
        if (held) {
            nolt_platform_no_stop_begin();
            __nolt_gc_inflight = kTorn;
            nolt_platform_thread_yield();
        }
        if (step % 16 < 8) {
            frames[depth].previous = __nolt_gc_top;
            __nolt_gc_top = &frames[depth++];
        } else {
            __nolt_gc_top = frames[--depth].previous;
        }
        __nolt_gc_inflight = (void*)(((uint64_t)worker->index << 40) | step);
        std::atomic_signal_fence(std::memory_order_seq_cst);
        worker->progress.fetch_add(1, std::memory_order_relaxed);
        if (held) nolt_platform_no_stop_end();
        if (step % 64 == 0) nolt_platform_thread_yield();  // more workers than processors
    }
    __nolt_gc_top = nullptr;
    worker->errno_kept = errno == 5000 + worker->index;
    return nullptr;
}

template <typename Condition>
bool wait_for(Condition condition) {
    for (int i = 0; i < 100000 && !condition(); i++) nolt_platform_sleep_us(100);  // about 10 s
    return condition();
}

// What suspending a thread publishes of its roots.
struct Published {
    void* chain = (void*)1;
    void* inflight = (void*)1;
    void* handoff = (void*)1;
    bool suspend(nolt_thread_id id) { return nolt_platform_gc_suspend_thread(id, &chain, &inflight, &handoff); }
};

}  // namespace

TEST(StopWorld, WorkersParkWithTheirOwnRootsAndResumeRepeatedly) {
    nolt_platform_gc_suspend_init();
    struct sigaction probe = {};
    probe.sa_handler = probe_handler;
    ASSERT_EQ(sigaction(SIGFPE, &probe, nullptr), 0);
    nolt_gc_frame collector_frame = {};  // roots of the collector, never to be published
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

    for (int round = 0; round < 300; round++) {
        SCOPED_TRACE(testing::Message() << "round " << round);
        nolt_platform_gc_stop_begin();
        Published published[kWorkers];
        uint64_t stopped_at[kWorkers];
        for (int i = 0; i < kWorkers; i++) {
            ASSERT_TRUE(published[i].suspend(workers[i].id));
            stopped_at[i] = workers[i].progress.load();
            EXPECT_TRUE(published[i].chain == (void*)*workers[i].top && published[i].handoff == workers[i].handoff);
            EXPECT_TRUE(published[i].inflight == *workers[i].inflight && published[i].inflight != kTorn);
        }
        if (round % 10 == 0) {
            for (int i = 0; i < kWorkers; i++) {
                // A signal that wakes the parked thread must not let it go...
                int before = workers[i].probes.load();
                pthread_kill((pthread_t)workers[i].id.load(), SIGFPE);
                ASSERT_TRUE(wait_for([&] { return workers[i].probes.load() > before; }));
                EXPECT_TRUE(workers[i].probe_saw_parked.load());
                // ...and a parked thread that is targeted again publishes again.
                Published again;
                ASSERT_TRUE(again.suspend(workers[i].id));
                EXPECT_TRUE(again.chain == published[i].chain && again.inflight == published[i].inflight);
            }
            errno = 4242;
            pthread_kill(pthread_self(), SIGURG);  // a stray signal doesn't park the collector
            EXPECT_EQ(errno, 4242);
            EXPECT_FALSE(Published().suspend(nolt_platform_thread_self_id()));  // never the collector itself
        }
        for (int i = 0; i < kWorkers; i++) EXPECT_EQ(workers[i].progress.load(), stopped_at[i]);

        nolt_platform_gc_resume_begin();
        EXPECT_FALSE(nolt_platform_gc_world_stopped());
        for (Worker& worker : workers) nolt_platform_gc_resume_thread(worker.id);
        for (int i = 0; i < kWorkers; i++)
            ASSERT_TRUE(wait_for([&] { return workers[i].progress.load() > stopped_at[i]; }));
        if (round % 7 == 3) {  // a stray signal while nothing is stopped leaves a worker running
            Worker& worker = workers[round % kWorkers];
            pthread_kill((pthread_t)worker.id.load(), SIGURG);
            uint64_t now = worker.progress.load();
            ASSERT_TRUE(wait_for([&] { return worker.progress.load() > now + 1000; }));
        }
    }
    workers_running = false;
    for (nolt_platform_thread* thread : threads) nolt_platform_thread_join(thread);
    for (Worker& worker : workers) EXPECT_TRUE(worker.errno_kept) << worker.index;
    __nolt_gc_top = nullptr;
    __nolt_gc_inflight = nullptr;
}
