// The project settings window: a modal form for the five values of the open project that a user
// may change (name, entry file, binary name, binary directory, source directories), and the
// writer that puts them back into nolt.toml in place, every other line of the file kept as it was.
#pragma once
#include "ide/project.hpp"
#include "ide/settings_form.hpp"

namespace ide {

using kestrum::Application;
using stdlib::string;
using stdlib::string_array;

inline constexpr int32_t CMD_PROJECT_SETTINGS = 145;

// Children in order of adding, which is also the order of Tab: a label and an input for each of
// name, entry, output, output dir and source dirs, then Apply and Cancel. Apply writes the fields
// into nolt.toml and the window stays open, clean; the version and the rest of the file are not
// shown and not touched.
class ProjectSettingsWin : public kestrum::SettingsWindow {
    NOLT_MANAGED(ProjectSettingsWin, kestrum::SettingsWindow);

public:
    static constexpr int32_t CMD_APPLY = 146;
    static constexpr int32_t max_field_len = 200;
    static constexpr int32_t label_w = 12;
    static constexpr int32_t FIELD_COUNT = 5;

    ProjectSettingsWin() = default;
    ProjectSettingsWin(kestrum::Rect bounds, const string& title) : SettingsWindow(bounds, title) {}

    Member<kestrum::InputLine> name_input, entry_input, output_input, output_dir_input, source_dirs_input;
    Member<Text> toml_path;  // root joined with nolt.toml
    Member<Text> root;
    Member<Text> version;  // carried along
    // What the inputs held when last read or written; the source dirs in the comma form.
    Member<Text> baseline_name, baseline_entry, baseline_output, baseline_output_dir, baseline_source_dirs;

    // At (0, 0, 58, 16), titled "Project Settings", clean.
    static Root<ProjectSettingsWin> create(const Root<Project>& project);

    // Dirty while any input differs from its baseline, byte for byte: a blank added counts.
    void sync_dirty_from_fields() override;
    void layout_contents() override;
    // False, writing nothing, if name, entry, output or output dir is blank after trimming, or if
    // the file cannot be read or written. On success the inputs show what was written, trimmed
    // and in the comma form, and the window is clean.
    virtual bool apply_to_disk();
    // The project the IDE holds after an apply: root and version from `old`; a blank name or entry
    // keeps the old one, a blank output takes the name, a blank output dir is "build", no source
    // dir is "src".
    virtual Root<Project> project_from_fields(const Root<Project>& old);

    // The input of row 0 to 4.
    Root<kestrum::InputLine> input(int32_t row);
};

// The non-empty entries joined by ", ".
string source_dirs_csv(const string_array& dirs);
// Empties every slot of `out`, then fills it from the front with the trimmed, non-empty pieces
// between commas until it is full; gives how many it stored.
int32_t parse_source_dirs_csv(const string& text, const string_array& out);

// `text` with package.name and build.entry, output, output_dir and source_dirs (the first
// `dir_count` of `dirs`) set. Works line by line on the table form: a key's line is replaced where
// it stands, a missing key is added at the end of its table, a missing table at the end of the
// text. Lines with values spread over several lines keep their continuation lines.
string surgical_update(const string& text, const string& name, const string& entry, const string& output,
                       const string& output_dir, const string_array& dirs, int32_t dir_count);
// Applies surgical_update to the file at `toml_path`, or to the empty text if there is no file.
// The new text replaces the file as a whole, so a failed write leaves the old file as it was.
// False for an empty path, a file that exists but cannot be read (it is left alone), or a failed
// write.
bool save_nolt_toml(const string& toml_path, const string& name, const string& entry, const string& output,
                    const string& output_dir, const string_array& dirs, int32_t dir_count);

// CMD_PROJECT_SETTINGS: with no project open only a box says so. The result is the project that
// holds afterwards: the last one applied, or `project`. Each successful apply shows the new project
// in the chrome and the file tree.
Root<Project> do_project_settings(const Root<Application>& app, const Root<Project>& project);

}  // namespace ide
