#include "stdlib/encoding/toml.hpp"

#include <string.h>

#include "stdlib/core/chars.hpp"
#include "stdlib/core/convert.hpp"

namespace stdlib {

namespace {

constexpr int32_t MAX_ENTRIES = 1024;
constexpr int32_t MAX_NESTING = 32;
constexpr int32_t MAX_INLINE_TABLE_PAIRS = 128;
constexpr int32_t MAX_TABLE_ARRAYS = 64;

enum Status : int32_t { OK = 0, SYNTAX = 1, CAPACITY = 2 };

using Texts = Array<Member<Text>>;

// A fresh text of the three pieces one after another.
string glue(const string& a, const string& b, const string& c = string()) {
    int32_t na = length(a), nb = length(b), nc = length(c);
    if (na + nb + nc == 0) return empty_string();
    string made = string_buffer(na + nb + nc);
    char* at = made->bytes();
    memcpy(at, c_str(a), (size_t)na);
    memcpy(at + na, c_str(b), (size_t)nb);
    memcpy(at + na + nb, c_str(c), (size_t)nc);
    return made;
}

bool same_bytes(const Text* text, const char* bytes, int32_t n) {
    int32_t text_length = text ? text->length() : 0;
    return text_length == n && (n == 0 || memcmp(text->c_str(), bytes, (size_t)n) == 0);
}

// ---- Scalars ------------------------------------------------------------------------------

bool is_key_char(char c) { return is_alphanumeric(c) || c == '_' || c == '-'; }
bool is_quote(char c) { return c == '"' || c == '\''; }

bool is_base_digit(char c, int base) {
    switch (base) {
        case 16: return is_hex_digit(c);
        case 8: return is_octal_digit(c);
        case 2: return is_binary_digit(c);
        default: return is_digit(c);
    }
}

// The index behind a run of digits of `base` starting at `at`, in which every underscore stands
// between two digits; -1 if there is no such run.
int32_t scan_digit_run(const char* p, int32_t n, int32_t at, int base) {
    if (at >= n || !is_base_digit(p[at], base)) return -1;
    at++;
    while (at < n) {
        if (is_base_digit(p[at], base)) {
            at++;
        } else if (p[at] == '_') {
            if (at + 1 >= n || !is_base_digit(p[at + 1], base)) return -1;
            at += 2;
        } else {
            break;
        }
    }
    return at;
}

int32_t skip_sign(const char* p, int32_t n) { return n > 0 && (p[0] == '+' || p[0] == '-') ? 1 : 0; }

bool is_valid_toml_integer(const char* p, int32_t n) {
    int32_t at = skip_sign(p, n);
    if (at >= n) return false;
    if (n - at >= 2 && p[at] == '0' && (p[at + 1] == 'x' || p[at + 1] == 'o' || p[at + 1] == 'b')) {
        int base = p[at + 1] == 'x' ? 16 : p[at + 1] == 'o' ? 8 : 2;
        return at == 0 && scan_digit_run(p, n, 2, base) == n;
    }
    int32_t stop = scan_digit_run(p, n, at, 10);
    return stop == n && (p[at] != '0' || stop - at == 1);
}

bool is_valid_toml_float(const char* p, int32_t n) {
    int32_t at = skip_sign(p, n);
    if (at >= n) return false;
    if (n - at == 3 && (memcmp(p + at, "inf", 3) == 0 || memcmp(p + at, "nan", 3) == 0)) return true;
    int32_t stop = scan_digit_run(p, n, at, 10);
    if (stop < 0 || (p[at] == '0' && stop - at > 1)) return false;
    bool fraction = false, exponent = false;
    if (stop < n && p[stop] == '.') {
        stop = scan_digit_run(p, n, stop + 1, 10);
        if (stop < 0) return false;
        fraction = true;
    }
    if (stop < n && (p[stop] == 'e' || p[stop] == 'E')) {
        stop++;
        if (stop < n && (p[stop] == '+' || p[stop] == '-')) stop++;
        stop = scan_digit_run(p, n, stop, 10);
        if (stop < 0) return false;
        exponent = true;
    }
    return stop == n && (fraction || exponent);
}

// Two decimal digits at `at` as a number, or -1.
int two_digits(const char* p, int32_t n, int32_t at) {
    if (at + 2 > n || !is_digit(p[at]) || !is_digit(p[at + 1])) return -1;
    return (p[at] - '0') * 10 + (p[at + 1] - '0');
}

bool has_date_shape(const char* p, int32_t n) {
    if (n < 10) return false;
    for (int32_t i = 0; i < 10; i++)
        if (i == 4 || i == 7 ? p[i] != '-' : !is_digit(p[i])) return false;
    return true;
}

// YYYY-MM-DD at the start; the day is checked against 1..31 only.
bool scan_date(const char* p, int32_t n, int32_t& at) {
    if (!has_date_shape(p, n)) return false;
    int month = two_digits(p, n, 5), day = two_digits(p, n, 8);
    if (month < 1 || month > 12 || day < 1 || day > 31) return false;
    at = 10;
    return true;
}

// HH:MM:SS with an optional fraction, from `at`.
bool scan_time(const char* p, int32_t n, int32_t& at) {
    int hour = two_digits(p, n, at), minute = two_digits(p, n, at + 3), second = two_digits(p, n, at + 6);
    if (hour < 0 || minute < 0 || second < 0 || p[at + 2] != ':' || p[at + 5] != ':') return false;
    if (hour > 23 || minute > 59 || second > 60) return false;
    at += 8;
    if (at < n && p[at] == '.') {
        if (at + 1 >= n || !is_digit(p[at + 1])) return false;
        for (at++; at < n && is_digit(p[at]);) at++;
    }
    return true;
}

bool scan_offset(const char* p, int32_t n, int32_t& at) {
    if (p[at] == 'Z' || p[at] == 'z') {
        at++;
        return true;
    }
    if (p[at] != '+' && p[at] != '-') return false;
    int hour = two_digits(p, n, at + 1), minute = two_digits(p, n, at + 4);
    if (hour < 0 || minute < 0 || p[at + 3] != ':' || hour > 23 || minute > 59) return false;
    at += 6;
    return true;
}

bool is_valid_toml_datetime(const char* p, int32_t n) {
    int32_t at = 0;
    if (!scan_date(p, n, at)) return scan_time(p, n, at) && at == n;
    if (at == n) return true;
    if (p[at] != 'T' && p[at] != 't' && !is_blank(p[at])) return false;
    at++;
    if (!scan_time(p, n, at)) return false;
    return at == n || (scan_offset(p, n, at) && at == n);
}

bool classify_scalar(const char* p, int32_t n) {
    if (n == 0) return false;
    if ((n == 4 && memcmp(p, "true", 4) == 0) || (n == 5 && memcmp(p, "false", 5) == 0)) return true;
    if (memchr(p, ':', (size_t)n) || has_date_shape(p, n)) return is_valid_toml_datetime(p, n);
    return is_valid_toml_integer(p, n) || is_valid_toml_float(p, n);
}

// A 32-bit decimal prefix after blanks and one sign; None without digits or on overflow.
Option<int32_t> str_to_int(const char* p, int32_t n) {
    int32_t at = 0;
    while (at < n && is_blank(p[at])) at++;
    bool negative = at < n && p[at] == '-';
    if (at < n && (p[at] == '-' || p[at] == '+')) at++;
    int64_t value = 0;
    int32_t first = at;
    for (; at < n && is_digit(p[at]); at++) {
        int digit = p[at] - '0';
        if (value > 214748364 || (value == 214748364 && digit > (negative ? 8 : 7))) return None;
        value = value * 10 + digit;
    }
    if (at == first) return None;
    return Some(int32_t(negative ? -value : value));
}

Option<int32_t> str_to_int(const string& text) { return str_to_int(c_str(text), length(text)); }

// ---- Scanner ------------------------------------------------------------------------------

// The scanner's working record. Status 1 is a syntax error, 2 a capacity exceeded.
struct ParseError {
    int32_t status = OK;
    int32_t position = 0;
    string message;
};

// Where a bare value stands decides what ends it.
enum class Place { Line, ArrayElement, TableValue };

bool ends_bare_value(char c, Place place) {
    switch (place) {
        case Place::Line: return c == '\n' || c == '#';
        case Place::ArrayElement: return c == ',' || c == ']' || c == '\n' || c == '#';
        case Place::TableValue: return c == ',' || c == '}' || c == '\n';
    }
    return true;
}

struct Scanner {
    string text;
    const char* src;  // the bytes of `text`, which the handle keeps in place
    int32_t end;
    int32_t pos = 0;
    int32_t capacity;
    int32_t count = 0;
    string_array keys;
    string_array values;
    string prefix;
    string_array table_arrays;  // the distinct [[name]] names seen so far
    int32_t next_index[MAX_TABLE_ARRAYS] = {};
    int32_t table_array_count = 0;
    ParseError error;

    Scanner(const string& source, int32_t room) : text(source), src(c_str(source)), end(length(source)) {
        capacity = room < 0 ? 0 : room;
        // Every pair owns at least one byte of the text (a value's first byte or an array's
        // opening bracket), so a document never needs more slots than it has bytes.
        int32_t slots = capacity < end ? capacity : end;
        keys = Texts::make((uint64_t)slots);
        values = Texts::make((uint64_t)slots);
    }

    bool at_end() const { return pos >= end; }
    bool at(char c) const { return pos < end && src[pos] == c; }
    bool at_line_end() const { return pos >= end || src[pos] == '\n'; }

    bool fail(int32_t status, const string& message, int32_t where) {
        error.status = status;
        error.position = where;
        error.message = message;
        return false;
    }
    bool fail(const string& message) { return fail(SYNTAX, message, pos); }

    void skip_blanks() {
        while (pos < end && is_blank(src[pos])) pos++;
    }
    void skip_to_line_end() {
        while (pos < end && src[pos] != '\n') pos++;
    }
    // Blanks, line feeds and comments, as between the elements of an inline array.
    void skip_gap() {
        while (pos < end) {
            if (is_blank(src[pos]) || src[pos] == '\n')
                pos++;
            else if (src[pos] == '#')
                skip_to_line_end();
            else
                break;
        }
    }

    bool store(const string& key, const string& value) {
        if (count >= capacity) return fail(CAPACITY, "toml: exceeded capacity"_t, pos);
        keys[count] = key;
        values[count] = value;
        count++;
        return true;
    }

    bool quoted_string(string& out);
    bool dotted_key(string& out);
    bool bare_value(Place place, string& out);
    bool line_value(string& out);
    bool element(const string& key, int32_t depth, Place place);
    bool inline_array(const string& key, int32_t depth);
    bool inline_table(const string& key, int32_t depth);
    bool table_header();
    bool key_value_line();
    bool document();
};

char unescape(char c) {
    switch (c) {
        case 'n': return '\n';
        case 't': return '\t';
        case 'r': return '\r';
        case '\\':
        case '"':
        case '\'': return c;
        default: return 0;
    }
}

// At an opening quote; both quote kinds take the same escapes, and a raw line feed is kept.
bool Scanner::quoted_string(string& out) {
    char quote = src[pos];
    int32_t start = pos + 1, at = start, decoded = 0;
    for (;; decoded++) {
        if (at >= end) break;
        if (src[at] == quote) break;
        if (src[at] != '\\') {
            at++;
            continue;
        }
        if (at + 1 >= end) {
            at = end;
            break;
        }
        if (!unescape(src[at + 1])) {
            pos = at + 1;
            return fail("toml: invalid escape sequence"_t);
        }
        at += 2;
    }
    if (at >= end) {
        pos = end;
        return fail("toml: unterminated string"_t);
    }
    out = decoded == 0 ? empty_string() : string_buffer(decoded);
    char* to = decoded == 0 ? nullptr : out->bytes();
    for (int32_t i = start; i < at; i++) *to++ = src[i] == '\\' ? unescape(src[++i]) : src[i];
    pos = at + 1;
    return true;
}

// Segments, bare or quoted, joined by "." with blanks allowed around the dots. The position is
// left behind the last segment.
bool Scanner::dotted_key(string& out) {
    out = empty_string();
    for (;;) {
        string segment;
        if (pos < end && is_quote(src[pos])) {
            if (!quoted_string(segment)) return false;
        } else if (pos < end && is_key_char(src[pos])) {
            int32_t start = pos;
            while (pos < end && is_key_char(src[pos])) pos++;
            segment = from_bytes(src + start, pos - start);
        } else {
            return fail("toml: empty key segment"_t);
        }
        if (index_of_char(segment, '#').is_some())
            return fail("toml: '#' not allowed in key segments (reserved for internal markers)"_t);
        out = is_empty(out) ? segment : glue(out, "."_t, segment);
        int32_t behind = pos;
        skip_blanks();
        if (!at('.')) {
            pos = behind;
            return true;
        }
        pos++;
        skip_blanks();
    }
}

bool Scanner::bare_value(Place place, string& out) {
    int32_t start = pos;
    while (pos < end && !ends_bare_value(src[pos], place)) pos++;
    int32_t stop = pos;
    while (stop > start && is_blank(src[stop - 1])) stop--;
    if (stop == start) return fail(SYNTAX, "toml: expected value"_t, start);
    out = from_bytes(src + start, stop - start);
    if (!classify_scalar(src + start, stop - start))
        return fail(SYNTAX, glue("toml: invalid value '"_t, out, "'"_t), start);
    return true;
}

// The scalar of a key/value line; a quoted one may be followed by blanks and a comment only.
bool Scanner::line_value(string& out) {
    skip_blanks();
    if (at_end()) return fail("toml: expected value"_t);
    if (!is_quote(src[pos])) return bare_value(Place::Line, out);
    if (!quoted_string(out)) return false;
    skip_blanks();
    if (!at_line_end() && !at('#')) return fail("toml: trailing garbage after value"_t);
    return true;
}

// One array element or inline table value under `key`; nested arrays and tables go one deeper.
bool Scanner::element(const string& key, int32_t depth, Place place) {
    if (at('[')) return inline_array(key, depth + 1);
    if (at('{')) return inline_table(key, depth + 1);
    string value;
    if (pos < end && is_quote(src[pos])) {
        if (!quoted_string(value)) return false;
    } else if (!bare_value(place, value)) {
        return false;
    }
    return store(key, value);
}

bool Scanner::inline_array(const string& key, int32_t depth) {
    if (depth > MAX_NESTING) return fail("toml: nesting too deep (max 32)"_t);
    pos++;
    int32_t index = 0;
    for (;;) {
        skip_gap();
        if (at_end()) return fail("toml: unterminated inline array"_t);
        if (at(']')) break;
        if (!element(glue(key, "."_t, to_string(index)), depth, Place::ArrayElement)) return false;
        index++;
        skip_gap();
        if (at_end()) return fail("toml: unterminated inline array"_t);
        if (at(',')) {
            pos++;
            continue;
        }
        if (at(']')) break;
        return fail("toml: expected ',' or ']' in inline array"_t);
    }
    pos++;
    return store(glue(key, ".#len"_t), to_string(index));
}

// One line, blanks only between the parts; keys written directly in it must differ.
bool Scanner::inline_table(const string& key, int32_t depth) {
    if (depth > MAX_NESTING) return fail("toml: nesting too deep (max 32)"_t);
    pos++;
    skip_blanks();
    if (at('}')) {
        pos++;
        return true;
    }
    string_array seen;
    int32_t seen_count = 0;
    for (;;) {
        if (at_line_end()) return fail("toml: unterminated inline table"_t);
        if (!is_quote(src[pos]) && !is_key_char(src[pos])) return fail("toml: expected key in inline table"_t);
        string member;
        if (!dotted_key(member)) return false;
        for (int32_t i = 0; i < seen_count; i++)
            if (same_bytes(seen->data()[i].get(), c_str(member), length(member)))
                return fail(glue("toml: duplicate key in inline table '"_t, member, "'"_t));
        if (seen_count == MAX_INLINE_TABLE_PAIRS) return fail(CAPACITY, "toml: inline table exceeds 128 pairs"_t, pos);
        if (!seen) seen = Texts::make(MAX_INLINE_TABLE_PAIRS);
        seen[seen_count++] = member;
        skip_blanks();
        if (!at('=')) return fail("toml: expected '=' in inline table"_t);
        pos++;
        skip_blanks();
        if (at_line_end()) return fail("toml: unterminated inline table"_t);
        if (!element(glue(key, "."_t, member), depth, Place::TableValue)) return false;
        skip_blanks();
        if (at_line_end()) return fail("toml: unterminated inline table"_t);
        if (at(',')) {
            pos++;
            skip_blanks();
            if (at('}')) return fail("toml: trailing comma in inline table"_t);
            continue;
        }
        if (at('}')) {
            pos++;
            return true;
        }
        return fail("toml: expected ',' or '}' in inline table"_t);
    }
}

// `[name]` or `[[name]]`: the name is the raw text between the brackets, and the rest of the
// line is ignored.
bool Scanner::table_header() {
    pos++;
    bool array_of_tables = at('[');
    if (array_of_tables) pos++;
    int32_t start = pos;
    while (pos < end && src[pos] != ']' && src[pos] != '\n') pos++;
    if (at_line_end()) return fail("toml: unterminated table header"_t);
    string name = from_bytes(src + start, pos - start);
    pos++;
    if (array_of_tables) {
        if (!at(']')) return fail("toml: mismatched table-array brackets"_t);
        pos++;
        int32_t slot = 0;
        while (slot < table_array_count && !same_bytes(table_arrays->data()[slot].get(), c_str(name), length(name)))
            slot++;
        if (slot == table_array_count) {
            if (slot == MAX_TABLE_ARRAYS)
                return fail(CAPACITY, "toml: exceeded capacity of 64 unique table arrays"_t, pos);
            if (!table_arrays) table_arrays = Texts::make(MAX_TABLE_ARRAYS);
            table_arrays[slot] = name;
            table_array_count++;
        }
        name = glue(name, "."_t, to_string(next_index[slot]++));
    }
    prefix = name;
    skip_to_line_end();
    return true;
}

bool Scanner::key_value_line() {
    string key;
    if (!dotted_key(key)) return false;
    skip_blanks();
    if (!at('=')) return fail("toml: expected '='"_t);
    pos++;
    if (!is_empty(prefix)) key = glue(prefix, "."_t, key);
    skip_blanks();
    if (at('{') || at('[')) {
        if (!element(key, 0, Place::Line)) return false;
        skip_blanks();
        if (!at_line_end() && !at('#')) return fail("toml: trailing garbage after value"_t);
    } else {
        string value;
        if (!line_value(value) || !store(key, value)) return false;
    }
    skip_to_line_end();
    return true;
}

bool Scanner::document() {
    while (pos < end && count < capacity) {
        skip_blanks();
        if (at_end()) break;
        char c = src[pos];
        if (c == '\n') {
            pos++;
        } else if (c == '#') {
            skip_to_line_end();
        } else if (c == '[') {
            if (!table_header()) return false;
        } else if (is_key_char(c) || is_quote(c)) {
            if (!key_value_line()) return false;
        } else {
            return fail("toml: unexpected token"_t);
        }
    }
    return true;
}

Option<int32_t> find(const string_array& keys, const string_array& values, int32_t count, const string& key) {
    int32_t n = count;
    if (n > runtime::length(keys)) n = runtime::length(keys);
    if (n > runtime::length(values)) n = runtime::length(values);
    const char* bytes = c_str(key);
    int32_t key_length = length(key);
    for (int32_t i = 0; i < n; i++)
        if (same_bytes(keys->data()[i].get(), bytes, key_length)) return Some(i);
    return None;
}

string_array keys_of(const toml_doc& doc) { return doc ? string_array(doc->keys) : string_array(); }
string_array values_of(const toml_doc& doc) { return doc ? string_array(doc->values) : string_array(); }
int32_t count_of(const toml_doc& doc) { return doc ? doc->count : 0; }

string escape_toml_string(const string& value) {
    const char* p = c_str(value);
    int32_t n = length(value), extra = 0;
    for (int32_t i = 0; i < n; i++)
        extra += p[i] == '"' || p[i] == '\\' || p[i] == '\n' || p[i] == '\t' || p[i] == '\r';
    if (extra == 0) return value ? value : empty_string();
    string made = string_buffer(n + extra);
    char* to = made->bytes();
    for (int32_t i = 0; i < n; i++) {
        char c = p[i];
        if (c == '\n' || c == '\t' || c == '\r' || c == '"' || c == '\\') {
            *to++ = '\\';
            c = c == '\n' ? 'n' : c == '\t' ? 't' : c == '\r' ? 'r' : c;
        }
        *to++ = c;
    }
    return made;
}

void append_quoted(const string_builder& sb, const string& value) {
    sb_append(sb, "\""_t);
    sb_append(sb, escape_toml_string(value));
    sb_append(sb, "\""_t);
}

}  // namespace

// ---- Parsing ------------------------------------------------------------------------------

int32_t max_entries() { return MAX_ENTRIES; }

Result<TomlDoc, Error> toml_parse_doc(const string& text) { return toml_parse_doc_sized(text, max_entries()); }

Result<TomlDoc, Error> toml_parse_doc_sized(const string& text, int32_t capacity) {
    Scanner scanner(text, capacity);
    if (!scanner.document()) {
        const ParseError& fault = scanner.error;
        string message = glue(fault.message, " at position "_t, to_string(fault.position));
        return Err(error(fault.status == CAPACITY ? ErrorKind::OutOfRange : ErrorKind::InvalidInput, message));
    }
    if (scanner.count >= scanner.capacity) {
        scanner.skip_gap();
        if (!scanner.at_end()) return Err(error(ErrorKind::OutOfRange, "toml: exceeded capacity"_t));
    }
    Root<TomlDoc> doc = runtime::make<TomlDoc>();
    doc->keys = scanner.keys;
    doc->values = scanner.values;
    doc->count = scanner.count;
    return Ok(doc);
}

// ---- Lookups on bare arrays ---------------------------------------------------------------

Option<string> toml_get(const string_array& keys, const string_array& values, int32_t count, const string& key) {
    Option<int32_t> found = find(keys, values, count, key);
    if (found.is_none()) return None;
    return Some(string(values[found.unwrap()]));
}

Option<int32_t> toml_get_int(const string_array& keys, const string_array& values, int32_t count, const string& key) {
    Option<string> value = toml_get(keys, values, count, key);
    if (value.is_none()) return None;
    return str_to_int(value.unwrap());
}

Option<bool> toml_get_bool(const string_array& keys, const string_array& values, int32_t count, const string& key) {
    Option<string> value = toml_get(keys, values, count, key);
    if (value.is_none()) return None;
    return Some(value.unwrap() && value.unwrap()->equals("true"));
}

string toml_get_or(const string_array& keys, const string_array& values, int32_t count, const string& key,
                   const string& fallback) {
    return toml_get(keys, values, count, key).unwrap_or(fallback);
}

int32_t toml_get_int_or(const string_array& keys, const string_array& values, int32_t count, const string& key,
                        int32_t fallback) {
    return toml_get_int(keys, values, count, key).unwrap_or(fallback);
}

bool toml_get_bool_or(const string_array& keys, const string_array& values, int32_t count, const string& key,
                      bool fallback) {
    return toml_get_bool(keys, values, count, key).unwrap_or(fallback);
}

bool toml_has_key(const string_array& keys, const string_array& values, int32_t count, const string& key) {
    return find(keys, values, count, key).is_some();
}

int32_t toml_array_count(const string_array& keys, int32_t count, const string& name) {
    string prefix = glue(name, "."_t);
    const char* wanted = c_str(prefix);
    int32_t prefix_length = length(prefix);
    if (count > runtime::length(keys)) count = runtime::length(keys);
    int64_t largest = -1;
    for (int32_t i = 0; i < count; i++) {
        const Text* key = keys->data()[i].get();
        int32_t key_length = key ? key->length() : 0;
        if (key_length <= prefix_length || memcmp(key->c_str(), wanted, (size_t)prefix_length) != 0) continue;
        const char* segment = key->c_str() + prefix_length;
        if (!is_digit(segment[0])) continue;
        const void* dot = memchr(segment, '.', (size_t)(key_length - prefix_length));
        int32_t segment_length = dot ? int32_t(static_cast<const char*>(dot) - segment) : key_length - prefix_length;
        Option<int32_t> index = str_to_int(segment, segment_length);
        if (index.is_some() && index.unwrap() > largest) largest = index.unwrap();
    }
    // An index of 2147483647 has no count that fits; the count saturates there.
    return largest < 0 ? 0 : largest + 1 > INT32_MAX ? INT32_MAX : int32_t(largest + 1);
}

Option<string> toml_array_get(const string_array& keys, const string_array& values, int32_t count, const string& name,
                              int32_t index, const string& field) {
    return toml_get(keys, values, count, glue(name, glue("."_t, to_string(index), "."_t), field));
}

// ---- Lookups on a doc ---------------------------------------------------------------------

Option<string> toml_get_doc(const toml_doc& doc, const string& key) {
    return toml_get(keys_of(doc), values_of(doc), count_of(doc), key);
}

Option<bool> toml_get_bool_doc(const toml_doc& doc, const string& key) {
    return toml_get_bool(keys_of(doc), values_of(doc), count_of(doc), key);
}

string toml_get_doc_or(const toml_doc& doc, const string& key, const string& fallback) {
    return toml_get_or(keys_of(doc), values_of(doc), count_of(doc), key, fallback);
}

int32_t toml_get_int_doc_or(const toml_doc& doc, const string& key, int32_t fallback) {
    return toml_get_int_or(keys_of(doc), values_of(doc), count_of(doc), key, fallback);
}

bool toml_get_bool_doc_or(const toml_doc& doc, const string& key, bool fallback) {
    return toml_get_bool_or(keys_of(doc), values_of(doc), count_of(doc), key, fallback);
}

bool toml_has_key_doc(const toml_doc& doc, const string& key) {
    return toml_has_key(keys_of(doc), values_of(doc), count_of(doc), key);
}

Option<int32_t> toml_array_len_doc(const toml_doc& doc, const string& key) {
    Option<string> marker = toml_get_doc(doc, glue(key, ".#len"_t));
    if (marker.is_none()) return None;
    return Some(str_to_int(marker.unwrap()).unwrap_or(0));
}

int32_t toml_array_len_doc_or(const toml_doc& doc, const string& key, int32_t fallback) {
    return toml_array_len_doc(doc, key).unwrap_or(fallback);
}

Option<string> toml_array_item_doc(const toml_doc& doc, const string& key, int32_t index) {
    return toml_get_doc(doc, glue(key, "."_t, to_string(index)));
}

string toml_array_item_doc_or(const toml_doc& doc, const string& key, int32_t index, const string& fallback) {
    return toml_array_item_doc(doc, key, index).unwrap_or(fallback);
}

// ---- Writing ------------------------------------------------------------------------------

toml_builder_ref toml_builder() {
    toml_builder_ref builder = runtime::make<TomlBuilder>();
    builder->sb = sb_new();
    return builder;
}

void toml_set_string(const toml_builder_ref& builder, const string& key, const string& value) {
    string_builder sb = builder->sb;
    sb_append(sb, key);
    sb_append(sb, " = "_t);
    append_quoted(sb, value);
    sb_newline(sb);
}

void toml_set_int(const toml_builder_ref& builder, const string& key, int32_t value) {
    string_builder sb = builder->sb;
    sb_append(sb, key);
    sb_append(sb, " = "_t);
    sb_append_int(sb, value);
    sb_newline(sb);
}

void toml_set_bool(const toml_builder_ref& builder, const string& key, bool value) {
    string_builder sb = builder->sb;
    sb_append(sb, key);
    sb_append(sb, value ? " = true"_t : " = false"_t);
    sb_newline(sb);
}

void toml_set_string_array(const toml_builder_ref& builder, const string& key, const string_array& items) {
    string_builder sb = builder->sb;
    sb_append(sb, key);
    sb_append(sb, " = ["_t);
    for (int32_t i = 0, n = runtime::length(items); i < n; i++) {
        if (i > 0) sb_append(sb, ", "_t);
        append_quoted(sb, items[i]);
    }
    sb_append(sb, "]"_t);
    sb_newline(sb);
}

void toml_begin_table(const toml_builder_ref& builder, const string& name) {
    string_builder sb = builder->sb;
    if (builder->table_started) sb_newline(sb);
    sb_append(sb, "["_t);
    sb_append(sb, name);
    sb_append(sb, "]"_t);
    sb_newline(sb);
    builder->table_started = true;
}

string toml_render(const toml_builder_ref& builder) { return sb_build(builder->sb); }

}  // namespace stdlib
