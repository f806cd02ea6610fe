#include "kestrum/widgets/scrollbar.hpp"

#include "tests/support/boot.hpp"
#include "tests/support/golden.hpp"

using namespace kestrum;

namespace {

TEST(Scrollbars, PlainTracksAndFrameBarsWithTheirCaps) {
    Root<Theme> theme = theme_classic();
    Style track = theme->client_style, knob = theme->scrollbar_knob_style, dot = style_default();
    Root<CellBuffer> buf = cellbuf_create(8, 6);
    cellbuf_fill_rect(buf, rect(0, 0, 8, 6), '.', dot);
    draw_scrollbar(buf, 0, 0, 5, 20, 5, 15, theme->frame_style);
    draw_frame_scrollbar(buf, 1, 0, 5, 100, 10, 90, theme->box, track, knob);
    draw_frame_scrollbar(buf, 2, 0, 1, 100, 10, 90, theme->box, track, knob);
    draw_frame_scrollbar(buf, 3, 0, 2, 100, 10, 90, theme->box, track, knob);
    draw_frame_scrollbar(buf, 4, 0, 3, 5, 10, 0, theme->box, track, knob);
    draw_scrollbar(buf, 5, 0, 5, 0, 0, 0, theme->frame_style);
    draw_scrollbar(buf, 7, 0, 5, 1000, 10, 5000, theme->frame_style);  // past the end: thumb at the foot
    Root<Scrollbar> view = runtime::make<Scrollbar>(rect(0, 0, 1, 1), 0, 0, 0);
    view->configure(rect(6, 0, 1, 5), 100, 10, 0);
    view->draw(buf, view->bounds, rect(0, 0, 8, 3), false, theme);
    draw_frame_h_scrollbar(buf, 0, 5, 8, 100, 10, 45, theme->box, track, knob);
    EXPECT_SCREEN(buf, {"░┴█┴┴██░", "░ .┬██░░", "░ ..┬█░░", "░█...█.░", "█┬...█.█", "┤  █   ├"});
    test_support::Legend legend = {{'f', theme->frame_style}, {'t', track}, {'k', knob}, {'.', dot}};
    EXPECT_STYLES(buf, legend, {"ftkttfff", "ft.tkfff", "ft..tfff", "fk...f.f", "ft...f.f", "tttktttt"});

    EXPECT_EQ(view->offset_from_y(3), 90);  // the last track cell of a five-cell bar
}

}  // namespace
