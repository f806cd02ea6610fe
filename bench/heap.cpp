// Allocation throughput against malloc+free, the pause of one collection over an editor-sized
// live heap, and how allocation cost grows with the live heap.
#include <benchmark/benchmark.h>
#include <stdlib.h>

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

// Payload sizes cycled by both allocation benchmarks: 16 to 120 bytes.
constexpr size_t kSizes[] = {16, 24, 32, 48, 64, 80, 96, 120};

void BM_HeapSmallObjects(benchmark::State& state) {
    runtime_up();
    nolt_type types[8];
    for (int i = 0; i < 8; i++) types[i] = nolt_type{kSizes[i], 0, "S", nullptr, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0};
    uint64_t n = 0;
    for (auto _ : state) benchmark::DoNotOptimize(nolt_heaps_new_object(&types[n++ & 7]));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_HeapSmallObjects);

void BM_MallocFreeSmall(benchmark::State& state) {
    uint64_t n = 0;
    for (auto _ : state) {
        void* p = malloc(kSizes[n++ & 7]);
        benchmark::DoNotOptimize(p);
        free(p);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_MallocFreeSmall);

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
