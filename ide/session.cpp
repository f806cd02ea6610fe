#include "ide/session.hpp"

#include <algorithm>

#include "kestrum/cell.hpp"
#include "stdlib/core/convert.hpp"
#include "stdlib/io/dir.hpp"
#include "stdlib/io/file.hpp"
#include "stdlib/io/path.hpp"

namespace ide {

using namespace runtime::literals;
using stdlib::string;
using stdlib::string_array;
using stdlib::toml_builder_ref;
using stdlib::toml_doc;

namespace {

Text* EMPTY_RECT() { return "0,0,0,0"_t; }

// The header form has no escapes, so these bytes would end it or move the section elsewhere.
bool storable_root(const string& root) {
    const char* p = stdlib::c_str(root);
    int32_t n = stdlib::length(root);
    for (int32_t i = 0; i < n; i++)
        if (p[i] == '"' || p[i] == ']' || p[i] == '\n') return false;
    return n > 0;
}

string section_key(const string& prefix, const string& name) {
    return stdlib::concat(stdlib::concat(prefix, "."_t), name);
}

// The first `count` items of `items`, with `fallback` for the slots past its end.
string_array first_items(const string_array& items, int32_t count, const string& fallback) {
    string_array out = Array<Member<Text>>::make(count);
    for (int32_t i = 0; i < count; i++) out[i] = i < runtime::length(items) ? string(items[i]) : fallback;
    return out;
}

Root<stdlib::TomlDoc> parse_body(const string& path) {
    string body = read_session_body(path);
    if (stdlib::is_empty(body)) return nullptr;
    auto parsed = stdlib::toml_parse_doc(body);
    if (parsed.is_err()) return nullptr;
    return parsed.unwrap_ok();
}

}  // namespace

// ---- Records and text forms ---------------------------------------------------------------

Geom empty_geom() { return Geom{}; }

bool geom_valid(Geom geom) { return geom.w > 0 && geom.h > 0; }

string format_geom(Geom geom) {
    string_array parts = Array<Member<Text>>::make(4);
    parts[0] = stdlib::to_string(geom.x);
    parts[1] = stdlib::to_string(geom.y);
    parts[2] = stdlib::to_string(geom.w);
    parts[3] = stdlib::to_string(geom.h);
    return stdlib::join(parts, ","_t);
}

Geom parse_geom(const string& text) {
    if (stdlib::is_empty(text)) return empty_geom();
    string_array parts = stdlib::split(text, ',');
    if (runtime::length(parts) != 4) return empty_geom();
    return Geom{parse_int_or(parts[0], 0), parse_int_or(parts[1], 0), parse_int_or(parts[2], 0),
                parse_int_or(parts[3], 0)};
}

int32_t parse_int_or(const string& text, int32_t fallback) {
    auto number = stdlib::to_int(text);
    return number.is_ok() ? number.unwrap_ok() : fallback;
}

session_ref empty_project_session() {
    session_ref session = runtime::make<ProjectSession>();
    session->root = stdlib::empty_string();
    session->buffers = first_items(nullptr, MAX_BUFFERS, stdlib::empty_string());
    session->rects = first_items(nullptr, MAX_BUFFERS, stdlib::empty_string());
    session->active_kind = stdlib::empty_string();
    session->build_rect = EMPTY_RECT();
    session->run_rect = EMPTY_RECT();
    return session;
}

bool session_has_section(const session_ref& session) { return !stdlib::is_empty(session->root); }

// ---- Paths --------------------------------------------------------------------------------

string session_dir() { return stdlib::expand_home("~/.config/noltide"_t); }

string session_file_path() { return stdlib::join(session_dir(), "session.toml"_t); }

bool ensure_session_dir() {
    string dir = session_dir();
    if (stdlib::is_empty(dir)) return false;
    if (stdlib::dir_exists(dir)) return true;
    auto made = stdlib::create_dir_all(dir);
    return made.is_ok() && made.unwrap_ok();
}

// ---- Inner steps --------------------------------------------------------------------------

string read_session_body(const string& path) {
    if (stdlib::is_empty(path) || !stdlib::fileExists(path)) return stdlib::empty_string();
    auto body = stdlib::readFile(path);
    return body.is_ok() ? body.unwrap_ok() : stdlib::empty_string();
}

string section_header(const string& root) { return stdlib::concat(stdlib::concat("\""_t, root), "\""_t); }

string section_prefix(const string& root) { return section_header(root); }

string root_from_flat_key(const string& key) {
    const char* p = stdlib::c_str(key);
    int32_t n = stdlib::length(key);
    if (n == 0 || p[0] != '"') return stdlib::empty_string();
    int32_t end = 1;
    while (end < n && p[end] != '"') end++;
    if (end == n || end == 1) return stdlib::empty_string();
    return stdlib::substring(key, 1, end - 1);
}

bool roots_contains(const string_array& roots, int32_t count, const string& root) {
    count = kestrum::clamp(count, 0, runtime::length(roots));
    for (int32_t i = 0; i < count; i++)
        if (stdlib::equals(roots[i], root)) return true;
    return false;
}

string_array collect_roots(const toml_doc& doc) {
    string_array found = Array<Member<Text>>::make(MAX_PROJECTS);
    int32_t count = 0;
    for (int32_t i = 0; i < doc->count && count < MAX_PROJECTS; i++) {
        string root = root_from_flat_key(doc->keys[i]);
        if (!stdlib::is_empty(root) && !roots_contains(found, count, root)) found[count++] = root;
    }
    return first_items(found, count, stdlib::empty_string());
}

session_ref parse_project_section(const toml_doc& doc, const string& root) {
    session_ref session = empty_project_session();
    if (stdlib::is_empty(root)) return session;
    string prefix = section_prefix(root);
    string active = section_key(prefix, "active"_t);
    string buffers = section_key(prefix, "buffers"_t);
    string rects = section_key(prefix, "rects"_t);
    int32_t listed = stdlib::toml_array_len_doc_or(doc, buffers, -1);
    if (!stdlib::toml_has_key_doc(doc, active) && listed < 0) return session;

    session->root = root;
    int32_t count = kestrum::clamp(listed, 0, MAX_BUFFERS);
    for (int32_t i = 0; i < count; i++) {
        session->buffers[i] = stdlib::toml_array_item_doc_or(doc, buffers, i, stdlib::empty_string());
        session->rects[i] = stdlib::toml_array_item_doc_or(doc, rects, i, EMPTY_RECT());
    }
    session->buffer_count = count;
    session->active = stdlib::toml_get_int_doc_or(doc, active, -1);
    session->active_kind = stdlib::toml_get_doc_or(doc, section_key(prefix, "active_kind"_t), stdlib::empty_string());
    session->build_visible = stdlib::toml_get_bool_doc_or(doc, section_key(prefix, "build_visible"_t), false);
    session->build_rect = stdlib::toml_get_doc_or(doc, section_key(prefix, "build_rect"_t), EMPTY_RECT());
    session->run_visible = stdlib::toml_get_bool_doc_or(doc, section_key(prefix, "run_visible"_t), false);
    session->run_rect = stdlib::toml_get_doc_or(doc, section_key(prefix, "run_rect"_t), EMPTY_RECT());
    return session;
}

void emit_project(const toml_builder_ref& builder, const session_ref& session) {
    string root = session->root;
    if (!storable_root(root)) return;
    string_array buffers = session->buffers;
    int32_t count = kestrum::clamp(session->buffer_count, 0, std::min(MAX_BUFFERS, runtime::length(buffers)));
    stdlib::toml_begin_table(builder, section_header(root));
    stdlib::toml_set_int(builder, "active"_t, session->active);
    stdlib::toml_set_string(builder, "active_kind"_t, session->active_kind);
    stdlib::toml_set_string_array(builder, "buffers"_t, first_items(buffers, count, stdlib::empty_string()));
    stdlib::toml_set_string_array(builder, "rects"_t, first_items(session->rects, count, EMPTY_RECT()));
    stdlib::toml_set_bool(builder, "build_visible"_t, session->build_visible);
    stdlib::toml_set_string(builder, "build_rect"_t, session->build_rect);
    stdlib::toml_set_bool(builder, "run_visible"_t, session->run_visible);
    stdlib::toml_set_string(builder, "run_rect"_t, session->run_rect);
}

string serialize_file(const string& last_root, const session_array& sessions, int32_t count) {
    toml_builder_ref builder = stdlib::toml_builder();
    if (!stdlib::is_empty(last_root)) stdlib::toml_set_string(builder, "last_root"_t, last_root);
    count = kestrum::clamp(count, 0, std::min(MAX_PROJECTS, runtime::length(sessions)));
    for (int32_t i = 0; i < count; i++) emit_project(builder, session_ref(sessions[i]));
    return stdlib::toml_render(builder);
}

// ---- File operations ----------------------------------------------------------------------

string load_last_root(const string& path) {
    toml_doc doc = parse_body(path);
    if (!doc) return stdlib::empty_string();
    return stdlib::toml_get_doc_or(doc, "last_root"_t, stdlib::empty_string());
}

session_ref load_project(const string& path, const string& root) {
    if (!storable_root(root)) return empty_project_session();
    toml_doc doc = parse_body(path);
    return doc ? parse_project_section(doc, root) : empty_project_session();
}

bool save_project(const string& path, const string& last_root, const session_ref& session) {
    string root = session->root;
    if (!storable_root(root) || !ensure_session_dir()) return false;
    session_array kept = Array<Member<ProjectSession>>::make(MAX_PROJECTS);
    int32_t count = 0;
    toml_doc doc = parse_body(path);
    if (doc) {
        string_array roots = collect_roots(doc);
        for (int32_t i = 0; i < runtime::length(roots) && count < MAX_PROJECTS; i++) {
            string other = roots[i];
            if (stdlib::equals(other, root)) continue;
            session_ref parsed = parse_project_section(doc, other);
            if (session_has_section(parsed)) kept[count++] = parsed;
        }
    }
    if (count < MAX_PROJECTS) count++;
    kept[count - 1] = session;
    string text = serialize_file(stdlib::is_empty(last_root) ? root : last_root, kept, count);
    return stdlib::replaceFile(path, text).is_ok();
}

}  // namespace ide
