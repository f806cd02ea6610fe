// kestrum.widgets.menubar: the pull-down menu bar on the top row and the free-standing popup
// used as a context menu.
//
// Neither runs a command. A chosen row stores its command in `last_command` and closes the menu;
// the owner hands the command upward and calls clear_command. Rows are shown enabled or disabled
// by asking a CommandTable. Labels and accelerator texts are made once, when a row is made, so
// drawing allocates nothing.
//
// Menus, rows and sub-menu rows are objects held by reference: menu_get gives the row itself,
// and a row changed in place (apply_hot_label) shows at the next draw.
#pragma once
#include <stdint.h>

#include "kestrum/commands.hpp"
#include "kestrum/view.hpp"

namespace kestrum {

constexpr int32_t max_menus() { return 12; }
constexpr int32_t max_items() { return 24; }
// The mark of a row that opens a sub-menu.
constexpr int32_t MENU_ARROW = 0x25B6;

// One row of a cascading sub-menu.
class SubItem {
    NOLT_MANAGED(SubItem, void);

public:
    runtime::Member<runtime::Text> label;
    int32_t command = CMD_NONE;  // 0 for a row that cannot be chosen
    bool has_accel = false;
    KeyEvent accel = empty_accel();
    runtime::Member<runtime::Text> accel_text;  // shown at the right
};

using SubItems = runtime::Array<runtime::Member<SubItem>>;

// One row of a menu or a popup.
class MenuItem {
    NOLT_MANAGED(MenuItem, void);

public:
    runtime::Member<runtime::Text> label;  // as shown, the hot-key marks removed
    int32_t command = CMD_NONE;
    bool is_separator = false;
    bool has_accel = false;
    KeyEvent accel = empty_accel();
    runtime::Member<runtime::Text> accel_text;  // shown at the right
    bool has_sub = false;                       // the row opens a sub-menu
    runtime::Member<SubItems> subs;             // sub_capacity slots, the first sub_count in use
    int32_t sub_capacity = 1;
    int32_t sub_count = 0;
    int32_t hot_index = -1;  // codepoint index of the hot letter in `label`, -1 for none
};

using MenuItems = runtime::Array<runtime::Member<MenuItem>>;

class Menu {
    NOLT_MANAGED(Menu, void);

public:
    runtime::Member<runtime::Text> title;
    runtime::Member<MenuItems> items;
    int32_t capacity = 0;
    int32_t count = 0;
    // The title's column and width on the bar, worked out by the bar's draw; the hit tests use them.
    int32_t x = 0;
    int32_t width = 0;
};

using Menus = runtime::Array<runtime::Member<Menu>>;

class MenuBar : public View {
    NOLT_MANAGED(MenuBar, View);

public:
    MenuBar() = default;

    runtime::Member<Menus> menus;
    int32_t capacity = 0;
    int32_t count = 0;
    int32_t open_idx = -1;  // the open menu, -1 when closed
    int32_t item_idx = 0;   // the selected row of the open menu
    bool sub_open = false;
    int32_t sub_idx = 0;       // the selected row of the open sub-menu
    int32_t last_command = 0;  // the command just chosen, until clear_command
    runtime::Member<CommandTable> commands;
    bool has_commands = false;
    runtime::Member<runtime::Text> right_text;  // shown at the right end of the bar

    // MenuBar.new: room for `capacity` menus (1 to max_menus()), bounds rect(0, 0, 0, 1), closed.
    static runtime::Root<MenuBar> create(int32_t capacity);

    // The bar on the row bounds.y, `bounds.w` wide, and the open pull-down below it.
    void draw(const runtime::Root<CellBuffer>& buf, Rect bounds, Rect clip, bool focused,
              const runtime::Root<Theme>& theme) override;
    // handle_menubar with the bar's bounds and table: the chosen command, handled, or ignored.
    EventResult handle_event(const Event& ev) override;

    // False when full.
    virtual bool add(const runtime::Root<Menu>& menu);
    virtual bool is_open();
    virtual void clear_command();
    virtual void close();
    virtual void set_commands(const runtime::Root<CommandTable>& table);
    virtual void set_right_text(const stdlib::string& text);
    // Binds every row's key in `table`, then uses the table for enabled states.
    virtual void register_accels(const runtime::Root<CommandTable>& table);
};

// ---- Menus and rows ---------------------------------------------------------------------------

// Capacity raised to 1 and lowered to max_items().
runtime::Root<Menu> menu_create(const stdlib::string& title, int32_t capacity);
bool menu_add(const runtime::Root<Menu>& menu, const runtime::Root<MenuItem>& item);
// The row itself, or a fresh empty row when i is out of range.
runtime::Root<MenuItem> menu_get(const runtime::Root<Menu>& menu, int32_t i);
// Puts `item` in place of row i; false when i is out of range.
bool menu_set(const runtime::Root<Menu>& menu, int32_t i, const runtime::Root<MenuItem>& item);
// The bar's menu i, or a fresh empty menu when i is out of range.
runtime::Root<Menu> menubar_get(const runtime::Root<MenuBar>& bar, int32_t i);

// A row whose hot letter is taken from the label: "&" marks the next character ("&&" is one
// literal "&", a "&" at the very end stays), and only the first mark counts.
runtime::Root<MenuItem> menu_item(const stdlib::string& label, int32_t command);
// The same with `key` and its format_accel text.
runtime::Root<MenuItem> menu_item_accel(const stdlib::string& label, int32_t command, KeyEvent key);
runtime::Root<MenuItem> menu_item_with_accel(const stdlib::string& label, int32_t command, KeyEvent key,
                                             const stdlib::string& text);
runtime::Root<MenuItem> menu_item_sep();
// Sets the shown label and hot_index of `item` from a label with hot-key marks.
void apply_hot_label(const runtime::Root<MenuItem>& item, const stdlib::string& label);

// A row that opens a sub-menu of room for `capacity` rows (1 to max_items()).
runtime::Root<MenuItem> menu_item_sub(const stdlib::string& label, int32_t capacity);
runtime::Root<SubItem> sub_item(const stdlib::string& label, int32_t command);
runtime::Root<SubItem> sub_item_accel(const stdlib::string& label, int32_t command, KeyEvent key);
// Appends to the row's sub-menu; false when it is full.
bool menu_item_add_sub(const runtime::Root<MenuItem>& item, const runtime::Root<SubItem>& sub);

// commands_set_accel for every row (and sub-menu row) with a key and a command.
void menu_register_accels(const runtime::Root<Menu>& menu, const runtime::Root<CommandTable>& table);
// Separators: false; a row with a sub-menu: it has rows; command 0: false; then the table's flag.
bool item_enabled(const runtime::Root<MenuItem>& item, const runtime::Root<CommandTable>& table, bool has_table);
bool sub_enabled(const runtime::Root<SubItem>& sub, const runtime::Root<CommandTable>& table, bool has_table);
// "^" for Ctrl, "A-" for Alt, "S-" for Shift on keys that are not Char, then the key's name:
// ^S, A-Q, F5, S-Tab.
stdlib::string format_accel(KeyEvent key);

// ---- The bar's behaviour ----------------------------------------------------------------------

// The keyboard and mouse of the bar; true when the event was taken. A chosen row leaves its
// command in `last_command`.
bool handle_menubar(const runtime::Root<MenuBar>& bar, const Event& ev, int32_t bar_y, int32_t bar_w,
                    const runtime::Root<CommandTable>& table, bool has_table);
// Opens menu i on its first row that is no separator; nothing for an invalid i.
void menubar_open(const runtime::Root<MenuBar>& bar, int32_t i);
// Chooses the selected row: false when there is nothing to choose.
bool activate_item(const runtime::Root<MenuBar>& bar, const runtime::Root<CommandTable>& table, bool has_table);

// ---- Popups -----------------------------------------------------------------------------------

class PopupMenu {
    NOLT_MANAGED(PopupMenu, void);

public:
    runtime::Member<MenuItems> items;
    int32_t capacity = 0;
    int32_t count = 0;
    int32_t x = 0, y = 0;  // the top left of the box
    bool open = false;
    int32_t selected = 0;
    int32_t last_command = 0;
};

// Capacity raised to 1 and lowered to max_items().
runtime::Root<PopupMenu> popup_create(int32_t capacity);
// Appends a row; false when full.
bool popup_add(const runtime::Root<PopupMenu>& popup, const runtime::Root<MenuItem>& item);
// Opens with the box's top left at x, y (not fitted to the screen), on the first row that is no
// separator.
void popup_open_at(const runtime::Root<PopupMenu>& popup, int32_t x, int32_t y);
void popup_close(const runtime::Root<PopupMenu>& popup);
void popup_clear_command(const runtime::Root<PopupMenu>& popup);
// Nothing unless open with rows.
void draw_popup_menu(const runtime::Root<PopupMenu>& popup, const runtime::Root<CellBuffer>& buf,
                     const runtime::Root<Theme>& theme, const runtime::Root<CommandTable>& table, bool has_table);
// True when the popup took the event; a chosen row leaves its command in `last_command`.
bool handle_popup_menu(const runtime::Root<PopupMenu>& popup, const Event& ev, const runtime::Root<CommandTable>& table,
                       bool has_table);

}  // namespace kestrum
