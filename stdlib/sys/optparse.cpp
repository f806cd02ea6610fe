#include "stdlib/sys/optparse.hpp"

#include <stdio.h>

#include "runtime/machine.hpp"
#include "stdlib/collections/vec.hpp"
#include "stdlib/io/console.hpp"
#include "stdlib/text/stringbuilder.hpp"

namespace stdlib {

using runtime::make;

namespace {

using Commands = Array<Member<Command>>;
using BoolFlags = Array<Member<BoolFlag>>;
using IntFlags = Array<Member<IntFlag>>;
using StringFlags = Array<Member<StringFlag>>;
using Args = Array<Member<Arg>>;
using DeclSlots = Array<DeclSlot>;

enum class TokenKind : int32_t { TokEndOpts, TokLong, TokShort, TokInvalid, TokPositional };

// One argument as the parser sees it.
class Token {
    NOLT_MANAGED(Token, void);

public:
    TokenKind kind = TokenKind::TokPositional;
    Member<Text> raw;
    Member<Text> name;
    char short_ = 0;
    bool has_value = false;
    Member<Text> value;
};

class ParseState {
    NOLT_MANAGED(ParseState, void);

public:
    Member<Array<Member<Text>>> argv;
    bool help_requested = false;
    bool version_requested = false;
    Member<Command> root;
};

struct FlagApply {
    enum Tag : int32_t { Applied, Failed };
    Tag tag = Applied;
    int32_t next_index = 0;
    ParseError error;
};

struct IntParse {
    bool ok = false;
    int32_t value = 0;
};

template <class... Parts>
string cat(const Parts&... parts) {
    string_builder sb = sb_new();
    (sb_append(sb, string(parts)), ...);
    return sb_build(sb);
}

string one_char(char c) { return from_bytes(&c, 1); }

[[noreturn]] void declaration_fault(const string& message) {
    fprintf(stderr, "optparse: %s\n", c_str(message));
    nolt_exit(1);
}

ParseError parse_error(ParseError::Tag tag, const string& text, const string& value = string()) {
    return ParseError{tag, text, value};
}

Status ok(Status::Tag tag) { return Status{tag, ParseError{}}; }
Status failed(const ParseError& error) { return Status{Status::Err, error}; }

FlagApply applied(int32_t next_index) { return FlagApply{FlagApply::Applied, next_index, ParseError{}}; }
FlagApply not_applied(const ParseError& error) { return FlagApply{FlagApply::Failed, 0, error}; }

// ---- Classification ------------------------------------------------------------------------

Root<Token> classify(const string& raw) {
    Root<Token> token = make<Token>();
    token->raw = raw;
    token->name = empty_string();
    token->value = empty_string();
    int32_t n = length(raw);
    const char* s = c_str(raw);
    if (n == 2 && s[0] == '-' && s[1] == '-') {
        token->kind = TokenKind::TokEndOpts;
    } else if (n > 2 && s[0] == '-' && s[1] == '-') {
        token->kind = TokenKind::TokLong;
        Option<int32_t> equals_at = index_of_char(raw, '=');
        if (equals_at.is_some()) {
            int32_t at = equals_at.unwrap();
            token->name = substring(raw, 2, at - 2);
            token->value = substring(raw, at + 1, n - at - 1);
            token->has_value = true;
        } else {
            token->name = substring(raw, 2, n - 2);
        }
    } else if (n == 2 && s[0] == '-') {
        token->kind = TokenKind::TokShort;
        token->short_ = s[1];
        token->name = one_char(s[1]);
    } else if (n == 1 && s[0] == '-') {
        token->kind = TokenKind::TokPositional;
    } else if (n > 0 && s[0] == '-') {
        token->kind = TokenKind::TokInvalid;
    } else {
        token->kind = TokenKind::TokPositional;
    }
    return token;
}

bool names(const Root<Token>& token, const char* long_name, char short_name) {
    if (token->kind == TokenKind::TokLong) return token->name->equals(long_name);
    return token->kind == TokenKind::TokShort && token->short_ == short_name;
}

// ---- Flag lookup -----------------------------------------------------------------------------

// The index of the flag that a long name or a non-zero short form names, or -1.
template <class Flags>
int32_t find_flag(const Flags& flags, const string& long_name, char short_name) {
    for (int32_t i = 0; i < runtime::length(flags); i++) {
        const auto& flag = flags[i];
        if (long_name ? equals(flag->name, long_name) : short_name != 0 && flag->short_ == short_name) return i;
    }
    return -1;
}

// Whether the command declares a flag of any kind by that long name (or, with a null name, by
// that short form).
bool declares(const Root<Command>& command, const string& long_name, char short_name) {
    return find_flag(command->bool_flags, long_name, short_name) >= 0 ||
           find_flag(command->int_flags, long_name, short_name) >= 0 ||
           find_flag(command->string_flags, long_name, short_name) >= 0;
}

bool declares(const Root<Command>& command, const Root<Token>& token) {
    if (token->kind == TokenKind::TokLong) return declares(command, token->name, 0);
    return declares(command, string(), token->short_);
}

// ---- Declaration checks ----------------------------------------------------------------------

void check_command_name(const string& name) {
    if (is_empty(name)) declaration_fault("empty command name"_t);
    if (c_str(name)[0] == '-') declaration_fault(cat("invalid command name: "_t, name));
}

void check_flag(const Root<Command>& command, const string& name, char short_name) {
    if (is_empty(name)) declaration_fault("empty flag name"_t);
    if (name->equals("help") || name->equals("version") || declares(command, name, 0))
        declaration_fault(cat("duplicate flag --"_t, name));
    if (short_name != 0 && (short_name == 'h' || short_name == 'V' || declares(command, string(), short_name)))
        declaration_fault(cat("duplicate flag -"_t, one_char(short_name)));
}

template <class Flag>
Root<Flag> new_flag(const Root<Command>& command, const string& name, char short_name,
                    const string& description, DeclSlot::Tag kind, Member<Array<Member<Flag>>>& list) {
    check_flag(command, name, short_name);
    Root<Flag> flag = make<Flag>();
    flag->name = name;
    flag->short_ = short_name;
    flag->description = description ? description : empty_string();
    int32_t index = runtime::length(list);
    list = runtime::append(list, flag);
    command->decl_order = runtime::append(command->decl_order, DeclSlot{kind, index});
    return flag;
}

// ---- Applying flags and positionals ----------------------------------------------------------

IntParse parse_int_operand(const string& text) {
    const char* s = c_str(text);
    int32_t n = length(text), i = 0;
    bool negative = false;
    if (n > 0 && (s[0] == '-' || s[0] == '+')) negative = s[i++] == '-';
    if (i == n) return IntParse{};
    uint32_t value = 0;  // wraps like the 32-bit sum it stands for
    for (; i < n; i++) {
        if (s[i] < '0' || s[i] > '9') return IntParse{};
        value = value * 10u + uint32_t(s[i] - '0');
    }
    return IntParse{true, int32_t(negative ? 0u - value : value)};
}

// The operand of an int or string flag: its =value, else the next argument, whatever it is.
FlagApply take_operand(const Root<ParseState>& state, const Root<Token>& token, int32_t index,
                       const string& name, string& operand) {
    if (token->has_value) {
        operand = token->value;
        return applied(index + 1);
    }
    if (index + 1 >= runtime::length(state->argv))
        return not_applied(parse_error(ParseError::MissingValue, name));
    operand = state->argv[index + 1];
    return applied(index + 2);
}

FlagApply apply_flag(const Root<Command>& command, const Root<ParseState>& state, const Root<Token>& token,
                     int32_t index) {
    string long_name = token->kind == TokenKind::TokLong ? string(token->name) : string();
    Root<BoolFlags> bools = command->bool_flags;
    if (int32_t at = find_flag(bools, long_name, token->short_); at >= 0) {
        Root<BoolFlag> flag = bools[at];
        bool value = true;
        if (token->has_value) {
            Text* given = token->value.get();
            if (given->equals("true") || given->equals("1") || given->equals("yes")) value = true;
            else if (given->equals("false") || given->equals("0") || given->equals("no")) value = false;
            else return not_applied(parse_error(ParseError::InvalidValue, flag->name, token->value));
        }
        flag->value = value;
        flag->seen = true;
        return applied(index + 1);
    }
    string operand;
    Root<IntFlags> ints = command->int_flags;
    if (int32_t at = find_flag(ints, long_name, token->short_); at >= 0) {
        Root<IntFlag> flag = ints[at];
        FlagApply taken = take_operand(state, token, index, flag->name, operand);
        if (taken.tag == FlagApply::Failed) return taken;
        IntParse number = parse_int_operand(operand);
        if (!number.ok) return not_applied(parse_error(ParseError::InvalidValue, flag->name, operand));
        flag->value = number.value;
        flag->seen = true;
        return taken;
    }
    Root<StringFlags> strings = command->string_flags;
    if (int32_t at = find_flag(strings, long_name, token->short_); at >= 0) {
        Root<StringFlag> flag = strings[at];
        FlagApply taken = take_operand(state, token, index, flag->name, operand);
        if (taken.tag == FlagApply::Failed) return taken;
        flag->value = operand;
        flag->seen = true;
        return taken;
    }
    return not_applied(parse_error(ParseError::UnknownFlag, token->raw));
}

FlagApply apply_positional(const Root<Command>& command, const string& text, int32_t index) {
    Root<Args> args = command->args;
    for (int32_t i = 0; i < runtime::length(args); i++) {
        Root<Arg> arg = args[i];
        if (arg->seen) continue;
        arg->value = text;
        arg->seen = true;
        return applied(index + 1);
    }
    if (!command->has_rest) return not_applied(parse_error(ParseError::UnexpectedArg, text));
    Root<Rest> rest = command->rest_values;
    rest->values = runtime::append(rest->values, text);
    return applied(index + 1);
}

// An unknown flag on a subcommand that an ancestor declares was put on the wrong side of the
// command's name.
ParseError maybe_misplaced(const Root<Commands>& ancestors, const string& raw, const ParseError& error) {
    if (error.tag != ParseError::UnknownFlag) return error;
    Root<Token> token = classify(raw);
    if (names(token, "version", 'V')) return error;
    for (int32_t i = 0; i < runtime::length(ancestors); i++)
        if (declares(ancestors[i], token)) return parse_error(ParseError::GlobalMisplaced, raw);
    return parse_error(ParseError::UnknownFlag, raw);
}

// ---- Walking the tree ------------------------------------------------------------------------

// Calls `visit` with each element of a list of flags or arguments.
template <class Item, class Visit>
void each(const Member<Array<Member<Item>>>& list, Visit visit) {
    for (int32_t i = 0; i < runtime::length(list); i++) visit(list[i]);
}

void reset_command(const Root<Command>& command) {
    auto reset = [](const auto& flag) {
        flag->value = flag->default_;
        flag->seen = false;
    };
    each(command->bool_flags, reset);
    each(command->int_flags, reset);
    each(command->string_flags, reset);
    each(command->args, [](const Root<Arg>& arg) {
        arg->value = empty_string();
        arg->seen = false;
    });
    command->rest_values->values = Array<Member<Text>>::make(0);
    command->path = empty_string();
    command->root_name = empty_string();
    command->invoked = command;
    each(command->subcommands, reset_command);
}

bool version_builtin_ok(const Root<Command>& command, const Root<ParseState>& state) {
    return command.get() == state->root.get() && !is_empty(command->version_text);
}

void mark_invoked(const Root<Command>& command, const Root<ParseState>& state, const Root<Commands>& ancestors) {
    string path = empty_string();
    int32_t depth = runtime::length(ancestors);
    if (depth > 0) {
        string_builder sb = sb_new();
        for (int32_t i = 1; i < depth; i++) {
            sb_append(sb, ancestors[i]->name);
            sb_append(sb, " "_t);
        }
        sb_append(sb, command->name);
        path = sb_build(sb);
    }
    Root<Command> root = state->root;
    command->path = path;
    root->path = path;
    command->root_name = root->name;
    root->root_name = root->name;
    root->invoked = command;
}

Status finish_help(const Root<Command>& command, const Root<ParseState>& state, const Root<Commands>& ancestors) {
    mark_invoked(command, state, ancestors);
    command->usage();
    return ok(Status::OkHelp);
}

Status finish_version(const Root<ParseState>& state) {
    Root<Command> root = state->root;
    println(cat(root->name, " "_t, root->version_text));
    return ok(Status::OkVersion);
}

Status finish_leaf(const Root<Command>& command) {
    string arg_missing, flag_missing;
    each(command->args, [&](const Root<Arg>& arg) {
        if (!arg_missing && !arg->seen) arg_missing = string(arg->name);
    });
    if (arg_missing) return failed(parse_error(ParseError::MissingArg, arg_missing));
    auto check = [&](const auto& flag) {
        if (!flag_missing && flag->required && !flag->seen) flag_missing = string(flag->name);
    };
    each(command->bool_flags, check);
    each(command->int_flags, check);
    each(command->string_flags, check);
    if (flag_missing) return failed(parse_error(ParseError::MissingFlag, flag_missing));
    return ok(Status::OkParsed);
}

Status walk(const Root<Command>& command, const Root<ParseState>& state, int32_t index,
            const Root<Commands>& ancestors);

Status parse_select(const Root<Command>& command, const Root<ParseState>& state, int32_t index,
                    const Root<Commands>& ancestors) {
    string_array argv = state->argv;
    int32_t count = runtime::length(argv);
    for (int32_t i = index; i < count;) {
        Root<Token> token = classify(argv[i]);
        if (token->kind == TokenKind::TokEndOpts) break;
        if (token->kind == TokenKind::TokInvalid) return failed(parse_error(ParseError::InvalidFlag, token->raw));
        if (token->kind == TokenKind::TokPositional) {
            Root<Commands> children = command->subcommands;
            for (int32_t c = 0; c < runtime::length(children); c++) {
                Root<Command> child = children[c];
                if (!equals(child->name, token->raw)) continue;
                child->path = runtime::length(ancestors) == 0 ? string(child->name)
                                                               : cat(command->path, " "_t, child->name);
                child->root_name = state->root->name;
                return walk(child, state, i + 1, runtime::append(ancestors, command));
            }
            return failed(parse_error(ParseError::UnknownCommand, token->raw));
        }
        if (names(token, "help", 'h')) {
            state->help_requested = true;
            i++;
        } else if (names(token, "version", 'V') && version_builtin_ok(command, state)) {
            state->version_requested = true;
            i = count;
        } else {
            FlagApply result = apply_flag(command, state, token, i);
            if (result.tag == FlagApply::Failed) return failed(result.error);
            i = result.next_index;
        }
    }
    if (state->help_requested) return finish_help(command, state, ancestors);
    if (state->version_requested) return finish_version(state);
    return failed(parse_error(ParseError::MissingCommand, empty_string()));
}

Status parse_leaf(const Root<Command>& command, const Root<ParseState>& state, int32_t index,
                  const Root<Commands>& ancestors) {
    string_array argv = state->argv;
    int32_t count = runtime::length(argv);
    bool only_positional = false;
    for (int32_t i = index; i < count;) {
        string raw = argv[i];
        FlagApply result = applied(i + 1);
        if (only_positional) {
            result = apply_positional(command, raw, i);
        } else {
            Root<Token> token = classify(raw);
            if (token->kind == TokenKind::TokEndOpts) {
                only_positional = true;
            } else if (token->kind == TokenKind::TokInvalid) {
                return failed(parse_error(ParseError::InvalidFlag, raw));
            } else if (token->kind == TokenKind::TokPositional) {
                result = apply_positional(command, raw, i);
            } else if (names(token, "help", 'h')) {
                state->help_requested = true;
            } else if (names(token, "version", 'V') && version_builtin_ok(command, state)) {
                state->version_requested = true;
                result = applied(count);
            } else {
                result = apply_flag(command, state, token, i);
                if (result.tag == FlagApply::Failed) result.error = maybe_misplaced(ancestors, raw, result.error);
            }
        }
        if (result.tag == FlagApply::Failed) return failed(result.error);
        i = result.next_index;
    }
    if (state->help_requested) return finish_help(command, state, ancestors);
    if (state->version_requested) return finish_version(state);
    Status status = finish_leaf(command);
    if (status.tag == Status::OkParsed) mark_invoked(command, state, ancestors);
    return status;
}

Status walk(const Root<Command>& command, const Root<ParseState>& state, int32_t index,
            const Root<Commands>& ancestors) {
    if (runtime::length(command->subcommands) == 0)
        return parse_leaf(command, state, index, ancestors);
    return parse_select(command, state, index, ancestors);
}

// ---- Help text -------------------------------------------------------------------------------

string syntax_column(char short_name, const string& name, const string& operand) {
    if (short_name == 0) return cat("  --"_t, name, operand);
    return cat("  -"_t, one_char(short_name), ", --"_t, name, operand);
}

// The syntax column and the description of every option line, in the order they are shown.
void option_lines(const Root<Command>& command, const Root<Vec<string>>& syntax,
                  const Root<Vec<string>>& description) {
    syntax->push(syntax_column('h', "help"_t, empty_string()));
    description->push("Show this help"_t);
    if (!is_empty(command->version_text)) {
        syntax->push(syntax_column('V', "version"_t, empty_string()));
        description->push("Show version"_t);
    }
    Root<DeclSlots> order = command->decl_order;
    for (int32_t i = 0; i < runtime::length(order); i++) {
        DeclSlot slot = order[i];
        if (slot.tag == DeclSlot::DeclBool) {
            Root<BoolFlag> flag = command->bool_flags[slot.index];
            syntax->push(syntax_column(flag->short_, flag->name, empty_string()));
            description->push(flag->description);
        } else if (slot.tag == DeclSlot::DeclInt) {
            Root<IntFlag> flag = command->int_flags[slot.index];
            syntax->push(syntax_column(flag->short_, flag->name, " <int>"_t));
            description->push(flag->description);
        } else {
            Root<StringFlag> flag = command->string_flags[slot.index];
            syntax->push(syntax_column(flag->short_, flag->name, " <string>"_t));
            description->push(flag->description);
        }
    }
}

}  // namespace

// ---- Declaration -----------------------------------------------------------------------------

int32_t Rest::len() const { return nolt_array_length(values.get()); }

Root<Command> command(const string& name) {
    check_command_name(name);
    Root<Command> command = make<Command>();
    command->name = name;
    command->about_text = empty_string();
    command->version_text = empty_string();
    command->rest_values = make<Rest>();
    command->path = empty_string();
    command->root_name = empty_string();
    command->invoked = command;
    return command;
}

void Command::about(const string& text) { about_text = text ? text : empty_string(); }

void Command::version(const string& text) { version_text = text ? text : empty_string(); }

Root<BoolFlag> Command::bool_flag(const string& name, char short_name, bool default_value,
                                  const string& description) {
    Root<BoolFlag> flag = new_flag(this, name, short_name, description, DeclSlot::DeclBool, bool_flags);
    flag->default_ = flag->value = default_value;
    return flag;
}

Root<IntFlag> Command::int_flag(const string& name, char short_name, int32_t default_value,
                                const string& description) {
    Root<IntFlag> flag = new_flag(this, name, short_name, description, DeclSlot::DeclInt, int_flags);
    flag->default_ = flag->value = default_value;
    return flag;
}

Root<StringFlag> Command::string_flag(const string& name, char short_name, const string& default_value,
                                      const string& description) {
    Root<StringFlag> flag =
        new_flag(this, name, short_name, description, DeclSlot::DeclString, string_flags);
    flag->default_ = default_value ? default_value : empty_string();
    flag->value = flag->default_;
    return flag;
}

Root<Arg> Command::arg(const string& name) {
    if (args_closed) declaration_fault("arg() after rest()"_t);
    Root<Arg> arg = make<Arg>();
    arg->name = name ? name : empty_string();
    arg->value = empty_string();
    args = runtime::append(args, arg);
    return arg;
}

Root<Rest> Command::rest() {
    has_rest = true;
    args_closed = true;
    return rest_values;
}

Root<Command> Command::subcommand(const string& name, const string& about) {
    check_command_name(name);
    Root<Commands> children = subcommands;
    for (int32_t i = 0; i < runtime::length(children); i++)
        if (equals(children[i]->name, name)) declaration_fault(cat("duplicate command name "_t, name));
    Root<Command> child = command(name);
    child->about(about);
    subcommands = runtime::append(children, child);
    return child;
}

// ---- Use -------------------------------------------------------------------------------------

Status Command::parse() {
    int32_t count = nolt_args_count();
    string_array argv = Array<Member<Text>>::make((uint64_t)count);
    for (int32_t i = 0; i < count; i++) argv[i] = from_c(nolt_args_raw(i));
    return parse_argv(argv);
}

Status Command::parse_argv(const string_array& argv) {
    reset_command(this);
    Root<ParseState> state = make<ParseState>();
    state->argv = argv;
    state->root = this;
    return walk(this, state, 1, Root<Commands>());
}

void Command::usage() { print(usage_text()); }

string Command::usage_text() {
    string_builder out = sb_new();
    if (!is_empty(about_text)) sb_append(out, cat(name, " - "_t, about_text, "\n\n"_t));
    bool has_children = runtime::length(subcommands) > 0;
    sb_append(out, "Usage: "_t);
    sb_append(out, is_empty(path) ? string(name) : cat(root_name, " "_t, path));
    sb_append(out, " [options]"_t);
    if (has_children) {
        sb_append(out, " <command> [command options] [arguments]"_t);
    } else {
        Root<Args> declared = args;
        for (int32_t i = 0; i < runtime::length(declared); i++)
            sb_append(out, cat(" <"_t, declared[i]->name, ">"_t));
        if (has_rest) sb_append(out, " [arguments]"_t);
    }
    sb_append(out, "\n\nOptions:\n"_t);

    Root<Vec<string>> syntax = Vec<string>::create(), description = Vec<string>::create();
    option_lines(this, syntax, description);
    int32_t width = 26;
    for (int32_t i = 0; i < syntax->len(); i++)
        if (length(syntax->get(i).unwrap()) + 2 > width) width = length(syntax->get(i).unwrap()) + 2;
    for (int32_t i = 0; i < syntax->len(); i++)
        sb_append(out, cat(pad_right(syntax->get(i).unwrap(), width, ' '), description->get(i).unwrap(), "\n"_t));

    if (has_children) {
        sb_append(out, "\nCommands:\n"_t);
        Root<Commands> children = subcommands;
        int32_t longest = 0;
        for (int32_t i = 0; i < runtime::length(children); i++) {
            int32_t n = length(children[i]->name);
            if (n > longest) longest = n;
        }
        for (int32_t i = 0; i < runtime::length(children); i++) {
            Root<Command> child = children[i];
            sb_append(out, cat("  "_t, pad_right(child->name, longest, ' '), "  "_t, child->about_text, "\n"_t));
        }
    }
    if (has_children || !is_empty(path))
        sb_append(out, "\nGlobal options go before the command. Command options go after it.\n"_t);
    return sb_build(out);
}

string format(const ParseError& error) {
    switch (error.tag) {
        case ParseError::UnknownFlag: return cat("unknown flag: "_t, error.text);
        case ParseError::InvalidFlag:
            return cat("invalid flag: "_t, error.text,
                       " (short flags are one character; long flags start with --)"_t);
        case ParseError::MissingValue: return cat("flag "_t, error.text, " requires a value"_t);
        case ParseError::InvalidValue: return cat("invalid value for "_t, error.text, ": "_t, error.value);
        case ParseError::MissingFlag: return cat("missing required flag: --"_t, error.text);
        case ParseError::UnknownCommand: return cat("unknown command: "_t, error.text);
        case ParseError::MissingCommand: return "no command provided"_t;
        case ParseError::GlobalMisplaced:
            return cat(error.text, " is a global flag; place it before the command"_t);
        case ParseError::MissingArg: return cat("missing argument: "_t, error.text);
        case ParseError::UnexpectedArg: return cat("unexpected argument: "_t, error.text);
    }
    return "unknown parse error"_t;
}

}  // namespace stdlib
