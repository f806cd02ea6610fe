// kestrum.widgets.filereq: the modal dialog in which a user picks or names a path, for opening and
// saving alike. A name field, a list of the current directory and three buttons. It ends a modal
// run with OK or Cancel; on OK `selected_path` is the answer, whether the file exists or not.
//
// List entries are display texts that also tell the kind: "../" first, for the parent; then the
// directories as dir_prefix() + name; then the files by their plain names.
#pragma once
#include "kestrum/widgets/inputline.hpp"
#include "kestrum/widgets/label.hpp"
#include "kestrum/widgets/listbox.hpp"
#include "kestrum/widgets/window.hpp"

namespace kestrum {

// The Parent button's command. Below 100, so it never ends a modal run; the dialog handles it.
constexpr int32_t CMD_PARENT = 92;

class FileReq : public Window {
    NOLT_MANAGED(FileReq, Window);

public:
    FileReq() = default;
    FileReq(Rect bounds, const string& title) : Window(bounds, title) {}

    Member<InputLine> name_input;  // the file name, up to 200 bytes
    Member<ListBox> list;          // the current directory, 256 entries, 8 rows
    Member<Label> dir_label;       // shows `dir`
    Member<Text> dir;              // the current directory

    // At (0, 0, 56, 16), closable: the name field holds path_basename(start), the list shows
    // path_dir(start).
    static Root<FileReq> create(const string& title, const string& start);

    // After the window's own handling: a chosen list entry moves or ends the dialog, Parent goes
    // up, OK on a directory moves instead of ending; a selected file is copied into the name field.
    EventResult handle_event(const Event& ev) override;

    // Reads `dir` again; the selection goes to "../".
    virtual void refresh_list();
    virtual void go_parent();
    virtual void enter_dir(const string& name);
    // Does what the selected entry stands for: goes up, enters a directory, or names a file.
    virtual void activate_sel();
    // What OK does first: true when the dialog merely moved to another directory and stays open.
    virtual bool try_open_dir();
    // The name field, or the selected file when it is empty, joined to `dir`; None for neither.
    virtual stdlib::Option<string> selected_path();

private:
    stdlib::Option<string> selected_file();
    void set_name(const string& text);
};

// Paths as texts alone, "/" the only separator. A path ending in "/" has the empty base name.
string path_basename(const string& path);
// "/" for anything with no parent; "a" has the parent "/".
string path_parent(const string& path);
// "/" for the empty path, an existing directory itself, otherwise its parent.
string path_dir(const string& path);
// Exactly one "/" between; an empty or absolute name, or an empty dir, stands alone.
string path_join(const string& dir, const string& name);

// "▸ ", in front of directory entries.
string dir_prefix();
// "../" first, directories before files, then byte order of the whole entry.
bool entry_less(const string& a, const string& b);
bool entry_is_dir(const string& entry);
// ".." for "../", the name behind the prefix or without its trailing "/", else the entry.
string entry_name(const string& entry);

}  // namespace kestrum
