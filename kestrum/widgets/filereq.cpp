#include "kestrum/widgets/filereq.hpp"

#include "kestrum/widgets/button.hpp"
#include "stdlib/io/dir.hpp"

namespace kestrum {

using namespace stdlib;
using namespace runtime::literals;

namespace {

constexpr int32_t NAME_MAX_LEN = 200;
constexpr int32_t LIST_CAPACITY = 256;
constexpr int32_t LIST_ROWS = 8;

string parent_entry() { return "../"_t; }

// Everything after byte `start`.
string tail(const string& s, int32_t start) { return substring(s, start, length(s) - start); }

// `s` without one trailing "/", if it has one.
string drop_slash(const string& s) { return ends_with(s, "/"_t) ? substring(s, 0, length(s) - 1) : s; }

}  // namespace

string path_basename(const string& path) {
    Option<int32_t> slash = last_index_of_char(path, '/');
    return slash.is_some() ? tail(path, slash.unwrap() + 1) : path;
}

string path_parent(const string& path) {
    if (length(path) <= 1) return "/"_t;
    string trimmed = drop_slash(path);
    Option<int32_t> slash = last_index_of_char(trimmed, '/');
    if (slash.is_none() || slash.unwrap() == 0) return "/"_t;
    return substring(trimmed, 0, slash.unwrap());
}

string path_dir(const string& path) {
    if (is_empty(path)) return "/"_t;
    return is_directory(path) ? path : path_parent(path);
}

string path_join(const string& dir, const string& name) {
    if (is_empty(name)) return dir;
    if (starts_with(name, "/"_t) || is_empty(dir)) return name;
    int32_t end = length(dir);
    while (end > 0 && char_at(dir, end - 1).unwrap_or(0) == '/') end--;
    return concat(concat(substring(dir, 0, end), "/"_t), name);
}

string dir_prefix() { return "▸ "_t; }

bool entry_is_dir(const string& entry) {
    return equals(entry, parent_entry()) || starts_with(entry, dir_prefix()) || ends_with(entry, "/"_t);
}

string entry_name(const string& entry) {
    if (equals(entry, parent_entry())) return ".."_t;
    if (starts_with(entry, dir_prefix())) return tail(entry, length(dir_prefix()));
    return drop_slash(entry);
}

bool entry_less(const string& a, const string& b) {
    if (equals(a, parent_entry())) return true;
    if (equals(b, parent_entry())) return false;
    bool a_dir = entry_is_dir(a), b_dir = entry_is_dir(b);
    if (a_dir != b_dir) return a_dir;
    return compare(a, b) < 0;
}

Root<FileReq> FileReq::create(const string& title, const string& start) {
    Root<FileReq> req = runtime::make<FileReq>(rect(0, 0, 56, 16), title);
    req->set_closable(true);
    req->name_input = InputLine::create(rect(1, 1, 38, 1), NAME_MAX_LEN, path_basename(start));
    req->list = ListBox::create(rect(1, 3, 38, LIST_ROWS), LIST_CAPACITY, LIST_ROWS);
    req->dir = path_dir(start);
    req->dir_label = runtime::make<Label>(rect(1, 12, 52, 1), string(req->dir));
    req->add(runtime::make<Label>(rect(1, 0, 8, 1), "Name"_t));
    req->add(Root<InputLine>(req->name_input));
    req->add(runtime::make<Button>(rect(42, 1, 10, 1), "OK"_t, CMD_OK));
    req->add(runtime::make<Label>(rect(1, 2, 8, 1), "Files"_t));
    req->add(Root<ListBox>(req->list));
    req->add(runtime::make<Button>(rect(42, 3, 10, 1), "Cancel"_t, CMD_CANCEL));
    req->add(runtime::make<Button>(rect(42, 5, 10, 1), "Parent"_t, CMD_PARENT));
    req->add(Root<Label>(req->dir_label));
    req->refresh_list();
    return req;
}

EventResult FileReq::handle_event(const Event& ev) {
    EventResult r = Window::handle_event(ev);
    if (list->activate) {
        list->clear_activate();
        Option<string> file = selected_file();
        if (file.is_some()) {
            set_name(file.unwrap());
            return event_command(CMD_OK);
        }
        activate_sel();
        return event_handled();
    }
    if (r.command == CMD_PARENT) {
        go_parent();
        return event_handled();
    }
    if (r.command == CMD_OK && try_open_dir()) return event_handled();
    Option<string> file = selected_file();
    if (file.is_some()) set_name(file.unwrap());
    return r;
}

void FileReq::refresh_list() {
    list->clear();
    list->add_item(parent_entry());
    Result<string_array, Error> listed = list_dir(string(dir));
    if (listed.is_ok()) {
        // Each name becomes its entry in place; then an insertion sort, and the first that fit.
        string_array entries = listed.unwrap_ok();
        int32_t n = runtime::length(entries);
        for (int32_t i = 0; i < n; i++) {
            string name(entries[i]);
            if (is_directory(path_join(string(dir), name))) entries[i] = concat(dir_prefix(), name);
        }
        for (int32_t i = 1; i < n; i++) {
            string entry(entries[i]);
            int32_t j = i - 1;
            for (; j >= 0 && entry_less(entry, string(entries[j])); j--) entries[j + 1] = entries[j];
            entries[j + 1] = entry;
        }
        for (int32_t i = 0; i < n; i++)
            if (!list->add_item(string(entries[i]))) break;
    }
    dir_label->set_text(string(dir));
    list->set_selected(0);
}

void FileReq::go_parent() {
    dir = path_parent(string(dir));
    refresh_list();
}

void FileReq::enter_dir(const string& name) {
    dir = path_join(string(dir), name);
    refresh_list();
    set_name(empty_string());
}

void FileReq::activate_sel() {
    Option<string> entry = list->item(list->selected);
    if (entry.is_none()) return;
    string chosen = entry.unwrap();
    if (equals(chosen, parent_entry())) go_parent();
    else if (entry_is_dir(chosen)) enter_dir(entry_name(chosen));
    else set_name(chosen);
}

bool FileReq::try_open_dir() {
    string name(name_input->text);
    if (equals(name, ".."_t)) {
        go_parent();
        return true;
    }
    if (!is_empty(name)) {
        string joined = path_join(string(dir), name);
        if (!is_directory(joined)) return false;
        dir = joined;
        refresh_list();
        set_name(empty_string());
        return true;
    }
    Option<string> entry = list->item(list->selected);
    if (entry.is_none()) return false;
    if (entry_is_dir(entry.unwrap())) {
        activate_sel();
        return true;
    }
    set_name(entry.unwrap());
    return false;
}

Option<string> FileReq::selected_path() {
    string name(name_input->text);
    if (is_empty(name)) name = selected_file().unwrap_or(empty_string());
    if (is_empty(name)) return None;
    return Some(path_join(string(dir), name));
}

Option<string> FileReq::selected_file() {
    Option<string> entry = list->item(list->selected);
    if (entry.is_some() && !entry_is_dir(entry.unwrap())) return entry;
    return None;
}

// The caret goes to the end of a new name; the same name again leaves the caret where it was.
void FileReq::set_name(const string& text) {
    if (equals(string(name_input->text), text)) return;
    name_input->set_text(text);
    name_input->set_caret(length(text));
}

}  // namespace kestrum
