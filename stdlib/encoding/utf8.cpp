#include "stdlib/encoding/utf8.hpp"

namespace stdlib {

int32_t utf8_strlen(const string& s) {
    const char* bytes = c_str(s);
    int32_t count = 0;
    for (int32_t i = 0, n = length(s); i < n; i++) count += is_utf8_start_byte(bytes[i]);
    return count;
}

}  // namespace stdlib
