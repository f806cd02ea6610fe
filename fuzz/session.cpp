// Reads arbitrary bytes as a session file: the last root and the section of every root found in
// it. The sections that load are written back with the last root and read again; the same
// records must come back in the same order.
#include "ide/session.hpp"

#include <stdint.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "fuzz/boot.hpp"
#include "stdlib/io/file.hpp"

using namespace ide;
using namespace stdlib;

namespace {

std::string bytes(const string& text) { return std::string(c_str(text), (size_t)length(text)); }

// Every field, texts by their stored bytes.
std::string describe(const session_ref& r) {
    std::string out = bytes(r->root) + '\0' + std::to_string(r->active) + '\0' + bytes(r->active_kind);
    for (int32_t i = 0; i < r->buffer_count; i++) out += '\0' + bytes(r->buffers[i]) + '\0' + bytes(r->rects[i]);
    return out + (r->build_visible ? "B" : "-") + bytes(r->build_rect) + (r->run_visible ? "R" : "-") + bytes(r->run_rect);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_boot();
    if (size > 1 << 16) return 0;
    static const std::string file = fuzz_scratch("session");
    string path = from_c(file.c_str());
    string text = from_bytes(reinterpret_cast<const char*>(data), (int32_t)size);
    if (writeFile(path, text).is_err()) abort();
    string last = load_last_root(path);
    Result<TomlDoc, Error> parsed = toml_parse_doc(text);
    if (parsed.is_err()) {
        if (!is_empty(last) || session_has_section(load_project(path, "/"_t))) abort();
        return 0;
    }
    string_array roots = collect_roots(parsed.unwrap_ok());
    if (runtime::length(roots) > MAX_PROJECTS) abort();

    session_array sessions = Array<Member<ProjectSession>>::make(MAX_PROJECTS);
    std::vector<std::string> expected;
    for (int32_t i = 0; i < runtime::length(roots); i++) {
        session_ref session = load_project(path, roots[i]);
        if (!session_has_section(session)) continue;
        if (session->buffer_count < 0 || session->buffer_count > MAX_BUFFERS) abort();
        (void)geom_valid(parse_geom(session->build_rect));
        sessions[(int32_t)expected.size()] = session;
        expected.push_back(describe(session));
    }

    string written = serialize_file(last, sessions, (int32_t)expected.size());
    Result<TomlDoc, Error> again = toml_parse_doc(written);
    if (again.is_err()) abort();
    const Root<TomlDoc>& doc = again.unwrap_ok();
    if (bytes(toml_get_doc_or(doc, "last_root"_t, empty_string())) != bytes(last)) abort();
    string_array back = collect_roots(doc);
    if ((size_t)runtime::length(back) != expected.size()) abort();
    for (int32_t i = 0; i < runtime::length(back); i++)
        if (describe(parse_project_section(doc, back[i])) != expected[(size_t)i]) abort();
    return 0;
}
