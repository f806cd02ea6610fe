// kestrum.widgets.listbox: the list control. A fixed number of text rows with one selected row, a
// scroll offset and a scrollbar in the last column when the rows do not all fit. Choosing a row,
// by Enter or a double click, only raises `activate`; the owner looks at it after every event and
// clears it. The list sends no commands.
#pragma once
#include "kestrum/view.hpp"
#include "kestrum/widgets/scrollbar.hpp"

namespace kestrum {

class ListBox : public View {
    NOLT_MANAGED(ListBox, View);

public:
    // The class's own limit: menus have a max_items of their own in this namespace.
    static constexpr int32_t max_items() { return 256; }

    Member<runtime::Array<Member<Text>>> items;  // capacity slots; the first count are the rows
    int32_t capacity = 1;
    int32_t count = 0;
    int32_t selected = 0;  // -1 after clear_selection
    int32_t offset = 0;    // first row shown
    int32_t rows = 1;      // rows shown; the owner may set it when it lays the list out
    bool activate = false;
    int32_t last_click_index = -1;
    int32_t last_click_sec = 0;
    int32_t last_click_ms = 0;
    bool dragging = false;  // the scrollbar's knob is held
    Member<Scrollbar> scrollbar;

    // capacity limited to 1..max_items(), rows raised to 1.
    static Root<ListBox> create(Rect bounds, int32_t capacity, int32_t rows);

    bool wants_focus() override { return true; }
    bool captures_mouse() override { return dragging; }
    void draw(const Root<CellBuffer>& buf, Rect bounds, Rect clip, bool focused, const Root<Theme>& theme) override;
    EventResult handle_event(const Event& ev) override;

    virtual stdlib::Option<string> item(int32_t index);
    virtual string item_or(int32_t index, const string& fallback);
    // False, with nothing changed, when the list is full.
    virtual bool add_item(const string& text);
    // Empties the list; the old texts stay in their slots, unseen.
    virtual void clear();
    virtual int32_t max_offset();
    virtual void clamp_offset();
    virtual void clear_selection();
    virtual bool has_selection();
    // Limited to the rows, then scrolled into view.
    virtual void set_selected(int32_t index);
    virtual void ensure_visible();
    virtual void scroll_by(int32_t delta);
    virtual bool has_scrollbar();
    virtual void clear_activate();
    // Positions in the coordinates of `bounds`; true if the event was used.
    virtual bool handle_mouse(const Event& ev);
    virtual bool click_at(Rect r, int32_t x, int32_t y);
    // Reads the wall clock and remembers this click for the next one.
    virtual bool is_double_click(int32_t index);
    virtual void set_offset_from_y(Rect r, int32_t y);
    // The offset that puts the middle of the knob at `row` of a track `track` rows high.
    virtual int32_t offset_from_track_row(int32_t row, int32_t track);

private:
    bool on_scrollbar_column(int32_t x);
};

// Whether a click at sec, ms follows one at last_sec, last_ms within 500 milliseconds.
bool clicks_within_double(int32_t last_sec, int32_t last_ms, int32_t sec, int32_t ms);

}  // namespace kestrum
