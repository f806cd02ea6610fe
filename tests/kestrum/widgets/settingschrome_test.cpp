#include "kestrum/widgets/settingschrome.hpp"

#include <gtest/gtest.h>

#include "tests/support/boot.hpp"

using namespace kestrum;

namespace {

TEST(ApplyCancelBar, PaddedGapsAndNarrowAreas) {
    test_support::boot();
    Root<ApplyCancelBar> bar = apply_cancel_bar(rect(0, 0, 24, 10));
    bar->set_pad(2, 1);
    bar->set_gap(-2);
    EXPECT_EQ(bar->apply_rect(), rect(2, 8, 10, 1));  // a negative gap acts as none
    EXPECT_EQ(bar->form_rect(), rect(2, 1, 20, 6));
    // One row high: form and buttons overlap; too narrow: both buttons at the left edge.
    bar = apply_cancel_bar(rect(5, 5, 12, 1));
    EXPECT_EQ(bar->form_rect(), rect(5, 5, 12, 1));
    EXPECT_EQ(bar->cancel_rect(), rect(7, 5, 10, 1));
    EXPECT_EQ(bar->apply_rect(), rect(5, 5, 10, 1));
    bar->set_btn_w(0);
    bar->set_gap_above(-1);
    EXPECT_EQ(bar->cancel_rect(), rect(16, 5, 1, 1));
    EXPECT_EQ(bar->chrome_h(), 1);
}

}  // namespace
