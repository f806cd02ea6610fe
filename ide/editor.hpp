// The edit window: a Window whose one child is a TextArea, bound to a file path. It keeps the
// text last read from or written to the file, from which `dirty` is computed; the window's title
// and the two status texts; and the moment at which an `end` line is offered after Enter.
#pragma once
#include <stdint.h>

#include "ide/endblock.hpp"
#include "kestrum/widgets/textarea.hpp"
#include "kestrum/widgets/window.hpp"

namespace ide {

using runtime::Member;
using runtime::Root;
using runtime::Text;

inline constexpr int32_t CMD_SAVE = 100;
inline constexpr int32_t CMD_ABOUT = 101;
inline constexpr int32_t CMD_SAVE_AS = 102;
inline constexpr int32_t CMD_OPEN = 103;
inline constexpr int32_t CMD_NEW = 104;
inline constexpr int32_t CMD_COPY = 105;
inline constexpr int32_t CMD_CUT = 106;
inline constexpr int32_t CMD_PASTE = 107;
inline constexpr int32_t CMD_SELECT_ALL = 108;
inline constexpr int32_t CMD_EDIT_CLOSE = 133;
inline constexpr int32_t CMD_TOGGLE_AUTO_END = 134;

// The buffer's limits, fixed for the life of a window.
inline constexpr int32_t EDIT_MAX_LINES = 1024;
inline constexpr int32_t EDIT_LINE_CAP = 512;

class EditWin : public kestrum::Window {
    NOLT_MANAGED(EditWin, kestrum::Window);

public:
    EditWin() = default;
    EditWin(kestrum::Rect bounds, const string& title) : Window(bounds, title) {}

    Member<kestrum::TextArea> area;
    Member<Text> file_path;   // as given; empty for a buffer with no file
    Member<Text> saved_text;  // the whole text as last read from or written to the file
    bool was_saved = false;   // a save through this window has succeeded
    // What dirty() found: the saved text it compared with, where each of its lines starts, and
    // per line slot the text last compared and whether it equalled the saved line of its index.
    Member<Text> checked_saved;
    Member<runtime::Array<int32_t>> saved_starts;
    Member<runtime::Array<Member<Text>>> checked_lines;
    Member<runtime::Array<bool>> line_same;
    // dirty()'s last answer, and the area's count of edits it holds for.
    uint64_t dirty_at = UINT64_MAX;
    bool dirty_was = false;
    // The last status_right() and the figures it shows: lines, caret line and column, overwrite.
    Member<Text> right_text;
    int32_t right_figures[4] = {-1, -1, -1, -1};
    // The last title and left status made, with the path object and flags they were made for.
    Member<Text> title_made, title_path;
    bool title_dirty = false;
    Member<Text> left_text, left_path;
    int32_t left_flags = -1;

    // Reads the file at `path` when it is not empty; a file that cannot be read gives an empty
    // buffer under that path.
    static Root<EditWin> create(const string& path, bool line_numbers);

    void draw(const Root<kestrum::CellBuffer>& buf, kestrum::Rect bounds, kestrum::Rect clip, bool focused,
              const Root<kestrum::Theme>& theme) override;
    // Enter after a Nolt block opener also writes its end line; closing a dirty window asks
    // through CMD_EDIT_CLOSE.
    kestrum::EventResult handle_event(const kestrum::Event& ev) override;
    void set_bounds(kestrum::Rect r) override;

    // "noltide", or "noltide - " and the path; " *" behind it while dirty.
    virtual void sync_title();
    // The area fills the client area, at least 16 by 4.
    virtual void layout_contents();
    virtual string path();
    // The buffer differs from the text last read or written, byte for byte.
    virtual bool dirty();
    // dirty() worked out from the lines.
    bool differs_from_saved();
    virtual bool saved_once();
    virtual bool read_only();
    // Writes the buffer to the path; false, with nothing changed, for no path or a failed write.
    virtual bool save();
    // Keeps the dirty state; the language follows the new path.
    virtual void set_path(const string& path);
    // Empty when nothing is selected.
    virtual string selected_text();
    virtual void select_all();
    virtual void delete_selection();
    virtual void paste(const string& text);
    virtual void set_line_numbers(bool on);
    // The path or "untitled", with the file flags.
    virtual string status_left();
    // "120 lines  3:1  INS".
    virtual string status_right();
    // The caret's line up to the caret.
    virtual string line_before_caret();
    // Run after Enter: writes the opener's end line below the caret's line, unless it is there.
    virtual void insert_end_block(const Opener& opener);
};

// The catalog's language for the path; with none, an empty path or one ending in ".nolt" in any
// case is Nolt.
int32_t syntax_lang_for(const string& path);
// An existing path that cannot be written.
bool path_read_only(const string& path);
// "  read-only", then "  modified" or else "  saved" if saved once.
string status_file_flags(bool read_only, bool dirty, bool saved_once);

}  // namespace ide
