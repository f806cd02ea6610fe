#include "ide/flows.hpp"

#include "ide/build_cmd.hpp"
#include "ide/output_log.hpp"
#include "ide/version.hpp"
#include "kestrum/widgets/messagebox.hpp"
#include "stdlib/fs/stat.hpp"
#include "stdlib/io/console.hpp"
#include "stdlib/io/dir.hpp"
#include "stdlib/io/file.hpp"
#include "stdlib/io/path.hpp"

namespace ide {

using namespace runtime::literals;
using kestrum::Rect;
using stdlib::concat;

namespace {

// Status texts shown while a child runs end in a blank and an ellipsis; the screen shows them
// before the program blocks.
void set_busy_status(const Root<Application>& app, const string& head, const string& what) {
    app->set_status(concat(concat(head, what), " \u2026"_t));
    app->redraw();
}

// The build's report and status line, from what the compiler left.
void report_build(const Root<Application>& app, const string& bin, const stdlib::CaptureResult& result) {
    if (result.tag == stdlib::CaptureResult::Failed) {
        show_output(app, "Build"_t, format_failed(noltc_program()));
        app->set_status("Build failed to spawn noltc"_t);
        return;
    }
    show_output(app, "Build"_t, format_captured(noltc_program(), bin, result.capture));
    stdlib::ExitStatus status = result.capture->status;
    app->set_status(status.success() ? concat("Build OK \u2192 "_t, bin) : concat("Build exit "_t, status_text(status)));
}

void run_and_report(const Root<Application>& app, const string& bin) {
    set_busy_status(app, "Running "_t, bin);
    stdlib::CaptureResult result = run_binary(bin);
    if (result.tag == stdlib::CaptureResult::Failed) {
        show_output(app, "Run"_t, format_failed(bin));
        app->set_status("Run failed to spawn binary"_t);
        return;
    }
    show_output(app, "Run"_t, format_run_captured(bin, result.capture));
    app->set_status(concat("Run exit "_t, status_text(result.capture->status)));
}

bool is_visible_edit(const Root<kestrum::Window>& win) { return win->visible && runtime::is<EditWin>(win); }

bool is_output_shown(const Root<kestrum::Window>& win, const string& title) {
    return win->visible && runtime::is<OutputWin>(win) && stdlib::equals(string(win->title), title);
}

void mark_active(const Root<ProjectSession>& session, const string& kind) {
    session->active_kind = kind;
    session->active = -1;
}

void restore_output(const Root<Application>& app, bool visible, const string& rect, const string& title) {
    Geom g = parse_geom(rect);
    if (visible && geom_valid(g)) add_output_at(app, title, stdlib::empty_string(), kestrum::rect(g.x, g.y, g.w, g.h));
}

void show_output_titled(const Root<Application>& app, const string& title) {
    int32_t idx = find_output_idx(app, title);
    if (idx >= 0) app->show_window_at(idx);
}

// The `active`-th visible edit window comes to the front.
void show_nth_edit(const Root<Application>& app, int32_t active) {
    int32_t count = 0;
    for (int32_t i = 0; i < app->window_count(); i++) {
        if (!is_visible_edit(app->window_at(i))) continue;
        if (count == active) {
            app->show_window_at(i);
            return;
        }
        count++;
    }
}

}  // namespace

string last_built_bin_path(const string& path) { return output_path_for(path); }

void add_output_at(const Root<Application>& app, const string& title, const string& body, Rect bounds) {
    Rect area = app->desktop->content_rect();
    Rect fallback =
        kestrum::rect(area.x + 4, area.y + 2, kestrum::max_int(area.w - 8, 40), kestrum::max_int(area.h / 2, 10));
    auto make = [&](Rect at) {
        Root<OutputWin> win = OutputWin::create(at, title);
        if (!stdlib::is_empty(body)) win->set_body(body);
        return win;
    };
    if (!place_window(app, bounds, fallback, false, make)) box_ok(app, title, "Too many windows to show output"_t);
}

void show_output(const Root<Application>& app, const string& title, const string& body) {
    int32_t idx = find_output_idx(app, title);
    if (idx < 0) {
        add_output_at(app, title, body, kestrum::rect(0, 0, 0, 0));
        return;
    }
    runtime::as<OutputWin>(app->window_at(idx))->append_chunk(body);
    app->show_window_at(idx);
}

void do_build(const Root<Application>& app, const Root<Project>& project) {
    if (is_open(project)) {
        if (active_edit(app) && take_edit(app)->dirty() && !save_edit(app, take_edit(app))) {
            app->set_status("Build cancelled (save required)"_t);
            return;
        }
        string bin = binary_path(project);
        set_busy_status(app, "Building project "_t, string(project->name));
        report_build(app, bin, run_noltc_project_build(string(project->root)));
        return;
    }
    if (!active_edit(app)) {
        box_ok(app, "Build"_t, "No active editor"_t);
        return;
    }
    Root<EditWin> ed = take_edit(app);
    if ((stdlib::is_empty(ed->path()) || ed->dirty()) && !save_edit(app, ed)) {
        app->set_status("Build cancelled (save required)"_t);
        return;
    }
    string path = ed->path();
    string bin = output_path_for(path);
    set_busy_status(app, "Building "_t, path);
    report_build(app, bin, run_noltc_build(path, bin));
}

void do_run(const Root<Application>& app, const Root<Project>& project) {
    if (is_open(project)) {
        run_and_report(app, binary_path(project));
        return;
    }
    if (!active_edit(app)) {
        box_ok(app, "Run"_t, "No active editor"_t);
        return;
    }
    string path = take_edit(app)->path();
    if (stdlib::is_empty(path)) {
        box_ok(app, "Run"_t, "Save the buffer before Run"_t);
        return;
    }
    run_and_report(app, last_built_bin_path(path));
}

void apply_project_chrome(const Root<Application>& app, const Root<Project>& project) {
    string right = concat("noltide "_t, version());
    if (!is_open(project)) {
        app->set_menubar_right(right);
        return;
    }
    app->set_menubar_right(concat(concat(right, " \u2014 "_t), string(project->name)));
    string status = concat(concat("project: "_t, string(project->name)), " ("_t);
    app->set_status(concat(concat(status, string(project->root)), ")"_t));
}

Root<Project> activate_project(const Root<Application>& app, const string& path, const Root<Project>& current,
                               bool quiet, bool open_entry) {
    if (stdlib::is_empty(path)) {
        if (!quiet) box_ok(app, "Open Project"_t, "No nolt.toml at that path"_t);
        return current;
    }
    LoadResult loaded = project_load(path);
    if (loaded.tag == LoadResult::Failed) {
        if (quiet) stdlib::println(concat("noltide: "_t, loaded.message));
        else box_ok(app, "Open Project"_t, loaded.message);
        return current;
    }
    Root<Project> p = loaded.project;
    string root(p->root);
    if (stdlib::change_dir(root).is_err()) {
        if (quiet) stdlib::println(concat("noltide: could not chdir to "_t, root));
        else box_ok(app, "Open Project"_t, concat("Could not chdir to "_t, root));
    }
    apply_project_chrome(app, p);
    ensure_file_tree(app, p);
    if (open_entry) add_edit(app, entry_path(p));
    return p;
}

Geom win_geom(const Root<kestrum::Window>& win) {
    Rect b = win->bounds;
    return Geom{b.x, b.y, b.w, b.h};
}

Root<ProjectSession> gather_session(const Root<Application>& app, const Root<Project>& project) {
    Root<ProjectSession> session = empty_project_session();
    if (!is_open(project)) return session;
    session->root = string(project->root);
    int32_t count = 0;
    int32_t active_idx = app->desktop->active_idx;
    for (int32_t i = 0; i < app->window_count(); i++) {
        Root<kestrum::Window> win = app->window_at(i);
        bool active = i == active_idx;
        if (is_visible_edit(win)) {
            string path = runtime::as<EditWin>(win)->path();
            if (stdlib::is_empty(path) || count >= MAX_BUFFERS) continue;
            session->buffers[count] = path;
            session->rects[count] = format_geom(win_geom(win));
            if (active) {
                session->active = count;
                session->active_kind = "editor"_t;
            }
            count++;
            continue;
        }
        if (is_output_shown(win, "Build"_t)) {
            session->build_visible = true;
            session->build_rect = format_geom(win_geom(win));
            if (active) mark_active(session, "build"_t);
        } else if (is_output_shown(win, "Run"_t)) {
            session->run_visible = true;
            session->run_rect = format_geom(win_geom(win));
            if (active) mark_active(session, "run"_t);
        }
    }
    session->buffer_count = count;
    return session;
}

void persist_session(const Root<Application>& app, const Root<Project>& project) {
    if (is_open(project)) save_project(session_file_path(), string(project->root), gather_session(app, project));
}

bool try_restore_session(const Root<Application>& app, const Root<Project>& project) {
    if (!is_open(project)) return false;
    Root<ProjectSession> session = load_project(session_file_path(), string(project->root));
    if (!session_has_section(session)) return false;
    close_edits_silent(app);
    for (int32_t i = 0; i < session->buffer_count; i++) {
        string path(session->buffers[i]);
        if (stdlib::is_empty(path) || !stdlib::fileExists(path)) continue;
        Geom g = parse_geom(string(session->rects[i]));
        if (geom_valid(g)) add_edit_at(app, path, kestrum::rect(g.x, g.y, g.w, g.h), false);
        else add_edit(app, path);
    }
    restore_output(app, session->build_visible, string(session->build_rect), "Build"_t);
    restore_output(app, session->run_visible, string(session->run_rect), "Run"_t);
    string kind(session->active_kind);
    if (stdlib::equals(kind, "editor"_t) && session->active >= 0) show_nth_edit(app, session->active);
    else if (stdlib::equals(kind, "build"_t)) show_output_titled(app, "Build"_t);
    else if (stdlib::equals(kind, "run"_t)) show_output_titled(app, "Run"_t);
    return true;
}

Root<Project> open_project_with_session(const Root<Application>& app, const string& path,
                                        const Root<Project>& current, bool quiet) {
    persist_session(app, current);
    Root<Project> p = activate_project(app, path, current, quiet, false);
    if (is_open(p) && !try_restore_session(app, p)) add_edit(app, entry_path(p));
    return p;
}

Root<Project> do_open_project(const Root<Application>& app, const Root<Project>& project) {
    string chosen = ask_path(app, "Open Project"_t, concat(cwd_or_empty(), "/"_t));
    if (stdlib::is_empty(chosen)) return project;
    return open_project_with_session(app, resolve_toml_path(chosen), project, false);
}

Root<Project> do_close_project(const Root<Application>& app, const Root<Project>& project) {
    if (!is_open(project)) {
        box_ok(app, "Close Project"_t, "No project is open"_t);
        return project;
    }
    persist_session(app, project);
    for (int32_t i = 0; i < app->window_count(); i++)
        if (is_visible_edit(app->window_at(i)) && !confirm_close_edit(app, i)) return project;
    for (int32_t i = 0; i < app->window_count(); i++)
        if (app->window_at(i)->visible) app->desktop->close_window_at(i);
    hide_file_tree(app);
    Root<Project> p = empty_project();
    apply_project_chrome(app, p);
    app->set_status("ready"_t);
    return p;
}

Root<Project> open_start_path(const Root<Application>& app, const string& path) {
    Root<Project> project = empty_project();
    if (stdlib::is_empty(path)) {
        string toml = cwd_toml_path();
        if (stdlib::is_empty(toml)) {
            string last = load_last_root(session_file_path());
            if (!stdlib::is_empty(last)) toml = resolve_toml_path(last);
        }
        if (!stdlib::is_empty(toml)) project = open_project_with_session(app, toml, project, true);
        if (!is_open(project)) app->set_status("ready"_t);
    } else if (stdlib::is_directory(path)) {
        app->set_status("ready"_t);
        box_ok(app, "Open"_t, stdlib::concat("Cannot open a directory: "_t, path));
    } else if (is_nolt_source(path)) {
        add_edit(app, path);
    } else if (is_nolt_toml_arg(path)) {
        project = open_project_with_session(app, resolve_toml_path(path), project, false);
    } else if (stdlib::fileExists(path)) {
        add_edit(app, path);
    } else {
        app->set_status("ready"_t);
        box_ok(app, "Open"_t, stdlib::concat("Not found: "_t, path));
    }
    return project;
}

}  // namespace ide
