#include "kestrum/event.hpp"

namespace kestrum {

// ---- Keys ---------------------------------------------------------------------------------

KeyCode key_f(int32_t n) {
    if (n < 1 || n > 12) return key_unknown();
    return KeyCode{KeyCode::F1 + n - 1, 0};
}

bool is_char(KeyCode key) { return key.tag == KeyCode::Char; }

int32_t key_codepoint_or(KeyCode key, int32_t fallback) { return is_char(key) ? key.codepoint : fallback; }

int32_t keycode_index(KeyCode key) {
    return key.tag >= KeyCode::None && key.tag <= KeyCode::F12 ? key.tag : 0;
}

bool keycode_eq(KeyCode a, KeyCode b) {
    return a.tag == b.tag && key_codepoint_or(a, 0) == key_codepoint_or(b, 0);
}

// ---- Mouse events -------------------------------------------------------------------------

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
