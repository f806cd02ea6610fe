#include "ide/roster.hpp"

#include "ide/file_tree.hpp"
#include "ide/output_log.hpp"
#include "kestrum/widgets/filereq.hpp"
#include "kestrum/widgets/messagebox.hpp"
#include "stdlib/io/dir.hpp"

namespace ide {

using namespace runtime::literals;
using kestrum::Rect;

namespace {

bool is_edit_at(const Root<Application>& app, int32_t idx) {
    return idx >= 0 && idx < app->window_count() && runtime::is<EditWin>(app->window_at(idx));
}

Root<EditWin> edit_at(const Root<Application>& app, int32_t idx) {
    return runtime::as<EditWin>(app->window_at(idx));
}

// "Save changes?" for a buffer without a path, else "Save changes to <path>?".
string save_prompt(const Root<EditWin>& ed) {
    string path = ed->path();
    if (stdlib::is_empty(path)) return "Save changes?"_t;
    return stdlib::concat(stdlib::concat("Save changes to "_t, path), "?"_t);
}

}  // namespace

void box_ok(const Root<Application>& app, const string& title, const string& text) {
    app->message_box(title, text, kestrum::messagebox_kind_ok());
}

string cwd_or_empty() { return stdlib::current_dir().unwrap_or(stdlib::empty_string()); }

string ask_path(const Root<Application>& app, const string& title, const string& start) {
    Root<kestrum::FileReq> req = kestrum::FileReq::create(title, stdlib::is_empty(start) ? cwd_or_empty() : start);
    Rect area = app->desktop->content_rect();
    req->set_bounds(kestrum::rect(area.x + 2, area.y + 2, kestrum::min_int(56, area.w), kestrum::min_int(16, area.h)));
    app->modal_push(req);
    if (app->modal_run() != kestrum::CMD_OK) return stdlib::empty_string();
    return req->selected_path().unwrap_or(stdlib::empty_string());
}

void add_edit_at(const Root<Application>& app, const string& path, Rect bounds, bool maximized) {
    Rect area = app->desktop->content_rect();
    int32_t n = app->desktop->visible_window_count();
    Rect fallback = kestrum::rect(area.x + 2 + n * 2, area.y + n, kestrum::max_int(area.w - 6, 40),
                                  kestrum::max_int(area.h - 3, 12));
    if (!place_window(app, bounds, fallback, maximized, [&](Rect) { return EditWin::create(path, true); })) {
        box_ok(app, "Windows"_t, "Too many windows"_t);
        return;
    }
    app->set_status(stdlib::is_empty(path) ? string("untitled"_t) : path);
}

void add_edit(const Root<Application>& app, const string& path) { add_edit_at(app, path, kestrum::rect(0, 0, 0, 0), true); }

int32_t find_active_edit(const Root<Application>& app) {
    int32_t idx = app->desktop->active_idx;
    return is_edit_at(app, idx) && app->window_at(idx)->visible ? idx : -1;
}

bool active_edit(const Root<Application>& app) { return find_active_edit(app) >= 0; }

Root<EditWin> take_edit(const Root<Application>& app) { return edit_at(app, app->desktop->active_idx); }

bool save_edit(const Root<Application>& app, const Root<EditWin>& ed) {
    if (stdlib::is_empty(ed->path())) {
        string chosen = ask_path(app, "Save As"_t, stdlib::concat(cwd_or_empty(), "/"_t));
        if (stdlib::is_empty(chosen)) return false;
        ed->set_path(chosen);
    }
    if (ed->save()) return true;
    box_ok(app, "Save"_t, "Could not write file"_t);
    return false;
}

bool confirm_close_edit(const Root<Application>& app, int32_t idx) {
    if (idx < 0) return false;
    if (!is_edit_at(app, idx) || !edit_at(app, idx)->dirty()) {
        app->desktop->close_window_at(idx);
        app->set_dirty();
        return true;
    }
    Root<EditWin> ed = edit_at(app, idx);
    int32_t answer = app->message_box("Close"_t, save_prompt(ed), kestrum::messagebox_kind_yes_no_cancel());
    if (answer == kestrum::CMD_CANCEL) return false;
    if (answer == kestrum::CMD_YES && !save_edit(app, ed)) return false;
    app->desktop->close_window_at(idx);
    app->set_dirty();
    return true;
}

bool confirm_quit(const Root<Application>& app) {
    for (int32_t i = 0; i < app->window_count(); i++) {
        if (!is_edit_at(app, i)) continue;
        Root<EditWin> ed = edit_at(app, i);
        if (!ed->dirty()) continue;
        app->show_window_at(i);
        int32_t answer = app->message_box("Quit"_t, save_prompt(ed), kestrum::messagebox_kind_yes_no_cancel());
        if (answer == kestrum::CMD_CANCEL) return false;
        if (answer == kestrum::CMD_YES && !save_edit(app, ed)) return false;
    }
    return true;
}

int32_t find_output_idx(const Root<Application>& app, const string& title) {
    for (int32_t i = 0; i < app->window_count(); i++) {
        Root<kestrum::Window> win = app->window_at(i);
        if (runtime::is<OutputWin>(win) && stdlib::equals(string(win->title), title)) return i;
    }
    return -1;
}

int32_t find_file_tree_idx(const Root<Application>& app) {
    for (int32_t i = 0; i < app->window_count(); i++)
        if (runtime::is<FileTreeWin>(app->window_at(i))) return i;
    return -1;
}

Rect default_file_tree_bounds(const Root<Application>& app) {
    Rect area = app->desktop->content_rect();
    int32_t w = 28 > area.w / 2 ? area.w / 3 : 28;
    int32_t h = kestrum::min_int(kestrum::max_int(area.h - 1, 8), area.h);
    return kestrum::rect(area.x, area.y, kestrum::max_int(w, 18), h);
}

void hide_file_tree(const Root<Application>& app) {
    int32_t idx = find_file_tree_idx(app);
    if (idx < 0) return;
    app->desktop->close_window_at(idx);
    app->set_dirty();
}

void ensure_file_tree(const Root<Application>& app, const Root<Project>& project) {
    if (!is_open(project)) {
        hide_file_tree(app);
        return;
    }
    int32_t idx = find_file_tree_idx(app);
    if (idx >= 0) {
        Root<FileTreeWin> tree = runtime::as<FileTreeWin>(app->window_at(idx));
        tree->reload(project);
        tree->layout_contents();
        app->show_window_at(idx);
        return;
    }
    Rect at = default_file_tree_bounds(app);
    place_window(app, at, at, false, [&](Rect) {
        Root<FileTreeWin> tree = FileTreeWin::create();
        tree->reload(project);
        return tree;
    });
}

void close_edits_silent(const Root<Application>& app) {
    for (int32_t i = 0; i < app->window_count(); i++)
        if (is_edit_at(app, i) && app->window_at(i)->visible) app->desktop->close_window_at(i);
    app->set_dirty();
}

}  // namespace ide
