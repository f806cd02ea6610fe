#include "kestrum/widgets/messagebox.hpp"

#include "kestrum/widgets/button.hpp"
#include "kestrum/widgets/label.hpp"

namespace kestrum {

using namespace runtime::literals;

namespace {

int32_t button_row_w(MessageBoxKind kind) {
    switch (kind) {
        case MessageBoxKind::Ok: return 10;
        case MessageBoxKind::OkCancel:
        case MessageBoxKind::YesNo: return 21;
        case MessageBoxKind::YesNoCancel: return 32;
    }
    return 10;
}

}  // namespace

MessageBoxKind messagebox_kind_ok() { return MessageBoxKind::Ok; }
MessageBoxKind messagebox_kind_yes_no() { return MessageBoxKind::YesNo; }
MessageBoxKind messagebox_kind_yes_no_cancel() { return MessageBoxKind::YesNoCancel; }

EventResult MessageBox::handle_event(const Event& ev) {
    if (ev.kind == EventKind::Key && ev.key.key.tag == KeyCode::Escape) return event_command(CMD_CANCEL);
    EventResult result = Window::handle_event(ev);
    return result.command == CMD_CLOSE ? event_command(CMD_CANCEL) : result;
}

Rect dialog_outer(const string& title, const string& message, MessageBoxKind kind) {
    int32_t body = max_int(max_int(text_display_width(message) + 4, text_display_width(title) + 8),
                           button_row_w(kind) + 4);
    int32_t w = min_int(max_int(body + 2, min_outer_w), max_outer_w);
    int32_t rows = max_int(text_wrap_rows(message, w - 4), 1);
    return rect(0, 0, w, max_int(rows + 5, 8));
}

Rect client_wh(Rect outer) { return rect(0, 0, max_int(outer.w - 2, 1), max_int(outer.h - 2, 1)); }

void add_buttons(const Root<MessageBox>& box, MessageBoxKind kind, int32_t x, int32_t y, int32_t w) {
    struct Choice {
        Text* label;
        int32_t command;
    };
    Choice ok{"OK"_t, CMD_OK}, cancel{"Cancel"_t, CMD_CANCEL}, yes{"Yes"_t, CMD_YES}, no{"No"_t, CMD_NO};
    Choice row[3];
    int32_t n = 0;
    switch (kind) {
        case MessageBoxKind::Ok: row[n++] = ok; break;
        case MessageBoxKind::OkCancel: row[n++] = ok, row[n++] = cancel; break;
        case MessageBoxKind::YesNo: row[n++] = yes, row[n++] = no; break;
        case MessageBoxKind::YesNoCancel: row[n++] = yes, row[n++] = no, row[n++] = cancel; break;
    }
    for (int32_t i = 0; i < n; i++) box->add(runtime::make<Button>(rect(x + i * (w + 1), y, w, 1), string(row[i].label), row[i].command));
}

Root<MessageBox> messagebox_create(const string& title, const string& message, MessageBoxKind kind) {
    Rect outer = dialog_outer(title, message, kind);
    Root<MessageBox> box = runtime::make<MessageBox>(outer, title);
    Rect client = client_wh(outer);
    int32_t label_w = max_int(client.w - 2, 1);
    Root<Label> label = runtime::make<Label>(rect(1, 0, label_w, text_wrap_rows(message, label_w)), message);
    label->set_wrap(true);
    box->add(label);
    add_buttons(box, kind, 1, max_int(client.h - 1, 0), 10);
    return box;
}

}  // namespace kestrum
