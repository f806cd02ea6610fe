#include "ide/endblock.hpp"

#include "ide/user_prefs.hpp"
#include "stdlib/core/chars.hpp"

namespace ide {

using namespace runtime::literals;
using stdlib::c_str;
using stdlib::length;

namespace {

bool is_ident_start(char c) { return stdlib::is_alpha(c) || c == '_'; }
bool is_ident_cont(char c) { return stdlib::is_alphanumeric(c) || c == '_'; }

string parse_ident(const string& s) {
    const char* p = c_str(s);
    int32_t n = length(s), end = 0;
    if (n == 0 || !is_ident_start(p[0])) return stdlib::empty_string();
    while (end < n && is_ident_cont(p[end])) end++;
    return stdlib::substring(s, 0, end);
}

// `s` begins with the whole word `w`: nothing of an identifier follows it.
bool starts_with_word(const string& s, const string& w) {
    int32_t n = length(w);
    return stdlib::starts_with(s, w) && (length(s) == n || !is_ident_cont(c_str(s)[n]));
}

// `s` without its first length-of-`w` bytes and the blanks and tabs behind them.
string after_word(const string& s, const string& w) {
    int32_t at = length(w), n = length(s);
    while (at < n && stdlib::is_blank(c_str(s)[at])) at++;
    return stdlib::substring(s, at, n - at);
}

string leading_indent(const string& s) {
    int32_t n = 0;
    while (n < length(s) && stdlib::is_blank(c_str(s)[n])) n++;
    return stdlib::substring(s, 0, n);
}

// Drops up to six leading modifiers, in any order and repeated.
string strip_mods(string s) {
    const string mods[] = {"override"_t, "exclusive"_t, "shared"_t};
    for (int round = 0; round < 6; round++) {
        bool stripped = false;
        for (const string& mod : mods) {
            if (!starts_with_word(s, mod)) continue;
            s = after_word(s, mod);
            stripped = true;
            break;
        }
        if (!stripped) break;
    }
    return s;
}

bool has_arrow(const string& s) { return stdlib::contains(s, "=>"_t); }

Opener found(const string& name) { return Opener{true, stdlib::empty_string(), name}; }

// A declaration counts once its parameter list has begun; "fn(" is an anonymous function.
Opener named_fn_or_proc(const string& s, const string& keyword) {
    if (!starts_with_word(s, keyword)) return empty_opener();
    string rest = after_word(s, keyword);
    if (stdlib::starts_with(rest, "("_t)) return empty_opener();
    string name = parse_ident(rest);
    if (stdlib::is_empty(name) || !stdlib::contains(rest, "("_t)) return empty_opener();
    return found(name);
}

Opener named_object(const string& s) {
    if (!starts_with_word(s, "object"_t)) return empty_opener();
    string name = parse_ident(after_word(s, "object"_t));
    return stdlib::is_empty(name) ? empty_opener() : found(name);
}

// Only a type that is a struct, enum or union has a body; an alias opens nothing.
Opener named_type(const string& s) {
    if (!starts_with_word(s, "type"_t)) return empty_opener();
    string name = parse_ident(after_word(s, "type"_t));
    bool has_body =
        stdlib::contains(s, "struct"_t) || stdlib::contains(s, "enum"_t) || stdlib::contains(s, "union"_t);
    return stdlib::is_empty(name) || !has_body ? empty_opener() : found(name);
}

Opener keyword_opener(const string& s, const string& keyword, const string& name) {
    return starts_with_word(s, keyword) ? found(name) : empty_opener();
}

Opener first_opener(const string& s) {
    const string declarations[] = {"fn"_t, "proc"_t};
    for (const string& keyword : declarations)
        if (Opener o = named_fn_or_proc(s, keyword); o.found) return o;
    if (Opener o = named_object(s); o.found) return o;
    if (Opener o = named_type(s); o.found) return o;
    const string keywords[] = {"init"_t, "module"_t, "export"_t, "if"_t, "while"_t, "for"_t, "match"_t, "typecase"_t};
    for (const string& keyword : keywords)
        if (Opener o = keyword_opener(s, keyword, keyword); o.found) return o;
    return empty_opener();
}

}  // namespace

Opener empty_opener() { return Opener{false, stdlib::empty_string(), stdlib::empty_string()}; }

Opener detect(const string& before) {
    string rest = stdlib::trim_ws(before);
    if (stdlib::is_empty(rest) || has_arrow(rest) || starts_with_word(rest, "end"_t)) return empty_opener();
    Opener opener = first_opener(strip_mods(rest));
    if (opener.found) opener.indent = leading_indent(before);
    return opener;
}

string end_line(const Opener& opener) {
    if (!opener.found) return stdlib::empty_string();
    return stdlib::concat(stdlib::concat(opener.indent, "end "_t), opener.name);
}

bool already_present(const string& next_line, const Opener& opener) {
    return opener.found && stdlib::equals(stdlib::trim_ws(next_line), stdlib::concat("end "_t, opener.name));
}

bool enabled() { return auto_end_block(); }

void set_enabled(bool on) { set_auto_end_block(on); }

bool toggle() {
    bool on = !enabled();
    set_enabled(on);
    return on;
}

string menu_label() { return enabled() ? "Auto End Block: On"_t : "Auto End Block: Off"_t; }

}  // namespace ide
