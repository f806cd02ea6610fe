#include "kestrum/widgets/menubar.hpp"

#include <tuple>

#include "tests/support/boot.hpp"
#include "tests/support/golden.hpp"

using namespace kestrum;
using namespace stdlib;

namespace {

constexpr int32_t SAVE = 100, SAVE_AS = 102;

KeyEvent ctrl(int32_t ch) { return key_event_ctrl_letter(ch); }
Event key(KeyCode code) { return event_key(key_event_plain(code)); }
Event press(int32_t x, int32_t y, MouseButton button = MouseButton::Left, bool motion = false) {
    return event_mouse(mouse_event(x, y, button, true, motion, false, false, false));
}

// Three menus, their accelerators bound through the rows. A row without a label is a separator;
// one with the empty key has no accelerator.
Root<MenuBar> three_menus(const Root<CommandTable>& table) {
    const std::pair<const char*, int32_t> menus[] = {{"File", 10}, {"Edit", 4}, {"Help", 2}};
    const KeyEvent none = empty_key(), alt_q = key_event(key_char('Q'), false, true, false);
    const std::tuple<int32_t, const char*, int32_t, KeyEvent> rows[] = {
        {0, "New", 104, ctrl('N')},     {0, "Open…", 103, ctrl('O')}, {0, "Save", SAVE, ctrl('S')},
        {0, "Save As…", SAVE_AS, none}, {0, nullptr, 0, none},        {0, "Quit", CMD_QUIT, alt_q},
        {1, "Cut", 106, ctrl('X')},     {1, "Copy", 105, ctrl('C')},  {2, "About", 101, none}};
    Root<MenuBar> bar = MenuBar::create(4);
    for (auto [title, capacity] : menus) bar->add(menu_create(from_c(title), capacity));
    for (auto [menu, label, command, key] : rows) {
        menu_add(menubar_get(bar, menu), !label          ? menu_item_sep()
                                         : key == none ? menu_item(from_c(label), command)
                                                       : menu_item_accel(from_c(label), command, key));
    }
    bar->register_accels(table);
    bar->set_right_text("app 1.0"_t);
    return bar;
}

// Feeds the keys in order; the answer to the last.
EventResult send(const Root<MenuBar>& bar, std::initializer_list<KeyCode> keys) {
    EventResult result;
    for (KeyCode code : keys) result = bar->handle_event(key(code));
    return result;
}

Root<CellBuffer> draw_bar(const Root<MenuBar>& bar, int32_t w, int32_t h, const Root<Theme>& theme) {
    Root<CellBuffer> buf = cellbuf_create(w, h);
    bar->draw(buf, rect(0, 0, w, 1), rect(0, 0, w, h), false, theme);
    return buf;
}

class Menus : public testing::Test {
protected:
    void SetUp() override {
        table = commands_create(48);
        bar = three_menus(table);
        Root<Theme> theme = theme_classic();  // the palette of theme_ascii too
        Style hot = theme->client_style;
        hot.bold = true;
        legend = {{'b', theme->menubar_style},     {'o', theme->menubar_open_style}, {'f', theme->popup_frame_style},
                  {'c', theme->client_style},      {'s', theme->selected_style},     {'i', theme->inactive_style},
                  {'h', hot}};
    }
    Root<CommandTable> table;
    Root<MenuBar> bar;
    test_support::Legend legend;
};

// A sub-menu open beside its row, a context menu, hot letters and ASCII frames.
TEST_F(Menus, SubMenusAndContextMenusInAsciiFrames) {
    Root<MenuBar> tools = MenuBar::create(2);
    Root<Menu> menu = menu_create("Tools"_t, 4);
    Root<MenuItem> recent = menu_item_sub("&Recent"_t, 2);
    menu_item_add_sub(recent, sub_item_accel("a.nolt"_t, 400, ctrl('1')));
    menu_item_add_sub(recent, sub_item("b.nolt"_t, 0));
    EXPECT_FALSE(menu_item_add_sub(recent, sub_item("c.nolt"_t, 402)));
    Root<MenuItem> rename = menu_item_accel("Re&name"_t, 300, key_event_plain(key_f(2)));
    for (const Root<MenuItem>& item : {recent, menu_item_sep(), rename, menu_item("Delete"_t, 301)})
        menu_add(menu, item);
    tools->add(menu);
    commands_set(table, 301, false);
    tools->register_accels(table);
    EXPECT_EQ(commands_match_key(table, ctrl('1')), 400);
    Root<PopupMenu> popup = popup_create(4);
    Root<MenuItem> copy = menu_item_accel("&Copy"_t, 105, ctrl('C'));
    for (const Root<MenuItem>& item : {copy, menu_item_sep(), menu_item("Paste"_t, 107)}) popup_add(popup, item);
    popup_open_at(popup, 18, 6);

    tools->handle_event(key(key_f(10)));
    tools->handle_event(key(key_arrow_right()));  // the row opens its sub-menu
    Root<Theme> theme = theme_ascii();
    Root<CellBuffer> buf = draw_bar(tools, 34, 11, theme);
    draw_popup_menu(popup, buf, theme, table, true);
    EXPECT_SCREEN(buf, {"  Tools                           ",
                        " +--------------+                 ",
                        " | Recent      ▶+--------------+  ",
                        " |--------------| a.nolt    ^1 |  ",
                        " | Rename    F2 | b.nolt       |  ",
                        " | Delete       +--------------+  ",
                        " +--------------+ +------------+  ",
                        "                  | Copy    ^C |  ",
                        "                  |------------|  ",
                        "                  | Paste      |  ",
                        "                  +------------+  "});
    EXPECT_STYLES(buf, legend, {"booooooobbbbbbbbbbbbbbbbbbbbbbbbbb", "?ffffffffffffffff?????????????????",
                                "?fssssssssssssssffffffffffffffff??", "?ffffffffffffffffssssssssssssssf??",
                                "?fccchccccccccccfiiiiiiiiiiiiiif??", "?fiiiiiiiiiiiiiiffffffffffffffff??",
                                "?ffffffffffffffff?ffffffffffffff??", "??????????????????fssssssssssssf??",
                                "??????????????????ffffffffffffff??", "??????????????????fccccccccccccf??",
                                "??????????????????ffffffffffffff??"});

    // Keys in the sub-menu: a disabled row stays, an enabled one is chosen.
    EXPECT_TRUE(send(tools, {key_arrow_down(), key_enter()}) == event_handled() && tools->sub_idx == 1);
    EXPECT_EQ(send(tools, {key_arrow_up(), key_enter()}), event_command(400));
    tools->clear_command();  // as the desktop does once it has the command
    send(tools, {key_f(10), key_arrow_right(), key_arrow_left()});  // Left closes the sub-menu only
    EXPECT_TRUE(tools->is_open() && !tools->sub_open);
    // A click on the row opens its sub-menu, one on the sub-menu's frame does nothing, one on its row chooses.
    EXPECT_TRUE(tools->handle_event(press(3, 2)) == event_handled() && tools->sub_open);
    EXPECT_EQ(tools->handle_event(press(20, 2)), event_handled());
    EXPECT_EQ(tools->handle_event(press(20, 3)), event_command(400));
    EXPECT_FALSE(tools->is_open());

    // The popup: separators skipped, keys and clicks choose, a click outside or a right click closes.
    auto on_popup = [&](const Event& ev) { return handle_popup_menu(popup, ev, table, true); };
    EXPECT_TRUE(on_popup(key(key_arrow_down())) && popup->selected == 2);
    EXPECT_TRUE(on_popup(press(20, 8)) && popup->open && popup->last_command == 0);  // the separator
    EXPECT_FALSE(on_popup(press(20, 9, MouseButton::Middle)) || on_popup(press(20, 9, MouseButton::Left, true)));
    EXPECT_TRUE(on_popup(press(20, 9)) && popup->last_command == 107);
    for (const Event& closing : {press(0, 0), press(20, 9, MouseButton::Right), key(key_escape())}) {
        popup_open_at(popup, 18, 6);
        EXPECT_TRUE(on_popup(closing));
        EXPECT_FALSE(popup->open);
    }
}

TEST_F(Menus, KeysOpenMoveWrapAndChoose) {
    auto at = [&] { return point(bar->open_idx, bar->item_idx); };
    EXPECT_EQ(send(bar, {key_arrow_down()}), event_ignored());  // closed: only F10 is taken
    EXPECT_EQ(send(bar, {key_f(10)}), event_handled());
    // Each key and where it leaves the bar: open menu, selected row. Wrapping, separators skipped.
    const std::pair<KeyCode, Point> steps[] = {{key_arrow_up(), {0, 5}},    {key_arrow_up(), {0, 3}},
                                               {key_arrow_down(), {0, 5}},  {key_arrow_down(), {0, 0}},
                                               {key_arrow_left(), {2, 0}},  {key_arrow_right(), {0, 0}},
                                               {key_arrow_left(), {2, 0}},  {key_arrow_left(), {1, 0}}};
    for (auto [code, where] : steps) EXPECT_EQ((send(bar, {code}), at()), where);
    EXPECT_EQ(bar->handle_event(event_key(ctrl('S'))), event_handled());  // swallowed while open
    commands_set(table, SAVE_AS, false);
    // F10 does nothing while open; Right twice wraps from Edit to File, then up to Save As.
    EXPECT_EQ(send(bar, {key_f(10), key_arrow_right(), key_arrow_right(), key_arrow_up(), key_arrow_up(), key_enter()}),
              event_handled());
    EXPECT_EQ(at(), point(0, 3));  // a disabled row does nothing
    EXPECT_EQ(send(bar, {key_arrow_up(), key_enter()}), event_command(SAVE));
    EXPECT_TRUE(at() == point(-1, 0) && bar->last_command == SAVE);
    EXPECT_EQ(send(bar, {key_f(10), key_escape()}), event_command(SAVE));  // until clear_command
    bar->clear_command();
    EXPECT_TRUE(send(bar, {key_f(10), key_escape()}) == event_handled() && !bar->is_open());

    Root<MenuBar> other = MenuBar::create(1);
    Root<Menu> menu = menu_create("X"_t, 2);
    for (const Root<MenuItem>& item : {menu_item_sep(), menu_item("One"_t, 1)}) menu_add(menu, item);
    other->add(menu);
    EXPECT_EQ((send(other, {key_f(10)}), other->item_idx), 1);  // opens past a leading separator
}

TEST_F(Menus, ClicksOpenSwitchChooseAndClose) {
    draw_bar(bar, 30, 12, theme_classic());  // lays the titles out
    EXPECT_EQ(bar->handle_event(press(24, 0)), event_ignored());  // the right text, with the bar closed
    auto open_after = [&](int32_t x, int32_t y) { return bar->handle_event(press(x, y)), bar->open_idx; };
    EXPECT_EQ(open_after(3, 0), 0);
    EXPECT_EQ(open_after(8, 0), 1);   // another title switches
    EXPECT_EQ(open_after(8, 0), -1);  // the open title closes
    EXPECT_EQ((open_after(3, 0), bar->handle_event(press(3, 4))), event_command(SAVE));
    EXPECT_FALSE(bar->is_open());
    bar->clear_command();
    bar->handle_event(press(3, 0));
    // The separator, the frame, a drag and the right button leave it open.
    for (const Event& stays : {press(3, 6), press(3, 1), press(3, 3, mouse_left(), true), press(3, 3, mouse_right())})
        bar->handle_event(stays);
    EXPECT_TRUE(bar->is_open());
    EXPECT_EQ(bar->item_idx, 4);
    EXPECT_EQ(bar->handle_event(press(40, 10)), event_handled());
    EXPECT_FALSE(bar->is_open());  // a click elsewhere closes and is not passed on

    bar->set_right_text("a long right text"_t);  // no room left: no title
    EXPECT_SCREEN(draw_bar(bar, 12, 1, theme_classic()), {" a long righ"});
}

TEST_F(Menus, HotLabelsAndAccelTexts) {
    const std::tuple<const char*, const char*, int32_t> labels[] = {
        {"Save &As", "Save As", 5}, {"A&&B", "A&B", -1}, {"Tail&", "Tail&", -1}, {"€&x&y", "€xy", 1}};
    for (auto [label, shown, hot] : labels) {
        Root<MenuItem> item = menu_item(from_c(label), 1);
        EXPECT_TRUE(equals(item->label, from_c(shown)) && item->hot_index == hot) << label;
    }
    const std::pair<KeyEvent, const char*> accels[] = {
        {ctrl('s'), "^S"}, {key_event(key_char('q'), false, true, false), "A-Q"}, {key_event_plain(key_f(12)), "F12"},
        {key_event(key_tab(), false, false, true), "S-Tab"}, {key_event(key_char('a'), false, false, true), "A"},
        {key_event(key_enter(), true, false, false), "^Enter"}, {key_event_plain(key_escape()), "Esc"},
        {key_event_char('7'), "7"}, {ctrl('/'), "^?"}, {key_event(key_arrow_up(), false, true, false), "A-"}};
    for (auto [accel, text] : accels) EXPECT_STREQ(c_str(format_accel(accel)), text);
}

}  // namespace
