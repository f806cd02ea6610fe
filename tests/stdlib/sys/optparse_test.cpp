#include "stdlib/sys/optparse.hpp"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

using namespace stdlib;

namespace {

std::string text(const string& s) { return std::string(c_str(s), (size_t)length(s)); }

// Parses "prog" followed by `items`; the outcome is "parsed", "help", "version" or the error's
// message.
std::string parse(const Root<Command>& cli, std::initializer_list<const char*> items) {
    string_array argv = Array<Member<Text>>::make(items.size() + 1);
    argv[0] = string("prog"_t);
    int32_t i = 1;
    for (const char* item : items) argv[i++] = from_c(item);
    Status status = cli->parse_argv(argv);
    switch (status.tag) {
        case Status::OkParsed: return "parsed";
        case Status::OkHelp: return "help";
        case Status::OkVersion: return "version";
        case Status::Err: return text(format(status.error));
    }
    return "bad tag";
}

// The same, with what the parse printed on standard output behind the outcome.
std::string parse_printing(const Root<Command>& cli, std::initializer_list<const char*> items) {
    testing::internal::CaptureStdout();
    std::string outcome = parse(cli, items);
    return outcome + ":" + testing::internal::GetCapturedStdout();
}

std::vector<std::string> rest_values(const Root<Rest>& rest) {
    std::vector<std::string> values;
    for (int32_t i = 0; i < rest->len(); i++) values.push_back(text(rest->values[i]));
    return values;
}

// prog [-q] { build [-j <int>] <target> | remote { add <name> | rm } }, version 1.2.
struct Tree {
    Root<Command> root = command("prog"_t);
    Root<BoolFlag> quiet = root->bool_flag("quiet"_t, 'q', false, "Say less"_t);
    Root<Command> build = root->subcommand("build"_t, "Build it"_t);
    Root<IntFlag> jobs = build->int_flag("jobs"_t, 'j', 1, "Parallel jobs"_t);
    Root<Arg> target = build->arg("target"_t);
    Root<Command> remote = root->subcommand("remote"_t, "Manage remotes"_t);
    Root<Command> add = remote->subcommand("add"_t, "Add one"_t);
    Root<Arg> name = add->arg("name"_t);

    Tree() {
        root->about("does things"_t);
        root->version("1.2"_t);
        remote->subcommand("rm"_t, ""_t);
    }
};

}  // namespace

TEST(OptParse, LeafClassifiesEveryKindOfArgument) {
    Root<Command> cli = command("prog"_t);
    Root<BoolFlag> verbose = cli->bool_flag("verbose"_t, 'v', false, "Talk"_t);
    Root<IntFlag> count = cli->int_flag("count"_t, 'c', 3, "How many"_t);
    Root<StringFlag> label = cli->string_flag("label"_t, 'l', "none"_t, "Label"_t);
    Root<Arg> file = cli->arg("file"_t);
    Root<Rest> rest = cli->rest();

    EXPECT_EQ(parse(cli, {"-v", "--count=5", "-l", "x", "f", "a", "-", "", "b"}), "parsed");
    EXPECT_TRUE(verbose->value && verbose->seen);
    EXPECT_TRUE(count->value == 5 && text(label->value) == "x" && text(file->value) == "f");
    EXPECT_EQ(rest_values(rest), (std::vector<std::string>{"a", "-", "", "b"}));

    // Behind "--" everything is positional; an operand is taken whatever it looks like.
    EXPECT_EQ(parse(cli, {"--count", "-5", "-l", "--verbose", "--", "--x", "-v"}), "parsed");
    EXPECT_TRUE(count->value == -5 && text(label->value) == "--verbose" && text(file->value) == "--x");
    EXPECT_FALSE(verbose->seen);
    EXPECT_EQ(rest_values(rest), (std::vector<std::string>{"-v"}));

    EXPECT_EQ(parse(cli, {"-c", "+7", "--count=4294967301", "--label=", "--verbose=no", "f"}), "parsed");
    EXPECT_EQ(count->value, 5) << "the last occurrence wins and 32-bit accumulation wraps";
    EXPECT_TRUE(label->seen && text(label->value).empty() && !verbose->value);

    const char* hint = " (short flags are one character; long flags start with --)";
    EXPECT_EQ(parse(cli, {"-abc"}), std::string("invalid flag: -abc") + hint);
    EXPECT_EQ(parse(cli, {"--=x", "f"}), "unknown flag: --=x");
    EXPECT_EQ(parse(cli, {"f", "--colour=red"}), "unknown flag: --colour=red");
    EXPECT_EQ(parse(cli, {"--count=", "f"}), "invalid value for count: ");
    EXPECT_EQ(parse(cli, {"-c", "12a", "f"}), "invalid value for count: 12a");
    EXPECT_EQ(parse(cli, {"-c", "-", "f"}), "invalid value for count: -");
    EXPECT_EQ(parse(cli, {"--verbose=maybe", "f"}), "invalid value for verbose: maybe");
    EXPECT_EQ(parse(cli, {"f", "--label"}), "flag label requires a value");
    EXPECT_EQ(parse(cli, {"-v"}), "missing argument: file");
    label->required = true;
    EXPECT_EQ(parse(cli, {"f"}), "missing required flag: --label");
    EXPECT_EQ(parse(cli, {"f", "-l", "y"}), "parsed");
}

TEST(OptParse, SubcommandsAreSelectedAndGlobalFlagsMustComeFirst) {
    Tree t;
    EXPECT_EQ(parse(t.root, {}), "no command provided");
    EXPECT_EQ(parse(t.root, {"--", "build", "x"}), "no command provided");
    EXPECT_EQ(parse(t.root, {"nope"}), "unknown command: nope");
    EXPECT_EQ(parse(t.root, {"-"}), "unknown command: -");
    EXPECT_EQ(parse(t.root, {"--jobs", "2", "build", "x"}), "unknown flag: --jobs");
    EXPECT_EQ(parse(t.root, {"build", "x", "y", "z"}), "unexpected argument: y");

    EXPECT_EQ(parse(t.root, {"-q", "build", "-j", "4", "x"}), "parsed");
    EXPECT_TRUE(t.quiet->value);
    EXPECT_TRUE(t.jobs->value == 4 && text(t.target->value) == "x" && t.root->invoked.get() == t.build.get());
    EXPECT_EQ(text(t.root->path), "build");

    EXPECT_EQ(parse(t.root, {"remote", "add", "origin"}), "parsed");
    EXPECT_EQ(t.root->invoked.get(), t.add.get());
    EXPECT_EQ(text(t.add->path), "remote add");
    EXPECT_EQ(text(t.name->value), "origin");
    EXPECT_EQ(parse(t.root, {"remote"}), "no command provided");

    EXPECT_EQ(parse(t.root, {"build", "--quiet", "x"}), "--quiet is a global flag; place it before the command");
    EXPECT_EQ(parse(t.root, {"remote", "add", "o", "-q"}), "-q is a global flag; place it before the command");
    EXPECT_EQ(parse(t.root, {"build", "--version"}), "unknown flag: --version");

    // A second parse on the same tree starts from the declared defaults.
    EXPECT_EQ(parse(t.root, {"-q", "build", "-j", "9", "x"}), "parsed");
    EXPECT_EQ(parse(t.root, {"remote", "add"}), "missing argument: name");
    EXPECT_FALSE(t.quiet->seen || t.quiet->value || t.target->seen);
    EXPECT_TRUE(t.jobs->value == 1 && text(t.target->value).empty() && t.root->invoked.get() == t.root.get());
    EXPECT_EQ(text(t.root->path), "");
}

TEST(OptParse, HelpAndVersionWinOverMissingInputButNotOverEarlierErrorsAndLineUpTheirColumns) {
    Tree t;
    // The columns line up; a 30-byte syntax column widens every line to 32.
    t.root->string_flag("config"_t, 0, ""_t, "Config file"_t);
    EXPECT_EQ(text(t.root->usage_text()),
              "prog - does things\n"
              "\n"
              "Usage: prog [options] <command> [command options] [arguments]\n"
              "\n"
              "Options:\n"
              "  -h, --help              Show this help\n"
              "  -V, --version           Show version\n"
              "  -q, --quiet             Say less\n"
              "  --config <string>       Config file\n"
              "\n"
              "Commands:\n"
              "  build   Build it\n"
              "  remote  Manage remotes\n"
              "\n"
              "Global options go before the command. Command options go after it.\n");

    EXPECT_EQ(parse_printing(t.root, {"remote", "add", "-h"}),
              "help:add - Add one\n"
              "\n"
              "Usage: prog remote add [options] <name>\n"
              "\n"
              "Options:\n"
              "  -h, --help              Show this help\n"
              "\n"
              "Global options go before the command. Command options go after it.\n");

    Root<Command> wide = command("wide"_t);
    wide->int_flag("a-long-flag-name"_t, 'w', 0, "Wide"_t);
    wide->rest();
    EXPECT_EQ(text(wide->usage_text()),
              "Usage: wide [options] [arguments]\n"
              "\n"
              "Options:\n"
              "  -h, --help                    Show this help\n"
              "  -w, --a-long-flag-name <int>  Wide\n");

    EXPECT_EQ(parse_printing(t.root, {"--version"}), "version:prog 1.2\n");
    EXPECT_EQ(parse_printing(t.root, {"-V", "--help"}), "version:prog 1.2\n");
    EXPECT_EQ(parse_printing(t.root, {"--bad", "--help"}), "unknown flag: --bad:");
    EXPECT_EQ(parse_printing(t.root, {"build", "--help", "--bad"}), "unknown flag: --bad:");

    std::string root_help = parse_printing(t.root, {"--help", "-V"});
    EXPECT_EQ(root_help, "help:" + text(t.root->usage_text()));
    EXPECT_EQ(parse_printing(t.root, {"-h"}), root_help);

    // The help of the command reached, whichever side of its name asked for it.
    std::string build_help = parse_printing(t.root, {"build", "-h"});
    EXPECT_NE(build_help.find("\nUsage: prog build [options] <target>\n"), std::string::npos) << build_help;
    EXPECT_EQ(parse_printing(t.root, {"--help", "build"}), build_help);
    EXPECT_EQ(parse_printing(t.root, {"build", "--help=no"}), build_help);
    EXPECT_EQ(t.root->invoked.get(), t.build.get());

    EXPECT_EQ(parse(command("plain"_t), {"--version"}), "unknown flag: --version");
}

TEST(OptParse, DeclarationFaultsStopTheProgram) {
    // Each declaration runs on a fresh command "p" in a child process.
    using P = const Root<Command>&;
    auto dies_with = [](void (*declare)(P), const char* message) {
        EXPECT_EXIT(declare(command("p"_t)), testing::ExitedWithCode(1),
                    testing::Eq(std::string("optparse: ") + message + "\n"));
    };
    dies_with([](P) { command(""_t); }, "empty command name");
    dies_with([](P) { command("-x"_t); }, "invalid command name: -x");
    dies_with([](P p) { p->bool_flag(""_t, 'e', false, ""_t); }, "empty flag name");
    dies_with([](P p) { p->bool_flag("help"_t, 0, false, ""_t); }, "duplicate flag --help");
    dies_with([](P p) { p->bool_flag("x"_t, 'V', false, ""_t); }, "duplicate flag -V");
    dies_with([](P p) { p->int_flag("one"_t, 's', 0, ""_t); p->bool_flag("two"_t, 's', false, ""_t); },
              "duplicate flag -s");
    dies_with([](P p) { p->subcommand("go"_t, ""_t); p->subcommand("go"_t, ""_t); },
              "duplicate command name go");
    dies_with([](P p) { p->rest(); p->arg("late"_t); }, "arg() after rest()");

    // The same names on different commands, and repeated rest(), are fine.
    Root<Command> p = command("p"_t);
    p->bool_flag("same"_t, 's', false, ""_t);
    p->subcommand("go"_t, ""_t)->bool_flag("same"_t, 's', false, ""_t);
    EXPECT_EQ(p->rest().get(), p->rest().get());
}
