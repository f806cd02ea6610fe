// Menus: drawing the bar of the IDE's six menus with the File menu pulled down into a 200x60
// frame, and with nothing open. Counter: managed bytes allocated per draw, which must stay 0.
#include <benchmark/benchmark.h>

#include "kestrum/widgets/menubar.hpp"
#include "tests/support/runtime_up.hpp"

using namespace kestrum;
using namespace stdlib;

namespace {

constexpr int32_t W = 200, H = 60;

// The IDE's menus, their rows with and without accelerators, and the text at the right.
Root<MenuBar> six_menus() {
    const char* titles[] = {"File", "Edit", "Build", "Project", "Settings", "Help"};
    const char* labels[] = {"New",  "Open…",    "Open Project…", "Close Project",
                            "Save", "Save As…", nullptr,          "Quit"};
    Root<MenuBar> bar = MenuBar::create(8);
    for (int32_t m = 0; m < 6; m++) {
        Root<Menu> menu = menu_create(from_c(titles[m]), 16);
        for (int32_t i = 0; i < 8; i++) {
            int32_t command = 100 + m * 10 + i;
            menu_add(menu, !labels[i] ? menu_item_sep()
                           : i % 2   ? menu_item(from_c(labels[i]), command)
                                     : menu_item_accel(from_c(labels[i]), command, key_event_ctrl_letter('A' + i)));
        }
        bar->add(menu);
    }
    Root<CommandTable> table = commands_create(64);
    bar->register_accels(table);
    commands_set(table, 105, false);
    bar->set_right_text("noltide 0.1 — demo"_t);
    return bar;
}

void BM_MenuBarDraw(benchmark::State& state) {
    test_support::runtime_up();
    Root<MenuBar> bar = six_menus();
    if (state.range(0)) {
        menubar_open(bar, 0);
        bar->item_idx = 4;
    }
    Root<CellBuffer> frame = cellbuf_create(W, H);
    Root<Theme> theme = theme_classic();
    uint64_t allocated = nolt_heaps_get_gc_stats()->total_allocated;
    for (auto _ : state) bar->draw(frame, rect(0, 0, W, 1), rect(0, 0, W, H), false, theme);
    state.counters["alloc_bytes/draw"] =
        (double)(nolt_heaps_get_gc_stats()->total_allocated - allocated) / (double)state.iterations();
}
BENCHMARK(BM_MenuBarDraw)->ArgName("open")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
