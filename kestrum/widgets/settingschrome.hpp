// kestrum.widgets.settingschrome: what settings windows share. ApplyCancelBar lays out the two
// buttons at the bottom right of a client area and the form above them; SettingsDirty is the flag
// of changes not yet applied; the question a dirty window asks before it closes; and
// SettingsWindow, the window that puts these together around a form.
#pragma once
#include "kestrum/widgets/button.hpp"
#include "kestrum/widgets/formgrid.hpp"
#include "kestrum/widgets/messagebox.hpp"

namespace kestrum {

// A calculator like FormGrid: setters store, the rectangles guard their inputs.
class ApplyCancelBar {
    NOLT_MANAGED(ApplyCancelBar, void);

public:
    ApplyCancelBar() = default;
    ApplyCancelBar(Rect content, int32_t btn_w, int32_t gap, int32_t pad_x, int32_t pad_y, int32_t gap_above)
        : content(content), btn_w(btn_w), gap(gap), pad_x(pad_x), pad_y(pad_y), gap_above(gap_above) {}

    Rect content;  // the window's client area
    int32_t btn_w = 10;
    int32_t gap = 1;  // between the two buttons
    int32_t pad_x = 0;
    int32_t pad_y = 0;
    int32_t gap_above = 1;  // free rows between the form and the buttons

    static Root<ApplyCancelBar> create(Rect content, int32_t btn_w, int32_t gap, int32_t pad_x, int32_t pad_y,
                                       int32_t gap_above);

    virtual void set_content(Rect r);
    virtual void set_btn_w(int32_t w);
    virtual void set_gap(int32_t g);
    virtual void set_pad(int32_t x, int32_t y);
    virtual void set_gap_above(int32_t rows);
    virtual int32_t inner_x();
    virtual int32_t inner_y();
    virtual int32_t inner_w();
    virtual int32_t inner_h();
    virtual int32_t button_h();
    // The rows the buttons take with the free rows above them.
    virtual int32_t chrome_h();
    // The bottom row, never above the top.
    virtual int32_t button_y();
    // At the right edge; on a narrow area both buttons are pushed to the left edge.
    virtual Rect cancel_rect();
    virtual Rect apply_rect();
    // The area above the chrome, at least one row.
    virtual Rect form_rect();
};

Root<ApplyCancelBar> apply_cancel_bar(Rect content);

class SettingsDirty {
    NOLT_MANAGED(SettingsDirty, void);

public:
    bool dirty = false;

    virtual void mark();
    virtual void clear();
    virtual bool is_dirty();
};

Root<SettingsDirty> settings_dirty();

// The closing question of a dirty settings window.
string discard_title();
string discard_text();
MessageBoxKind discard_kind();
bool discard_accepted(int32_t command);
// A clean window closes; a dirty one only on a yes.
bool may_close(bool dirty, int32_t answer);

// A closable window with a form above Apply and Cancel. Its dirty flag follows the fields on every
// event and draw, and the title carries " *" while it is set. A subclass adds its controls, then
// the two buttons with add_apply_cancel, and says in sync_dirty_from_fields what counts as a change.
class SettingsWindow : public Window {
    NOLT_MANAGED(SettingsWindow, Window);

public:
    SettingsWindow() = default;
    SettingsWindow(Rect bounds, const string& title) : Window(bounds, title) {}

    Member<Button> apply_button;
    Member<Button> cancel_button;
    Member<SettingsDirty> dirty;
    Member<Text> clean_title;  // the title, and with " *" behind it
    Member<Text> dirty_title;

    // Lays out, brings the flag and the title up to date, then draws as a window.
    void draw(const Root<CellBuffer>& buf, Rect bounds, Rect clip, bool focused, const Root<Theme>& theme) override;
    // The window's handling, then the flag and the title follow the fields.
    EventResult handle_event(const Event& ev) override;
    void set_bounds(Rect r) override;

    virtual bool is_dirty();
    virtual void sync_dirty_from_fields();
    virtual void sync_title();
    virtual void layout_contents();

protected:
    // The flag, the two titles from the one given at construction, and a close button; for the
    // subclass's create.
    void init_settings();
    void add_apply_cancel(Rect apply, Rect cancel, int32_t apply_command);
    // Places the buttons for a client area of at least 24 wide and `min_h` high, and gives the
    // grid of the form above them.
    Root<FormGrid> lay_out_chrome(int32_t min_h, int32_t label_w);
};

}  // namespace kestrum
