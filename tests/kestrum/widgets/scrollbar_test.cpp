#include "kestrum/widgets/scrollbar.hpp"

#include "tests/support/boot.hpp"
#include "tests/support/golden.hpp"

using namespace kestrum;

namespace {

constexpr int32_t BIG = INT32_MAX;

TEST(Scrollbars, KnobArithmeticAtTheEdges) {
    struct Thumb { int32_t total, visible, offset, track, start, size; };
    const Thumb thumbs[] = {
        {0, 0, 0, 10, 0, 10},   {10, 10, 5, 10, 0, 10},  {10, 0, 0, 4, 0, 4},   {1000, 10, 0, 10, 0, 1},
        {1000, 10, 5000, 10, 9, 1}, {1000, 10, -5, 10, 0, 1}, {100, 50, 25, 10, 2, 5},
        {BIG, 100, BIG / 2, 20, 9, 1}, {100, 10, 50, -3, 0, 0},
    };
    for (const Thumb& t : thumbs) {
        int32_t start = -1, size = -1;
        scrollbar_thumb(t.total, t.visible, t.offset, t.track, start, size);
        EXPECT_EQ(std::make_pair(start, size), std::make_pair(t.start, t.size)) << t.total << "@" << t.offset;
    }
    struct Pos { int32_t total, visible, at, len, result; };
    const Pos knobs[] = {{100, 10, 90, 5, 4}, {100, 10, 45, 5, 2}, {100, 10, 999, 5, 4}, {10, 10, 3, 5, 0},
                         {100, 10, 90, 1, 0}, {BIG, 1, BIG, 7, 6}};
    for (const Pos& k : knobs) EXPECT_EQ(scrollbar_knob_start(k.total, k.visible, k.at, k.len), k.result) << k.at;
    // Clicks: the arrows and the first and last track cells give the ends; a bar of 3 has no room.
    const Pos clicks[] = {{100, 10, 0, 10, 0},  {100, 10, 1, 10, 0},  {100, 10, 4, 10, 38}, {100, 10, 8, 10, 90},
                          {100, 10, 9, 10, 90}, {100, 10, 1, 3, 0},   {100, 10, 1, 2, 90},  {10, 10, 5, 10, 0},
                          {0, 0, 5, 10, 0},     {BIG, 1, 8, 10, BIG - 1}};
    for (const Pos& c : clicks) EXPECT_EQ(scrollbar_offset_from_y(c.total, c.visible, c.len, c.at), c.result) << c.at;
}

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
    Root<Scrollbar> view = runtime::make<Scrollbar>(rect(0, 0, 1, 1), 0, 0, 0);
    view->configure(rect(6, 0, 1, 5), 100, 10, 0);
    view->draw(buf, view->bounds, rect(0, 0, 8, 3), false, theme);
    draw_frame_h_scrollbar(buf, 0, 5, 8, 100, 10, 45, theme->box, track, knob);
    EXPECT_SCREEN(buf, {"░┴█┴┴██.", "░ .┬██░.", "░ ..┬█░.", "░█...█..", "█┬...█..", "┤  █   ├"});
    test_support::Legend legend = {{'f', theme->frame_style}, {'t', track}, {'k', knob}, {'.', dot}};
    EXPECT_STYLES(buf, legend, {"ftkttff.", "ft.tkff.", "ft..tff.", "fk...f..", "ft...f..", "tttktttt"});

    EXPECT_EQ(view->offset_from_y(3), 90);  // the last track cell of a five-cell bar
}

}  // namespace
