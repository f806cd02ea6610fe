// sys.optparse: a declarative command-line parser.
//
// A program builds a tree of Commands, declares flags, arguments and a rest on them, parses, and
// reads `value`, `seen` and `values` back from the objects the declarations returned, and
// `invoked` from the root. Help and version texts are printed by the parser itself; mistakes in
// what the user typed come back as a ParseError for the caller to report. Mistakes in the
// declarations are faults of the program: they print "optparse: " and a message on standard
// error and end the process with status 1.
#pragma once
#include <stdint.h>

#include "stdlib/core/str.hpp"

namespace stdlib {

class BoolFlag {
    NOLT_MANAGED(BoolFlag, void);

public:
    Member<Text> name;  // the long name, without dashes
    char short_ = 0;    // 0: no short form
    Member<Text> description;
    bool value = false;
    bool default_ = false;
    bool seen = false;
    bool required = false;
};

class IntFlag {
    NOLT_MANAGED(IntFlag, void);

public:
    Member<Text> name;
    char short_ = 0;
    Member<Text> description;
    int32_t value = 0;
    int32_t default_ = 0;
    bool seen = false;
    bool required = false;
};

class StringFlag {
    NOLT_MANAGED(StringFlag, void);

public:
    Member<Text> name;
    char short_ = 0;
    Member<Text> description;
    Member<Text> value;
    Member<Text> default_;
    bool seen = false;
    bool required = false;
};

// A required positional argument.
class Arg {
    NOLT_MANAGED(Arg, void);

public:
    Member<Text> name;
    Member<Text> value;
    bool seen = false;
};

// The positional arguments left over after every Arg has taken one.
class Rest {
    NOLT_MANAGED(Rest, void);

public:
    Member<Array<Member<Text>>> values;

    int32_t len() const;
};

// One flag in order of declaration: an index into the flag list of its kind.
struct DeclSlot {
    static constexpr int nolt_variants = 3;
    enum Tag : int32_t { DeclBool, DeclInt, DeclString };
    Tag tag = DeclBool;
    int32_t index = 0;
};

// What the user got wrong. `text` is the argument as typed, dashes included, or the bare long
// name of a flag, or the name of an Arg; `value` is used by InvalidValue only.
struct ParseError {
    enum Tag : int32_t {
        UnknownFlag,
        InvalidFlag,
        MissingValue,
        InvalidValue,
        MissingFlag,
        UnknownCommand,
        MissingCommand,
        GlobalMisplaced,
        MissingArg,
        UnexpectedArg,
    };
    Tag tag = UnknownFlag;
    string text;
    string value;
};

// The outcome of a parse. OkHelp and OkVersion mean that the text has been printed.
struct Status {
    enum Tag : int32_t { OkParsed, OkHelp, OkVersion, Err };
    Tag tag = OkParsed;
    ParseError error;  // Err only
};

class Command {
    NOLT_MANAGED(Command, void);

public:
    Member<Text> name;
    Member<Text> about_text;
    Member<Text> version_text;
    Member<Array<Member<Command>>> subcommands;
    Member<Array<Member<BoolFlag>>> bool_flags;
    Member<Array<Member<IntFlag>>> int_flags;
    Member<Array<Member<StringFlag>>> string_flags;
    Member<Array<Member<Arg>>> args;
    Member<Rest> rest_values;
    bool has_rest = false;
    bool args_closed = false;
    Member<Command> invoked;  // on the root: the command the last parse reached
    Member<Text> path;        // the place below the root, names joined by blanks, or ""
    Member<Text> root_name;
    Member<Array<DeclSlot>> decl_order;

    // The methods below must be called on a command that a handle keeps alive.
    void about(const string& text);
    void version(const string& text);
    // A short name of 0 declares no short form.
    Root<BoolFlag> bool_flag(const string& name, char short_name, bool default_value, const string& description);
    Root<IntFlag> int_flag(const string& name, char short_name, int32_t default_value, const string& description);
    Root<StringFlag> string_flag(const string& name, char short_name, const string& default_value,
                                 const string& description);
    Root<Arg> arg(const string& name);
    // Takes any number of positional arguments; the same Rest on every call.
    Root<Rest> rest();
    Root<Command> subcommand(const string& name, const string& about);

    // Parses the process's arguments.
    Status parse();
    // argv[0] is the program's name and is skipped. Every result of an earlier parse is reset.
    Status parse_argv(const string_array& argv);
    // Prints the help text on standard output.
    void usage();
    // The help text that usage() prints, one line feed after each line.
    string usage_text();
};

Root<Command> command(const string& name);

// The one-line message of an error.
string format(const ParseError& error);

}  // namespace stdlib
