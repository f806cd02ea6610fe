// The IDE's roster of windows is the desktop's own list; these functions find, create, close and
// save edit windows on it, with every prompt that goes with that.
#pragma once
#include "ide/editor.hpp"
#include "ide/project.hpp"
#include "kestrum/desktop.hpp"

namespace ide {

using kestrum::Application;

// A message box with an OK button, answered before this returns.
void box_ok(const Root<Application>& app, const string& title, const string& text);
// The current directory, or the empty text when it cannot be read.
string cwd_or_empty();
// The chosen path from a modal file requester, or the empty text.
string ask_path(const Root<Application>& app, const string& title, const string& start);
// Shows the window that `make(at)` gives as the new active one, at `at`: `bounds`, or `fallback`
// when `bounds` is under 16 by 4; maximised if asked. While MAX_DESKTOP_WINDOWS windows are
// visible nothing is made and the result is false.
template <class Make>
bool place_window(const Root<Application>& app, kestrum::Rect bounds, kestrum::Rect fallback, bool maximized,
                  Make make) {
    if (app->desktop->visible_window_count() >= kestrum::MAX_DESKTOP_WINDOWS) return false;
    kestrum::Rect at = bounds.w < 16 || bounds.h < 4 ? fallback : bounds;
    Root<kestrum::Window> win = make(at);
    win->set_bounds(at);
    if (maximized) win->maximize(app->desktop->content_rect());
    app->add_window(win);
    return true;
}
// A new edit window, unless the desktop is full; bounds below 16 by 4 give the default.
void add_edit_at(const Root<Application>& app, const string& path, kestrum::Rect bounds, bool maximized);
// A maximised edit window.
void add_edit(const Root<Application>& app, const string& path);
bool active_edit(const Root<Application>& app);
// Only after active_edit has said true.
Root<EditWin> take_edit(const Root<Application>& app);
// The active window's index if it is an edit window, else -1.
int32_t find_active_edit(const Root<Application>& app);
// Asks for a path when there is none; a failed write is reported in a box.
bool save_edit(const Root<Application>& app, const Root<EditWin>& ed);
// True if the window closed; a dirty one asks first.
bool confirm_close_edit(const Root<Application>& app, int32_t idx);
// Asks about every dirty edit window, hidden ones too, in window order; true if the program may end.
bool confirm_quit(const Root<Application>& app);

// The first output window with this title, hidden ones included; -1 if none.
int32_t find_output_idx(const Root<Application>& app, const string& title);
// The file tree window, hidden or not; -1 if none.
int32_t find_file_tree_idx(const Root<Application>& app);
// A strip down the content area's left side.
kestrum::Rect default_file_tree_bounds(const Root<Application>& app);
void hide_file_tree(const Root<Application>& app);
// Reloads and shows the project's tree, creating it if there is room; hides it without a project.
void ensure_file_tree(const Root<Application>& app, const Root<Project>& project);
// Closes every visible edit window without asking; their text stays in the hidden windows.
void close_edits_silent(const Root<Application>& app);

}  // namespace ide
