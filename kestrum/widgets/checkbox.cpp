#include "kestrum/widgets/checkbox.hpp"

#include "kestrum/widgets/button.hpp"
#include "kestrum/widgets/label.hpp"

namespace kestrum {

using namespace runtime::literals;

void Checkbox::draw(const Root<CellBuffer>& buf, Rect r, Rect clip, bool focused, const Root<Theme>& theme) {
    Style style = focused ? theme->selected_style : theme->client_style;
    Rect area = fill_control(buf, r, clip, style);
    if (rect_empty(area)) return;
    int32_t pen = draw_text_piece(buf, r.x, r.y, checked ? "[X] "_t : "[ ] "_t, style, area);
    draw_text_piece(buf, pen, r.y, string(label), style, area);
}

EventResult Checkbox::handle_event(const Event& ev) {
    if (!control_activated(*this, ev)) return event_ignored();
    toggle();
    return event_handled();
}

void Checkbox::set_checked(bool value) { checked = value; }
void Checkbox::set_label(const string& value) { label = value; }
void Checkbox::toggle() { checked = !checked; }

}  // namespace kestrum
