// kestrum.widgets.formgrid: the layout of a label-and-field dialog, row by row. No view and no
// drawing: a window makes one from its current content rectangle whenever it lays out its
// controls, and assigns the rectangles it gives to their bounds.
//
// Setters store what they are given; every computed value guards its inputs where it uses them,
// so odd settings (negative gaps, a content narrower than the labels) still give usable rectangles.
#pragma once
#include "kestrum/cell.hpp"

namespace kestrum {

class FormGrid {
    NOLT_MANAGED(FormGrid, void);

public:
    FormGrid() = default;
    FormGrid(Rect content, int32_t label_w, int32_t col_gap, int32_t row_gap, int32_t row_h, int32_t pad_x,
             int32_t pad_y)
        : content(content), label_w(label_w), col_gap(col_gap), row_gap(row_gap), row_h(row_h), pad_x(pad_x),
          pad_y(pad_y) {}

    Rect content;         // the area to lay out
    int32_t label_w = 0;  // width of the label column
    int32_t col_gap = 1;  // between label and field
    int32_t row_gap = 1;  // between rows
    int32_t row_h = 1;
    int32_t pad_x = 0;  // left and right
    int32_t pad_y = 0;  // above and below

    static Root<FormGrid> create(Rect content, int32_t label_w, int32_t col_gap, int32_t row_gap, int32_t row_h,
                                 int32_t pad_x, int32_t pad_y);

    virtual void set_content(Rect r);
    virtual void set_label_w(int32_t w);
    virtual void set_gaps(int32_t col, int32_t row);
    virtual void set_row_h(int32_t h);
    virtual void set_pad(int32_t x, int32_t y);
    virtual int32_t inner_x();
    virtual int32_t inner_y();
    // At least 1.
    virtual int32_t inner_w();
    // A negative row counts as 0; a row and its gap advance at least one line.
    virtual int32_t row_y(int32_t row);
    // The label column, cut to inner_w.
    virtual Rect label_rect(int32_t row);
    virtual int32_t field_w();
    virtual int32_t field_x();
    virtual Rect field_rect(int32_t row);
    virtual Rect field_rect_h(int32_t row, int32_t h);
    // The whole inner width, for a control without a label.
    virtual Rect full_rect(int32_t row);
    virtual Rect full_rect_h(int32_t row, int32_t h);
    // Height of `rows` rows with the padding around them.
    virtual int32_t preferred_h(int32_t rows);
};

// Gaps of 1, rows 1 high, no padding: rows lie on every second line.
Root<FormGrid> form_grid(Rect content, int32_t label_w);

}  // namespace kestrum
