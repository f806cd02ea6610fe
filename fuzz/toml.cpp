// Reads arbitrary bytes as a configuration document. A document that parses is written back with
// the writer (every pair whose key the writer can spell: bare segments joined by dots) and read
// again; the same pairs must come back in the same order.
#include "stdlib/encoding/toml.hpp"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "fuzz/boot.hpp"
#include "stdlib/core/chars.hpp"

using namespace stdlib;

namespace {

bool same(const string& a, const string& b) {
    return length(a) == length(b) && memcmp(c_str(a), c_str(b), (size_t)length(a)) == 0;
}

// Non-empty segments of letters, digits, "_" and "-", joined by single dots.
bool writable_key(const string& key) {
    const char* p = c_str(key);
    int32_t n = length(key);
    for (int32_t i = 0; i < n; i++) {
        bool boundary = i == 0 || p[i - 1] == '.';
        if (p[i] == '.' ? boundary || i == n - 1 : !(is_alphanumeric(p[i]) || p[i] == '_' || p[i] == '-')) return false;
    }
    return n > 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_boot();
    if (size > 1 << 16) return 0;
    string text = from_bytes(reinterpret_cast<const char*>(data), (int32_t)size);
    Result<TomlDoc, Error> parsed = toml_parse_doc(text);
    if (parsed.is_err()) {
        if (!starts_with(parsed.unwrap_err()->message, "toml: "_t)) abort();
        return 0;
    }
    const Root<TomlDoc>& doc = parsed.unwrap_ok();
    if (doc->count > max_entries()) abort();

    toml_builder_ref builder = toml_builder();
    int32_t written = 0;
    for (int32_t i = 0; i < doc->count; i++) {
        string key = doc->keys[i];
        if (!writable_key(key)) continue;
        toml_set_string(builder, key, doc->values[i]);
        written++;
    }
    string rendered = toml_render(builder);
    Result<TomlDoc, Error> again = toml_parse_doc(rendered);
    if (again.is_err() || again.unwrap_ok()->count != written) abort();
    const Root<TomlDoc>& back = again.unwrap_ok();
    for (int32_t i = 0, j = 0; i < doc->count; i++) {
        string key = doc->keys[i];
        if (!writable_key(key)) continue;
        if (!same(back->keys[j], key) || !same(back->values[j], doc->values[i])) abort();
        j++;
    }
    if (doc->count > 0) {
        string first = doc->keys[0];
        (void)toml_array_count(doc->keys, doc->count, first);
        (void)toml_array_len_doc_or(doc, first, -1);
    }
    return 0;
}
