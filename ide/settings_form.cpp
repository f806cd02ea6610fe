#include "ide/settings_form.hpp"

namespace ide {

using kestrum::rect;

void open_settings_modal(const Root<Application>& app, const Root<kestrum::SettingsWindow>& win) {
    kestrum::Rect area = app->desktop->content_rect();
    win->set_bounds(rect(area.x + 2, area.y + 1, kestrum::min_int(win->bounds.w, area.w),
                         kestrum::min_int(win->bounds.h, area.h)));
    win->layout_contents();
    app->modal_push(win);
}

bool next_settings_apply(const Root<Application>& app, const Root<kestrum::SettingsWindow>& win,
                         int32_t apply_command) {
    while (app->running && app->is_open && app->has_modal()) {
        int32_t cmd = app->modal_poll();
        if (cmd == kestrum::CMD_NONE) continue;
        if (cmd == apply_command) return true;
        win->sync_dirty_from_fields();
        if (win->is_dirty() &&
            !kestrum::may_close(true, app->message_box(kestrum::discard_title(), kestrum::discard_text(),
                                                       kestrum::discard_kind())))
            continue;
        app->modal_pop();
        if (cmd == kestrum::CMD_QUIT) app->quit();
        return false;
    }
    return false;
}

}  // namespace ide
