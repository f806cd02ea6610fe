#include "stdlib/core/str.hpp"

#include <string.h>

#include "stdlib/core/chars.hpp"

namespace stdlib {

string empty_string() { return adopt(nolt_string_empty()); }

string from_c(const char* cstring) { return adopt(nolt_string_dup_c(cstring)); }

string string_buffer(int32_t length) { return adopt(nolt_alloc_string_buffer(int64_t(length) + 1)); }

string from_bytes(const char* bytes, int32_t length) {
    if (length <= 0) return empty_string();
    string made = string_buffer(length);
    memcpy(made->bytes(), bytes, (size_t)length);
    return made;
}

const char* c_str(const string& s) { return s ? s->c_str() : ""; }

int32_t length(const string& s) { return nolt_string_length(s ? s->c_str() : nullptr); }

bool is_empty(const string& s) { return length(s) == 0; }

void set_length(const string& s, int32_t n) { nolt_string_set_length(s ? s->bytes() : nullptr, n); }

void sync_length(const string& s) { nolt_string_sync_length(s ? s->bytes() : nullptr); }

bool equals(const string& a, const string& b) { return compare(a, b) == 0; }

int32_t compare(const string& a, const string& b) {
    int order = strcmp(c_str(a), c_str(b));
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

bool contains(const string& s, const string& needle) { return index_of(s, needle).is_some(); }

bool starts_with(const string& s, const string& prefix) {
    int32_t n = length(prefix);
    return n <= length(s) && memcmp(c_str(s), c_str(prefix), (size_t)n) == 0;
}

bool ends_with(const string& s, const string& suffix) {
    int32_t n = length(suffix), at = length(s) - n;
    return at >= 0 && memcmp(c_str(s) + at, c_str(suffix), (size_t)n) == 0;
}

// By stored length, so a zero byte copied in from a file stays; the `+` of texts stops at one.
string concat(const string& a, const string& b) {
    int32_t a_length = length(a), b_length = length(b);
    if (a_length + b_length == 0) return empty_string();
    string made = string_buffer(a_length + b_length);
    memcpy(made->bytes(), c_str(a), (size_t)a_length);
    memcpy(made->bytes() + a_length, c_str(b), (size_t)b_length);
    return made;
}

string substring(const string& s, int32_t start, int32_t n) {
    int32_t total = length(s);
    if (start < 0 || start >= total || n <= 0) return empty_string();
    if (n > total - start) n = total - start;
    return from_bytes(c_str(s) + start, n);
}

string trim_ws(const string& s) {
    const char* bytes = c_str(s);
    int32_t start = 0, end = length(s);
    while (start < end && is_whitespace(bytes[start])) start++;
    while (end > start && is_whitespace(bytes[end - 1])) end--;
    return substring(s, start, end - start);
}

Option<char> char_at(const string& s, int32_t index) {
    if (index < 0 || index >= length(s)) return None;
    return Some(c_str(s)[index]);
}

namespace {

string pad(const string& s, int32_t width, char fill, bool left) {
    int32_t n = length(s);
    if (n >= width) return s;
    string made = string_buffer(width);
    char* bytes = made->bytes();
    memset(bytes, fill, (size_t)width);
    memcpy(bytes + (left ? width - n : 0), c_str(s), (size_t)n);
    return made;
}

}  // namespace

string pad_left(const string& s, int32_t width, char fill) { return pad(s, width, fill, true); }

string pad_right(const string& s, int32_t width, char fill) { return pad(s, width, fill, false); }

Option<int32_t> index_of(const string& s, const string& needle) {
    int32_t n = length(needle), total = length(s);
    const char* bytes = c_str(s);
    for (int32_t at = 0; at + n <= total; at++)
        if (memcmp(bytes + at, c_str(needle), (size_t)n) == 0) return Some(at);
    return None;
}

Option<int32_t> index_of_char(const string& s, char c) {
    const void* found = memchr(c_str(s), c, (size_t)length(s));
    if (!found) return None;
    return Some(int32_t(static_cast<const char*>(found) - c_str(s)));
}

Option<int32_t> last_index_of_char(const string& s, char c) {
    const char* bytes = c_str(s);
    for (int32_t at = length(s) - 1; at >= 0; at--)
        if (bytes[at] == c) return Some(at);
    return None;
}

string to_lower(const string& s) {
    int32_t n = length(s);
    if (n == 0) return empty_string();
    string made = from_bytes(c_str(s), n);
    for (int32_t i = 0; i < n; i++) made->bytes()[i] = stdlib::to_lower(made->c_str()[i]);
    return made;
}

int32_t count_char(const string& s, char c) {
    int32_t count = 0;
    const char* bytes = c_str(s);
    for (int32_t i = 0, n = length(s); i < n; i++) count += bytes[i] == c;
    return count;
}

string_array split(const string& s, char separator) {
    int32_t n = length(s);
    string_array pieces = Array<Member<Text>>::make(n == 0 ? 0 : uint64_t(count_char(s, separator)) + 1);
    if (n == 0) return pieces;
    int32_t start = 0, piece = 0;
    for (int32_t i = 0; i <= n; i++) {
        if (i < n && c_str(s)[i] != separator) continue;
        pieces[piece++] = from_bytes(c_str(s) + start, i - start);
        start = i + 1;
    }
    return pieces;
}

string join(const string_array& items, const string& separator) {
    int32_t count = runtime::length(items);
    if (count == 0) return empty_string();
    if (count == 1) return items[0];
    // No allocation happens while the raw element pointers are read.
    Member<Text>* parts = items->data();
    int64_t total = int64_t(length(separator)) * (count - 1);
    for (int32_t i = 0; i < count; i++) total += nolt_string_length(parts[i] ? parts[i]->c_str() : nullptr);
    if (total == 0) return empty_string();
    string made = string_buffer((int32_t)total);
    char* at = made->bytes();
    parts = items->data();
    for (int32_t i = 0; i < count; i++) {
        if (i > 0) at = (char*)mempcpy(at, c_str(separator), (size_t)length(separator));
        if (Text* part = parts[i].get()) at = (char*)mempcpy(at, part->c_str(), (size_t)part->length());
    }
    return made;
}

}  // namespace stdlib
