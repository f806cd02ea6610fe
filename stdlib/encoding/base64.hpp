// Base64 encoding with "=" padding, in the standard or the URL-safe alphabet. No decoder.
#pragma once
#include "stdlib/core/str.hpp"

namespace stdlib {

string get_base64_alphabet();
string get_base64_alphabet_url();
char base64_char(int32_t index, bool url);
string base64_encode(const string& text);
string base64_encode_internal(const string& text, bool url);

}  // namespace stdlib
