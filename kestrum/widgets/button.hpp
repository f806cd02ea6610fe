// kestrum.widgets.button: a push button drawn as "[ label ]" at the left of its rectangle. Enter,
// Space or a left press answers with its command at once; the owner acts on the number.
#pragma once
#include "kestrum/view.hpp"

namespace kestrum {

class Button : public View {
    NOLT_MANAGED(Button, View);

public:
    Button() = default;
    Button(Rect bounds, const string& label, int32_t command) : View(bounds), command(command) {
        this->label = label;
    }

    Member<Text> label;
    int32_t command = CMD_NONE;

    bool wants_focus() override { return true; }
    void draw(const Root<CellBuffer>& buf, Rect bounds, Rect clip, bool focused, const Root<Theme>& theme) override;
    EventResult handle_event(const Event& ev) override;
};

// An enabled control given an activation key or a left press: what buttons and checkboxes act on.
bool control_activated(const View& view, const Event& ev);

}  // namespace kestrum
