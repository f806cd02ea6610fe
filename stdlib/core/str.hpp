// Texts: byte sequences with a stored length and a zero byte behind them.
//
// `string` is a rooted handle to a managed text; a null one has length 0. Functions take texts as
// `const string&`, so a literal ("abc"_t), a field or another handle can be passed directly.
// Every length and position counts bytes, and nothing validates UTF-8. Results that are empty are
// the one shared empty text unless noted.
#pragma once
#include <stdint.h>

#include "runtime/managed.hpp"
#include "stdlib/core/option.hpp"

namespace stdlib {

using runtime::Array;
using runtime::Member;
using runtime::Root;
using runtime::Text;
using namespace runtime::literals;

using string = Root<Text>;
using string_array = Root<Array<Member<Text>>>;

// The one shared empty text.
string empty_string();
// A managed copy of a zero-terminated C text; null gives the empty text.
string from_c(const char* cstring);
// A managed copy of `length` bytes.
string from_bytes(const char* bytes, int32_t length);
// A fresh text of `length` zero bytes, to be filled in place (never the shared empty text).
string string_buffer(int32_t length);
// Roots a text that a runtime call has just returned.
inline string adopt(char* fresh) { return string(reinterpret_cast<Text*>(fresh)); }
// The bytes for calls into the C library; a null text gives "".
const char* c_str(const string& s);

int32_t length(const string& s);
bool is_empty(const string& s);
void set_length(const string& s, int32_t length);
void sync_length(const string& s);

// Up to the first zero byte of either.
bool equals(const string& a, const string& b);
// -1, 0 or 1; unsigned bytes up to the first zero byte; a proper prefix sorts first.
int32_t compare(const string& a, const string& b);
bool contains(const string& s, const string& needle);
bool starts_with(const string& s, const string& prefix);
bool ends_with(const string& s, const string& suffix);

string concat(const string& a, const string& b);
string substring(const string& s, int32_t start, int32_t length);
string trim_ws(const string& s);
Option<char> char_at(const string& s, int32_t index);
// `s` itself when it has `width` bytes or more.
string pad_left(const string& s, int32_t width, char fill);
string pad_right(const string& s, int32_t width, char fill);
Option<int32_t> index_of(const string& s, const string& needle);
Option<int32_t> index_of_char(const string& s, char c);
Option<int32_t> last_index_of_char(const string& s, char c);
string to_lower(const string& s);
int32_t count_char(const string& s, char c);
// Always count + 1 pieces for a non-empty text, empty pieces kept.
string_array split(const string& s, char separator);
// The one item itself when there is one.
string join(const string_array& items, const string& separator);

}  // namespace stdlib
