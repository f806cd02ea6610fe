// A small program on the framework that hands its terminal to a child. Ctrl-R runs the command
// line from argv[2] on; Ctrl-E runs argv[1] alone. The status line shows "exit N" or the
// error's message. Ctrl-Q quits.
#include "kestrum/desktop.hpp"
#include "stdlib/core/convert.hpp"
#include "tests/support/runtime_up.hpp"

using namespace kestrum;
using namespace stdlib;

namespace {

int32_t run(int argc, char** argv) {
    Root<Application> app = Application::create(theme_classic());
    Root<CommandTable> table = commands_create(4);
    commands_set_accel(table, 100, key_event_ctrl_letter('R'));
    commands_set_accel(table, 101, key_event_ctrl_letter('E'));
    commands_set_accel(table, CMD_QUIT, key_event_ctrl_letter('Q'));
    app->set_commands(table);
    if (!app->open()) return 1;
    app->set_status("ready"_t);
    while (app->running) {
        app->do_step();
        int32_t cmd = app->take_command();
        if (cmd == CMD_QUIT) app->quit();
        if ((cmd != 100 && cmd != 101) || argc < 3) continue;
        string_array args = runtime::Array<runtime::Member<Text>>::make(cmd == 100 ? argc - 2 : 1);
        for (int32_t i = 0; i < length(args); i++) args[i] = from_c(argv[cmd == 100 ? i + 2 : 1]);
        auto result = app->yield_exec(string(args[0]), args);
        app->set_status(result.is_ok() ? concat("exit "_t, stdlib::to_string(result.unwrap_ok()))
                                       : string(result.unwrap_err()->message));
    }
    app->close();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    test_support::runtime_up();
    nolt_machine_exit(run(argc, argv));
}
