// The text area on its hot paths: one typed character in a 1,000-line buffer followed by a draw of
// a 200x60 view, plain and highlighted as Nolt, and a draw of a full 2,048-line buffer with a
// selection across the view.
// Counter: managed bytes allocated per iteration (a typed character makes one new line text).
#include <benchmark/benchmark.h>

#include <string>

#include "kestrum/syntax.hpp"
#include "kestrum/widgets/textarea.hpp"
#include "tests/support/runtime_up.hpp"

using namespace kestrum;
using namespace stdlib;

namespace {

constexpr int32_t W = 200, H = 60;

uint64_t allocated() { return nolt_heaps_get_gc_stats()->total_allocated; }

Root<TextArea> source_area(int32_t lines) {
    std::string text;
    for (int32_t i = 0; i < lines; i++)
        text += "    let total_" + std::to_string(i) + " = items.fold(0, fn(sum, item) sum + item.price)\t-- \xe6\xbc\xa2\n";
    Root<TextArea> area = TextArea::create(rect(1, 1, W - 2, H - 2), max_lines_cap(), H - 2, max_line_cap());
    area->set_text(from_c(text.c_str()));
    area->set_line_numbers(true);
    return area;
}

void report(benchmark::State& state, uint64_t before) {
    state.counters["alloc_bytes/iter"] = benchmark::Counter(double(allocated() - before) / double(state.iterations()));
}

// The argument is 1 for a buffer highlighted as Nolt with the shipped definition.
void BM_TypeOneCharAndDraw(benchmark::State& state) {
    test_support::runtime_up();
    Root<TextArea> area = source_area(1000);
    if (state.range(0)) {
        add_syntax_dir(NOLT_SOURCE_DIR "/nolt-stdlib/kestrum/syntax.d"_t);
        if (LANG_NOLT() == 0) return state.SkipWithError("no Nolt definition found");
        area->set_syntax(LANG_NOLT());
    }
    Root<CellBuffer> buf = cellbuf_create(W, H);
    Root<Theme> theme = theme_classic();
    // An x typed on one of forty lines in view, then taken back, so that no line fills up.
    Event keys[2] = {event_key(key_event_char('x')), event_key(key_event_plain(key_backspace()))};
    area->set_caret(520, 10);
    area->draw(buf, area->bounds, rect(0, 0, W, H), true, theme);
    int32_t n = 0;
    uint64_t before = allocated();
    for (auto _ : state) {
        area->set_caret(500 + n / 2 % 40, 10 + n % 2);
        area->handle_event(keys[n++ % 2]);
        area->draw(buf, area->bounds, rect(0, 0, W, H), true, theme);
    }
    report(state, before);
}
BENCHMARK(BM_TypeOneCharAndDraw)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void BM_DrawFullBufferWithSelection(benchmark::State& state) {
    test_support::runtime_up();
    Root<TextArea> area = source_area(max_lines_cap() - 1);
    Root<CellBuffer> buf = cellbuf_create(W, H);
    Root<Theme> theme = theme_classic();
    area->set_caret(100, 5);
    area->begin_sel();
    area->set_caret(1900, 20);
    area->scroll_by(-900);
    uint64_t before = allocated();
    for (auto _ : state) area->draw(buf, area->bounds, rect(0, 0, W, H), true, theme);
    report(state, before);
}
BENCHMARK(BM_DrawFullBufferWithSelection)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
