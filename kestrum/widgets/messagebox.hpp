// kestrum.widgets.messagebox: the modal question-and-answer dialog. A small window with a
// wrapped message and a row of one to three buttons; it ends a modal run with the command of
// the button chosen, and Escape or its close command with Cancel.
#pragma once
#include "kestrum/widgets/window.hpp"

namespace kestrum {

enum class MessageBoxKind : int32_t { Ok = 0, OkCancel = 1, YesNo = 2, YesNoCancel = 3 };

MessageBoxKind messagebox_kind_ok();
MessageBoxKind messagebox_kind_yes_no();
MessageBoxKind messagebox_kind_yes_no_cancel();

inline constexpr int32_t min_outer_w = 40;
inline constexpr int32_t max_outer_w = 72;

class MessageBox : public Window {
    NOLT_MANAGED(MessageBox, Window);

public:
    MessageBox() = default;
    MessageBox(Rect bounds, const string& title) : Window(bounds, title) {}

    EventResult handle_event(const Event& ev) override;
};

// The dialog with its label and buttons, at the origin of the screen, not yet shown.
Root<MessageBox> messagebox_create(const string& title, const string& message, MessageBoxKind kind);
// The outer rectangle at (0, 0).
Rect dialog_outer(const string& title, const string& message, MessageBoxKind kind);
// The inner area of the frame, at (0, 0).
Rect client_wh(Rect outer);
void add_buttons(const Root<MessageBox>& box, MessageBoxKind kind, int32_t x, int32_t y, int32_t w);

}  // namespace kestrum
