// StringBuilder: keeps references to its parts and joins them in one copy at sb_build, so
// appending stays linear in the number of parts.
#pragma once
#include "stdlib/core/str.hpp"

namespace stdlib {

class StringBuilder {
    NOLT_MANAGED(StringBuilder, void);

public:
    Member<Array<Member<Text>>> parts;
    int32_t count = 0;
    int32_t capacity = 0;
    int32_t total_length = 0;
};

using string_builder = Root<StringBuilder>;

string_builder sb_new();
string_builder sb_with_capacity(int32_t capacity);
// Stores the reference; the text is not copied.
void sb_append(const string_builder& sb, const string& text);
void sb_append_int(const string_builder& sb, int32_t value);
void sb_newline(const string_builder& sb);
// One allocation of total_length + 1; the builder keeps its parts.
string sb_build(const string_builder& sb);

}  // namespace stdlib
