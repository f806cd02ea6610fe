// Drives a TextArea with a script of keys, pastes, clicks, drags and calls read from the input,
// drawing it now and then. After every step the store must hold together: line count and line
// bytes within the capacities, no newline inside a line, unused slots empty, caret and anchor
// inside the text, the view's offsets not negative, and no byte outside printable ASCII that the
// starting text did not bring (typing and pasting only ever add printable ASCII).
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "fuzz/boot.hpp"
#include "fuzz/reader.hpp"
#include "kestrum/widgets/textarea.hpp"

using namespace kestrum;
using runtime::Root;
using namespace runtime::literals;

namespace {

#define check(holds) FUZZ_CHECK(holds)

stdlib::string take_text(Reader& in, uint32_t n) {
    size_t from = in.at;
    return stdlib::from_bytes(reinterpret_cast<const char*>(in.data + from), (int32_t)in.take(n));
}

int32_t foreign_bytes(const stdlib::string& text) {
    int32_t n = 0;
    for (int32_t i = 0; i < stdlib::length(text); i++) n += !(text->c_str()[i] >= 0x20 && text->c_str()[i] <= 0x7E);
    return n;
}

void check_store(const Root<TextArea>& a, int32_t& foreign) {
    check(a->line_count >= 1 && a->line_count <= a->max_lines && a->max_lines <= max_lines_cap());
    int32_t now = 0;
    for (int32_t i = 0; i < a->max_lines; i++) {
        stdlib::string line = a->lines[i];
        int32_t n = stdlib::length(line);
        check(n <= a->line_cap && (i < a->line_count || n == 0));
        check(memchr(stdlib::c_str(line), '\n', (size_t)n) == nullptr);
        now += foreign_bytes(line);
    }
    check(now <= foreign);
    foreign = now;
    auto inside = [&](int32_t line, int32_t col) {
        return line >= 0 && line < a->line_count && col >= 0 && col <= line_cp_count(a->line_or(line, ""_t));
    };
    check(inside(a->caret_line, a->caret_col));
    check(!a->sel_active || inside(a->sel_anchor_line, a->sel_anchor_col));
    // Backspace and Delete do not scroll, so a join may leave the view below the last line.
    check(a->top_line >= 0 && a->left_col >= 0);
}

void step(const Root<TextArea>& a, Reader& in, const Root<CellBuffer>& buf, const Root<Theme>& theme) {
    static const KeyCode keys[] = {key_arrow_left(), key_arrow_right(), key_arrow_up(), key_arrow_down(),
                                   key_home(),       key_end(),         key_page_up(),  key_page_down(),
                                   key_enter(),      key_backspace(),   key_delete(),   key_insert(),
                                   key_f(4),         key_tab(),         key_escape(),   key_char(0xE9)};
    static const MouseButton buttons[] = {MouseButton::Left, MouseButton::None, MouseButton::WheelUp,
                                          MouseButton::WheelDown, MouseButton::Right};
    switch (in.below(8)) {
    case 0:
    case 1: a->handle_event(event_key(key_event_char((int32_t)(0x20 + in.below(0x5F))))); break;
    case 2: {
        uint32_t mods = in.byte();
        a->handle_event(event_key(key_event(keys[mods % 16], mods & 0x40, mods & 0x80, mods & 0x20)));
        break;
    }
    case 3: a->paste(take_text(in, in.below(48))); break;
    case 4: {
        uint32_t flags = in.byte();
        MouseEvent m = mouse_event((int32_t)in.below(24) - 2, (int32_t)in.below(12) - 2, buttons[flags % 5],
                                   flags & 8, flags & 16, false, false, flags & 32);
        a->handle_event(event_mouse(m));
        break;
    }
    case 5: {
        uint32_t which = in.below(6);
        if (which == 0) a->select_all();
        else if (which == 1) a->delete_selection();
        else if (which == 2) a->find_next(take_text(in, 1 + in.below(3)));
        else if (which == 3) a->set_caret((int32_t)in.below(40) - 4, (int32_t)in.below(40) - 4);
        else if (which == 4) a->scroll_by((int32_t)in.below(21) - 10);
        else a->set_line_numbers(!a->line_numbers);
        break;
    }
    default: a->draw(buf, a->bounds, rect(0, 0, buf->width, buf->height), in.below(2), theme); break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_boot();
    if (size < 4 || size > 8192) return 0;
    Reader in{data, size};
    int32_t max_lines = 1 + (int32_t)in.below(12), cap = 4 + (int32_t)in.below(40);
    Rect r = rect(1, 1, 1 + (int32_t)in.below(16), 1 + (int32_t)in.below(8));
    Root<TextArea> a = TextArea::create(r, max_lines, r.h, cap);
    Root<CellBuffer> buf = cellbuf_create(20, 12);
    Root<Theme> theme = theme_classic();
    stdlib::string start = take_text(in, in.below(96));
    a->set_text(start);
    int32_t foreign = foreign_bytes(start);
    check_store(a, foreign);
    while (in.more()) {
        step(a, in, buf, theme);
        check_store(a, foreign);
    }
    return 0;
}
