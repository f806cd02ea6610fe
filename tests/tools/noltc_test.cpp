// Runs the built noltc on small projects, each in a fresh directory.
#include <gtest/gtest.h>
#include <stdio.h>

#include <filesystem>
#include <string>

#include "tests/support/temp_dir.hpp"

namespace {

const std::string NOLTC = NOLTC_BIN;
const std::string GOOD_MAIN =
    "# entry\nfn main(args: array of string) -> i32\n    if args.length > 1 # \"quoted\"\n"
    "        print(\"end if\")\n    end if\n    return 0\nend main\n";

// Runs `command` in a project with this nolt.toml, src/main.nolt and one more source; returns
// what it printed on both streams.
std::string run_in_project(const std::string& toml, const std::string& main, const std::string& command) {
    test_support::TempDir dir;
    std::filesystem::create_directories(dir / "src/util");
    test_support::write_bytes(dir / "nolt.toml", toml);
    test_support::write_bytes(dir / "src/main.nolt", main);
    test_support::write_bytes(dir / "src/util/text.nolt", "type Pair struct\n    a: i32\nend Pair\nfn twice(x) => x * 2");
    std::string out;
    FILE* pipe = popen(("cd '" + dir.path() + "' && { " + command + "; } 2>&1").c_str(), "r");
    char chunk[512];
    for (size_t n; pipe && (n = fread(chunk, 1, sizeof chunk, pipe)) > 0;) out.append(chunk, n);
    if (pipe) pclose(pipe);
    return out;
}

TEST(Noltc, BuildsGoodSourcesAndReportsEachFaultWithItsPlace) {
    const std::string status = "; echo \"exit $?\"", demo = "[package]\nname = \"demo\"\n";
    struct Case {
        std::string toml, main, command, expected;
    } cases[] = {
        {demo + "\n[build]\noutput_dir = \"out\"\n", GOOD_MAIN,
         NOLTC + " build && out/demo one 'two words' && " + NOLTC + " src/util/text.nolt -o bin/text && bin/text",
         "demo: built from 2 source files, 11 lines, by noltc, a stand-in compiler\none\ntwo words\n"
         "text: built from 1 source file, 4 lines, by noltc, a stand-in compiler\n"},
        {demo, "fn main()\n    while true\n        print(\"open)\n    end loop\n    x = 'a\nend main\nobject Box\n",
         NOLTC + " build" + status + "; test -e build/demo && echo written",
         "src/main.nolt:3:15: error: unterminated string\n"
         "src/main.nolt:4:5: error: `end loop` does not close `while` opened at line 2: expected `end while`\n"
         "src/main.nolt:5:9: error: unterminated character literal\n"
         "src/main.nolt:7:1: error: `Box` is not closed: expected `end Box`\n"
         "noltc: 4 errors, nothing written\nexit 1\n"},
        {demo + "[build]\nentry = \"src/app.nolt\"\n", GOOD_MAIN, NOLTC + " build" + status,
         "noltc: error: cannot read the entry src/app.nolt: No such file or directory\nexit 1\n"},
        {"[package\n", GOOD_MAIN, NOLTC + " build", "noltc: error: nolt.toml:1: unclosed table header\n"},
        // A file without the extension would be its own output: it stays as it was.
        {demo, GOOD_MAIN, "cp src/main.nolt prog && " + NOLTC + " prog -o prog" + status + "; cmp prog src/main.nolt",
         "noltc: error: the output prog would overwrite the source\nexit 1\n"},
    };
    for (const Case& c : cases) EXPECT_EQ(run_in_project(c.toml, c.main, c.command), c.expected) << c.command;
}

}  // namespace
