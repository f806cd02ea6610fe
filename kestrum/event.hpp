// Input values: key identities, keys with modifiers, mouse reports, and the one Event record that
// views pass down their tree; also the framework's base command numbers. All of them are plain
// values, copied, and can be elements of managed arrays. Nothing here reads the terminal.
#pragma once
#include <stdint.h>

namespace kestrum {

// ---- Keys ---------------------------------------------------------------------------------

// A key identity: a tag and, for Char alone, a codepoint (0 for every other tag).
struct KeyCode {
    enum Tag : int32_t {
        None = 0,
        Unknown = 1,
        Escape = 2,
        Enter = 3,
        Tab = 4,
        BackTab = 5,
        Backspace = 6,
        Delete = 7,
        Insert = 8,
        Left = 9,
        Right = 10,
        Up = 11,
        Down = 12,
        Home = 13,
        End = 14,
        PageUp = 15,
        PageDown = 16,
        Space = 17,
        Char = 18,
        F1 = 19,
        F2 = 20,
        F3 = 21,
        F4 = 22,
        F5 = 23,
        F6 = 24,
        F7 = 25,
        F8 = 26,
        F9 = 27,
        F10 = 28,
        F11 = 29,
        F12 = 30,
    };
    int32_t tag = None;
    int32_t codepoint = 0;

    bool operator==(const KeyCode&) const = default;
};

KeyCode key_unknown();
KeyCode key_escape();
KeyCode key_enter();
KeyCode key_tab();
KeyCode key_backtab();
KeyCode key_backspace();
KeyCode key_delete();
KeyCode key_insert();
KeyCode key_arrow_left();
KeyCode key_arrow_right();
KeyCode key_arrow_up();
KeyCode key_arrow_down();
KeyCode key_home();
KeyCode key_end();
KeyCode key_page_up();
KeyCode key_page_down();
KeyCode key_char(int32_t codepoint);
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

// Unknown, no modifier.
KeyEvent empty_key();
KeyEvent key_event(KeyCode key, bool ctrl, bool alt, bool shift);
KeyEvent key_event_plain(KeyCode key);
KeyEvent key_event_char(int32_t codepoint);
// a..z folded to A..Z, then Char with `ctrl` set.
KeyEvent key_event_ctrl_letter(int32_t codepoint);

MouseEvent empty_mouse();
MouseEvent mouse_event(int32_t x, int32_t y, MouseButton button, bool pressed, bool motion, bool ctrl, bool alt,
                       bool shift);
MouseButton mouse_none();
MouseButton mouse_left();
MouseButton mouse_middle();
MouseButton mouse_right();
MouseButton mouse_wheel_up();
MouseButton mouse_wheel_down();
// Equal buttons; a value outside the enumeration equals nothing, itself included.
bool mouse_button_eq(MouseButton a, MouseButton b);

Event event_key(KeyEvent key);
Event event_mouse(MouseEvent mouse);
Event event_quit();
bool is_key_event(const Event& e);
bool is_mouse_event(const Event& e);
bool is_quit_event(const Event& e);
// A mouse press of the left button that is not a drag.
bool is_left_click(const Event& e);
// Enter with any modifiers, or the space bar without Ctrl or Alt.
bool is_activate_key(const Event& e);

}  // namespace kestrum
