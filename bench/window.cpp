// Drawing a framed window of controls into a 120x40 frame, as the desktop does at every repaint.
// Counter: managed bytes allocated per frame, which must stay 0 once the first frame is drawn.
#include <benchmark/benchmark.h>

#include "kestrum/widgets/button.hpp"
#include "kestrum/widgets/checkbox.hpp"
#include "kestrum/widgets/label.hpp"
#include "kestrum/widgets/scrollbar.hpp"
#include "kestrum/widgets/window.hpp"
#include "tests/support/runtime_up.hpp"

using namespace kestrum;
using namespace stdlib;
using runtime::make;

namespace {

void BM_WindowWithControls(benchmark::State& state) {
    test_support::runtime_up();
    Root<Theme> theme = theme_classic();
    Root<CellBuffer> frame = cellbuf_create(120, 40);
    Root<Window> win = make<Window>(rect(2, 1, 116, 37), "Project settings"_t);
    win->closable = win->minimizable = win->maximizable = true;
    Root<Label> note = make<Label>(rect(1, 1, 60, 6), "The build runs the compiler on every source file of the "
                                                       "project and writes the program beside the project file."_t);
    note->set_wrap(true);
    win->add(note);
    for (int32_t i = 0; i < 10; i++) win->add(make<Checkbox>(rect(1, 8 + i, 30, 1), "Warnings as errors"_t, i % 2));
    win->add(make<Scrollbar>(rect(113, 0, 1, 35), 500, 35, 120));
    win->add(make<Button>(rect(80, 32, 10, 1), "OK"_t, CMD_OK));
    win->add(make<Button>(rect(92, 32, 10, 1), "Cancel"_t, CMD_CANCEL));
    Rect all = rect(0, 0, 120, 40);
    win->draw(frame, win->bounds, all, true, theme);
    uint64_t before = nolt_heaps_get_gc_stats()->total_allocated;
    for (auto _ : state) {
        win->draw(frame, win->bounds, all, true, theme);
        benchmark::DoNotOptimize(frame->cells->data());
    }
    double bytes = (double)(nolt_heaps_get_gc_stats()->total_allocated - before);
    state.counters["managed_bytes/frame"] = benchmark::Counter(bytes / (double)state.iterations());
}
BENCHMARK(BM_WindowWithControls);

}  // namespace

BENCHMARK_MAIN();
