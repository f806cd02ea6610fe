#include "kestrum/commands.hpp"

namespace kestrum {

using runtime::Array;
using runtime::Root;

Root<CommandTable> commands_create(int32_t capacity) {
    capacity = capacity < 1 ? 1 : capacity > max_cmds() ? max_cmds() : capacity;
    Root<CommandTable> table = runtime::make<CommandTable>();
    table->capacity = capacity;
    table->ids = Array<int32_t>::make(capacity);
    table->enabled = Array<bool>::make(capacity);
    table->has_accel = Array<bool>::make(capacity);
    table->accels = Array<KeyEvent>::make(capacity);
    for (int32_t i = 0; i < capacity; i++) {
        table->enabled[i] = true;
        table->accels[i] = empty_accel();
    }
    return table;
}

stdlib::Option<int32_t> commands_find(const Root<CommandTable>& table, int32_t id) {
    for (int32_t i = 0; i < table->count; i++)
        if (table->ids[i] == id) return stdlib::Some(i);
    return stdlib::None;
}

namespace {

// The entry of `id`, appended enabled and without a key if there is none; -1 when full.
int32_t find_or_append(const Root<CommandTable>& table, int32_t id) {
    stdlib::Option<int32_t> found = commands_find(table, id);
    if (found.is_some()) return found.unwrap();
    if (table->count >= table->capacity) return -1;
    int32_t i = table->count++;
    table->ids[i] = id;
    table->enabled[i] = true;
    table->has_accel[i] = false;
    table->accels[i] = empty_accel();
    return i;
}

}  // namespace

bool commands_set(const Root<CommandTable>& table, int32_t id, bool enabled) {
    int32_t i = find_or_append(table, id);
    if (i < 0) return false;
    table->enabled[i] = enabled;
    return true;
}

bool commands_is_enabled(const Root<CommandTable>& table, int32_t id) {
    if (id == CMD_NONE) return false;
    stdlib::Option<int32_t> found = commands_find(table, id);
    return found.is_none() || table->enabled[found.unwrap()];
}

bool commands_set_accel(const Root<CommandTable>& table, int32_t id, KeyEvent key) {
    if (id == CMD_NONE) return false;
    int32_t i = find_or_append(table, id);
    if (i < 0) return false;
    table->accels[i] = key;
    table->has_accel[i] = true;
    return true;
}

int32_t commands_match_key(const Root<CommandTable>& table, KeyEvent key) {
    for (int32_t i = 0; i < table->count; i++)
        if (table->has_accel[i] && table->enabled[i] && accel_eq(table->accels[i], key)) return table->ids[i];
    return CMD_NONE;
}

bool accel_eq(KeyEvent a, KeyEvent b) {
    if (keycode_index(a.key) != keycode_index(b.key)) return false;
    if (a.ctrl != b.ctrl || a.alt != b.alt || a.shift != b.shift) return false;
    return !is_char(a.key) || norm_ch(a) == norm_ch(b);
}

int32_t norm_ch(KeyEvent ev) {
    int32_t ch = key_codepoint_or(ev.key, 0);
    if ((ev.ctrl || ev.alt) && ch >= 'a' && ch <= 'z') return ch - 32;
    return ch;
}

}  // namespace kestrum
