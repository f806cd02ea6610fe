// Parses arbitrary command lines (arguments split at line feeds) on a tree with every kind of
// declaration: whatever the arguments, a parse ends in a status, an error has a message, and a
// successful parse reached a command without subcommands.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include "fuzz/boot.hpp"
#include "stdlib/sys/optparse.hpp"

using namespace stdlib;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool quiet = freopen("/dev/null", "w", stdout) != nullptr;  // help and version texts
    (void)quiet;
    fuzz_boot();
    if (size > 4096) return 0;
    Root<Command> root = command("prog"_t);
    root->version("1.0"_t);
    root->bool_flag("quiet"_t, 'q', false, "Say less"_t);
    root->string_flag("config"_t, 0, ""_t, "Config file"_t);
    Root<Command> build = root->subcommand("build"_t, "Build"_t);
    build->int_flag("jobs"_t, 'j', 1, "Jobs"_t);
    build->arg("target"_t);
    build->rest();
    Root<Command> remote = root->subcommand("remote"_t, "Remotes"_t);
    remote->subcommand("add"_t, "Add"_t)->arg("name"_t);
    remote->subcommand("rm"_t, "Remove"_t)->bool_flag("force"_t, 'f', false, "Force"_t);

    string_array argv = split(from_bytes(reinterpret_cast<const char*>(data), (int32_t)size), '\n');
    for (int round = 0; round < 2; round++) {
        Status status = root->parse_argv(argv);
        if (status.tag == Status::Err && length(format(status.error)) == 0) abort();
        Root<Array<Member<Command>>> below = root->invoked->subcommands;
        if (status.tag == Status::OkParsed && runtime::length(below) > 0) abort();
    }
    return 0;
}
