#include "kestrum/widgets/menubar.hpp"

#include <stdio.h>

namespace kestrum {

using runtime::Member;
using runtime::Root;
using stdlib::string;

namespace {

// Rows narrower than this are widened: the least width of a pull-down's inner part.
constexpr int32_t MIN_ROW_WIDTH = 12;

// Row i of a list in use, or null.
template <class E>
Root<E> row_at(const Root<runtime::Array<Member<E>>>& rows, int32_t count, int32_t i) {
    if (i < 0 || i >= count) return nullptr;
    return rows[i];
}

Root<MenuItem> menu_row(const Root<Menu>& menu, int32_t i) { return row_at<MenuItem>(menu->items, menu->count, i); }

Root<Menu> open_menu(const Root<MenuBar>& bar) { return row_at<Menu>(bar->menus, bar->count, bar->open_idx); }

// What a pull-down, a sub-menu and a popup read from their rows.
bool is_separator(const MenuItem& item) { return item.is_separator; }
bool is_separator(const SubItem&) { return false; }
bool opens_sub(const MenuItem& item) { return item.has_sub; }
bool opens_sub(const SubItem&) { return false; }
int32_t hot_of(const MenuItem& item) { return item.hot_index; }
int32_t hot_of(const SubItem&) { return -1; }
bool row_enabled(const Root<MenuItem>& item, const Root<CommandTable>& table, bool has_table) {
    return item_enabled(item, table, has_table);
}
bool row_enabled(const Root<SubItem>& sub, const Root<CommandTable>& table, bool has_table) {
    return sub_enabled(sub, table, has_table);
}

int32_t row_width_label_accel(const string& label, const string& accel_text, bool has_sub) {
    int32_t w = text_display_width(label) + 4;
    if (has_sub) w += 2;
    else if (stdlib::length(accel_text) > 0) w += text_display_width(accel_text) + 2;
    return max_int(w, MIN_ROW_WIDTH);
}

// popup_width_menu, popup_width_subs and popup_width_items: the widest row that is no separator.
template <class E>
int32_t rows_width(const Root<runtime::Array<Member<E>>>& rows, int32_t count) {
    int32_t w = MIN_ROW_WIDTH;
    for (int32_t i = 0; i < count; i++) {
        Root<E> row = rows[i];
        if (!is_separator(*row)) w = max_int(w, row_width_label_accel(row->label, row->accel_text, opens_sub(*row)));
    }
    return w;
}

// first_enabled_item, first_enabled_sub and popup_first_item: from `start` in steps of `dir`,
// wrapping at both ends, the first row that is no separator; 0 when there is none.
template <class E>
int32_t first_row(const Root<runtime::Array<Member<E>>>& rows, int32_t count, int32_t start, int32_t dir) {
    if (count <= 0) return 0;
    int32_t i = start;
    for (int32_t step = 0; step < count + 2; step++, i += dir) {
        if (i < 0) i = count - 1;
        else if (i >= count) i = 0;
        Root<E> row = rows[i];
        if (!is_separator(*row)) return i;
    }
    return 0;
}

int32_t first_enabled_item(const Root<Menu>& menu, int32_t start, int32_t dir) {
    return first_row<MenuItem>(menu->items, menu->count, start, dir);
}

int32_t first_enabled_sub(const Root<MenuItem>& item, int32_t start, int32_t dir) {
    return first_row<SubItem>(item->subs, item->sub_count, start, dir);
}

// The boxes, frame included: a pull-down hangs below its title, a sub-menu beside its row.
Rect menu_box(const Root<Menu>& menu, int32_t bar_y) {
    return rect(menu->x, bar_y + 1, rows_width<MenuItem>(menu->items, menu->count) + 2, menu->count + 2);
}

// The open sub-menu's box, or an empty one when no sub-menu with rows is open.
Rect sub_box(const Root<MenuBar>& bar, const Root<Menu>& menu, int32_t bar_y) {
    Root<MenuItem> item = menu_row(menu, bar->item_idx);
    if (!bar->sub_open || !item || !item->has_sub || item->sub_count <= 0) return rect(0, 0, 0, 0);
    Rect parent = menu_box(menu, bar_y);
    int32_t w = rows_width<SubItem>(item->subs, item->sub_count);
    return rect(parent.x + parent.w - 1, parent.y + 1 + bar->item_idx, w + 2, item->sub_count + 2);
}

Rect popup_box(const Root<PopupMenu>& popup) {
    return rect(popup->x, popup->y, rows_width<MenuItem>(popup->items, popup->count) + 2, popup->count + 2);
}

// The row of `box` under line y, or -1 on its frame.
int32_t row_in_box(Rect box, int32_t y, int32_t count) {
    int32_t i = y - box.y - 1;
    return i >= 0 && i < count ? i : -1;
}

// Blanks in client_style framed by the theme's glyphs in popup_frame_style, inside `clip`.
void draw_box_popup(const Root<CellBuffer>& buf, Rect box, const Root<Theme>& theme, Rect clip) {
    cellbuf_fill_rect(buf, rect_intersect(box, clip), CH_SPACE, theme->client_style);
    const BoxGlyphs& g = theme->box;
    cellbuf_draw_box_in(buf, box, theme->popup_frame_style, g.tl, g.t, g.tr, g.v, g.bl, g.b, g.br, clip);
}

// One row of a box whose left edge is x: its cells are x + 1 .. x + w. The label starts at
// x + 2; the arrow of a sub-menu row stands at x + w, an accelerator text ends at x + w - 1.
void draw_menu_row(const Root<CellBuffer>& buf, int32_t x, int32_t y, int32_t w, const string& label,
                   const string& accel_text, bool has_sub, const Style& style, int32_t arrow, int32_t hot_index,
                   Rect clip) {
    Rect row = rect_intersect(rect(x + 1, y, w, 1), clip);
    cellbuf_fill_rect(buf, row, CH_SPACE, style);
    cellbuf_draw_text_hot(buf, x + 2, y, label, hot_index, style, row);
    if (has_sub) {
        if (w > 1) cellbuf_put_in(buf, x + w, y, arrow, style, row);  // past the label's first cell
    } else if (stdlib::length(accel_text) > 0) {
        int32_t start = max_int(x + w - text_display_width(accel_text), x + 2);
        cellbuf_draw_text_in(buf, start, y, accel_text, style, row);
    }
}

// A pull-down, sub-menu or popup in `box`: separators as lines of box.t, the selected row in
// selected_style whether enabled or not, disabled rows in inactive_style.
template <class E>
void draw_rows(const Root<CellBuffer>& buf, const Root<Theme>& theme, Rect clip,
               const Root<runtime::Array<Member<E>>>& rows, int32_t count, Rect box, int32_t selected,
               const Root<CommandTable>& table, bool has_table, int32_t arrow) {
    draw_box_popup(buf, box, theme, clip);
    int32_t w = box.w - 2;
    for (int32_t i = 0; i < count; i++) {
        Root<E> row = rows[i];
        int32_t y = box.y + 1 + i;
        if (is_separator(*row)) {
            cellbuf_fill_rect(buf, rect_intersect(rect(box.x + 1, y, w, 1), clip), theme->box.t,
                              theme->popup_frame_style);
            continue;
        }
        const Style& style = i == selected                     ? theme->selected_style
                             : !row_enabled(row, table, has_table) ? theme->inactive_style
                                                                   : theme->client_style;
        draw_menu_row(buf, box.x, y, w, row->label, row->accel_text, opens_sub(*row), style, arrow, hot_of(*row),
                      clip);
    }
}

// The bar's row: blanks, the right text, then the titles up to `limit`, storing where each lies.
void draw_menubar(const Root<MenuBar>& bar, const Root<CellBuffer>& buf, Rect bounds, Rect clip,
                  const Root<Theme>& theme) {
    int32_t y = bounds.y;
    Rect row = rect_intersect(rect(0, y, bounds.w, 1), clip);
    cellbuf_fill_rect(buf, row, CH_SPACE, theme->menubar_style);
    int32_t limit = bounds.w;
    if (stdlib::length(bar->right_text) > 0) {
        int32_t start = max_int(bounds.w - 1 - text_display_width(bar->right_text), 1);
        cellbuf_draw_text_in(buf, start, y, bar->right_text, theme->menubar_style, row);
        limit = max_int(start - 1, 1);
    }
    int32_t x = 1;
    for (int32_t i = 0; i < bar->count; i++) {
        Root<Menu> menu = bar->menus[i];
        int32_t title_w = text_display_width(menu->title);
        menu->x = x;
        menu->width = title_w + 2;
        const Style& style = i == bar->open_idx ? theme->menubar_open_style : theme->menubar_style;
        if (x >= limit) break;
        cellbuf_put_in(buf, x, y, CH_SPACE, style, row);
        if (x + 1 < limit && title_w > 0) cellbuf_draw_text_in(buf, x + 1, y, menu->title, style, row);
        if (x + 1 + title_w < limit) cellbuf_put_in(buf, x + 1 + title_w, y, CH_SPACE, style, row);
        x += menu->width;
    }
}

void draw_menubar_popup(const Root<MenuBar>& bar, const Root<CellBuffer>& buf, int32_t bar_y, Rect clip,
                        const Root<Theme>& theme) {
    Root<Menu> menu = open_menu(bar);
    if (!menu || menu->count <= 0) return;
    Root<CommandTable> table = bar->commands;
    draw_rows<MenuItem>(buf, theme, clip, menu->items, menu->count, menu_box(menu, bar_y), bar->item_idx, table,
                        bar->has_commands, MENU_ARROW);
    Rect sub = sub_box(bar, menu, bar_y);
    if (rect_empty(sub)) return;
    Root<MenuItem> item = menu_row(menu, bar->item_idx);
    draw_rows<SubItem>(buf, theme, clip, item->subs, item->sub_count, sub, bar->sub_idx, table, bar->has_commands,
                       MENU_ARROW);
}

void open_sub(const Root<MenuBar>& bar, const Root<MenuItem>& item) {
    bar->sub_open = true;
    bar->sub_idx = first_enabled_sub(item, 0, 1);
}

void close_sub(const Root<MenuBar>& bar) {
    bar->sub_open = false;
    bar->sub_idx = 0;
}

int32_t key_step(const KeyEvent& key) {
    return key.key.tag == KeyCode::Up ? -1 : key.key.tag == KeyCode::Down ? 1 : 0;
}

// Every key is taken while a menu is open.
bool menubar_key(const Root<MenuBar>& bar, const KeyEvent& key, const Root<CommandTable>& table, bool has_table) {
    Root<Menu> menu = open_menu(bar);
    Root<MenuItem> item = menu_row(menu, bar->item_idx);
    int32_t n = bar->count;
    switch (key.key.tag) {
    case KeyCode::Escape:
        if (bar->sub_open) close_sub(bar);
        else bar->close();
        break;
    case KeyCode::Left:
        if (bar->sub_open) close_sub(bar);
        else menubar_open(bar, (bar->open_idx - 1 + n) % n);
        break;
    case KeyCode::Right:
        if (!bar->sub_open && item && item->has_sub) open_sub(bar, item);
        else menubar_open(bar, (bar->open_idx + 1) % n);
        break;
    case KeyCode::Up:
    case KeyCode::Down:
        if (bar->sub_open && item) {
            bar->sub_idx = first_enabled_sub(item, bar->sub_idx + key_step(key), key_step(key));
        } else {
            bar->item_idx = first_enabled_item(menu, bar->item_idx + key_step(key), key_step(key));
            bar->sub_open = false;
        }
        break;
    case KeyCode::Enter:
        return activate_item(bar, table, has_table);
    default:
        break;
    }
    return true;
}

bool menubar_mouse(const Root<MenuBar>& bar, const MouseEvent& m, int32_t bar_y, const Root<CommandTable>& table,
                   bool has_table) {
    if (!m.pressed || m.motion || m.button != MouseButton::Left) return false;
    if (m.y == bar_y) {
        for (int32_t i = 0; i < bar->count; i++) {
            Root<Menu> menu = bar->menus[i];
            if (m.x < menu->x || m.x >= menu->x + menu->width) continue;
            if (bar->open_idx == i) bar->close();
            else menubar_open(bar, i);
            return true;
        }
        if (!bar->is_open()) return false;
        bar->close();
        return true;
    }
    Root<Menu> menu = open_menu(bar);
    if (!menu) return false;
    Point at = point(m.x, m.y);
    Rect sub = sub_box(bar, menu, bar_y);
    if (point_in_rect(at, sub)) {
        int32_t i = row_in_box(sub, m.y, sub.h - 2);
        if (i < 0) return true;
        bar->sub_idx = i;
        return activate_item(bar, table, has_table);
    }
    Rect box = menu_box(menu, bar_y);
    if (menu->count > 0 && point_in_rect(at, box)) {
        int32_t i = row_in_box(box, m.y, menu->count);
        if (i < 0) return true;
        bar->item_idx = i;
        bar->sub_open = false;
        Root<MenuItem> item = menu_row(menu, i);
        if (item->has_sub) {
            open_sub(bar, item);
            return true;
        }
        return item->is_separator || activate_item(bar, table, has_table);
    }
    bar->close();
    return true;
}

bool popup_activate(const Root<PopupMenu>& popup, const Root<CommandTable>& table, bool has_table) {
    Root<MenuItem> item = row_at<MenuItem>(popup->items, popup->count, popup->selected);
    if (!item || item->is_separator || item->has_sub) return false;
    if (item_enabled(item, table, has_table)) {
        popup->last_command = item->command;
        popup_close(popup);
    }
    return true;
}

Root<MenuItem> new_item(int32_t sub_capacity) {
    Root<MenuItem> item = runtime::make<MenuItem>();
    item->sub_capacity = clamp(sub_capacity, 1, max_items());
    item->subs = SubItems::make(item->sub_capacity);
    return item;
}

template <class E>
bool append_row(const Root<runtime::Array<Member<E>>>& rows, int32_t& count, int32_t capacity, const Root<E>& row) {
    if (count >= capacity) return false;
    rows[count++] = row;
    return true;
}

}  // namespace

// ---- The bar ----------------------------------------------------------------------------------

Root<MenuBar> MenuBar::create(int32_t capacity) {
    Root<MenuBar> bar = runtime::make<MenuBar>();
    bar->bounds = rect(0, 0, 0, 1);
    bar->capacity = clamp(capacity, 1, max_menus());
    bar->menus = Menus::make(bar->capacity);
    bar->commands = commands_create(64);
    return bar;
}

void MenuBar::draw(const Root<CellBuffer>& buf, Rect area, Rect clip, bool, const Root<Theme>& theme) {
    if (!visible || area.w <= 0) return;
    draw_menubar(this, buf, area, clip, theme);
    if (open_idx >= 0) draw_menubar_popup(this, buf, area.y, clip, theme);
}

EventResult MenuBar::handle_event(const Event& ev) {
    if (!handle_menubar(this, ev, bounds.y, bounds.w, commands, has_commands)) return event_ignored();
    return last_command != 0 ? event_command(last_command) : event_handled();
}

bool MenuBar::add(const Root<Menu>& menu) { return append_row<Menu>(menus, count, capacity, menu); }

bool MenuBar::is_open() { return open_idx >= 0; }

void MenuBar::clear_command() { last_command = 0; }

void MenuBar::close() {
    open_idx = -1;
    item_idx = 0;
    sub_open = false;
    sub_idx = 0;
}

void MenuBar::set_commands(const Root<CommandTable>& table) {
    commands = table;
    has_commands = true;
}

void MenuBar::set_right_text(const string& text) { right_text = text; }

void MenuBar::register_accels(const Root<CommandTable>& table) {
    for (int32_t i = 0; i < count; i++) menu_register_accels(menus[i], table);
    set_commands(table);
}

bool handle_menubar(const Root<MenuBar>& bar, const Event& ev, int32_t bar_y, int32_t, const Root<CommandTable>& table,
                    bool has_table) {
    if (is_mouse_event(ev)) return menubar_mouse(bar, ev.mouse, bar_y, table, has_table);
    if (!is_key_event(ev)) return false;
    if (bar->is_open()) return menubar_key(bar, ev.key, table, has_table);
    if (ev.key.key.tag != KeyCode::F10) return false;
    if (bar->count > 0) menubar_open(bar, 0);
    return true;
}

void menubar_open(const Root<MenuBar>& bar, int32_t i) {
    if (i < 0 || i >= bar->count) return;
    bar->open_idx = i;
    bar->item_idx = 0;
    close_sub(bar);
    bar->item_idx = first_enabled_item(bar->menus[i], 0, 1);
}

bool activate_item(const Root<MenuBar>& bar, const Root<CommandTable>& table, bool has_table) {
    Root<Menu> menu = open_menu(bar);
    Root<MenuItem> item = menu ? menu_row(menu, bar->item_idx) : nullptr;
    if (!item || item->is_separator) return false;
    if (item->has_sub) {
        if (!bar->sub_open) {
            open_sub(bar, item);
            return true;
        }
        Root<SubItem> sub = row_at<SubItem>(item->subs, item->sub_count, bar->sub_idx);
        if (!sub) return false;
        if (sub_enabled(sub, table, has_table)) {
            bar->last_command = sub->command;
            bar->close();
        }
        return true;
    }
    if (item_enabled(item, table, has_table)) {
        bar->last_command = item->command;
        bar->close();
    }
    return true;
}

// ---- Menus and rows ---------------------------------------------------------------------------

Root<Menu> menu_create(const string& title, int32_t capacity) {
    Root<Menu> menu = runtime::make<Menu>();
    menu->title = title;
    menu->capacity = clamp(capacity, 1, max_items());
    menu->items = MenuItems::make(menu->capacity);
    return menu;
}

bool menu_add(const Root<Menu>& menu, const Root<MenuItem>& item) {
    return append_row<MenuItem>(menu->items, menu->count, menu->capacity, item);
}

Root<MenuItem> menu_get(const Root<Menu>& menu, int32_t i) {
    Root<MenuItem> item = menu_row(menu, i);
    return item ? item : new_item(1);
}

bool menu_set(const Root<Menu>& menu, int32_t i, const Root<MenuItem>& item) {
    if (i < 0 || i >= menu->count) return false;
    menu->items[i] = item;
    return true;
}

Root<Menu> menubar_get(const Root<MenuBar>& bar, int32_t i) {
    Root<Menu> menu = row_at<Menu>(bar->menus, bar->count, i);
    return menu ? menu : menu_create(stdlib::empty_string(), 1);
}

void apply_hot_label(const Root<MenuItem>& item, const string& label) {
    item->hot_index = -1;
    int32_t n = stdlib::length(label);
    if (stdlib::index_of_char(label, '&').is_none()) {
        item->label = label;
        return;
    }
    string shown = stdlib::string_buffer(n);
    const char* in = stdlib::c_str(label);
    char* out = shown->bytes();
    int32_t used = 0, count = 0;
    for (int32_t i = 0; i < n; i++) {
        unsigned char byte = (unsigned char)in[i];
        if (byte == '&' && i + 1 < n) {
            if (in[i + 1] != '&') {
                if (item->hot_index < 0) item->hot_index = count;
                continue;
            }
            i++;
        }
        out[used++] = (char)byte;
        if (byte < 128 || byte > 191) count++;
    }
    stdlib::set_length(shown, used);
    item->label = shown;
}

Root<MenuItem> menu_item(const string& label, int32_t command) {
    Root<MenuItem> item = new_item(1);
    apply_hot_label(item, label);
    item->command = command;
    return item;
}

Root<MenuItem> menu_item_accel(const string& label, int32_t command, KeyEvent key) {
    return menu_item_with_accel(label, command, key, format_accel(key));
}

Root<MenuItem> menu_item_with_accel(const string& label, int32_t command, KeyEvent key, const string& text) {
    Root<MenuItem> item = menu_item(label, command);
    item->has_accel = true;
    item->accel = key;
    item->accel_text = text;
    return item;
}

Root<MenuItem> menu_item_sep() {
    Root<MenuItem> item = new_item(1);
    item->is_separator = true;
    return item;
}

Root<MenuItem> menu_item_sub(const string& label, int32_t capacity) {
    Root<MenuItem> item = new_item(capacity);
    apply_hot_label(item, label);
    item->has_sub = true;
    return item;
}

Root<SubItem> sub_item(const string& label, int32_t command) {
    Root<SubItem> sub = runtime::make<SubItem>();
    sub->label = label;
    sub->command = command;
    return sub;
}

Root<SubItem> sub_item_accel(const string& label, int32_t command, KeyEvent key) {
    Root<SubItem> sub = sub_item(label, command);
    sub->has_accel = true;
    sub->accel = key;
    sub->accel_text = format_accel(key);
    return sub;
}

bool menu_item_add_sub(const Root<MenuItem>& item, const Root<SubItem>& sub) {
    return append_row<SubItem>(item->subs, item->sub_count, item->sub_capacity, sub);
}

void menu_register_accels(const Root<Menu>& menu, const Root<CommandTable>& table) {
    for (int32_t i = 0; i < menu->count; i++) {
        Root<MenuItem> item = menu->items[i];
        if (item->has_accel && item->command != 0) commands_set_accel(table, item->command, item->accel);
        for (int32_t j = 0; j < item->sub_count; j++) {
            Root<SubItem> sub = item->subs[j];
            if (sub->has_accel && sub->command != 0) commands_set_accel(table, sub->command, sub->accel);
        }
    }
}

bool item_enabled(const Root<MenuItem>& item, const Root<CommandTable>& table, bool has_table) {
    if (item->is_separator) return false;
    if (item->has_sub) return item->sub_count >= 1;
    if (item->command == 0) return false;
    return !has_table || commands_is_enabled(table, item->command);
}

bool sub_enabled(const Root<SubItem>& sub, const Root<CommandTable>& table, bool has_table) {
    if (sub->command == 0) return false;
    return !has_table || commands_is_enabled(table, sub->command);
}

string format_accel(KeyEvent key) {
    char out[16];
    int32_t n = 0;
    auto add = [&](const char* text) {
        while (*text) out[n++] = *text++;
    };
    if (key.ctrl) add("^");
    if (key.alt) add("A-");
    if (key.shift && !is_char(key.key)) add("S-");
    int32_t tag = key.key.tag, ch = key_codepoint_or(key.key, 0);
    if (tag >= KeyCode::F1 && tag <= KeyCode::F12) n += snprintf(out + n, sizeof out - n, "F%d", tag - KeyCode::F1 + 1);
    else if (tag == KeyCode::Enter) add("Enter");
    else if (tag == KeyCode::Escape) add("Esc");
    else if (tag == KeyCode::Tab) add("Tab");
    else if (tag == KeyCode::Char) {
        bool letter = (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z'), digit = ch >= '0' && ch <= '9';
        out[n++] = letter ? (char)(ch & ~0x20) : digit ? (char)ch : '?';
    }
    return stdlib::from_bytes(out, n);
}

// ---- Popups -----------------------------------------------------------------------------------

Root<PopupMenu> popup_create(int32_t capacity) {
    Root<PopupMenu> popup = runtime::make<PopupMenu>();
    popup->capacity = clamp(capacity, 1, max_items());
    popup->items = MenuItems::make(popup->capacity);
    return popup;
}

bool popup_add(const Root<PopupMenu>& popup, const Root<MenuItem>& item) {
    return append_row<MenuItem>(popup->items, popup->count, popup->capacity, item);
}

void popup_open_at(const Root<PopupMenu>& popup, int32_t x, int32_t y) {
    popup->x = x;
    popup->y = y;
    popup->open = true;
    popup->selected = first_row<MenuItem>(popup->items, popup->count, 0, 1);
}

void popup_close(const Root<PopupMenu>& popup) {
    popup->open = false;
    popup->selected = 0;
}

void popup_clear_command(const Root<PopupMenu>& popup) { popup->last_command = 0; }

void draw_popup_menu(const Root<PopupMenu>& popup, const Root<CellBuffer>& buf, const Root<Theme>& theme,
                     const Root<CommandTable>& table, bool has_table) {
    if (!popup->open || popup->count <= 0) return;
    draw_rows<MenuItem>(buf, theme, rect(0, 0, buf->width, buf->height), popup->items, popup->count, popup_box(popup),
                        popup->selected, table, has_table, CH_SPACE);
}

bool handle_popup_menu(const Root<PopupMenu>& popup, const Event& ev, const Root<CommandTable>& table,
                       bool has_table) {
    if (!popup->open) return false;
    if (is_key_event(ev)) {
        int32_t tag = ev.key.key.tag, dir = key_step(ev.key);
        if (tag == KeyCode::Escape) popup_close(popup);
        else if (dir != 0)
            popup->selected = first_row<MenuItem>(popup->items, popup->count, popup->selected + dir, dir);
        else if (tag == KeyCode::Enter) return popup_activate(popup, table, has_table);
        return true;
    }
    const MouseEvent& m = ev.mouse;
    if (!is_mouse_event(ev) || !m.pressed || m.motion) return false;
    if (m.button == MouseButton::Left) {
        Rect box = popup_box(popup);
        if (!point_in_rect(point(m.x, m.y), box)) {
            popup_close(popup);
            return true;
        }
        int32_t i = row_in_box(box, m.y, popup->count);
        if (i < 0) return true;
        popup->selected = i;
        Root<MenuItem> item = popup->items[i];
        return item->is_separator || popup_activate(popup, table, has_table);
    }
    if (m.button != MouseButton::Right) return false;
    popup_close(popup);
    return true;
}

}  // namespace kestrum
