// Start-up cost of the machine layer and the idle cost of its tick thread.
//
// MachineInit runs nolt_machine_init in a fresh forked child each time, since the layer starts
// once per process. TickThreadIdle samples the tick thread's kernel counters over one second of
// idleness: wake-ups (voluntary context switches) and CPU time (schedstat, in nanoseconds).
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "runtime/machine.hpp"
#include "runtime/platform.hpp"

namespace {

double monotonic_seconds() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
}

void BM_MachineInit(benchmark::State& state) {
    for (auto _ : state) {
        int fds[2];
        if (pipe(fds) != 0) {
            state.SkipWithError("pipe failed");
            return;
        }
        pid_t child = fork();
        if (child == 0) {
            double begin = monotonic_seconds();
            nolt_machine_init();
            double elapsed = monotonic_seconds() - begin;
            ssize_t written = write(fds[1], &elapsed, sizeof elapsed);
            _exit(written == sizeof elapsed ? 0 : 1);
        }
        close(fds[1]);
        double elapsed = 0;
        bool read_ok = read(fds[0], &elapsed, sizeof elapsed) == sizeof elapsed;
        close(fds[0]);
        int status = 0;
        waitpid(child, &status, 0);
        if (!read_ok || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            state.SkipWithError("child failed");
            return;
        }
        state.SetIterationTime(elapsed);
    }
}
BENCHMARK(BM_MachineInit)->Iterations(10)->UseManualTime()->Unit(benchmark::kMillisecond);

struct TickThreadSample {
    long long wakeups = 0;
    long long cpu_ns = 0;
};

bool sample_tick_thread(int tid, TickThreadSample* sample) {
    char path[64];
    snprintf(path, sizeof path, "/proc/self/task/%d/schedstat", tid);
    FILE* file = fopen(path, "r");
    if (!file) return false;
    bool ok = fscanf(file, "%lld", &sample->cpu_ns) == 1;
    fclose(file);
    snprintf(path, sizeof path, "/proc/self/task/%d/status", tid);
    file = fopen(path, "r");
    if (!file) return false;
    char line[256];
    bool found = false;
    while (fgets(line, sizeof line, file))
        if (sscanf(line, "voluntary_ctxt_switches: %lld", &sample->wakeups) == 1) found = true;
    fclose(file);
    return ok && found;
}

void BM_TickThreadIdle(benchmark::State& state) {
    nolt_machine_init();
    int tid = 0;
    while ((tid = nolt_machine_tick_thread_tid()) == 0) nolt_platform_sleep_us(1000);
    double wakeups = 0, cpu_ns = 0, seconds = 0;
    for (auto _ : state) {
        TickThreadSample before, after;
        double begin = monotonic_seconds();
        if (!sample_tick_thread(tid, &before)) {
            state.SkipWithError("tick thread counters unreadable");
            return;
        }
        nolt_platform_sleep_us(1000000);
        sample_tick_thread(tid, &after);
        double elapsed = monotonic_seconds() - begin;
        wakeups += (double)(after.wakeups - before.wakeups);
        cpu_ns += (double)(after.cpu_ns - before.cpu_ns);
        seconds += elapsed;
        state.SetIterationTime(elapsed);
    }
    state.counters["wakeups_per_s"] = wakeups / seconds;
    state.counters["cpu_us_per_s"] = cpu_ns / 1000.0 / seconds;
    state.counters["cpu_percent"] = cpu_ns / 1e9 / seconds * 100.0;
}
BENCHMARK(BM_TickThreadIdle)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
