// kestrum.widgets.checkbox: a boolean drawn as "[X] label" or "[ ] label". Enter, Space or a left
// press turns it over.
#pragma once
#include "kestrum/view.hpp"

namespace kestrum {

class Checkbox : public View {
    NOLT_MANAGED(Checkbox, View);

public:
    Checkbox() = default;
    Checkbox(Rect bounds, const string& label, bool checked) : View(bounds), checked(checked) { this->label = label; }

    Member<Text> label;
    bool checked = false;

    bool wants_focus() override { return true; }
    void draw(const Root<CellBuffer>& buf, Rect bounds, Rect clip, bool focused, const Root<Theme>& theme) override;
    EventResult handle_event(const Event& ev) override;
    virtual void set_checked(bool checked);
    virtual void set_label(const string& label);
    virtual void toggle();
};

}  // namespace kestrum
