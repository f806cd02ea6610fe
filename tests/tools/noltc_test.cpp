// Runs the built noltc on small projects and files in a fresh directory.
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/wait.h>

#include <filesystem>
#include <string>

#include "tests/support/temp_dir.hpp"

namespace {

struct Ran {
    int status;
    std::string output;  // stdout and stderr together
};

Ran run(const std::string& dir, const std::string& command) {
    Ran ran{-1, ""};
    FILE* pipe = popen(("cd '" + dir + "' && " + command + " 2>&1").c_str(), "r");
    if (!pipe) return ran;
    char chunk[512];
    for (size_t n; (n = fread(chunk, 1, sizeof chunk, pipe)) > 0;) ran.output.append(chunk, n);
    int raw = pclose(pipe);
    ran.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    return ran;
}

const std::string NOLTC = NOLTC_BIN;

struct Project : test_support::TempDir {
    Project(const std::string& toml, const std::string& main) {
        std::filesystem::create_directories(path() + "/src/util");
        test_support::write_bytes(*this / "nolt.toml", toml);
        if (!main.empty()) test_support::write_bytes(*this / "src/main.nolt", main);
    }
};

const char GOOD_MAIN[] =
    "# entry\nfn main(args: array of string) -> i32\n    if args.length > 1 # \"quoted\"\n"
    "        print(\"end if\")\n    end if\n    return 0\nend main\n";

TEST(Noltc, BuildsAProjectWhoseProgramReportsItsSourcesAndArguments) {
    Project p("[package]\nname = \"demo\"\n\n[build]\noutput_dir = \"out\"\n", GOOD_MAIN);
    test_support::write_bytes(p / "src/util/text.nolt", "type Pair struct\n    a: i32\nend Pair\nfn twice(x) => x * 2");
    Ran built = run(p.path(), NOLTC + " build");
    ASSERT_EQ(built.status, 0) << built.output;
    Ran ran = run(p.path(), "out/demo one 'two words'");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.output, "demo: built from 2 source files, 11 lines, by noltc, a stand-in compiler\none\ntwo words\n");

    Ran single = run(p.path(), NOLTC + " src/util/text.nolt -o bin/text && bin/text");
    EXPECT_EQ(single.output, "text: built from 1 source file, 4 lines, by noltc, a stand-in compiler\n");
}

TEST(Noltc, ReportsUnclosedBlocksAndLiteralsWithTheirPlace) {
    Project p("[package]\nname = \"demo\"\n",
              "fn main()\n    while true\n        print(\"open)\n    end loop\n    x = 'a\nend main\nobject Box\n");
    Ran built = run(p.path(), NOLTC + " build");
    EXPECT_EQ(built.status, 1);
    EXPECT_EQ(built.output,
              "src/main.nolt:3:15: error: unterminated string\n"
              "src/main.nolt:4:5: error: `end loop` does not close `while` opened at line 2: expected `end while`\n"
              "src/main.nolt:5:9: error: unterminated character literal\n"
              "src/main.nolt:7:1: error: `Box` is not closed: expected `end Box`\n"
              "noltc: 4 errors, nothing written\n");
    EXPECT_FALSE(std::filesystem::exists(p / "build/demo"));
}

TEST(Noltc, RefusesMissingFilesAndBadCommandLines) {
    Project p("[package]\nname = \"demo\"\n[build]\nentry = \"src/app.nolt\"\n", GOOD_MAIN);
    EXPECT_EQ(run(p.path(), NOLTC + " build").output,
              "noltc: error: cannot read the entry src/app.nolt: No such file or directory\n");
    test_support::write_bytes(p / "nolt.toml", "[package\n");
    EXPECT_EQ(run(p.path(), NOLTC + " build").output, "noltc: error: nolt.toml:1: unclosed table header\n");
    Ran usage = run(p.path(), NOLTC + " src/main.nolt main");
    EXPECT_EQ(usage.status, 2);
    EXPECT_NE(usage.output.find("usage: noltc"), std::string::npos);
    EXPECT_EQ(run(p.path(), NOLTC + " src/main.nolt -o src/main.nolt").status, 1);
    EXPECT_EQ(test_support::read_bytes(p / "src/main.nolt"), GOOD_MAIN);
}

}  // namespace
