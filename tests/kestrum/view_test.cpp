#include "kestrum/view.hpp"

#include "tests/support/boot.hpp"
#include "tests/support/golden.hpp"

using namespace kestrum;
using namespace stdlib;

namespace {

// A child that records what reached it and fills its rectangle with its letter.
class Probe : public View {
    NOLT_MANAGED(Probe, View);

public:
    Probe() = default;
    Probe(Rect r, char letter, bool focusable, bool takes_clicks)
        : View(r), letter(letter), focusable(focusable), takes_clicks(takes_clicks) {}
    char letter = '?';
    bool focusable = false, takes_clicks = false, capturing = false;
    int32_t keys = 0, clicks = 0;
    Point last;

    bool wants_focus() override { return focusable; }
    bool captures_mouse() override { return capturing; }
    void draw(const Root<CellBuffer>& buf, Rect b, Rect clip, bool focused, const Root<Theme>& theme) override {
        cellbuf_fill_rect(buf, rect_intersect(b, clip), focused ? letter - 32 : letter, theme->client_style);
    }
    EventResult handle_event(const Event& ev) override {
        if (ev.kind == EventKind::Key) return keys++, event_command(100 + letter);
        clicks++;
        last = point(ev.mouse.x, ev.mouse.y);
        return takes_clicks ? event_handled() : event_ignored();
    }
};

Root<Probe> probe(Root<Group>& group, Rect r, char letter, bool focusable, bool takes_clicks = true) {
    Root<Probe> p = runtime::make<Probe>(r, letter, focusable, takes_clicks);
    group->add(p);
    return p;
}

Event key(KeyCode code) { return event_key(key_event_plain(code)); }
Event press(int32_t x, int32_t y) { return event_mouse(mouse_event(x, y, mouse_left(), true, false, false, false, false)); }

class Views : public testing::Test {
protected:
    Root<Group> group = runtime::make<Group>(rect(10, 5, 20, 10));
};

TEST_F(Views, TabAndShiftTabSkipWhatCannotTakeFocus) {
    EXPECT_EQ(group->handle_event(key(key_tab())), event_ignored());  // no child at all
    probe(group, rect(0, 0, 5, 1), 'l', false);
    EXPECT_TRUE(group->focus == -1 && !group->focus_next());
    Root<Probe> a = probe(group, rect(0, 1, 5, 1), 'a', true), b = probe(group, rect(0, 2, 5, 1), 'b', true);
    probe(group, rect(0, 3, 5, 1), 'c', true)->enabled = false;
    EXPECT_EQ(group->focus, 1);  // the first focusable child; later ones do not take it
    // Tab, Tab wraps past the disabled and the label, Shift-Tab goes back; keys go to the focused child.
    EXPECT_EQ(group->handle_event(key(key_tab())), event_handled());
    for (KeyCode code : {key_tab(), key_tab(), key_backtab()}) group->handle_event(key(code));
    EXPECT_EQ(group->focus, 1);
    EXPECT_TRUE(group->handle_event(key(key_enter())) == event_command(100 + 'a') && a->keys == 1 && b->keys == 0);

    a->visible = false;
    group->ensure_focus();
    EXPECT_EQ(group->focus, 2);
    group->focus = -1;
    EXPECT_TRUE(group->focus_prev() && group->focus == 2);  // with no focus the last child is tried first
}

TEST_F(Views, MousePressesReachTheChildOnTopOrFallThroughWhatIgnoresThem) {
    Root<Probe> under = probe(group, rect(0, 0, 10, 3), 'u', true);
    Root<Probe> over = probe(group, rect(2, 1, 4, 4), 'o', false, false);  // a label-like view
    Root<Probe> side = probe(group, rect(12, 0, 3, 3), 's', true);
    // Inside both: `over` ignores it and cannot take focus, so `under` gets it.
    EXPECT_EQ(group->handle_event(press(13, 7)), event_handled());
    EXPECT_TRUE(over->clicks == 1 && under->clicks == 1 && under->last == point(3, 2));  // relative to the group
    EXPECT_TRUE(group->handle_event(press(23, 6)) == event_handled() && group->focus == 2);
    EXPECT_EQ(group->handle_event(press(40, 40)), event_ignored());

    under->capturing = true;  // a running drag: everything goes to it first, wherever it is
    EXPECT_EQ(group->handle_event(press(40, 40)), event_handled());
    EXPECT_TRUE(under->last == point(30, 35) && side->clicks == 1);
}

TEST_F(Views, ChildrenDrawInOrderClippedWithTheFocusedOneMarked) {
    Root<CellBuffer> buf = cellbuf_create(8, 3);
    cellbuf_fill_rect(buf, rect(0, 0, 8, 3), '.', style_default());
    probe(group, rect(0, 0, 4, 2), 'a', true);
    probe(group, rect(2, 1, 9, 5), 'b', false);
    group->draw_children(buf, rect(1, 0, 6, 3), rect(0, 0, 7, 3), true, theme_classic());
    EXPECT_SCREEN(buf, {".AAAA...", ".AAbbbb.", "...bbbb."});
}

}  // namespace
