// Allocation cost against malloc+free, the pause of one collection over an editor-sized
// live heap, and how allocation cost grows with the live heap.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <time.h>

#include "runtime/managed.hpp"
#include "runtime/machine.hpp"
#include "runtime/objects.hpp"
#include "tests/support/runtime_up.hpp"

using namespace runtime;

namespace {

using test_support::runtime_up;

struct Small {
    NOLT_MANAGED(Small, void);
    Member<Small> next;
    int64_t a = 0, b = 0;
};

// Payload sizes cycled by the allocation benchmarks: 16 to 120 bytes.
constexpr size_t kSizes[] = {16, 24, 32, 48, 64, 80, 96, 120};

double cpu_seconds() {
    struct timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);  // this thread only: the machine may be busy
    return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
}

// A small managed object, with its share of collection and sweeping, against malloc and free of
// the same payload, in alternating batches of one run. The time is the managed allocation's; the
// counters give both per allocation and their ratio.
void BM_SmallObjectAgainstMalloc(benchmark::State& state) {
    runtime_up();
    nolt_type types[8];
    for (int i = 0; i < 8; i++) types[i] = nolt_type{kSizes[i], 0, "S", nullptr, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0};
    constexpr int kBatch = 1024;
    double managed = 0, system = 0;
    for (auto _ : state) {
        double start = cpu_seconds();
        for (int i = 0; i < kBatch; i++) benchmark::DoNotOptimize(nolt_heaps_new_object(&types[i & 7]));
        double middle = cpu_seconds();
        for (int i = 0; i < kBatch; i++) {
            void* p = malloc(kSizes[i & 7]);
            benchmark::DoNotOptimize(p);
            free(p);
        }
        double end = cpu_seconds();
        managed += middle - start;
        system += end - middle;
        state.SetIterationTime(middle - start);
    }
    double count = (double)state.iterations() * kBatch;
    state.counters["managed_ns"] = managed / count * 1e9;
    state.counters["malloc_free_ns"] = system / count * 1e9;
    state.counters["ratio"] = managed / system;
    state.SetItemsProcessed((int64_t)count);
}
BENCHMARK(BM_SmallObjectAgainstMalloc)->UseManualTime();

void BM_HeapMakeRooted(benchmark::State& state) {
    runtime_up();
    for (auto _ : state) benchmark::DoNotOptimize(make<Small>().get());
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_HeapMakeRooted);

// Eight buffers of 2048 lines of 512 bytes: the IDE's largest live heap.
Global<Array<Member<Array<Member<Text>>>>> buffers;

void BM_CollectionPauseEditorHeap(benchmark::State& state) {
    runtime_up();
    buffers.register_root();
    buffers = Array<Member<Array<Member<Text>>>>::make(8);
    char line[512];
    memset(line, 'x', sizeof line);
    for (int b = 0; b < 8; b++) {
        (*buffers.get())[b] = Array<Member<Text>>::make(2048);
        for (int l = 0; l < 2048; l++) (*(*buffers.get())[b].get())[l] = make_text(line, sizeof line);
    }
    for (auto _ : state) {
        nolt_heaps_gc();
        state.SetIterationTime(nolt_heaps_get_gc_stats()->pause_us / 1e6);
    }
    state.counters["pause_us"] = nolt_heaps_get_gc_stats()->pause_us;
    state.counters["mark_us"] = nolt_heaps_get_gc_stats()->mark_us;
    state.counters["live_MiB"] = nolt_heaps_get_gc_stats()->live_bytes / 1048576.0;
}
BENCHMARK(BM_CollectionPauseEditorHeap)->UseManualTime()->Unit(benchmark::kMicrosecond);

// Allocation of short-lived objects beside a live heap of the given number of 64-byte objects.
Global<Array<Member<Small>>> live_set;

void BM_AllocationWithLiveHeap(benchmark::State& state) {
    runtime_up();
    live_set.register_root();
    live_set = Array<Member<Small>>::make((uint64_t)state.range(0));
    for (int64_t i = 0; i < state.range(0); i++) (*live_set.get())[i] = make<Small>();
    for (auto _ : state) benchmark::DoNotOptimize(make<Small>().get());
    state.SetItemsProcessed(state.iterations());
    live_set = Root<Array<Member<Small>>>();
}
BENCHMARK(BM_AllocationWithLiveHeap)->RangeMultiplier(8)->Range(1 << 10, 1 << 19);

}  // namespace

BENCHMARK_MAIN();
