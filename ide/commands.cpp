#include "ide/commands.hpp"

#include "ide/build_cmd.hpp"
#include "ide/endblock.hpp"
#include "ide/file_tree.hpp"
#include "ide/flows.hpp"
#include "ide/project_settings.hpp"
#include "ide/user_settings.hpp"
#include "ide/version.hpp"
#include "stdlib/fs/stat.hpp"

namespace ide {

using namespace runtime::literals;
using kestrum::MenuBar;

KeyEvent quit_key() { return kestrum::key_event(kestrum::key_char('Q'), false, true, false); }
KeyEvent save_key() { return kestrum::key_event_ctrl_letter('S'); }
KeyEvent open_key() { return kestrum::key_event_ctrl_letter('O'); }
KeyEvent new_key() { return kestrum::key_event_ctrl_letter('N'); }
KeyEvent build_key() { return kestrum::key_event_plain(kestrum::key_f(5)); }
KeyEvent copy_key() { return kestrum::key_event_ctrl_letter('C'); }
KeyEvent cut_key() { return kestrum::key_event_ctrl_letter('X'); }
KeyEvent paste_key() { return kestrum::key_event_ctrl_letter('V'); }
KeyEvent select_all_key() { return kestrum::key_event_ctrl_letter('A'); }

// In the order they enter the table.
Root<kestrum::CommandTable> build_commands() {
    struct Entry {
        int32_t id;
        KeyEvent (*key)();
    };
    const Entry entries[] = {
        {CMD_SAVE, save_key},
        {CMD_SAVE_AS, nullptr},
        {CMD_OPEN, open_key},
        {CMD_OPEN_PROJECT, nullptr},
        {CMD_CLOSE_PROJECT, nullptr},
        {CMD_PROJECT_SETTINGS, nullptr},
        {CMD_USER_SETTINGS, nullptr},
        {CMD_FILE_TREE, nullptr},
        {CMD_NEW, new_key},
        {CMD_COPY, copy_key},
        {CMD_CUT, cut_key},
        {CMD_PASTE, paste_key},
        {CMD_SELECT_ALL, select_all_key},
        {CMD_ABOUT, nullptr},
        {CMD_BUILD, build_key},
        {CMD_RUN, nullptr},
        {CMD_EDIT_CLOSE, nullptr},
        {CMD_TOGGLE_AUTO_END, nullptr},
        {kestrum::CMD_QUIT, quit_key},
    };
    Root<kestrum::CommandTable> table = kestrum::commands_create(48);
    for (const Entry& e : entries) {
        kestrum::commands_set(table, e.id, true);
        if (e.key) kestrum::commands_set_accel(table, e.id, e.key());
    }
    return table;
}

Root<MenuBar> build_menubar() {
    using namespace kestrum;
    Root<MenuBar> bar = MenuBar::create(8);
    Root<Menu> file = menu_create("File"_t, 16);
    menu_add(file, menu_item_accel("New"_t, CMD_NEW, new_key()));
    menu_add(file, menu_item_accel("Open\u2026"_t, CMD_OPEN, open_key()));
    menu_add(file, menu_item("Open Project\u2026"_t, CMD_OPEN_PROJECT));
    menu_add(file, menu_item("Close Project"_t, CMD_CLOSE_PROJECT));
    menu_add(file, menu_item_accel("Save"_t, CMD_SAVE, save_key()));
    menu_add(file, menu_item("Save As\u2026"_t, CMD_SAVE_AS));
    menu_add(file, menu_item_sep());
    menu_add(file, menu_item_accel("Quit"_t, CMD_QUIT, quit_key()));
    Root<Menu> edit = menu_create("Edit"_t, 8);
    menu_add(edit, menu_item_accel("Cut"_t, CMD_CUT, cut_key()));
    menu_add(edit, menu_item_accel("Copy"_t, CMD_COPY, copy_key()));
    menu_add(edit, menu_item_accel("Paste"_t, CMD_PASTE, paste_key()));
    menu_add(edit, menu_item_accel("Select All"_t, CMD_SELECT_ALL, select_all_key()));
    menu_add(edit, menu_item_sep());
    menu_add(edit, menu_item(menu_label(), CMD_TOGGLE_AUTO_END));
    Root<Menu> build = menu_create("Build"_t, 6);
    menu_add(build, menu_item_accel("Build"_t, CMD_BUILD, build_key()));
    menu_add(build, menu_item("Run"_t, CMD_RUN));
    Root<Menu> project = menu_create("Project"_t, 6);
    menu_add(project, menu_item("Settings\u2026"_t, CMD_PROJECT_SETTINGS));
    menu_add(project, menu_item("File Tree"_t, CMD_FILE_TREE));
    Root<Menu> settings = menu_create("Settings"_t, 4);
    menu_add(settings, menu_item("Preferences\u2026"_t, CMD_USER_SETTINGS));
    Root<Menu> help = menu_create("Help"_t, 4);
    menu_add(help, menu_item("About"_t, CMD_ABOUT));
    for (const Root<Menu>& menu : {file, edit, build, project, settings, help}) bar->add(menu);
    return bar;
}

namespace {

// Copy and Cut fill the clipboard that Paste reads, and send the same text to the terminal.
void copy_selection(const Root<Application>& app, string& clip) {
    clip = take_edit(app)->selected_text();
    app->clipboard_set(clip);
}

}  // namespace

void run_command(const Root<Application>& app, const Root<MenuBar>& bar, Root<Project>& project, string& clip,
                 int32_t cmd) {
    // The frame of this turn was drawn before the command ran; its effect shows in the next one.
    if (cmd != kestrum::CMD_NONE) app->set_dirty();
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

void update_status(const Root<Application>& app) {
    if (active_edit(app)) {
        Root<EditWin> ed = take_edit(app);
        app->set_status(ed->status_left());
        app->set_status_right(ed->status_right());
    } else {
        app->set_status_right(stdlib::empty_string());
    }
}

}  // namespace ide
