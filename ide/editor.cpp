#include "ide/editor.hpp"

#include <stdio.h>
#include <string.h>

#include "kestrum/syntax.hpp"
#include "stdlib/fs/perm.hpp"
#include "stdlib/fs/stat.hpp"
#include "stdlib/io/file.hpp"

namespace ide {

using namespace runtime::literals;
using kestrum::Event;
using kestrum::EventResult;
using kestrum::Rect;
using kestrum::rect;
using stdlib::concat;

Root<EditWin> EditWin::create(const string& path, bool line_numbers) {
    Root<EditWin> win = runtime::make<EditWin>(rect(0, 0, 72, 22), string("noltide"_t));
    win->set_closable(true);
    win->set_minimizable(true);
    win->set_maximizable(true);
    Root<kestrum::TextArea> area = kestrum::TextArea::create(rect(0, 0, 70, 20), EDIT_MAX_LINES, 19, EDIT_LINE_CAP);
    area->set_syntax(syntax_lang_for(path));
    area->set_line_numbers(line_numbers);
    win->area = area;
    win->file_path = path;
    win->saved_text = stdlib::empty_string();
    win->add(area);
    if (!stdlib::is_empty(path)) {
        stdlib::Result<string, stdlib::Error> read = stdlib::readFile(path);
        if (read.is_ok()) {
            area->set_text(read.unwrap_ok());
            win->saved_text = read.unwrap_ok();
        }
    }
    win->sync_title();
    return win;
}

void EditWin::draw(const Root<kestrum::CellBuffer>& buf, Rect bounds, Rect clip, bool focused,
                   const Root<kestrum::Theme>& theme) {
    layout_contents();
    sync_title();
    Window::draw(buf, bounds, clip, focused, theme);
}

EventResult EditWin::handle_event(const Event& ev) {
    Opener opener = empty_opener();
    if (ide::enabled() && ev.kind == kestrum::EventKind::Key && !ev.key.ctrl && !ev.key.alt &&
        ev.key.key.tag == kestrum::KeyCode::Enter && area->sel_empty() && area->lang == kestrum::LANG_NOLT())
        opener = detect(line_before_caret());
    EventResult result = Window::handle_event(ev);
    if (opener.found && result.handled) insert_end_block(opener);
    if (result.command == kestrum::CMD_CLOSE && dirty()) result.command = CMD_EDIT_CLOSE;
    return result;
}

void EditWin::set_bounds(Rect r) {
    Window::set_bounds(r);
    layout_contents();
}

// Made again only when the path or the modified flag has changed, or the title was set elsewhere.
void EditWin::sync_title() {
    bool modified = dirty();
    if (title_made && title.get() == title_made.get() && title_path.get() == file_path.get() && title_dirty == modified)
        return;
    string made = stdlib::is_empty(string(file_path)) ? string("noltide"_t) : concat("noltide - "_t, string(file_path));
    if (modified) made = concat(made, " *"_t);
    set_title(made);
    title_made = made;
    title_path = file_path;
    title_dirty = modified;
}

void EditWin::layout_contents() {
    int32_t w = kestrum::max_int(bounds.w - 2, 16), h = kestrum::max_int(bounds.h - 2, 4);
    area->bounds = rect(0, 0, w, h);
    area->set_visible_rows(h);
}

string EditWin::path() { return string(file_path); }

namespace {

// The area's lines joined by newlines equal `saved`, compared in place.
bool same_lines(const Root<kestrum::TextArea>& text, const string& saved) {
    const char* p = stdlib::c_str(saved);
    int32_t n = stdlib::length(saved), at = 0;
    for (int32_t i = 0; i < text->line_count; i++) {
        const Text* line = text->lines[i].get();
        if (i > 0 && (at >= n || p[at++] != '\n')) return false;
        if (line->length() > n - at || memcmp(p + at, line->c_str(), (size_t)line->length()) != 0) return false;
        at += line->length();
    }
    return at == n;
}

// Where each line of `text` starts, and last the length plus one: line i is the bytes from
// starts[i] up to starts[i + 1] - 1.
Root<runtime::Array<int32_t>> line_starts(const string& text) {
    const char* p = stdlib::c_str(text);
    int32_t n = stdlib::length(text), count = 1;
    for (int32_t i = 0; i < n; i++) count += p[i] == '\n';
    Root<runtime::Array<int32_t>> starts = runtime::Array<int32_t>::make((uint64_t)count + 1);
    int32_t k = 0;
    starts[k++] = 0;
    for (int32_t i = 0; i < n; i++)
        if (p[i] == '\n') starts[k++] = i + 1;
    starts[k] = n + 1;
    return starts;
}

}  // namespace

// An edit never changes a line's text in place; it stores a new text in the line's slot. So a
// line is compared with the saved line of its index again only when its slot holds another text
// object than at the last call, and all of them only after a load or a save. Lines without a
// newline in them equal the saved text joined exactly when each equals the saved line of its
// index and the counts agree; a line holding a newline, never recorded, is compared the long way.
// The answer stands until the area's lines or the saved text change: the title and the status ask
// at every turn.
bool EditWin::dirty() {
    if (dirty_at == area->edits && checked_saved.get() == saved_text.get()) return dirty_was;
    dirty_was = differs_from_saved();
    dirty_at = area->edits;
    return dirty_was;
}

bool EditWin::differs_from_saved() {
    int32_t slots = runtime::length(area->lines), count = kestrum::min_int(area->line_count, slots);
    if (checked_saved.get() != saved_text.get() || !checked_lines || (int32_t)checked_lines->size() < slots) {
        checked_lines = runtime::Array<Member<Text>>::make((uint64_t)slots);
        line_same = runtime::Array<bool>::make((uint64_t)slots);
        saved_starts = line_starts(string(saved_text));
        checked_saved = saved_text;
    }
    // Nothing below allocates: the arrays are read through plain pointers.
    const char* saved = stdlib::c_str(string(saved_text));
    const int32_t* starts = saved_starts->data();
    int32_t saved_count = (int32_t)saved_starts->size() - 1;
    const Member<Text>* now = area->lines->data();
    Member<Text>* seen = checked_lines->data();
    bool* same = line_same->data();
    bool all = count == saved_count;
    for (int32_t i = 0; i < count; i++) {
        const Text* line = now[i].get();
        if (seen[i].get() != line) {
            int32_t n = line->length();
            if (memchr(line->c_str(), '\n', (size_t)n)) return !same_lines(area, string(saved_text));
            same[i] = i < saved_count && starts[i + 1] - 1 - starts[i] == n &&
                      memcmp(saved + starts[i], line->c_str(), (size_t)n) == 0;
            seen[i] = now[i];
        }
        all = all && same[i];
    }
    return !all;
}

bool EditWin::saved_once() { return was_saved; }

bool EditWin::read_only() { return path_read_only(string(file_path)); }

bool EditWin::save() {
    string target(file_path);
    if (stdlib::is_empty(target)) return false;
    string text = area->text();
    if (!stdlib::replaceFile(target, text).is_ok()) return false;
    saved_text = text;
    was_saved = true;
    return true;
}

void EditWin::set_path(const string& path) {
    file_path = path;
    area->set_syntax(syntax_lang_for(path));
    sync_title();
}

string EditWin::selected_text() {
    return area->selected_text().unwrap_or(stdlib::empty_string());
}

void EditWin::select_all() { area->select_all(); }
void EditWin::delete_selection() { area->delete_selection(); }
void EditWin::paste(const string& text) { area->paste(text); }
void EditWin::set_line_numbers(bool on) { area->set_line_numbers(on); }

// Made again only when the path or a flag it shows has changed.
string EditWin::status_left() {
    bool locked = read_only(), modified = dirty();
    int32_t flags = locked | modified << 1 | was_saved << 2;
    if (left_text && left_path.get() == file_path.get() && left_flags == flags) return string(left_text);
    string shown = stdlib::is_empty(string(file_path)) ? string("untitled"_t) : string(file_path);
    string made = concat(shown, status_file_flags(locked, modified, was_saved));
    left_text = made;
    left_path = file_path;
    left_flags = flags;
    return made;
}

// Made again only when a figure it shows has changed.
string EditWin::status_right() {
    int32_t figures[4] = {area->line_count, area->caret_line, area->caret_col, area->overwrite};
    if (right_text && memcmp(figures, right_figures, sizeof figures) == 0) return string(right_text);
    char made[64];
    int n = snprintf(made, sizeof made, "%d lines  %d:%d  %s", area->line_count, area->caret_line + 1,
                     area->caret_col + 1, area->overwrite ? "OVR" : "INS");
    string s = stdlib::from_bytes(made, n);
    right_text = s;
    memcpy(right_figures, figures, sizeof figures);
    return s;
}

string EditWin::line_before_caret() {
    string line = area->line_or(area->caret_line, stdlib::empty_string());
    if (area->caret_col < 1) return stdlib::empty_string();
    int32_t end = kestrum::cp_to_byte(line, area->caret_col);
    return end >= stdlib::length(line) ? line : stdlib::substring(line, 0, end);
}

void EditWin::insert_end_block(const Opener& opener) {
    if (!opener.found) return;
    int32_t at = area->caret_line;
    if (already_present(area->line_or(at + 1, stdlib::empty_string()), opener)) return;
    string closing = end_line(opener);
    if (stdlib::is_empty(closing)) return;
    area->paste(concat("\n"_t, closing));
    area->set_caret(at, 0);
}

int32_t syntax_lang_for(const string& path) {
    int32_t lang = kestrum::lang_from_path(path);
    if (lang != kestrum::LANG_NONE()) return lang;
    if (stdlib::is_empty(path) || stdlib::ends_with(stdlib::to_lower(path), ".nolt"_t)) return kestrum::LANG_NOLT();
    return kestrum::LANG_NONE();
}

bool path_read_only(const string& path) {
    // The writable test first: for the usual writable file it is the only system call.
    return !stdlib::is_empty(path) && !stdlib::is_writable(path) && stdlib::exists(path);
}

string status_file_flags(bool read_only, bool dirty, bool saved_once) {
    string flags = stdlib::empty_string();
    if (read_only) flags = concat(flags, "  read-only"_t);
    if (dirty) flags = concat(flags, "  modified"_t);
    else if (saved_once) flags = concat(flags, "  saved"_t);
    return flags;
}

}  // namespace ide
