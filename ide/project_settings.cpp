#include "ide/project_settings.hpp"

#include "ide/flows.hpp"
#include "stdlib/encoding/toml.hpp"
#include "stdlib/fs/stat.hpp"
#include "stdlib/io/file.hpp"
#include "stdlib/io/path.hpp"
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
    return stdlib::replaceFile(toml_path, updated).is_ok();
}

// ---- The window ------------------------------------------------------------------------------

using kestrum::InputLine;
using kestrum::rect;

namespace {

constexpr InputRows<ProjectSettingsWin, ProjectSettingsWin::FIELD_COUNT> ROWS = {
    {&ProjectSettingsWin::name_input, &ProjectSettingsWin::entry_input, &ProjectSettingsWin::output_input,
     &ProjectSettingsWin::output_dir_input, &ProjectSettingsWin::source_dirs_input},
    {&ProjectSettingsWin::baseline_name, &ProjectSettingsWin::baseline_entry, &ProjectSettingsWin::baseline_output,
     &ProjectSettingsWin::baseline_output_dir, &ProjectSettingsWin::baseline_source_dirs},
    0,
    false};
enum Row { NAME_ROW, ENTRY_ROW, OUTPUT_ROW, OUTPUT_DIR_ROW, SOURCE_DIRS_ROW };

// The input's text trimmed, or `fallback` when that is empty.
string trimmed_or(const Root<InputLine>& input, const string& fallback) {
    string trimmed = stdlib::trim_ws(input->text);
    return stdlib::is_empty(trimmed) ? fallback : trimmed;
}

// The source dirs of the field into `out`; none stands for "src".
int32_t read_source_dirs(const Root<InputLine>& input, const string_array& out) {
    int32_t count = parse_source_dirs_csv(input->text, out);
    if (count > 0) return count;
    out[0] = "src"_t;
    return 1;
}

}  // namespace

string source_dirs_csv(const string_array& dirs) {
    stdlib::string_builder sb = stdlib::sb_new();
    bool first = true;
    for (int32_t i = 0; i < runtime::length(dirs); i++) {
        if (stdlib::is_empty(dirs[i])) continue;
        if (!first) stdlib::sb_append(sb, ", "_t);
        stdlib::sb_append(sb, dirs[i]);
        first = false;
    }
    return stdlib::sb_build(sb);
}

int32_t parse_source_dirs_csv(const string& text, const string_array& out) {
    int32_t slots = runtime::length(out);
    for (int32_t i = 0; i < slots; i++) out[i] = stdlib::empty_string();
    if (stdlib::is_empty(text)) return 0;
    string_array pieces = stdlib::split(text, ',');
    int32_t count = 0;
    for (int32_t i = 0; i < runtime::length(pieces) && count < slots; i++) {
        string dir = stdlib::trim_ws(pieces[i]);
        if (!stdlib::is_empty(dir)) out[count++] = dir;
    }
    return count;
}

Root<ProjectSettingsWin> ProjectSettingsWin::create(const Root<Project>& project) {
    Root<ProjectSettingsWin> win = runtime::make<ProjectSettingsWin>(rect(0, 0, 58, 16), string("Project Settings"_t));
    win->init_settings();
    win->root = project->root;
    win->version = project->version;
    win->toml_path = stdlib::join(string(project->root), "nolt.toml"_t);
    const string labels[FIELD_COUNT] = {"Name"_t, "Entry"_t, "Output"_t, "Output dir"_t, "Source dirs"_t};
    const string values[FIELD_COUNT] = {project->name, project->entry, project->output, project->output_dir,
                                        source_dirs_csv(project->source_dirs)};
    add_input_rows(*win, ROWS, labels, values, 40);
    win->add_apply_cancel(rect(36, 12, 10, 1), rect(47, 12, 10, 1), CMD_APPLY);
    return win;
}

Root<InputLine> ProjectSettingsWin::input(int32_t row) { return this->*ROWS.inputs[row]; }

void ProjectSettingsWin::sync_dirty_from_fields() {
    if (inputs_unchanged(*this, ROWS)) dirty->clear();
    else dirty->mark();
}

void ProjectSettingsWin::layout_contents() {
    Root<kestrum::FormGrid> grid = lay_out_chrome(10, label_w);
    if (child_count() >= 2 * FIELD_COUNT + 2) lay_out_input_rows(*this, ROWS, grid);
}

bool ProjectSettingsWin::apply_to_disk() {
    string values[FIELD_COUNT];
    for (int32_t row = NAME_ROW; row < SOURCE_DIRS_ROW; row++) {
        values[row] = stdlib::trim_ws(input(row)->text);
        if (stdlib::is_empty(values[row])) return false;
    }
    string_array dirs = alloc_source_dirs();
    int32_t count = read_source_dirs(input(SOURCE_DIRS_ROW), dirs);
    if (!save_nolt_toml(string(toml_path), values[NAME_ROW], values[ENTRY_ROW], values[OUTPUT_ROW],
                        values[OUTPUT_DIR_ROW], dirs, count))
        return false;
    values[SOURCE_DIRS_ROW] = source_dirs_csv(dirs);
    show_input_values(*this, ROWS, values);
    dirty->clear();
    sync_title();
    return true;
}

Root<Project> ProjectSettingsWin::project_from_fields(const Root<Project>& old) {
    Root<Project> project = runtime::make<Project>();
    project->root = old->root;
    project->version = old->version;
    project->name = trimmed_or(input(NAME_ROW), old->name);
    project->entry = trimmed_or(input(ENTRY_ROW), old->entry);
    project->output = trimmed_or(input(OUTPUT_ROW), project->name);
    project->output_dir = trimmed_or(input(OUTPUT_DIR_ROW), "build"_t);
    string_array dirs = alloc_source_dirs();
    read_source_dirs(input(SOURCE_DIRS_ROW), dirs);
    project->source_dirs = dirs;
    return project;
}

Root<Project> do_project_settings(const Root<Application>& app, const Root<Project>& project) {
    if (!is_open(project)) {
        box_ok(app, "Project Settings"_t, "No project is open"_t);
        return project;
    }
    Root<Project> current = project;
    Root<ProjectSettingsWin> win = ProjectSettingsWin::create(project);
    open_settings_modal(app, win);
    while (next_settings_apply(app, win, ProjectSettingsWin::CMD_APPLY)) {
        if (!win->apply_to_disk()) {
            box_ok(app, "Project Settings"_t, "Could not write nolt.toml (check Name/Entry/Output/Output dir)"_t);
            continue;
        }
        current = win->project_from_fields(current);
        apply_project_chrome(app, current);
        ensure_file_tree(app, current);
        app->set_status("project settings saved"_t);
    }
    return current;
}

}  // namespace ide
