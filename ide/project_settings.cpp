#include "ide/project_settings.hpp"

#include "stdlib/encoding/toml.hpp"
#include "stdlib/fs/stat.hpp"
#include "stdlib/io/file.hpp"
#include "stdlib/text/stringbuilder.hpp"

namespace ide {

using namespace runtime::literals;
using runtime::Array;
using runtime::Member;
using runtime::Root;
using runtime::Text;

namespace {

// The keys the writer owns, in the order missing ones are added: the first in [package], the
// others in [build].
enum Key { NAME, ENTRY, OUTPUT, OUTPUT_DIR, SOURCE_DIRS, KEY_COUNT };

string key_text(int key) {
    const string keys[KEY_COUNT] = {"name"_t, "entry"_t, "output"_t, "output_dir"_t, "source_dirs"_t};
    return keys[key];
}

// One rendered line of the writer, without its line feed.
string without_line_feed(const stdlib::toml_builder_ref& builder) {
    string line = stdlib::toml_render(builder);
    return stdlib::substring(line, 0, stdlib::length(line) - 1);
}

string format_string_assign(const string& key, const string& value) {
    stdlib::toml_builder_ref builder = stdlib::toml_builder();
    stdlib::toml_set_string(builder, key, value);
    return without_line_feed(builder);
}

string format_string_array_assign(const string& key, const string_array& items, int32_t count) {
    int32_t n = count < 0 ? 0 : count < runtime::length(items) ? count : runtime::length(items);
    string_array first = Array<Member<Text>>::make(n);
    for (int32_t i = 0; i < n; i++) first[i] = items[i];
    stdlib::toml_builder_ref builder = stdlib::toml_builder();
    stdlib::toml_set_string_array(builder, key, first);
    return without_line_feed(builder);
}

// The name of a `[table]` header line, else empty; `[[array]]` headers are no headers here.
string table_header_name(const string& line) {
    string trimmed = stdlib::trim_ws(line);
    if (!stdlib::starts_with(trimmed, "["_t) || stdlib::starts_with(trimmed, "[["_t)) return stdlib::empty_string();
    int32_t close = stdlib::index_of_char(trimmed, ']').unwrap_or(-1);
    if (close <= 1) return stdlib::empty_string();
    return stdlib::trim_ws(stdlib::substring(trimmed, 1, close - 1));
}

// The bare key of a `key = value` line, else empty.
string assignment_key(const string& line) {
    string trimmed = stdlib::trim_ws(line);
    if (stdlib::is_empty(trimmed) || stdlib::starts_with(trimmed, "#"_t) || stdlib::starts_with(trimmed, "["_t))
        return stdlib::empty_string();
    int32_t equals = stdlib::index_of_char(trimmed, '=').unwrap_or(-1);
    if (equals <= 0) return stdlib::empty_string();
    return stdlib::trim_ws(stdlib::substring(trimmed, 0, equals));
}

enum Section { OTHER, PACKAGE, BUILD };

struct Pass {
    string_array out;
    int32_t count = 0;
    string_array new_lines;  // by Key
    bool needs[KEY_COUNT] = {};
    Section section = OTHER;
    bool seen_package = false, seen_build = false;

    // Lines beyond the room the output was given are dropped.
    void append_line(const string& line) {
        if (count < runtime::length(out)) out[count++] = line;
    }
    // The keys a section owns: first_key up to end_key; none for another table.
    static int first_key(Section s) { return s == BUILD ? ENTRY : NAME; }
    static int end_key(Section s) { return s == PACKAGE ? ENTRY : s == BUILD ? KEY_COUNT : NAME; }

    // Adds the keys of the section being left that it did not have.
    void flush_missing(Section s) {
        for (int key = first_key(s); key < end_key(s); key++)
            if (needs[key]) append_line(new_lines[key]);
    }
    void enter(const string& header) {
        flush_missing(section);
        section = stdlib::equals(header, "package"_t) ? PACKAGE : stdlib::equals(header, "build"_t) ? BUILD : OTHER;
        seen_package |= section == PACKAGE;
        seen_build |= section == BUILD;
        for (int key = first_key(section); key < end_key(section); key++) needs[key] = true;
    }
    void take(const string& line) {
        string header = table_header_name(line);
        if (!stdlib::is_empty(header)) {
            enter(header);
            append_line(line);
            return;
        }
        string key = section == OTHER ? stdlib::empty_string() : assignment_key(line);
        for (int k = first_key(section); k < end_key(section); k++) {
            if (!stdlib::equals(key, key_text(k))) continue;
            append_line(new_lines[k]);
            needs[k] = false;
            return;
        }
        append_line(line);
    }
    // A whole table at the end of the text, behind one empty line unless one stands there.
    void add_table(const string& header, Section s) {
        if (count > 0 && !stdlib::is_empty(out[count - 1])) append_line(stdlib::empty_string());
        append_line(header);
        for (int key = first_key(s); key < end_key(s); key++) append_line(new_lines[key]);
    }
};

}  // namespace

string surgical_update(const string& text, const string& name, const string& entry, const string& output,
                       const string& output_dir, const string_array& dirs, int32_t dir_count) {
    string_array lines = stdlib::split(text, '\n');
    int32_t n = runtime::length(lines);
    Pass pass{Array<Member<Text>>::make(n + 16), 0, Array<Member<Text>>::make(KEY_COUNT)};
    const string values[] = {name, entry, output, output_dir};
    for (int key = NAME; key < SOURCE_DIRS; key++)
        pass.new_lines[key] = format_string_assign(key_text(key), values[key]);
    pass.new_lines[SOURCE_DIRS] = format_string_array_assign(key_text(SOURCE_DIRS), dirs, dir_count);

    for (int32_t i = 0; i < n; i++) pass.take(lines[i]);
    pass.flush_missing(pass.section);
    if (!pass.seen_package) pass.add_table("[package]"_t, PACKAGE);
    if (!pass.seen_build) pass.add_table("[build]"_t, BUILD);

    stdlib::string_builder sb = stdlib::sb_new();
    for (int32_t i = 0; i < pass.count; i++) {
        if (i > 0) stdlib::sb_newline(sb);
        stdlib::sb_append(sb, pass.out[i]);
    }
    return stdlib::sb_build(sb);
}

bool save_nolt_toml(const string& toml_path, const string& name, const string& entry, const string& output,
                    const string& output_dir, const string_array& dirs, int32_t dir_count) {
    if (stdlib::is_empty(toml_path)) return false;
    string text = stdlib::empty_string();
    if (stdlib::exists(toml_path)) {
        auto body = stdlib::readFile(toml_path);
        if (body.is_err()) return false;
        text = body.unwrap_ok();
    }
    string updated = surgical_update(text, name, entry, output, output_dir, dirs, dir_count);
    return stdlib::writeFile(toml_path, updated).is_ok();
}

}  // namespace ide
