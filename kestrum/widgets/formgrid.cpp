#include "kestrum/widgets/formgrid.hpp"

namespace kestrum {

Root<FormGrid> FormGrid::create(Rect content, int32_t label_w, int32_t col_gap, int32_t row_gap, int32_t row_h,
                                int32_t pad_x, int32_t pad_y) {
    return runtime::make<FormGrid>(content, label_w, col_gap, row_gap, row_h, pad_x, pad_y);
}

Root<FormGrid> form_grid(Rect content, int32_t label_w) { return FormGrid::create(content, label_w, 1, 1, 1, 0, 0); }

void FormGrid::set_content(Rect r) { content = r; }
void FormGrid::set_label_w(int32_t w) { label_w = w; }
void FormGrid::set_gaps(int32_t col, int32_t row) { col_gap = col, row_gap = row; }
void FormGrid::set_row_h(int32_t h) { row_h = h; }
void FormGrid::set_pad(int32_t x, int32_t y) { pad_x = x, pad_y = y; }

int32_t FormGrid::inner_x() { return content.x + pad_x; }
int32_t FormGrid::inner_y() { return content.y + pad_y; }
int32_t FormGrid::inner_w() { return max_int(content.w - 2 * pad_x, 1); }

int32_t FormGrid::row_y(int32_t row) { return inner_y() + max_int(row, 0) * max_int(row_h + row_gap, 1); }

Rect FormGrid::label_rect(int32_t row) {
    return rect(inner_x(), row_y(row), min_int(max_int(label_w, 0), inner_w()), max_int(row_h, 1));
}

int32_t FormGrid::field_x() { return inner_x() + max_int(label_w, 0) + max_int(col_gap, 0); }
int32_t FormGrid::field_w() { return max_int(inner_w() - max_int(label_w, 0) - max_int(col_gap, 0), 1); }

Rect FormGrid::field_rect(int32_t row) { return field_rect_h(row, row_h); }
Rect FormGrid::field_rect_h(int32_t row, int32_t h) { return rect(field_x(), row_y(row), field_w(), max_int(h, 1)); }

Rect FormGrid::full_rect(int32_t row) { return full_rect_h(row, row_h); }
Rect FormGrid::full_rect_h(int32_t row, int32_t h) { return rect(inner_x(), row_y(row), inner_w(), max_int(h, 1)); }

int32_t FormGrid::preferred_h(int32_t rows) {
    if (rows <= 0) return 2 * pad_y;
    return 2 * pad_y + rows * max_int(row_h, 1) + (rows - 1) * max_int(row_gap, 0);
}

}  // namespace kestrum
