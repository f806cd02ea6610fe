#include "stdlib/text/stringbuilder.hpp"

#include <string.h>

#include "stdlib/core/convert.hpp"

namespace stdlib {

string_builder sb_new() { return sb_with_capacity(16); }

string_builder sb_with_capacity(int32_t capacity) {
    string_builder sb = runtime::make<StringBuilder>();
    if (capacity < 1) capacity = 1;
    sb->parts = Array<Member<Text>>::make((uint64_t)capacity);
    sb->capacity = capacity;
    return sb;
}

void sb_append(const string_builder& sb, const string& text) {
    if (!text) return;
    if (sb->count == sb->capacity) {
        int32_t capacity = sb->capacity < 1 ? 1 : sb->capacity * 2;
        string_array grown = Array<Member<Text>>::make((uint64_t)capacity);
        memcpy(grown->data(), sb->parts->data(), sizeof(Member<Text>) * (size_t)sb->count);
        sb->parts = grown;
        sb->capacity = capacity;
    }
    sb->parts->data()[sb->count++] = text;
    sb->total_length += length(text);
}

void sb_append_int(const string_builder& sb, int32_t value) { sb_append(sb, to_string(value)); }

void sb_newline(const string_builder& sb) { sb_append(sb, "\n"_t); }

string sb_build(const string_builder& sb) {
    if (sb->total_length == 0) return empty_string();
    string built = string_buffer(sb->total_length);
    char* at = built->bytes();
    for (int32_t i = 0; i < sb->count; i++) {
        Text* part = sb->parts->data()[i].get();
        at = (char*)mempcpy(at, part->c_str(), (size_t)part->length());
    }
    return built;
}

}  // namespace stdlib
