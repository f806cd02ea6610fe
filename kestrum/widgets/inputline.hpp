// kestrum.widgets.inputline: the one-line text field. Printable ASCII from the keyboard, a caret
// counted in bytes, a length limit and an optional mask; no selection and no scrolling. The
// owner reads `text` directly when it needs it.
#pragma once
#include "kestrum/view.hpp"

namespace kestrum {

class InputLine : public View {
    NOLT_MANAGED(InputLine, View);

public:
    Member<Text> text;    // never longer than max_len bytes
    int32_t caret = 0;    // in bytes, 0 to the text's length
    int32_t max_len = 0;  // in bytes
    int32_t mask = 0;     // drawn for every byte of the text; 0 for none

    // The text cut to `max_len`, the caret at its end.
    static Root<InputLine> create(Rect bounds, int32_t max_len, const string& text);

    bool wants_focus() override { return true; }
    void draw(const Root<CellBuffer>& buf, Rect bounds, Rect clip, bool focused, const Root<Theme>& theme) override;
    EventResult handle_event(const Event& ev) override;
    virtual void set_mask(int32_t codepoint);
    // Keeps the caret, lowered to the new length.
    virtual void set_text(const string& text);
    virtual void set_caret(int32_t n);
    // Line feed, carriage return and tab become blanks; other bytes outside 32..126 are dropped.
    virtual void paste(const string& text);
};

string truncate_to_max(const string& text, int32_t max);
int32_t clamp_caret(const string& text, int32_t n);
// `text` with the character put in at `pos`, or `text` itself when it is full or the character
// is not printable ASCII.
string insert_char(const string& text, int32_t pos, int32_t codepoint, int32_t max);
string delete_before(const string& text, int32_t pos);
string delete_at(const string& text, int32_t pos);

}  // namespace kestrum
