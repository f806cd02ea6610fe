// Process entry: brings the runtime up in its fixed order and enters the IDE.
#include <stdio.h>
#include <unistd.h>

#include "ide/user_prefs.hpp"
#include "ide/version.hpp"
#include "kestrum/syntax.hpp"
#include "runtime/heaps.hpp"
#include "runtime/machine.hpp"
#include "runtime/objects.hpp"
#include "stdlib/io/console.hpp"
#include "stdlib/sys/optparse.hpp"

namespace {

int32_t start_ui(const stdlib::string& path) {
    (void)path;
    if (!isatty(0) || !isatty(1)) {
        fputs("noltide: not a TTY\n", stdout);
        return 1;
    }
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
    kestrum::g_langs = runtime::Array<runtime::Member<kestrum::Lang>>::make(kestrum::MAX_LANGS);
    kestrum::g_extra = runtime::Array<runtime::Member<runtime::Text>>::make(kestrum::MAX_EXTRA_DIRS);
    nolt_args_init(argc, argv);
    nolt_machine_exit(nolt_main());
}
