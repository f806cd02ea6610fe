// The project's file tree window: one flat, sorted list of the Nolt sources found under the
// project's source directories, relative to the project root. Choosing a row opens nothing: the
// window notes the absolute path and answers with CMD_OPEN_TREE_FILE, and the IDE's loop takes
// the path. The list follows the disk only when `reload` runs.
#pragma once
#include <stdint.h>

#include "ide/project.hpp"
#include "kestrum/widgets/button.hpp"
#include "kestrum/widgets/label.hpp"
#include "kestrum/widgets/listbox.hpp"
#include "kestrum/widgets/window.hpp"

namespace ide {

inline constexpr int32_t CMD_FILE_TREE = 149;
inline constexpr int32_t CMD_OPEN_TREE_FILE = 150;
inline constexpr int32_t CMD_REFRESH_TREE = 151;

// The most files listed, and the most directories walked under one source directory.
inline constexpr int32_t MAX_FILES = 256;
inline constexpr int32_t max_queue = 64;

class FileTreeWin : public kestrum::Window {
    NOLT_MANAGED(FileTreeWin, kestrum::Window);

public:
    FileTreeWin() = default;
    FileTreeWin(kestrum::Rect bounds, const string& title) : Window(bounds, title) {}

    Member<kestrum::ListBox> list;          // relative paths, or absolute ones outside the root
    Member<kestrum::Button> refresh_button;
    Member<kestrum::Label> count_label;     // "12 files"
    Member<Text> root;                      // project root of the list; empty when cleared
    Member<Text> pending_path;              // absolute path chosen and not yet taken

    // At (0, 0, 28, 20), titled "Files", with all three system buttons, and empty.
    static Root<FileTreeWin> create();

    void draw(const Root<kestrum::CellBuffer>& buf, kestrum::Rect bounds, kestrum::Rect clip, bool focused,
              const Root<kestrum::Theme>& theme) override;
    // Enter or a double click on a row answers CMD_OPEN_TREE_FILE once the path is noted; the
    // Refresh button answers CMD_REFRESH_TREE.
    kestrum::EventResult handle_event(const kestrum::Event& ev) override;
    void set_bounds(kestrum::Rect r) override;

    // The list fills the client area above one row of the Refresh button and the count.
    virtual void layout_contents();
    // Empty list, root and count; title "Files".
    virtual void clear_list();
    // Lists the sources of an open project and selects the first; a closed one clears the window.
    virtual void reload(const Root<Project>& project);
    // The noted path, once: the field is emptied.
    virtual string take_pending_path();
    // The selected row as an absolute path; empty without a root, rows or selection.
    virtual string selected_abs_path();
    // Notes selected_abs_path() for the taking; false, noting nothing, when it is empty.
    virtual bool activate_selection();
};

// Fills `out` with the sources under each of `source_dirs` (relative ones taken from `root`),
// sorted, up to the length of `out`; every other slot is empty. Gives the count.
int32_t collect_nolt_files(const string& root, const string_array& source_dirs, const string_array& out);
// Walks `base` breadth-first, at most max_queue directories, storing each source's path relative
// to `root` from slot `count` on. Gives the new count.
int32_t collect_under(const string& base, const string& root, const string_array& out, int32_t count);
// Empty, "." and "..", and every hidden name.
bool should_skip_name(const string& name);
// `path` below `root` without the root and its "/"; the normalised path when it lies elsewhere;
// empty for the root itself.
string rel_to_root(const string& root, const string& path);
// Byte order, case counting; false whenever either text is empty.
bool path_less(const string& a, const string& b);
// A stable insertion sort of the first `count` entries.
void sort_paths(const string_array& paths, int32_t count);
// "0 files", "1 file", "12 files".
string convert_count(int32_t n);

}  // namespace ide
