// Highlighting: one draw of a 1,024-line Nolt file with the shipped definition, which scans every
// line from the top and paints the rows in view. The argument is the number of rows painted: none
// (the scan alone), a screenful, or all. Counters: time per line and managed bytes allocated per
// draw, which must stay 0.
#include <benchmark/benchmark.h>

#include <string>

#include "kestrum/syntax.hpp"
#include "tests/support/runtime_up.hpp"

using namespace kestrum;
using namespace stdlib;

namespace {

constexpr int32_t LINES = 1024;

// Sixteen lines of ordinary Nolt, repeated: declarations, control flow, strings with escapes,
// numbers, comments and one comment block in the middle of a line.
string_array nolt_document() {
    const char* block[] = {
        "# Totals of an order, with taxes and a discount.",
        "object Order",
        "    items: array of Item",
        "    rate: f64 = 0.19",
        "end Order",
        "",
        "fn total(order: Order, discount: i32) -> f64",
        "    let sum = 0.0  # running total",
        "    for item in order.items",
        "        if item.count > 0 and item.price >= 1.5",
        "            sum = sum + item.price * item.count",
        "        end",
        "    end",
        "    print(\"total:\\t\" + to_string(sum) + \"\\n\")",
        "    return sum * (1.0 + order.rate) - 0x10 * discount",
        "end total",
    };
    string_array lines = Array<Member<Text>>::make(LINES);
    for (int32_t i = 0; i < LINES; i++) lines[i] = from_c(block[i % 16]);
    return lines;
}

void BM_HighlightNolt(benchmark::State& state) {
    test_support::runtime_up();
    add_syntax_dir(NOLT_SOURCE_DIR "/nolt-stdlib/kestrum/syntax.d"_t);
    int32_t lang = LANG_NOLT();
    if (lang == 0) state.SkipWithError("no Nolt definition found");
    int32_t rows = (int32_t)state.range(0);
    string_array lines = nolt_document();
    Root<CellBuffer> buf = cellbuf_create(120, rows);
    Root<SyntaxScheme> scheme = scheme_default();
    uint64_t allocated = nolt_heaps_get_gc_stats()->total_allocated;
    for (auto _ : state) paint_lines(buf, lines, LINES, 0, rows, 0, 0, lang, scheme, rect(0, 0, 120, rows));
    double draws = (double)state.iterations();
    state.counters["alloc_bytes/draw"] = (double)(nolt_heaps_get_gc_stats()->total_allocated - allocated) / draws;
    state.counters["per_line"] =
        benchmark::Counter(draws * LINES, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_HighlightNolt)->Arg(0)->Arg(50)->Arg(LINES)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
