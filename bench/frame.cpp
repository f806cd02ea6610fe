// Frame output: drawing a full 200x60 frame and flushing it to a terminal descriptor, whole and
// with one cell changed. Counters: bytes and write calls per frame.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include "kestrum/cell.hpp"
#include "tests/support/runtime_up.hpp"

using namespace kestrum;
using namespace stdlib;

namespace {

constexpr int32_t W = 200, H = 60;

void boot() { test_support::runtime_up(); }

// An open terminal on /dev/null at the given depth.
Root<Term> null_term(ColorDepth depth) {
    TermConfig config;
    config.raw_mode = false;
    config.require_tty = false;
    config.out_fd = open("/dev/null", O_WRONLY);
    Root<Term> term = unwrap(term_open(config));
    term->depth = depth;
    return term;
}

// An editor-like frame: a boxed window of source lines with a gutter and a status row.
void draw_frame(const Root<CellBuffer>& frame, const string& line) {
    Style text = style_make(color_rgb(220, 220, 220), color_rgb(30, 30, 40), false, false, false);
    Style gutter = style_make(color_rgb(120, 120, 120), color_rgb(20, 20, 30), false, false, false);
    Style keyword = style_make(color_rgb(255, 180, 0), color_rgb(30, 30, 40), true, false, false);
    cellbuf_clear(frame, text);
    cellbuf_draw_box_glyphs(frame, rect(0, 0, W, H - 1), text, box_double_tl(), box_double_t(), box_double_tr(),
                            box_double_v(), box_double_bl(), box_double_b(), box_double_br());
    Rect inner = rect(1, 1, W - 2, H - 3);
    string number = "1234"_t, end = "end"_t;  // made once per frame, as a view keeps its fixed texts
    for (int32_t y = 1; y < H - 2; y++) {
        cellbuf_fill_rect(frame, rect(1, y, 5, 1), ' ', gutter);
        cellbuf_draw_text_in(frame, 1, y, number, gutter, inner);
        cellbuf_draw_text_in(frame, 7 + y % 4, y, line, text, inner);
        cellbuf_draw_text_in(frame, 7, y, end, keyword, inner);
    }
    cellbuf_draw_text(frame, 1, H - 1, "main.nolt  Ln 1, Col 1"_t, gutter);
}

void report(benchmark::State& state, const Root<Term>& term, int64_t bytes, int64_t calls, uint64_t managed) {
    double frames = (double)state.iterations();
    state.counters["managed_bytes/frame"] = (double)(nolt_heaps_get_gc_stats()->total_allocated - managed) / frames;
    state.counters["bytes/frame"] = benchmark::Counter((double)(term->bytes_written - bytes) / frames);
    state.counters["writes/frame"] = benchmark::Counter((double)(term->write_calls - calls) / frames);
}

// Every iteration draws the whole frame and sends all of it: the shown frame is marked unknown.
void BM_FullFrame(benchmark::State& state) {
    boot();
    Root<Term> term = null_term((ColorDepth)state.range(0));
    Root<CellBuffer> frame = cellbuf_create(W, H), shown = cellbuf_create(W, H);
    string line = "let total = items.fold(0, fn(sum, item) sum + item.price * item.count) -- \xe6\xbc\xa2\xe5\xad\x97"_t;
    int64_t bytes = term->bytes_written, calls = term->write_calls;
    uint64_t managed = nolt_heaps_get_gc_stats()->total_allocated;
    for (auto _ : state) {
        cellbuf_resize(shown, 0, 0);
        draw_frame(frame, line);
        cellbuf_flush(term, frame, shown);
    }
    report(state, term, bytes, calls, managed);
}
BENCHMARK(BM_FullFrame)->Arg((int)ColorDepth::Color256)->Arg((int)ColorDepth::TrueColor)->Unit(benchmark::kMicrosecond);

// Every iteration draws the whole frame again, and one cell differs from the frame before.
void BM_OneCellChanged(benchmark::State& state) {
    boot();
    Root<Term> term = null_term((ColorDepth)state.range(0));
    Root<CellBuffer> frame = cellbuf_create(W, H), shown = cellbuf_create(W, H);
    string line = "let total = items.fold(0, fn(sum, item) sum + item.price * item.count) -- \xe6\xbc\xa2\xe5\xad\x97"_t;
    draw_frame(frame, line);
    cellbuf_flush(term, frame, shown);
    int64_t bytes = term->bytes_written, calls = term->write_calls;
    uint64_t managed = nolt_heaps_get_gc_stats()->total_allocated;
    int32_t n = 0;
    for (auto _ : state) {
        draw_frame(frame, line);
        cellbuf_put(frame, 100, 30, 'a' + n++ % 26, style_default());
        cellbuf_flush(term, frame, shown);
    }
    report(state, term, bytes, calls, managed);
}
BENCHMARK(BM_OneCellChanged)->Arg((int)ColorDepth::Color256)->Arg((int)ColorDepth::TrueColor)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
