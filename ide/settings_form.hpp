// What the two settings windows share beyond the framework's chrome: their rows of a label and an
// input, told by a table of the window's own fields, and the modal run in which they are shown.
#pragma once
#include <stddef.h>

#include "kestrum/desktop.hpp"
#include "kestrum/widgets/inputline.hpp"
#include "kestrum/widgets/label.hpp"
#include "kestrum/widgets/settingschrome.hpp"

namespace ide {

using kestrum::Application;
using runtime::Member;
using runtime::Root;
using runtime::Text;
using stdlib::string;

// The window's inputs and the texts they are compared with, row by row. The rows above the first
// hold one control each, so that the first label is also child `first`.
template <class Win, size_t N>
struct InputRows {
    Member<kestrum::InputLine> Win::*inputs[N];
    Member<Text> Win::*baselines[N];
    int32_t first;
    bool trimmed;  // an input is compared, and its first baseline taken, trimmed
};

// A label and an input for each row, two cells apart; each baseline is the text as shown.
template <class Win, size_t N>
void add_input_rows(Win& win, const InputRows<Win, N>& rows, const string (&labels)[N], const string (&values)[N],
                    int32_t field_w) {
    for (size_t i = 0; i < N; i++) {
        int32_t y = 2 * (rows.first + (int32_t)i);
        win.add(runtime::make<kestrum::Label>(kestrum::rect(0, y, Win::label_w, 1), labels[i]));
        Root<kestrum::InputLine> input = kestrum::InputLine::create(
            kestrum::rect(Win::label_w + 1, y, field_w, 1), Win::max_field_len, values[i]);
        win.*rows.inputs[i] = input;
        win.*rows.baselines[i] = rows.trimmed ? stdlib::trim_ws(input->text) : string(input->text);
        win.add(input);
    }
}

template <class Win, size_t N>
bool inputs_unchanged(Win& win, const InputRows<Win, N>& rows) {
    for (size_t i = 0; i < N; i++) {
        string text((win.*rows.inputs[i])->text);
        if (!stdlib::equals(rows.trimmed ? stdlib::trim_ws(text) : text, win.*rows.baselines[i])) return false;
    }
    return true;
}

// The values become the baselines and are shown in the inputs.
template <class Win, size_t N>
void show_input_values(Win& win, const InputRows<Win, N>& rows, const string (&values)[N]) {
    for (size_t i = 0; i < N; i++) {
        win.*rows.baselines[i] = values[i];
        (win.*rows.inputs[i])->set_text(values[i]);
    }
}

template <class Win, size_t N>
void lay_out_input_rows(Win& win, const InputRows<Win, N>& rows, const Root<kestrum::FormGrid>& grid) {
    for (int32_t row = rows.first; row < rows.first + (int32_t)N; row++) {
        win.child(2 * row - rows.first)->bounds = grid->label_rect(row);
        win.child(2 * row - rows.first + 1)->bounds = grid->field_rect(row);
    }
}

// Shows `win` modally at the top left of the desktop's content area, moved by (2, 1), its size
// lowered to that area's.
void open_settings_modal(const Root<Application>& app, const Root<kestrum::SettingsWindow>& win);
// Polls the modal loop until `apply_command` comes (true) or the window has gone (false). Every
// other ending command closes the window, a dirty one only after a yes to "Discard changes?";
// Quit then ends the application too.
bool next_settings_apply(const Root<Application>& app, const Root<kestrum::SettingsWindow>& win,
                         int32_t apply_command);

}  // namespace ide
