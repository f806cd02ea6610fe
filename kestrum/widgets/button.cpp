#include "kestrum/widgets/button.hpp"

#include "kestrum/widgets/label.hpp"

namespace kestrum {

using namespace runtime::literals;

bool control_activated(const View& view, const Event& ev) {
    return view.enabled && (is_activate_key(ev) || is_left_click(ev));
}

void Button::draw(const Root<CellBuffer>& buf, Rect r, Rect clip, bool focused, const Root<Theme>& theme) {
    Style style = focused ? theme->selected_style : theme->button_style;
    Rect area = fill_control(buf, r, clip, style);
    if (rect_empty(area)) return;
    int32_t pen = draw_text_piece(buf, r.x, r.y, "[ "_t, style, area);
    pen = draw_text_piece(buf, pen, r.y, string(label), style, area);
    draw_text_piece(buf, pen, r.y, " ]"_t, style, area);
}

EventResult Button::handle_event(const Event& ev) {
    return control_activated(*this, ev) ? event_command(command) : event_ignored();
}

}  // namespace kestrum
