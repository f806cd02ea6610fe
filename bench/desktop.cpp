// A 200x60 desktop under the menu bar and over the status line, drawn over the frame before it and
// diffed against the one shown, as the application's redraw does: eight overlapping framed windows
// with a different one on top each frame; the same desktop where one cell of the status line
// changes; and one maximized window of 1,000 Nolt lines that a key is typed into each frame.
// Counters: managed bytes, terminal bytes and writes per frame.
#include <benchmark/benchmark.h>
#include <fcntl.h>

#include <string>

#include "kestrum/desktop.hpp"
#include "kestrum/syntax.hpp"
#include "kestrum/widgets/label.hpp"
#include "kestrum/widgets/scrollbar.hpp"
#include "kestrum/widgets/textarea.hpp"
#include "tests/support/runtime_up.hpp"

using namespace kestrum;
using namespace stdlib;
using runtime::make;

namespace {

constexpr int32_t W = 200, H = 60;

// A desktop with its menu bar and status line, a terminal on /dev/null and the two frames.
struct Scene {
    bool up = (test_support::runtime_up(), true);  // before the members below allocate
    Root<Term> term;
    Root<Theme> theme = theme_classic();
    Root<Desktop> desk = Desktop::create();
    Root<CellBuffer> frame = cellbuf_create(W, H), shown = cellbuf_create(W, H);
    uint64_t managed = 0;
    int64_t bytes = 0, calls = 0;

    Scene() {
        TermConfig config;
        config.raw_mode = false;
        config.require_tty = false;
        config.out_fd = open("/dev/null", O_WRONLY);
        term = unwrap(term_open(config));
        term->depth = ColorDepth::TrueColor;
        Root<MenuBar> bar = MenuBar::create(8);
        for (const char* title : {"File", "Edit", "Build", "Project", "Settings", "Help"})
            bar->add(menu_create(from_c(title), 4));
        desk->set_menubar(bar);
        desk->set_bounds(rect(0, 0, W, H));
        desk->set_status("main.nolt"_t);
        desk->set_status_right("Ln 12, Col 4"_t);
    }
    void frame_out() {
        desk->draw(frame, desk->bounds, rect(0, 0, W, H), false, theme);
        cellbuf_flush(term, frame, shown);
    }
    // After the first frame: what the timed ones cost is counted from here.
    void start() {
        frame_out();
        managed = nolt_heaps_get_gc_stats()->total_allocated;
        bytes = term->bytes_written, calls = term->write_calls;
    }
    void report(benchmark::State& state) {
        double frames = (double)state.iterations();
        state.counters["managed_bytes/frame"] = (double)(nolt_heaps_get_gc_stats()->total_allocated - managed) / frames;
        state.counters["bytes/frame"] = (double)(term->bytes_written - bytes) / frames;
        state.counters["writes/frame"] = (double)(term->write_calls - calls) / frames;
    }
};

void add_eight_windows(Scene& scene) {
    for (int32_t i = 0; i < 8; i++) {
        Root<Window> win = make<Window>(rect(i * 12, 1 + i * 5, 100, 30), "main.nolt"_t);
        win->closable = win->minimizable = win->maximizable = true;
        Root<Label> text = make<Label>(rect(0, 0, 97, 28), "fn main() do print(\"hello\") end -- a line of source"_t);
        text->set_wrap(true);
        win->add(text);
        win->add(make<Scrollbar>(rect(98, 0, 1, 28), 1000, 28, 40 * i));
        scene.desk->add(win);
    }
}

void BM_DesktopOfEightWindows(benchmark::State& state) {
    Scene scene;
    add_eight_windows(scene);
    scene.start();
    int32_t n = 0;
    for (auto _ : state) {
        scene.desk->set_active_idx(n++ % 8);  // a different window on top each frame
        scene.frame_out();
    }
    scene.report(state);
}
BENCHMARK(BM_DesktopOfEightWindows);

void BM_DesktopOneCellChanged(benchmark::State& state) {
    Scene scene;
    add_eight_windows(scene);
    scene.start();
    string right[2] = {"Ln 12, Col 5"_t, "Ln 12, Col 4"_t};
    int32_t n = 0;
    for (auto _ : state) {
        scene.desk->set_status_right(right[n++ % 2]);
        scene.frame_out();
    }
    scene.report(state);
}
BENCHMARK(BM_DesktopOneCellChanged);

// A window of 1,000 Nolt lines, with the text area filling its client area as the editor's does.
Root<TextArea> add_editor(Scene& scene, Rect bounds) {
    std::string text;
    for (int32_t i = 0; i < 1000; i++)
        text += "    let total_" + std::to_string(i) + " = items.fold(0, fn(sum, item) sum + item.price) -- " +
                std::to_string(i) + "\n";
    Root<Window> win = make<Window>(bounds, "main.nolt"_t);
    Root<TextArea> area = TextArea::create(rect(0, 0, bounds.w - 2, bounds.h - 2), max_lines_cap(), bounds.h - 2,
                                           max_line_cap());
    area->set_text(from_c(text.c_str()));
    area->set_line_numbers(true);
    area->set_syntax(LANG_NOLT());
    win->add(area);
    scene.desk->add(win);
    return area;
}

// An x typed at the end of one of forty lines in view, then taken back: two cells change a frame,
// the character's and the caret's. The argument is the number of editor windows: one maximized,
// or seven overlapping as a restored session places them, typed into the top one.
void BM_EditorFrameOneKey(benchmark::State& state) {
    Scene scene;
    add_syntax_dir(NOLT_SOURCE_DIR "/nolt-stdlib/kestrum/syntax.d"_t);
    if (LANG_NOLT() == 0) return state.SkipWithError("no Nolt definition found");
    Root<TextArea> area;
    if (state.range(0) == 1) {
        area = add_editor(scene, scene.desk->content_rect());
        scene.desk->window_at(0)->toggle_maximize(scene.desk->content_rect());
    }
    for (int32_t i = 1; i <= state.range(0) && state.range(0) > 1; i++)
        area = add_editor(scene, rect(20 + i * 10, 1 + i * 3, 100, 40));
    area->set_caret(500, 80);
    scene.start();
    Event keys[2] = {event_key(key_event_char('x')), event_key(key_event_plain(key_backspace()))};
    int32_t n = 0;
    for (auto _ : state) {
        if (n % 2 == 0) area->set_caret(500 + n / 2 % 20, 80);
        scene.desk->handle_event(keys[n++ % 2]);
        scene.frame_out();
    }
    scene.report(state);
}
BENCHMARK(BM_EditorFrameOneKey)->Arg(1)->Arg(7)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
