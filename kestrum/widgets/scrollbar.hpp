// kestrum.widgets.scrollbar: the arithmetic of a scrollbar and two ways to draw one. A plain track
// shows a knob whose length is the shown share of the content; a frame bar takes the place of a
// window edge, with arrow caps at its ends and a one-cell knob between them. All positions are
// whole numbers, every division truncates toward zero, and offsets outside 0..total-visible are
// limited before any arithmetic.
#pragma once
#include "kestrum/view.hpp"

namespace kestrum {

enum class ScrollSide : int32_t { Right = 0, Left = 1 };

class Scrollbar : public View {
    NOLT_MANAGED(Scrollbar, View);

public:
    Scrollbar() = default;
    Scrollbar(Rect bounds, int32_t total, int32_t visible_count, int32_t offset)
        : View(bounds), total(total), visible_count(visible_count), offset(offset) {}

    int32_t total = 0;          // length of the whole content, in lines or columns
    int32_t visible_count = 0;  // how much of it is shown
    int32_t offset = 0;         // the first shown line or column

    // A plain track down the rectangle's left column, over its whole height, in the frame style.
    void draw(const Root<CellBuffer>& buf, Rect bounds, Rect clip, bool focused, const Root<Theme>& theme) override;
    virtual void configure(Rect bounds, int32_t total, int32_t visible_count, int32_t offset);
    // A frame bar with end caps down the left column of `r`, showing the view's numbers.
    virtual void draw_frame(const Root<CellBuffer>& buf, Rect r, const BoxGlyphs& box, const Style& track_style,
                            const Style& knob_style);
    // The offset for a click at row y of the view.
    virtual int32_t offset_from_y(int32_t y);
};

// The knob of a plain track of `track_h` cells: its first row and its length.
void scrollbar_thumb(int32_t total, int32_t visible_count, int32_t offset, int32_t track_h, int32_t& start,
                     int32_t& size);
// The place of a one-cell knob in a frame track of `track_len` cells; the last offset puts it on
// the last cell.
int32_t scrollbar_knob_start(int32_t total, int32_t visible_count, int32_t offset, int32_t track_len);
// The inverse of the knob: the offset for a click at row y of a bar `track_h` cells long, end caps
// included when it has three cells or more. The first track cell gives 0, the last the largest.
int32_t scrollbar_offset_from_y(int32_t total, int32_t visible_count, int32_t track_h, int32_t y);
int32_t scrollbar_offset_from_x(int32_t total, int32_t visible_count, int32_t track_w, int32_t x);

void draw_scrollbar(const Root<CellBuffer>& buf, int32_t x, int32_t y, int32_t h, int32_t total,
                    int32_t visible_count, int32_t offset, const Style& style);
// The frame bars draw only inside `clip`, the whole buffer by default.
void draw_frame_scrollbar(const Root<CellBuffer>& buf, int32_t x, int32_t y, int32_t h, int32_t total,
                          int32_t visible_count, int32_t offset, const BoxGlyphs& box, const Style& track_style,
                          const Style& knob_style, Rect clip = rect(0, 0, INT32_MAX, INT32_MAX));
void draw_frame_h_scrollbar(const Root<CellBuffer>& buf, int32_t x, int32_t y, int32_t w, int32_t total,
                            int32_t visible_count, int32_t offset, const BoxGlyphs& box, const Style& track_style,
                            const Style& knob_style, Rect clip = rect(0, 0, INT32_MAX, INT32_MAX));

}  // namespace kestrum
