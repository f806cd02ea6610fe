// Input values: key identities, keys with modifiers, mouse reports, and the one Event record that
// views pass down their tree; also the framework's base command numbers. All of them are plain
// values, copied, and can be elements of managed arrays. Nothing here reads the terminal.
#pragma once
#include <stdint.h>

namespace kestrum {

// ---- Keys ---------------------------------------------------------------------------------

// A key identity: a tag and, for Char alone, a codepoint (0 for every other tag).
struct KeyCode {
    // clang-format off
    enum Tag : int32_t {
        None = 0, Unknown = 1, Escape = 2, Enter = 3, Tab = 4, BackTab = 5, Backspace = 6, Delete = 7,
        Insert = 8, Left = 9, Right = 10, Up = 11, Down = 12, Home = 13, End = 14, PageUp = 15, PageDown = 16,
        Space = 17, Char = 18, F1 = 19, F2 = 20, F3 = 21, F4 = 22, F5 = 23, F6 = 24, F7 = 25, F8 = 26,
        F9 = 27, F10 = 28, F11 = 29, F12 = 30,
    };
    // clang-format on
    int32_t tag = None;
    int32_t codepoint = 0;

    bool operator==(const KeyCode&) const = default;
};

// The constructors are defined here so that the decoder's inner loop builds values in registers.
constexpr KeyCode key_unknown() { return {KeyCode::Unknown, 0}; }
constexpr KeyCode key_escape() { return {KeyCode::Escape, 0}; }
constexpr KeyCode key_enter() { return {KeyCode::Enter, 0}; }
constexpr KeyCode key_tab() { return {KeyCode::Tab, 0}; }
constexpr KeyCode key_backtab() { return {KeyCode::BackTab, 0}; }
constexpr KeyCode key_backspace() { return {KeyCode::Backspace, 0}; }
constexpr KeyCode key_delete() { return {KeyCode::Delete, 0}; }
constexpr KeyCode key_insert() { return {KeyCode::Insert, 0}; }
constexpr KeyCode key_arrow_left() { return {KeyCode::Left, 0}; }
constexpr KeyCode key_arrow_right() { return {KeyCode::Right, 0}; }
constexpr KeyCode key_arrow_up() { return {KeyCode::Up, 0}; }
constexpr KeyCode key_arrow_down() { return {KeyCode::Down, 0}; }
constexpr KeyCode key_home() { return {KeyCode::Home, 0}; }
constexpr KeyCode key_end() { return {KeyCode::End, 0}; }
constexpr KeyCode key_page_up() { return {KeyCode::PageUp, 0}; }
constexpr KeyCode key_page_down() { return {KeyCode::PageDown, 0}; }
constexpr KeyCode key_char(int32_t codepoint) { return {KeyCode::Char, codepoint}; }
// F1..F12 for n from 1 to 12, Unknown otherwise.
KeyCode key_f(int32_t n);

bool is_char(KeyCode key);
int32_t key_codepoint_or(KeyCode key, int32_t fallback);
// The tag, or 0 for a tag outside 0..30.
int32_t keycode_index(KeyCode key);
// Same tag, and for Char the same codepoint.
bool keycode_eq(KeyCode a, KeyCode b);

// A key with its modifiers. A control letter is Char of the upper-case letter with `ctrl`; a letter
// with Alt is Char of the letter as typed with `alt`.
struct KeyEvent {
    KeyCode key;
    bool ctrl = false;
    bool alt = false;
    bool shift = false;

    bool operator==(const KeyEvent&) const = default;
};

// ---- Mouse --------------------------------------------------------------------------------

enum class MouseButton : int32_t { None = 0, Left = 1, Middle = 2, Right = 3, WheelUp = 4, WheelDown = 5 };

// A mouse report at a cell position counted from 0 at the top left of the screen. `pressed` is true
// for a press or a drag report, false for a release; `motion` marks a report of movement.
struct MouseEvent {
    int32_t x = 0;
    int32_t y = 0;
    MouseButton button = MouseButton::None;
    bool pressed = false;
    bool motion = false;
    bool ctrl = false;
    bool alt = false;
    bool shift = false;

    bool operator==(const MouseEvent&) const = default;
};

// ---- Events -------------------------------------------------------------------------------

// Command and Resize exist as kinds, but the framework makes no events of them: commands travel
// through the application's command slot, and a size change is found by the loop.
enum class EventKind : int32_t { Key = 0, Mouse = 1, Command = 2, Resize = 3, Quit = 4 };

// One input event. `key` and `mouse` are both always present; the one that does not apply holds
// its empty value. `command` is 0 except in a quit event. `data1` and `data2` are spare and 0.
struct Event {
    EventKind kind = EventKind::Key;
    KeyEvent key;
    MouseEvent mouse;
    int32_t command = 0;
    int32_t data1 = 0;
    int32_t data2 = 0;

    bool operator==(const Event&) const = default;
};

// Base command numbers; application commands are numbered above these.
constexpr int32_t CMD_NONE = 0;
constexpr int32_t CMD_OK = 1;
constexpr int32_t CMD_CANCEL = 2;
constexpr int32_t CMD_YES = 3;
constexpr int32_t CMD_NO = 4;
constexpr int32_t CMD_CLOSE = 5;
constexpr int32_t CMD_QUIT = 6;
constexpr int32_t CMD_MINIMIZE = 7;
constexpr int32_t CMD_MAXIMIZE = 8;

constexpr KeyEvent key_event(KeyCode key, bool ctrl, bool alt, bool shift) { return {key, ctrl, alt, shift}; }
constexpr KeyEvent key_event_plain(KeyCode key) { return key_event(key, false, false, false); }
constexpr KeyEvent key_event_char(int32_t codepoint) { return key_event_plain(key_char(codepoint)); }
// Unknown, no modifier.
constexpr KeyEvent empty_key() { return key_event_plain(key_unknown()); }
// a..z folded to A..Z, then Char with `ctrl` set.
constexpr KeyEvent key_event_ctrl_letter(int32_t codepoint) {
    return key_event(key_char(codepoint >= 'a' && codepoint <= 'z' ? codepoint - 32 : codepoint), true, false, false);
}

constexpr MouseEvent mouse_event(int32_t x, int32_t y, MouseButton button, bool pressed, bool motion, bool ctrl,
                                 bool alt, bool shift) {
    return {x, y, button, pressed, motion, ctrl, alt, shift};
}
// 0, 0, no button, no flag.
constexpr MouseEvent empty_mouse() { return mouse_event(0, 0, MouseButton::None, false, false, false, false, false); }
MouseButton mouse_none();
MouseButton mouse_left();
MouseButton mouse_middle();
MouseButton mouse_right();
MouseButton mouse_wheel_up();
MouseButton mouse_wheel_down();
// Equal buttons; a value outside the enumeration equals nothing, itself included.
bool mouse_button_eq(MouseButton a, MouseButton b);

constexpr Event event_key(KeyEvent key) { return {EventKind::Key, key, empty_mouse(), 0, 0, 0}; }
constexpr Event event_mouse(MouseEvent mouse) { return {EventKind::Mouse, empty_key(), mouse, 0, 0, 0}; }
constexpr Event event_quit() { return {EventKind::Quit, empty_key(), empty_mouse(), CMD_QUIT, 0, 0}; }
bool is_key_event(const Event& e);
bool is_mouse_event(const Event& e);
bool is_quit_event(const Event& e);
// A mouse press of the left button that is not a drag.
bool is_left_click(const Event& e);
// Enter with any modifiers, or the space bar without Ctrl or Alt.
bool is_activate_key(const Event& e);

}  // namespace kestrum
