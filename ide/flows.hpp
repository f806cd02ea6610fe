// What the IDE's commands do beyond one window: Build and Run with their reports, and opening,
// closing and remembering projects. A Project is a value: the operations that can change it take
// the current one and give back the one that holds from then on.
#pragma once
#include "ide/project.hpp"
#include "ide/roster.hpp"
#include "ide/session.hpp"

namespace ide {

// Where a single file's binary stands: the source path without its extension.
string last_built_bin_path(const string& path);
// A new output window with the report; refused with a box when the desktop is full.
void add_output_at(const Root<Application>& app, const string& title, const string& body, kestrum::Rect bounds);
// Appends the report to the window of that title, showing it again, or creates it.
void show_output(const Root<Application>& app, const string& title, const string& body);
// Builds the project, or the active buffer when no project is open.
void do_build(const Root<Application>& app, const Root<Project>& project);
// Runs the project's binary, or the active buffer's.
void do_run(const Root<Application>& app, const Root<Project>& project);

// The menu bar's right text and the status line for the project.
void apply_project_chrome(const Root<Application>& app, const Root<Project>& project);
// Loads the project at a nolt.toml path and makes it current; on failure `current` stays. Errors
// go to a box, or to a line on standard output when `quiet`.
Root<Project> activate_project(const Root<Application>& app, const string& path, const Root<Project>& current,
                               bool quiet, bool open_entry);
Geom win_geom(const Root<kestrum::Window>& win);
// The desktop's visible edit windows with paths, the output windows and the active one.
Root<ProjectSession> gather_session(const Root<Application>& app, const Root<Project>& project);
void persist_session(const Root<Application>& app, const Root<Project>& project);
// Rebuilds the project's windows from the session file; false when it holds no section.
bool try_restore_session(const Root<Application>& app, const Root<Project>& project);
// Saves the session being left, activates the project and restores its windows, or opens its
// entry file when it has no session.
Root<Project> open_project_with_session(const Root<Application>& app, const string& path,
                                        const Root<Project>& current, bool quiet);
Root<Project> do_open_project(const Root<Application>& app, const Root<Project>& project);
Root<Project> do_close_project(const Root<Application>& app, const Root<Project>& project);
// The path given on the command line: a directory or a missing file is refused in a box, a project
// file opens its project. With no path, the project of the working directory or the last one used.
Root<Project> open_start_path(const Root<Application>& app, const string& path);

}  // namespace ide
