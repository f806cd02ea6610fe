#include "kestrum/widgets/settingschrome.hpp"

namespace kestrum {

using namespace runtime::literals;

Root<ApplyCancelBar> ApplyCancelBar::create(Rect content, int32_t btn_w, int32_t gap, int32_t pad_x, int32_t pad_y,
                                            int32_t gap_above) {
    return runtime::make<ApplyCancelBar>(content, btn_w, gap, pad_x, pad_y, gap_above);
}

Root<ApplyCancelBar> apply_cancel_bar(Rect content) { return ApplyCancelBar::create(content, 10, 1, 0, 0, 1); }

void ApplyCancelBar::set_content(Rect r) { content = r; }
void ApplyCancelBar::set_btn_w(int32_t w) { btn_w = w; }
void ApplyCancelBar::set_gap(int32_t g) { gap = g; }
void ApplyCancelBar::set_pad(int32_t x, int32_t y) { pad_x = x, pad_y = y; }
void ApplyCancelBar::set_gap_above(int32_t rows) { gap_above = rows; }

int32_t ApplyCancelBar::inner_x() { return content.x + pad_x; }
int32_t ApplyCancelBar::inner_y() { return content.y + pad_y; }
int32_t ApplyCancelBar::inner_w() { return max_int(content.w - 2 * pad_x, 1); }
int32_t ApplyCancelBar::inner_h() { return max_int(content.h - 2 * pad_y, 1); }
int32_t ApplyCancelBar::button_h() { return 1; }
int32_t ApplyCancelBar::chrome_h() { return max_int(gap_above, 0) + button_h(); }
int32_t ApplyCancelBar::button_y() { return max_int(inner_y() + inner_h() - button_h(), inner_y()); }

Rect ApplyCancelBar::cancel_rect() {
    int32_t w = max_int(btn_w, 1);
    return rect(max_int(inner_x() + inner_w() - w, inner_x()), button_y(), w, button_h());
}

Rect ApplyCancelBar::apply_rect() {
    int32_t w = max_int(btn_w, 1);
    int32_t x = max_int(cancel_rect().x - max_int(gap, 0) - w, inner_x());
    return rect(x, button_y(), w, button_h());
}

Rect ApplyCancelBar::form_rect() { return rect(inner_x(), inner_y(), inner_w(), max_int(inner_h() - chrome_h(), 1)); }

Root<SettingsDirty> settings_dirty() { return runtime::make<SettingsDirty>(); }

void SettingsDirty::mark() { dirty = true; }
void SettingsDirty::clear() { dirty = false; }
bool SettingsDirty::is_dirty() { return dirty; }

string discard_title() { return "Discard changes?"_t; }
string discard_text() { return "You have unsaved changes. Discard them?"_t; }
MessageBoxKind discard_kind() { return MessageBoxKind::YesNo; }
bool discard_accepted(int32_t command) { return command == CMD_YES; }
bool may_close(bool dirty, int32_t answer) { return !dirty || discard_accepted(answer); }

void SettingsWindow::init_settings() {
    string plain(title);
    clean_title = plain;
    dirty_title = stdlib::concat(plain, " *"_t);
    dirty = settings_dirty();
    set_closable(true);
}

void SettingsWindow::add_apply_cancel(Rect apply, Rect cancel, int32_t apply_command) {
    Root<Button> apply_btn = runtime::make<Button>(apply, string("Apply"_t), apply_command);
    Root<Button> cancel_btn = runtime::make<Button>(cancel, string("Cancel"_t), CMD_CANCEL);
    apply_button = apply_btn;
    cancel_button = cancel_btn;
    add(apply_btn);
    add(cancel_btn);
}

Root<FormGrid> SettingsWindow::lay_out_chrome(int32_t min_h, int32_t label_w) {
    Root<ApplyCancelBar> bar = apply_cancel_bar(rect(0, 0, max_int(bounds.w - 2, 24), max_int(bounds.h - 2, min_h)));
    if (apply_button) apply_button->bounds = bar->apply_rect();
    if (cancel_button) cancel_button->bounds = bar->cancel_rect();
    return form_grid(bar->form_rect(), label_w);
}

void SettingsWindow::draw(const Root<CellBuffer>& buf, Rect r, Rect clip, bool focused, const Root<Theme>& theme) {
    layout_contents();
    sync_dirty_from_fields();
    sync_title();
    Window::draw(buf, r, clip, focused, theme);
}

EventResult SettingsWindow::handle_event(const Event& ev) {
    EventResult result = Window::handle_event(ev);
    sync_dirty_from_fields();
    sync_title();
    return result;
}

void SettingsWindow::set_bounds(Rect r) {
    Window::set_bounds(r);
    layout_contents();
}

bool SettingsWindow::is_dirty() { return dirty->is_dirty(); }
void SettingsWindow::sync_dirty_from_fields() {}
void SettingsWindow::sync_title() { set_title(is_dirty() ? string(dirty_title) : string(clean_title)); }
void SettingsWindow::layout_contents() {}

}  // namespace kestrum
