// The IDE's command loop: its command table, its menu bar, and what each command does. Every
// window and control talks to the loop through command numbers: an accelerator, a menu row or a
// window's answer puts one in the application's slot, and run_command carries it out.
#pragma once
#include "ide/project.hpp"
#include "kestrum/desktop.hpp"

namespace ide {

using kestrum::Application;
using kestrum::KeyEvent;

// The keys bound in the table; each call gives a fresh event.
KeyEvent quit_key();
KeyEvent save_key();
KeyEvent open_key();
KeyEvent new_key();
KeyEvent build_key();
KeyEvent copy_key();
KeyEvent cut_key();
KeyEvent paste_key();
KeyEvent select_all_key();

// The IDE's commands, all enabled, with their keys.
Root<kestrum::CommandTable> build_commands();
// File, Edit, Build, Project, Settings and Help; the end-block row is Edit's sixth.
Root<kestrum::MenuBar> build_menubar();

// Carries out one command; anything the loop does not know, CMD_NONE included, does nothing.
// `project` is replaced by the result of each project operation; `clip` is the text Paste
// inserts, filled only by Copy and Cut.
void run_command(const Root<Application>& app, const Root<kestrum::MenuBar>& bar, Root<Project>& project,
                 string& clip, int32_t cmd);
// The active edit window's two texts on the status line; without one the right text is cleared.
void update_status(const Root<Application>& app);

}  // namespace ide
