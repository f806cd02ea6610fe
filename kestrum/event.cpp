#include "kestrum/event.hpp"

namespace kestrum {

namespace {

KeyCode tagged(int32_t tag) { return KeyCode{tag, 0}; }

}  // namespace

// ---- Keys ---------------------------------------------------------------------------------

KeyCode key_unknown() { return tagged(KeyCode::Unknown); }
KeyCode key_escape() { return tagged(KeyCode::Escape); }
KeyCode key_enter() { return tagged(KeyCode::Enter); }
KeyCode key_tab() { return tagged(KeyCode::Tab); }
KeyCode key_backtab() { return tagged(KeyCode::BackTab); }
KeyCode key_backspace() { return tagged(KeyCode::Backspace); }
KeyCode key_delete() { return tagged(KeyCode::Delete); }
KeyCode key_insert() { return tagged(KeyCode::Insert); }
KeyCode key_arrow_left() { return tagged(KeyCode::Left); }
KeyCode key_arrow_right() { return tagged(KeyCode::Right); }
KeyCode key_arrow_up() { return tagged(KeyCode::Up); }
KeyCode key_arrow_down() { return tagged(KeyCode::Down); }
KeyCode key_home() { return tagged(KeyCode::Home); }
KeyCode key_end() { return tagged(KeyCode::End); }
KeyCode key_page_up() { return tagged(KeyCode::PageUp); }
KeyCode key_page_down() { return tagged(KeyCode::PageDown); }
KeyCode key_char(int32_t codepoint) { return KeyCode{KeyCode::Char, codepoint}; }

KeyCode key_f(int32_t n) {
    if (n < 1 || n > 12) return key_unknown();
    return tagged(KeyCode::F1 + n - 1);
}

bool is_char(KeyCode key) { return key.tag == KeyCode::Char; }

int32_t key_codepoint_or(KeyCode key, int32_t fallback) { return is_char(key) ? key.codepoint : fallback; }

int32_t keycode_index(KeyCode key) {
    return key.tag >= KeyCode::None && key.tag <= KeyCode::F12 ? key.tag : 0;
}

bool keycode_eq(KeyCode a, KeyCode b) {
    return a.tag == b.tag && key_codepoint_or(a, 0) == key_codepoint_or(b, 0);
}

// ---- Key events ---------------------------------------------------------------------------

KeyEvent empty_key() { return key_event_plain(key_unknown()); }

KeyEvent key_event(KeyCode key, bool ctrl, bool alt, bool shift) { return KeyEvent{key, ctrl, alt, shift}; }

KeyEvent key_event_plain(KeyCode key) { return key_event(key, false, false, false); }

KeyEvent key_event_char(int32_t codepoint) { return key_event_plain(key_char(codepoint)); }

KeyEvent key_event_ctrl_letter(int32_t codepoint) {
    if (codepoint >= 'a' && codepoint <= 'z') codepoint -= 32;
    return key_event(key_char(codepoint), true, false, false);
}

// ---- Mouse events -------------------------------------------------------------------------

MouseEvent empty_mouse() { return mouse_event(0, 0, MouseButton::None, false, false, false, false, false); }

MouseEvent mouse_event(int32_t x, int32_t y, MouseButton button, bool pressed, bool motion, bool ctrl, bool alt,
                       bool shift) {
    return MouseEvent{x, y, button, pressed, motion, ctrl, alt, shift};
}

MouseButton mouse_none() { return MouseButton::None; }
MouseButton mouse_left() { return MouseButton::Left; }
MouseButton mouse_middle() { return MouseButton::Middle; }
MouseButton mouse_right() { return MouseButton::Right; }
MouseButton mouse_wheel_up() { return MouseButton::WheelUp; }
MouseButton mouse_wheel_down() { return MouseButton::WheelDown; }

bool mouse_button_eq(MouseButton a, MouseButton b) {
    auto valid = [](MouseButton button) {
        return int32_t(button) >= int32_t(MouseButton::None) && int32_t(button) <= int32_t(MouseButton::WheelDown);
    };
    return valid(a) && valid(b) && a == b;
}

// ---- Events -------------------------------------------------------------------------------

Event event_key(KeyEvent key) { return Event{EventKind::Key, key, empty_mouse(), 0, 0, 0}; }

Event event_mouse(MouseEvent mouse) { return Event{EventKind::Mouse, empty_key(), mouse, 0, 0, 0}; }

Event event_quit() { return Event{EventKind::Quit, empty_key(), empty_mouse(), CMD_QUIT, 0, 0}; }

bool is_key_event(const Event& e) { return e.kind == EventKind::Key; }
bool is_mouse_event(const Event& e) { return e.kind == EventKind::Mouse; }
bool is_quit_event(const Event& e) { return e.kind == EventKind::Quit; }

bool is_left_click(const Event& e) {
    return is_mouse_event(e) && e.mouse.pressed && !e.mouse.motion && e.mouse.button == MouseButton::Left;
}

bool is_activate_key(const Event& e) {
    if (!is_key_event(e)) return false;
    if (e.key.key.tag == KeyCode::Enter) return true;
    return keycode_eq(e.key.key, key_char(32)) && !e.key.ctrl && !e.key.alt;
}

}  // namespace kestrum
