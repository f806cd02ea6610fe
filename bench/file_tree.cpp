// Reloading the file tree from a project of 256 sources in 8 directories: the walk, the sort and
// the list, as the IDE does on every activation and Refresh.
#include <benchmark/benchmark.h>
#include <sys/stat.h>

#include "ide/file_tree.hpp"
#include "tests/support/runtime_up.hpp"
#include "tests/support/temp_dir.hpp"

using namespace runtime::literals;

namespace {

void BM_FileTreeReload(benchmark::State& state) {
    test_support::runtime_up();
    test_support::TempDir tmp;
    mkdir((tmp / "src").c_str(), 0700);
    for (int d = 0; d < 8; d++) {
        std::string dir = "src/d" + std::to_string(d);
        mkdir((tmp / dir).c_str(), 0700);
        for (int f = 0; f < 32; f++) test_support::write_bytes(tmp / (dir + "/f" + std::to_string(31 - f) + ".nolt"), "");
    }
    runtime::Root<ide::Project> project = ide::empty_project();
    project->root = stdlib::from_c(tmp.path().c_str());
    project->name = "bench"_t;
    project->source_dirs = ide::default_source_dirs();
    runtime::Root<ide::FileTreeWin> win = ide::FileTreeWin::create();
    for (auto _ : state) {
        win->reload(project);
        benchmark::DoNotOptimize(win->list->count);
    }
    state.counters["files"] = win->list->count;
}
BENCHMARK(BM_FileTreeReload)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
