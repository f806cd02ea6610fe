// A 200x60 desktop of eight overlapping framed windows with scrollbars, the menu bar and the
// status line: each frame drawn whole and then diffed against the one shown, as the
// application's redraw does. Counters: managed bytes, terminal bytes and writes per frame.
#include <benchmark/benchmark.h>
#include <fcntl.h>

#include "kestrum/desktop.hpp"
#include "kestrum/widgets/label.hpp"
#include "kestrum/widgets/scrollbar.hpp"
#include "tests/support/runtime_up.hpp"

using namespace kestrum;
using namespace stdlib;
using runtime::make;

namespace {

void BM_DesktopOfEightWindows(benchmark::State& state) {
    test_support::runtime_up();
    TermConfig config;
    config.raw_mode = false;
    config.require_tty = false;
    config.out_fd = open("/dev/null", O_WRONLY);
    Root<Term> term = unwrap(term_open(config));
    term->depth = ColorDepth::TrueColor;
    Root<Theme> theme = theme_classic();
    Root<Desktop> desk = Desktop::create();
    Root<MenuBar> bar = MenuBar::create(8);
    for (const char* title : {"File", "Edit", "Build", "Project", "Settings", "Help"}) bar->add(menu_create(from_c(title), 4));
    desk->set_menubar(bar);
    desk->set_bounds(rect(0, 0, 200, 60));
    for (int32_t i = 0; i < 8; i++) {
        Root<Window> win = make<Window>(rect(i * 12, 1 + i * 5, 100, 30), "main.nolt"_t);
        win->closable = win->minimizable = win->maximizable = true;
        Root<Label> text = make<Label>(rect(0, 0, 97, 28), "fn main() do print(\"hello\") end -- a line of source"_t);
        text->set_wrap(true);
        win->add(text);
        win->add(make<Scrollbar>(rect(98, 0, 1, 28), 1000, 28, 40 * i));
        desk->add(win);
    }
    desk->set_status("main.nolt"_t);
    desk->set_status_right("Ln 12, Col 4"_t);
    Root<CellBuffer> frame = cellbuf_create(200, 60), shown = cellbuf_create(200, 60);
    Rect full = rect(0, 0, 200, 60);
    desk->draw(frame, desk->bounds, full, false, theme);
    cellbuf_flush(term, frame, shown);
    uint64_t managed = nolt_heaps_get_gc_stats()->total_allocated;
    int64_t bytes = term->bytes_written, calls = term->write_calls;
    int32_t n = 0;
    for (auto _ : state) {
        desk->set_active_idx(n++ % 8);  // a different window on top each frame
        desk->draw(frame, desk->bounds, full, false, theme);
        cellbuf_flush(term, frame, shown);
    }
    double frames = (double)state.iterations();
    state.counters["managed_bytes/frame"] = (double)(nolt_heaps_get_gc_stats()->total_allocated - managed) / frames;
    state.counters["bytes/frame"] = (double)(term->bytes_written - bytes) / frames;
    state.counters["writes/frame"] = (double)(term->write_calls - calls) / frames;
}
BENCHMARK(BM_DesktopOfEightWindows);

}  // namespace

BENCHMARK_MAIN();
