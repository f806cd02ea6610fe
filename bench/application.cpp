// One key typed into an input line of a dialog over a 200x60 desktop: the modal loop reads it,
// redraws the frame and sends the difference. Counters: terminal bytes and write calls per key.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include "kestrum/desktop.hpp"
#include "kestrum/widgets/inputline.hpp"
#include "tests/support/runtime_up.hpp"

using namespace kestrum;
using namespace stdlib;
using runtime::make;

namespace {

void BM_KeyIntoDialogField(benchmark::State& state) {
    test_support::runtime_up();
    int keys[2];
    if (pipe(keys) != 0) return state.SkipWithError("no pipe");
    setenv("COLUMNS", "200", 1);
    setenv("LINES", "60", 1);
    TermConfig config;
    config.raw_mode = false;
    config.require_tty = false;
    config.in_fd = keys[0];
    config.out_fd = open("/dev/null", O_WRONLY);
    Root<Application> app = Application::create(theme_classic());
    app->term = unwrap(term_open(config));
    app->term->depth = ColorDepth::TrueColor;
    app->is_open = app->running = true;
    app->rebuild_buffers();
    app->set_menubar(MenuBar::create(8));
    app->set_status("ready"_t);
    Root<Window> dialog = make<Window>(rect(0, 0, 60, 10), "Save As"_t);
    Root<InputLine> field = InputLine::create(rect(1, 2, 56, 1), 4096, "/home/user/project/src/"_t);
    dialog->add(field);
    dialog->center_in(app->desktop->content_rect());
    app->modal_push(dialog);
    app->redraw();
    int64_t bytes = app->term->bytes_written, calls = app->term->write_calls;
    for (auto _ : state) {
        if (write(keys[1], "a", 1) != 1) return state.SkipWithError("write failed");
        app->modal_poll();
        if (field->caret >= 50) field->set_text("/home/user/project/src/"_t);
    }
    double n = (double)state.iterations();
    state.counters["bytes/key"] = (double)(app->term->bytes_written - bytes) / n;
    state.counters["writes/key"] = (double)(app->term->write_calls - calls) / n;
    close(keys[0]), close(keys[1]);
}
BENCHMARK(BM_KeyIntoDialogField);

}  // namespace

BENCHMARK_MAIN();
