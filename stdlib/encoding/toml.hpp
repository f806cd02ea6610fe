// The configuration dialect: a reader that flattens a document into key/value texts and an
// append-only writer.
//
// The reader builds no tree. Every value becomes a text and nesting survives only in the keys:
// `[t]` then `k = 1` gives `t.k`; `[[t]]` elements give `t.0.k`, `t.1.k`; an inline array `a`
// gives `a.0`, `a.1`, ... and a marker `a.#len` holding its element count; an inline table
// member gives `a.x`. Bare values keep their source text (`0x10` stays `0x10`); quoted values
// are stored decoded. Lookups are linear scans that take the first exact match.
//
// The codec does no input or output and keeps no state between calls.
#pragma once
#include <stdint.h>

#include "stdlib/core/error.hpp"
#include "stdlib/text/stringbuilder.hpp"

namespace stdlib {

// The pairs of one document, in document order: parallel arrays of which the first `count`
// entries are used. A key may occur more than once.
class TomlDoc {
    NOLT_MANAGED(TomlDoc, void);

public:
    Member<Array<Member<Text>>> keys;
    Member<Array<Member<Text>>> values;
    int32_t count = 0;
};

class TomlBuilder {
    NOLT_MANAGED(TomlBuilder, void);

public:
    Member<StringBuilder> sb;
    bool table_started = false;
};

using toml_doc = Root<TomlDoc>;
using toml_builder_ref = Root<TomlBuilder>;

// ---- Reading ------------------------------------------------------------------------------

// The most pairs that toml_parse_doc accepts: 1024.
int32_t max_entries();
Result<TomlDoc, Error> toml_parse_doc(const string& text);
// Fails with OutOfRange when the document holds more than `capacity` pairs.
Result<TomlDoc, Error> toml_parse_doc_sized(const string& text, int32_t capacity);

// ---- Lookups on a doc ---------------------------------------------------------------------

Option<string> toml_get_doc(const toml_doc& doc, const string& key);
// Some(true) only for the value "true".
Option<bool> toml_get_bool_doc(const toml_doc& doc, const string& key);
string toml_get_doc_or(const toml_doc& doc, const string& key, const string& fallback);
int32_t toml_get_int_doc_or(const toml_doc& doc, const string& key, int32_t fallback);
bool toml_get_bool_doc_or(const toml_doc& doc, const string& key, bool fallback);
bool toml_has_key_doc(const toml_doc& doc, const string& key);
// The element count of the inline array `key`, from its `.#len` marker.
Option<int32_t> toml_array_len_doc(const toml_doc& doc, const string& key);
int32_t toml_array_len_doc_or(const toml_doc& doc, const string& key, int32_t fallback);
Option<string> toml_array_item_doc(const toml_doc& doc, const string& key, int32_t index);
string toml_array_item_doc_or(const toml_doc& doc, const string& key, int32_t index, const string& fallback);

// ---- Lookups on bare arrays: the first `count` entries of parallel key and value arrays ----

Option<string> toml_get(const string_array& keys, const string_array& values, int32_t count, const string& key);
// Reads a 32-bit decimal prefix of the value: `12.5` gives 12, `0x10` gives 0.
Option<int32_t> toml_get_int(const string_array& keys, const string_array& values, int32_t count, const string& key);
Option<bool> toml_get_bool(const string_array& keys, const string_array& values, int32_t count, const string& key);
string toml_get_or(const string_array& keys, const string_array& values, int32_t count, const string& key,
                   const string& fallback);
int32_t toml_get_int_or(const string_array& keys, const string_array& values, int32_t count, const string& key,
                        int32_t fallback);
bool toml_get_bool_or(const string_array& keys, const string_array& values, int32_t count, const string& key,
                      bool fallback);
bool toml_has_key(const string_array& keys, const string_array& values, int32_t count, const string& key);
// The number of elements of the array of tables `name`: the largest index seen under
// `name.` plus one, 0 if none.
int32_t toml_array_count(const string_array& keys, int32_t count, const string& name);
// The value of `name.index.field`.
Option<string> toml_array_get(const string_array& keys, const string_array& values, int32_t count, const string& name,
                              int32_t index, const string& field);

// ---- Writing ------------------------------------------------------------------------------
// Keys and table names are written as given, never quoted.

toml_builder_ref toml_builder();
void toml_set_string(const toml_builder_ref& builder, const string& key, const string& value);
void toml_set_int(const toml_builder_ref& builder, const string& key, int32_t value);
void toml_set_bool(const toml_builder_ref& builder, const string& key, bool value);
void toml_set_string_array(const toml_builder_ref& builder, const string& key, const string_array& items);
// `[name]` on a line of its own, with an empty line before every header but the first.
void toml_begin_table(const toml_builder_ref& builder, const string& name);
string toml_render(const toml_builder_ref& builder);

}  // namespace stdlib
