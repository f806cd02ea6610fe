// kestrum.widgets.label: a line or a wrapped paragraph of text in the client style. A label
// cannot take the focus and ignores every event. Also the drawing steps that the small controls
// share.
#pragma once
#include "kestrum/view.hpp"

namespace kestrum {

class Label : public View {
    NOLT_MANAGED(Label, View);

public:
    Label() = default;
    Label(Rect bounds, const string& text) : View(bounds) { this->text = text; }

    Member<Text> text;
    bool wrap = false;  // words wrapped to the width, one line per row; else one line, cut

    void draw(const Root<CellBuffer>& buf, Rect bounds, Rect clip, bool focused, const Root<Theme>& theme) override;
    virtual void set_text(const string& text);
    virtual void set_wrap(bool wrap);

private:
    // The wrapped lines of `wrapped_text` at `wrapped_width`, made again only when either changes.
    Member<runtime::Array<Member<Text>>> lines;
    Member<Text> wrapped_text;
    int32_t wrapped_width = 0;
};

// The part of `r` inside `clip`, filled with blanks in `style`; empty when there is none.
Rect fill_control(const Root<CellBuffer>& buf, Rect r, Rect clip, const Style& style);
// Draws `text` from column x, confined to `clip`, and gives the column behind it, so that a text
// drawn in pieces lands where it would have landed whole.
int32_t draw_text_piece(const Root<CellBuffer>& buf, int32_t x, int32_t y, const string& text, const Style& style,
                        Rect clip);

}  // namespace kestrum
