// The session store: per project, which files were open, where their windows stood and which
// window was active, kept in one session.toml under ~/.config/noltide for up to MAX_PROJECTS
// projects, keyed by root directory, with `last_root` naming the project to reopen at start-up.
//
// The file, always written whole through the TOML builder:
//
//   last_root = "/home/u/proj"
//   ["/home/u/proj"]
//   active = 0
//   active_kind = "editor"
//   buffers = ["/home/u/proj/src/main.nolt"]
//   rects = ["2,2,60,20"]
//   build_visible = false
//   build_rect = "0,0,0,0"
//   run_visible = false
//   run_rect = "0,0,0,0"
//
// with an empty line before every further section. The header is the root written raw between
// double quotes, so the reader sees the section's keys as `"<root>".active` and so on. A root
// holding a double quote, a closing bracket or a line feed cannot be spelt that way: such a
// project is never written, and nothing is found for it.
//
// The module is pure storage and knows no windows. No operation reports an error in words: a
// missing, unreadable or unparseable file reads as empty, and a failed save answers false.
#pragma once
#include "stdlib/core/str.hpp"
#include "stdlib/encoding/toml.hpp"

namespace ide {

using runtime::Array;
using runtime::Member;
using runtime::Root;
using runtime::Text;

inline constexpr int32_t MAX_BUFFERS = 8;
inline constexpr int32_t MAX_PROJECTS = 16;

// A window's rectangle in screen cells.
struct Geom {
    int32_t x = 0;
    int32_t y = 0;
    int32_t w = 0;
    int32_t h = 0;
};

Geom empty_geom();
// Both sides above 0.
bool geom_valid(Geom geom);
// "x,y,w,h" in decimal, signs kept.
stdlib::string format_geom(Geom geom);
// Anything but four comma-separated pieces gives the empty rectangle; a piece that is no number
// reads as 0 and the others keep their values.
Geom parse_geom(const stdlib::string& text);
// The decimal value of `text` (blanks around it and one sign allowed), else `fallback`.
int32_t parse_int_or(const stdlib::string& text, int32_t fallback);

// One project's record. Rectangles stay in their text form here; parse_geom reads them where a
// window is placed.
class ProjectSession {
    NOLT_MANAGED(ProjectSession, void);

public:
    Member<Text> root;  // empty: there is no section
    int32_t buffer_count = 0;
    Member<Array<Member<Text>>> buffers;  // MAX_BUFFERS slots, the first buffer_count in use
    Member<Array<Member<Text>>> rects;    // parallel to buffers
    int32_t active = -1;                  // index into buffers of the active window, or -1
    Member<Text> active_kind;             // "editor", "build", "run" or empty
    bool build_visible = false;
    Member<Text> build_rect;
    bool run_visible = false;
    Member<Text> run_rect;
};

using session_ref = Root<ProjectSession>;
using session_array = Root<Array<Member<ProjectSession>>>;

// No root, no buffers (MAX_BUFFERS empty slots), active -1, rectangles "0,0,0,0".
session_ref empty_project_session();
bool session_has_section(const session_ref& session);

// "~/.config/noltide" with the home directory expanded; the literal relative path when HOME is
// unset or empty.
stdlib::string session_dir();
stdlib::string session_file_path();
// Makes the directory if it is missing; false if that fails or its path is empty.
bool ensure_session_dir();

// ---- File operations ----------------------------------------------------------------------

// The project to reopen at start-up, or empty.
stdlib::string load_last_root(const stdlib::string& path);
// The section of `root`; the empty record when there is none.
session_ref load_project(const stdlib::string& path, const stdlib::string& root);
// Reads the file, replaces the section of session->root (or adds it, last; past MAX_PROJECTS it
// takes the place of the section that stood last) and replaces the whole file (a failed write leaves the old one as it was), with
// `last_root`, or session->root when that is empty. False for a record without a root or one
// that cannot be written, and when the directory or the file cannot be written.
bool save_project(const stdlib::string& path, const stdlib::string& last_root, const session_ref& session);

// ---- Inner steps --------------------------------------------------------------------------

// The file's text; empty when the path is empty or the file is missing or unreadable.
stdlib::string read_session_body(const stdlib::string& path);
// Both are the root between double quotes.
stdlib::string section_header(const stdlib::string& root);
stdlib::string section_prefix(const stdlib::string& root);
// The text between a leading double quote and the next one; empty when there is none.
stdlib::string root_from_flat_key(const stdlib::string& key);
bool roots_contains(const stdlib::string_array& roots, int32_t count, const stdlib::string& root);
// The distinct roots of the doc's sections in order of first appearance, at most MAX_PROJECTS.
stdlib::string_array collect_roots(const stdlib::toml_doc& doc);
// A section exists when it has `active` or a `buffers` array; missing keys take their defaults
// and a longer `buffers` is cut to MAX_BUFFERS.
session_ref parse_project_section(const stdlib::toml_doc& doc, const stdlib::string& root);
// The section's header and its eight keys; nothing for a record without a root.
void emit_project(const stdlib::toml_builder_ref& builder, const session_ref& session);
// `last_root` when not empty, then the first `count` records.
stdlib::string serialize_file(const stdlib::string& last_root, const session_array& sessions, int32_t count);

}  // namespace ide
