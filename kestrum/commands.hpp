// kestrum.commands: which commands are enabled and which key each one is bound to.
//
// Commands are plain integers; the table holds no handlers. It is a small linear table of
// parallel arrays, filled from index 0, whose entries are never removed: every operation scans
// the entries in use, and a key bound twice answers with the entry entered first.
#pragma once
#include <stdint.h>

#include "kestrum/event.hpp"
#include "stdlib/core/option.hpp"

namespace kestrum {

// The largest capacity of a table.
constexpr int32_t max_cmds() { return 128; }
// What an entry without a key holds: a plain Unknown key.
constexpr KeyEvent empty_accel() { return empty_key(); }

class CommandTable {
    NOLT_MANAGED(CommandTable, void);

public:
    runtime::Member<runtime::Array<int32_t>> ids;
    runtime::Member<runtime::Array<bool>> enabled;
    runtime::Member<runtime::Array<bool>> has_accel;
    runtime::Member<runtime::Array<KeyEvent>> accels;
    int32_t capacity = 0;
    int32_t count = 0;  // entries in use
};

// Capacity raised to 1 and lowered to max_cmds(); every slot holds id 0, enabled, no key.
runtime::Root<CommandTable> commands_create(int32_t capacity);
// The index of the first entry with `id`.
stdlib::Option<int32_t> commands_find(const runtime::Root<CommandTable>& table, int32_t id);
// Updates the entry's flag, or appends an entry without a key; false only when the table is full.
bool commands_set(const runtime::Root<CommandTable>& table, int32_t id, bool enabled);
// False for id 0, true for an id the table does not hold, otherwise the entry's flag.
bool commands_is_enabled(const runtime::Root<CommandTable>& table, int32_t id);
// Binds `key`, appending an enabled entry when there is none; false for id 0 or a full table.
bool commands_set_accel(const runtime::Root<CommandTable>& table, int32_t id, KeyEvent key);
// The id of the first enabled entry whose key accel_eq `key`, or CMD_NONE.
int32_t commands_match_key(const runtime::Root<CommandTable>& table, KeyEvent key);
// Same kind of key and the same modifiers; for Char keys the same norm_ch. So Ctrl and Alt
// letters match in either case, a plain letter only in its own.
bool accel_eq(KeyEvent a, KeyEvent b);
// The key's codepoint (0 for keys that are not Char), a..z in upper case under Ctrl or Alt.
int32_t norm_ch(KeyEvent ev);

}  // namespace kestrum
