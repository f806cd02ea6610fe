// Process entry: brings the runtime up in its fixed order and enters the IDE.
#include <stdio.h>
#include <unistd.h>

#include "ide/user_prefs.hpp"
#include "ide/version.hpp"
#include "kestrum/cell.hpp"
#include "kestrum/input.hpp"
#include "kestrum/syntax.hpp"
#include "kestrum/term.hpp"
#include "runtime/heaps.hpp"
#include "runtime/machine.hpp"
#include "runtime/objects.hpp"
#include "stdlib/io/console.hpp"
#include "stdlib/io/dir.hpp"
#include "stdlib/sys/optparse.hpp"
#include "stdlib/sys/poll.hpp"
#include "stdlib/sys/signal.hpp"

namespace {

using runtime::Array;
using runtime::Root;

constexpr int32_t KEY_CAP = 32;
constexpr int32_t READ_CAP = 256;
constexpr int32_t POLL_TIMEOUT_MS = 50;

// The screen as it stands until the application object takes it over: the desktop canvas of the
// default theme, kept to the terminal's size, and Alt-Q to leave.
struct Screen {
    Root<kestrum::Term> term;
    Root<kestrum::CellBuffer> frame, shown;
    Root<kestrum::KeyDecoder> decoder = kestrum::decoder_create();
    Root<Array<kestrum::Event>> events = Array<kestrum::Event>::make(KEY_CAP);
    stdlib::string read_buf = stdlib::string_buffer(READ_CAP);
    bool running = true;
    bool dirty = true;

    void redraw() {
        const kestrum::Style desktop = kestrum::style_make(kestrum::color_rgb(170, 170, 170),
                                                           kestrum::color_rgb(0, 0, 170), false, false, false);
        kestrum::cellbuf_clear(frame, desktop);
        kestrum::cellbuf_flush(term, frame, shown);
        dirty = false;
    }

    void check_resize() {
        kestrum::term_refresh_size(term);
        if (term->width == frame->width && term->height == frame->height) return;
        kestrum::cellbuf_resize(frame, term->width, term->height);
        dirty = true;
    }

    void drain(bool flush) {
        int32_t count = flush ? kestrum::decoder_flush_events(decoder, events, KEY_CAP)
                              : kestrum::decoder_poll_events(decoder, events, KEY_CAP);
        for (int32_t i = 0; i < count && running; i++) {
            const kestrum::KeyEvent& key = events[i].key;
            if (events[i].kind == kestrum::EventKind::Key && key.alt && key.key.tag == kestrum::KeyCode::Char &&
                (key.key.codepoint == 'q' || key.key.codepoint == 'Q'))
                running = false;
        }
        kestrum::decoder_take_paste(decoder);
    }

    void step() {
        if (stdlib::signal_received(stdlib::SIGHUP())) running = false;
        if (!running) return;
        stdlib::poll_clear();
        int32_t slot = stdlib::poll_add(term->in_fd, stdlib::POLLIN());
        if (stdlib::poll_wait(POLL_TIMEOUT_MS) > 0 && stdlib::poll_readable(slot)) {
            auto count = kestrum::term_read(term, read_buf, READ_CAP);
            int32_t n = count.is_ok() ? count.unwrap_ok() : 0;
            if (n > 0) kestrum::decoder_feed(decoder, stdlib::substring(read_buf, 0, n));
            drain(false);
        } else {
            if (decoder->len > 0) drain(true);
            check_resize();
        }
        if (dirty && running) redraw();
    }
};

// The syntax directories that exist, in the order in which later ones override earlier ones.
void register_syntax_dirs() {
    using namespace runtime::literals;
    const stdlib::string candidates[] = {kestrum::home_syntax_dir(), "/usr/local/lib/nolt/stdlib/kestrum/syntax.d"_t,
                                         "/usr/lib/nolt/stdlib/kestrum/syntax.d"_t, "nolt-stdlib/kestrum/syntax.d"_t,
                                         "../nolt-stdlib/kestrum/syntax.d"_t};
    for (const stdlib::string& dir : candidates)
        if (!stdlib::is_empty(dir) && stdlib::dir_exists(dir)) kestrum::add_syntax_dir(dir);
}

int32_t start_ui(const stdlib::string& path) {
    (void)path;  // opened once edit windows and projects exist
    register_syntax_dirs();
    kestrum::ensure_catalog();
    kestrum::TermResult opened = kestrum::term_open(kestrum::term_config_fullscreen());
    if (kestrum::is_err(opened)) {
        fputs("noltide: not a TTY\n", stdout);
        return 1;
    }
    stdlib::signal_init();
    stdlib::signal_handle(stdlib::SIGHUP());
    Screen screen{kestrum::unwrap(opened), kestrum::cellbuf_create(80, 24), kestrum::cellbuf_create(80, 24)};
    screen.check_resize();
    screen.redraw();
    while (screen.running) screen.step();
    kestrum::term_close(screen.term);
    return 0;
}

// The command line: no options of its own beyond help and version; only the first positional
// argument counts.
int32_t nolt_main() {
    using namespace stdlib;
    Root<Command> cli = command("noltide"_t);
    cli->about("In-tree CLI TUI IDE for Nolt (Kestrum)"_t);
    cli->version(ide::version());
    Root<Rest> rest = cli->rest();
    Status status = cli->parse();
    switch (status.tag) {
        case Status::OkParsed: return start_ui(rest->len() > 0 ? string(rest->values[0]) : empty_string());
        case Status::OkHelp:
        case Status::OkVersion: return 0;
        case Status::Err: println(format(status.error)); return 2;
    }
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    nolt_machine_init();
    nolt_heaps_init();
    nolt_objects_init();
    int stack_marker = 0;
    nolt_objects_register_main_process(&stack_marker);
    ide::g_prefs.register_root();
    kestrum::g_langs.register_root();
    kestrum::g_extra.register_root();
    ide::g_prefs = ide::default_prefs();
    kestrum::g_langs = Array<runtime::Member<kestrum::Lang>>::make(kestrum::max_langs());
    kestrum::g_extra = Array<runtime::Member<runtime::Text>>::make(kestrum::MAX_EXTRA_DIRS);
    nolt_args_init(argc, argv);
    nolt_machine_exit(nolt_main());
}
