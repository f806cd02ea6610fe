// Process entry: brings the runtime up in its fixed order, reads the command line and runs the
// IDE's command loop until it quits.
#include <stdio.h>

#include "ide/commands.hpp"
#include "ide/flows.hpp"
#include "ide/user_prefs.hpp"
#include "ide/version.hpp"
#include "kestrum/syntax.hpp"
#include "runtime/heaps.hpp"
#include "runtime/machine.hpp"
#include "runtime/objects.hpp"
#include "stdlib/io/console.hpp"
#include "stdlib/io/dir.hpp"
#include "stdlib/sys/optparse.hpp"

namespace {

using kestrum::Application;
using runtime::Array;
using runtime::Root;
using stdlib::string;
using namespace runtime::literals;

void register_syntax_dirs() {
    const string candidates[] = {kestrum::home_syntax_dir(), "/usr/local/lib/nolt/stdlib/kestrum/syntax.d"_t,
                                 "/usr/lib/nolt/stdlib/kestrum/syntax.d"_t, "nolt-stdlib/kestrum/syntax.d"_t,
                                 "../nolt-stdlib/kestrum/syntax.d"_t};
    for (const string& dir : candidates)
        if (!stdlib::is_empty(dir) && stdlib::dir_exists(dir)) kestrum::add_syntax_dir(dir);
}

int32_t start_ui(const string& path) {
    Root<ide::Prefs> prefs = ide::ensure_loaded();
    Root<Application> app = Application::create(kestrum::theme_by_name(string(prefs->theme)));
    app->set_commands(ide::build_commands());
    Root<kestrum::MenuBar> bar = ide::build_menubar();
    app->set_menubar(bar);
    app->register_menu_accels();
    app->set_menubar_right(stdlib::concat("noltide "_t, ide::version()));
    register_syntax_dirs();
    kestrum::ensure_catalog();
    if (!app->open()) {
        fputs("noltide: not a TTY\n", stdout);
        return 1;
    }
    app->check_resize();
    string clip = stdlib::empty_string();
    Root<ide::Project> project = ide::open_start_path(app, path);
    while (true) {
        if (!app->running) {
            app->close();
            return 0;
        }
        app->do_step();
        ide::update_status(app);
        ide::run_command(app, bar, project, clip, app->take_command());
    }
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
