// Typing into the real binary: 2,000 characters typed one by one into a 1,000-line file in a
// maximised edit window of a 200x60 terminal, each waited for on the screen as a person would
// see it. Counters: processor time of the program and terminal bytes per typed character.
#include <benchmark/benchmark.h>

#include <string>

#include "harness.hpp"

namespace {

constexpr int kChars = 2000;
constexpr int kPerLine = 40;

void BM_TypeIntoLongFile(benchmark::State& state) {
    e2e::TempDir home;
    std::string text;
    for (int i = 1; i <= 1000; i++) text += "line " + std::to_string(i) + " of the file\n";
    e2e::write_file(home.path() / "long.txt", text);
    for (auto _ : state) {
        e2e::Session s(NOLTIDE_BIN, e2e::Options().with_size(200, 60).with_home(home.path()).with_args({"long.txt"}));
        if (!s.wait_text("1001 lines  1:1  INS")) return state.SkipWithError("the file did not open");
        long cpu0 = s.cpu_ms_now();
        size_t bytes0 = s.output().size();
        for (int i = 0; i < kChars; i++) {
            int line = i / kPerLine, col = i % kPerLine;
            if (col == 0 && line > 0) s.send("\x1b[B\x1b[H");  // down, then home
            s.send(std::string(1, char('a' + i % 26)));
            std::string want = "  " + std::to_string(line + 1) + ":" + std::to_string(col + 2) + "  INS";
            if (!s.wait_text(want)) return state.SkipWithError("a key was not shown");
        }
        state.counters["cpu_us_per_char"] = double(s.cpu_ms_now() - cpu0) * 1000.0 / kChars;
        state.counters["bytes_per_char"] = double(s.output().size() - bytes0) / kChars;
        s.kill();
    }
}
BENCHMARK(BM_TypeIntoLongFile)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
