// Process entry: brings the runtime up in its fixed order and enters the IDE.
#include <stdio.h>
#include <unistd.h>

#include "ide/build_cmd.hpp"
#include "ide/editor.hpp"
#include "ide/endblock.hpp"
#include "ide/file_tree.hpp"
#include "ide/flows.hpp"
#include "ide/project.hpp"
#include "ide/project_settings.hpp"
#include "ide/roster.hpp"
#include "ide/user_prefs.hpp"
#include "ide/user_settings.hpp"
#include "ide/version.hpp"
#include "kestrum/desktop.hpp"
#include "kestrum/syntax.hpp"
#include "kestrum/widgets/messagebox.hpp"
#include "runtime/heaps.hpp"
#include "runtime/machine.hpp"
#include "runtime/objects.hpp"
#include "stdlib/io/console.hpp"
#include "stdlib/io/dir.hpp"
#include "stdlib/io/file.hpp"
#include "stdlib/fs/stat.hpp"
#include "stdlib/sys/optparse.hpp"

namespace {

using runtime::Array;
using runtime::Root;
using namespace runtime::literals;

void register_syntax_dirs() {
    const stdlib::string candidates[] = {kestrum::home_syntax_dir(), "/usr/local/lib/nolt/stdlib/kestrum/syntax.d"_t,
                                         "/usr/lib/nolt/stdlib/kestrum/syntax.d"_t, "nolt-stdlib/kestrum/syntax.d"_t,
                                         "../nolt-stdlib/kestrum/syntax.d"_t};
    for (const stdlib::string& dir : candidates)
        if (!stdlib::is_empty(dir) && stdlib::dir_exists(dir)) kestrum::add_syntax_dir(dir);
}

using kestrum::Application;
using kestrum::KeyEvent;
using kestrum::MenuBar;
using stdlib::string;

KeyEvent quit_key() { return kestrum::key_event(kestrum::key_char('Q'), false, true, false); }
KeyEvent save_key() { return kestrum::key_event_ctrl_letter('S'); }
KeyEvent open_key() { return kestrum::key_event_ctrl_letter('O'); }
KeyEvent new_key() { return kestrum::key_event_ctrl_letter('N'); }
KeyEvent build_key() { return kestrum::key_event_plain(kestrum::key_f(5)); }
KeyEvent copy_key() { return kestrum::key_event_ctrl_letter('C'); }
KeyEvent cut_key() { return kestrum::key_event_ctrl_letter('X'); }
KeyEvent paste_key() { return kestrum::key_event_ctrl_letter('V'); }
KeyEvent select_all_key() { return kestrum::key_event_ctrl_letter('A'); }

// The IDE's commands in the order they enter the table, with their keys.
Root<kestrum::CommandTable> build_commands() {
    struct Entry {
        int32_t id;
        KeyEvent (*key)();
    };
    const Entry entries[] = {
        {ide::CMD_SAVE, save_key},
        {ide::CMD_SAVE_AS, nullptr},
        {ide::CMD_OPEN, open_key},
        {ide::CMD_OPEN_PROJECT, nullptr},
        {ide::CMD_CLOSE_PROJECT, nullptr},
        {ide::CMD_PROJECT_SETTINGS, nullptr},
        {ide::CMD_USER_SETTINGS, nullptr},
        {ide::CMD_FILE_TREE, nullptr},
        {ide::CMD_NEW, new_key},
        {ide::CMD_COPY, copy_key},
        {ide::CMD_CUT, cut_key},
        {ide::CMD_PASTE, paste_key},
        {ide::CMD_SELECT_ALL, select_all_key},
        {ide::CMD_ABOUT, nullptr},
        {ide::CMD_BUILD, build_key},
        {ide::CMD_RUN, nullptr},
        {ide::CMD_EDIT_CLOSE, nullptr},
        {ide::CMD_TOGGLE_AUTO_END, nullptr},
        {kestrum::CMD_QUIT, quit_key},
    };
    Root<kestrum::CommandTable> table = kestrum::commands_create(48);
    for (const Entry& e : entries) {
        kestrum::commands_set(table, e.id, true);
        if (e.key) kestrum::commands_set_accel(table, e.id, e.key());
    }
    return table;
}

// The six menus of the bar, in their order.
Root<MenuBar> build_menubar() {
    using namespace kestrum;
    Root<MenuBar> bar = MenuBar::create(8);
    Root<Menu> file = menu_create("File"_t, 16);
    menu_add(file, menu_item_accel("New"_t, ide::CMD_NEW, new_key()));
    menu_add(file, menu_item_accel("Open\u2026"_t, ide::CMD_OPEN, open_key()));
    menu_add(file, menu_item("Open Project\u2026"_t, ide::CMD_OPEN_PROJECT));
    menu_add(file, menu_item("Close Project"_t, ide::CMD_CLOSE_PROJECT));
    menu_add(file, menu_item_accel("Save"_t, ide::CMD_SAVE, save_key()));
    menu_add(file, menu_item("Save As\u2026"_t, ide::CMD_SAVE_AS));
    menu_add(file, menu_item_sep());
    menu_add(file, menu_item_accel("Quit"_t, CMD_QUIT, quit_key()));
    Root<Menu> edit = menu_create("Edit"_t, 8);
    menu_add(edit, menu_item_accel("Cut"_t, ide::CMD_CUT, cut_key()));
    menu_add(edit, menu_item_accel("Copy"_t, ide::CMD_COPY, copy_key()));
    menu_add(edit, menu_item_accel("Paste"_t, ide::CMD_PASTE, paste_key()));
    menu_add(edit, menu_item_accel("Select All"_t, ide::CMD_SELECT_ALL, select_all_key()));
    menu_add(edit, menu_item_sep());
    menu_add(edit, menu_item(ide::menu_label(), ide::CMD_TOGGLE_AUTO_END));
    Root<Menu> build = menu_create("Build"_t, 6);
    menu_add(build, menu_item_accel("Build"_t, ide::CMD_BUILD, build_key()));
    menu_add(build, menu_item("Run"_t, ide::CMD_RUN));
    Root<Menu> project = menu_create("Project"_t, 6);
    menu_add(project, menu_item("Settings\u2026"_t, ide::CMD_PROJECT_SETTINGS));
    menu_add(project, menu_item("File Tree"_t, ide::CMD_FILE_TREE));
    Root<Menu> settings = menu_create("Settings"_t, 4);
    menu_add(settings, menu_item("Preferences\u2026"_t, ide::CMD_USER_SETTINGS));
    Root<Menu> help = menu_create("Help"_t, 4);
    menu_add(help, menu_item("About"_t, ide::CMD_ABOUT));
    for (const Root<Menu>& menu : {file, edit, build, project, settings, help}) bar->add(menu);
    return bar;
}

// The path given on the command line: a directory or a missing file is refused in a box, a project
// file opens its project. With no path, the project of the working directory or the last one used.
Root<ide::Project> open_start_path(const Root<Application>& app, const string& path) {
    Root<ide::Project> project = ide::empty_project();
    if (stdlib::is_empty(path)) {
        string toml = ide::cwd_toml_path();
        if (stdlib::is_empty(toml)) {
            string last = ide::load_last_root(ide::session_file_path());
            if (!stdlib::is_empty(last)) toml = ide::resolve_toml_path(last);
        }
        if (!stdlib::is_empty(toml)) project = ide::open_project_with_session(app, toml, project, true);
        if (!ide::is_open(project)) app->set_status("ready"_t);
    } else if (stdlib::is_directory(path)) {
        app->set_status("ready"_t);
        ide::box_ok(app, "Open"_t, stdlib::concat("Cannot open a directory: "_t, path));
    } else if (ide::is_nolt_source(path)) {
        ide::add_edit(app, path);
    } else if (ide::is_nolt_toml_arg(path)) {
        project = ide::open_project_with_session(app, ide::resolve_toml_path(path), project, false);
    } else if (stdlib::fileExists(path)) {
        ide::add_edit(app, path);
    } else {
        app->set_status("ready"_t);
        ide::box_ok(app, "Open"_t, stdlib::concat("Not found: "_t, path));
    }
    return project;
}

// Copy and Cut fill the clipboard that Paste reads, and send the same text to the terminal.
void copy_selection(const Root<Application>& app, string& clip) {
    clip = ide::take_edit(app)->selected_text();
    app->clipboard_set(clip);
}

// Carries out one command of the loop. `clip` is the text that Paste inserts.
void run_command(const Root<Application>& app, const Root<MenuBar>& bar, Root<ide::Project>& project, string& clip,
                 int32_t cmd) {
    using namespace ide;
    bool has_edit = active_edit(app);
    if (cmd == CMD_NEW) {
        add_edit(app, stdlib::empty_string());
    } else if (cmd == CMD_OPEN) {
        string path = ask_path(app, "Open"_t, stdlib::concat(cwd_or_empty(), "/"_t));
        if (stdlib::is_empty(path)) return;
        if (stdlib::is_directory(path)) box_ok(app, "Open"_t, "Cannot open a directory"_t);
        else add_edit(app, path);
    } else if (cmd == CMD_OPEN_PROJECT) {
        project = do_open_project(app, project);
    } else if (cmd == CMD_CLOSE_PROJECT) {
        project = do_close_project(app, project);
    } else if (cmd == CMD_PROJECT_SETTINGS) {
        project = do_project_settings(app, project);
    } else if (cmd == CMD_USER_SETTINGS) {
        do_user_settings(app, bar);
    } else if (cmd == CMD_FILE_TREE) {
        if (!is_open(project)) {
            box_ok(app, "File Tree"_t, "No project is open"_t);
            return;
        }
        ensure_file_tree(app, project);
        app->set_status("file tree"_t);
    } else if (cmd == CMD_OPEN_TREE_FILE) {
        int32_t idx = find_file_tree_idx(app);
        if (idx < 0) return;
        string path = runtime::as<FileTreeWin>(app->window_at(idx))->take_pending_path();
        if (!stdlib::is_empty(path)) add_edit(app, path);
    } else if (cmd == CMD_REFRESH_TREE) {
        if (!is_open(project)) return;
        ensure_file_tree(app, project);
        app->set_status("file tree refreshed"_t);
    } else if (cmd == CMD_SAVE) {
        if (has_edit) save_edit(app, take_edit(app));
    } else if (cmd == CMD_SAVE_AS) {
        if (!has_edit) return;
        Root<EditWin> ed = take_edit(app);
        string start = stdlib::is_empty(ed->path()) ? stdlib::concat(cwd_or_empty(), "/"_t) : ed->path();
        string chosen = ask_path(app, "Save As"_t, start);
        if (stdlib::is_empty(chosen)) return;
        ed->set_path(chosen);
        save_edit(app, ed);
    } else if (cmd == CMD_COPY) {
        if (has_edit) copy_selection(app, clip);
    } else if (cmd == CMD_CUT) {
        if (!has_edit) return;
        copy_selection(app, clip);
        take_edit(app)->delete_selection();
    } else if (cmd == CMD_PASTE) {
        if (has_edit && !stdlib::is_empty(clip)) take_edit(app)->paste(clip);
    } else if (cmd == CMD_SELECT_ALL) {
        if (has_edit) take_edit(app)->select_all();
    } else if (cmd == CMD_BUILD) {
        do_build(app, project);
    } else if (cmd == CMD_RUN) {
        do_run(app, project);
    } else if (cmd == CMD_TOGGLE_AUTO_END) {
        bool on = toggle();
        refresh_auto_end_menu(bar);
        app->set_status(on ? "Auto End Block: On"_t : "Auto End Block: Off"_t);
    } else if (cmd == CMD_ABOUT) {
        box_ok(app, "About"_t,
               stdlib::concat(stdlib::concat("noltide "_t, version()), " \u2014 Kestrum IDE (edit/save + Build + Project)"_t));
    } else if (cmd == CMD_EDIT_CLOSE) {
        confirm_close_edit(app, find_active_edit(app));
    } else if (cmd == kestrum::CMD_QUIT) {
        if (!confirm_quit(app)) return;
        persist_session(app, project);
        app->quit();
    }
}

// The status line: the active edit window's two texts; the right one is cleared otherwise.
void update_status(const Root<Application>& app) {
    if (ide::active_edit(app)) {
        Root<ide::EditWin> ed = ide::take_edit(app);
        app->set_status(ed->status_left());
        app->set_status_right(ed->status_right());
    } else {
        app->set_status_right(stdlib::empty_string());
    }
}

int32_t start_ui(const string& path) {
    Root<ide::Prefs> prefs = ide::ensure_loaded();
    Root<Application> app = Application::create(kestrum::theme_by_name(string(prefs->theme)));
    app->set_commands(build_commands());
    Root<MenuBar> bar = build_menubar();
    app->set_menubar(bar);
    app->register_menu_accels();
    app->set_menubar_right(stdlib::concat("noltide "_t, ide::version()));
    register_syntax_dirs();
    kestrum::ensure_catalog();
    if (!app->open()) {
        fputs("noltide: not a TTY\n", stdout);
        return 1;
    }
    app->check_resize();
    string clip = stdlib::empty_string();
    Root<ide::Project> project = open_start_path(app, path);
    while (true) {
        if (!app->running) {
            app->close();
            return 0;
        }
        app->do_step();
        update_status(app);
        run_command(app, bar, project, clip, app->take_command());
    }
}

// The command line: no options of its own beyond help and version; only the first positional
// argument counts.
int32_t nolt_main() {
    using namespace stdlib;
    Root<Command> cli = command("noltide"_t);
    cli->about("In-tree CLI TUI IDE for Nolt (Kestrum)"_t);
    cli->version(ide::version());
    Root<Rest> rest = cli->rest();
    Status status = cli->parse();
    switch (status.tag) {
        case Status::OkParsed: return start_ui(rest->len() > 0 ? string(rest->values[0]) : empty_string());
        case Status::OkHelp:
        case Status::OkVersion: return 0;
        case Status::Err: println(format(status.error)); return 2;
    }
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    nolt_machine_init();
    nolt_heaps_init();
    nolt_objects_init();
    int stack_marker = 0;
    nolt_objects_register_main_process(&stack_marker);
    ide::g_prefs.register_root();
    kestrum::g_langs.register_root();
    kestrum::g_extra.register_root();
    ide::g_prefs = ide::default_prefs();
    kestrum::g_langs = Array<runtime::Member<kestrum::Lang>>::make(kestrum::max_langs());
    kestrum::g_extra = Array<runtime::Member<runtime::Text>>::make(kestrum::MAX_EXTRA_DIRS);
    nolt_args_init(argc, argv);
    nolt_machine_exit(nolt_main());
}
