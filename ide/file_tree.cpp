#include "ide/file_tree.hpp"

#include "stdlib/core/convert.hpp"
#include "stdlib/io/dir.hpp"
#include "stdlib/io/path.hpp"

namespace ide {

using namespace runtime::literals;
using kestrum::Event;
using kestrum::EventResult;
using kestrum::max_int;
using kestrum::Rect;
using kestrum::rect;

Root<FileTreeWin> FileTreeWin::create() {
    Root<FileTreeWin> win = runtime::make<FileTreeWin>(rect(0, 0, 28, 20), string("Files"_t));
    win->set_closable(true);
    win->set_minimizable(true);
    win->set_maximizable(true);
    Root<kestrum::ListBox> list = kestrum::ListBox::create(rect(0, 0, 26, 16), MAX_FILES, 16);
    win->list = list;
    win->add(list);
    Root<kestrum::Button> refresh = runtime::make<kestrum::Button>(rect(0, 17, 10, 1), "Refresh"_t, CMD_REFRESH_TREE);
    win->refresh_button = refresh;
    win->add(refresh);
    Root<kestrum::Label> count = runtime::make<kestrum::Label>(rect(11, 17, 14, 1), stdlib::empty_string());
    win->count_label = count;
    win->add(count);
    win->root = stdlib::empty_string();
    win->pending_path = stdlib::empty_string();
    return win;
}

void FileTreeWin::draw(const Root<kestrum::CellBuffer>& buf, Rect bounds, Rect clip, bool focused,
                       const Root<kestrum::Theme>& theme) {
    layout_contents();
    Window::draw(buf, bounds, clip, focused, theme);
}

EventResult FileTreeWin::handle_event(const Event& ev) {
    EventResult result = Window::handle_event(ev);
    if (list->activate) {
        list->clear_activate();
        return activate_selection() ? kestrum::event_command(CMD_OPEN_TREE_FILE) : kestrum::event_handled();
    }
    if (result.command == CMD_REFRESH_TREE) return kestrum::event_command(CMD_REFRESH_TREE);
    return result;
}

void FileTreeWin::set_bounds(Rect r) {
    Window::set_bounds(r);
    layout_contents();
}

void FileTreeWin::layout_contents() {
    int32_t w = max_int(bounds.w - 2, 12), h = max_int(bounds.h - 2, 5);
    int32_t list_h = max_int(h - 2, 1);
    list->bounds = rect(0, 0, w, list_h);
    list->rows = list_h;
    list->clamp_offset();  // a taller list shows no blank rows below the last item
    refresh_button->bounds = rect(0, list_h + 1, 10, 1);
    count_label->bounds = rect(11, list_h + 1, max_int(w - 11, 4), 1);
}

void FileTreeWin::clear_list() {
    list->clear();
    root = stdlib::empty_string();
    pending_path = stdlib::empty_string();
    count_label->set_text(stdlib::empty_string());
    set_title("Files"_t);
}

void FileTreeWin::reload(const Root<Project>& project) {
    list->clear();
    pending_path = stdlib::empty_string();
    if (!project || !is_open(project)) return clear_list();
    root = string(project->root);
    string_array found = Array<Member<Text>>::make(MAX_FILES);
    int32_t count = collect_nolt_files(string(root), string_array(project->source_dirs), found);
    for (int32_t i = 0; i < count; i++) list->add_item(string(found[i]));
    if (count > 0) list->set_selected(0);
    count_label->set_text(convert_count(count));
    set_title(stdlib::concat("Files — "_t, string(project->name)));
}

string FileTreeWin::take_pending_path() {
    string taken(pending_path);
    pending_path = stdlib::empty_string();
    return taken;
}

string FileTreeWin::selected_abs_path() {
    string base(root);
    if (stdlib::is_empty(base) || list->count == 0) return stdlib::empty_string();
    string item = list->item_or(list->selected, stdlib::empty_string());
    if (stdlib::is_empty(item) || stdlib::is_absolute(item)) return item;
    return stdlib::join(base, item);
}

bool FileTreeWin::activate_selection() {
    string path = selected_abs_path();
    if (stdlib::is_empty(path)) return false;
    pending_path = path;
    return true;
}

int32_t collect_nolt_files(const string& root, const string_array& source_dirs, const string_array& out) {
    int32_t slots = runtime::length(out);
    for (int32_t i = 0; i < slots; i++) out[i] = stdlib::empty_string();
    if (stdlib::is_empty(root)) return 0;
    int32_t count = 0;
    for (int32_t i = 0; i < runtime::length(source_dirs) && count < slots; i++) {
        string dir = stdlib::trim_ws(string(source_dirs[i]));
        if (stdlib::is_empty(dir)) continue;
        count = collect_under(stdlib::is_absolute(dir) ? dir : stdlib::join(root, dir), root, out, count);
    }
    sort_paths(out, count);
    return count;
}

int32_t collect_under(const string& base, const string& root, const string_array& out, int32_t count) {
    int32_t limit = kestrum::min_int(runtime::length(out), MAX_FILES);
    if (count >= limit || stdlib::is_empty(base) || !stdlib::is_directory(base)) return count;
    // Entries are never reused, so the queue bounds the directories walked, symbolic link loops
    // included; a directory that finds no room is dropped with all it holds.
    string_array queue = Array<Member<Text>>::make(max_queue);
    queue[0] = base;
    for (int32_t head = 0, tail = 1; head < tail && count < limit; head++) {
        string dir(queue[head]);
        stdlib::Result<string_array, stdlib::Error> listed = stdlib::list_dir(dir);
        if (!listed.is_ok()) continue;
        string_array names = listed.unwrap_ok();
        for (int32_t i = 0; i < runtime::length(names) && count < limit; i++) {
            string name(names[i]);
            if (should_skip_name(name)) continue;
            string path = stdlib::join(dir, name);
            if (stdlib::is_directory(path)) {
                if (tail < max_queue) queue[tail++] = path;
            } else if (is_nolt_source(name) && stdlib::is_file(path)) {
                string rel = rel_to_root(root, path);
                if (!stdlib::is_empty(rel)) out[count++] = rel;
            }
        }
    }
    return count;
}

bool should_skip_name(const string& name) { return stdlib::is_empty(name) || stdlib::starts_with(name, "."_t); }

string rel_to_root(const string& root, const string& path) {
    if (stdlib::is_empty(root) || stdlib::is_empty(path)) return path;
    string base = stdlib::normalize(root), full = stdlib::normalize(path);
    if (stdlib::equals(base, full)) return stdlib::empty_string();
    string prefix = stdlib::concat(base, "/"_t);
    if (!stdlib::starts_with(full, prefix)) return full;
    int32_t skip = stdlib::length(prefix);
    return stdlib::substring(full, skip, stdlib::length(full) - skip);
}

bool path_less(const string& a, const string& b) {
    return !stdlib::is_empty(a) && !stdlib::is_empty(b) && stdlib::compare(a, b) < 0;
}

void sort_paths(const string_array& paths, int32_t count) {
    int32_t n = kestrum::min_int(count, runtime::length(paths));
    for (int32_t i = 1; i < n; i++) {
        string entry(paths[i]);
        int32_t j = i - 1;
        for (; j >= 0 && path_less(entry, string(paths[j])); j--) paths[j + 1] = paths[j];
        paths[j + 1] = entry;
    }
}

string convert_count(int32_t n) {
    if (n < 1) return "0 files"_t;
    if (n == 1) return "1 file"_t;
    return stdlib::concat(stdlib::to_string(n), " files"_t);
}

}  // namespace ide
