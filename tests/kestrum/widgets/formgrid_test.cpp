#include "kestrum/widgets/formgrid.hpp"

#include <gtest/gtest.h>

#include "tests/support/boot.hpp"

using namespace kestrum;

namespace {

TEST(FormGrid, RowsEverySecondLineAndGuardedRectangles) {
    test_support::boot();
    Root<FormGrid> grid = form_grid(rect(2, 3, 40, 9), 12);
    EXPECT_EQ(grid->full_rect_h(-4, 0), rect(2, 3, 40, 1));  // a negative row is row 0, a height at least 1
    EXPECT_EQ(grid->preferred_h(3), 5);
    grid->set_pad(3, 1);
    EXPECT_EQ(grid->field_rect_h(0, 2), rect(18, 4, 21, 2));
    EXPECT_EQ(grid->preferred_h(0), 2);
    // Narrower than the labels: the label is cut, the field keeps width 1 past the right edge.
    grid = form_grid(rect(0, 0, 8, 4), 12);
    EXPECT_EQ(grid->label_rect(0), rect(0, 0, 8, 1));
    EXPECT_EQ(grid->field_rect(0), rect(13, 0, 1, 1));
    // No height and no gap still step one line; negative gaps and labels act as 0 across.
    grid->set_row_h(0);
    grid->set_gaps(-3, 0);
    grid->set_label_w(-5);
    EXPECT_EQ(grid->field_rect(3), rect(0, 3, 8, 1));
    EXPECT_EQ(grid->label_rect(1), rect(0, 1, 0, 1));
    grid->set_gaps(0, -4);
    grid->set_row_h(2);
    EXPECT_EQ(grid->row_y(5), 5);  // the step 2 - 4 is raised to 1
    EXPECT_EQ(grid->preferred_h(3), 6);
}

}  // namespace
