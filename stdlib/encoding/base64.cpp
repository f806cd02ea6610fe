#include "stdlib/encoding/base64.hpp"

namespace stdlib {

string get_base64_alphabet() { return "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"_t; }

string get_base64_alphabet_url() { return "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"_t; }

char base64_char(int32_t index, bool url) {
    return c_str(url ? get_base64_alphabet_url() : get_base64_alphabet())[index & 63];
}

string base64_encode(const string& text) { return base64_encode_internal(text, false); }

string base64_encode_internal(const string& text, bool url) {
    int32_t n = length(text);
    if (n == 0) return empty_string();
    string encoded = string_buffer((n + 2) / 3 * 4);
    const char* symbols = c_str(url ? get_base64_alphabet_url() : get_base64_alphabet());
    const unsigned char* in = reinterpret_cast<const unsigned char*>(c_str(text));
    char* out = encoded->bytes();
    for (int32_t i = 0; i < n; i += 3) {
        uint32_t group = uint32_t(in[i]) << 16;
        if (i + 1 < n) group |= uint32_t(in[i + 1]) << 8;
        if (i + 2 < n) group |= in[i + 2];
        *out++ = symbols[group >> 18];
        *out++ = symbols[(group >> 12) & 63];
        *out++ = i + 1 < n ? symbols[(group >> 6) & 63] : '=';
        *out++ = i + 2 < n ? symbols[group & 63] : '=';
    }
    return encoded;
}

}  // namespace stdlib
