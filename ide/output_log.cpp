#include "ide/output_log.hpp"

#include "ide/user_prefs.hpp"

namespace ide {

using namespace runtime::literals;
using kestrum::Event;
using kestrum::EventResult;
using kestrum::Rect;
using kestrum::rect;
using stdlib::concat;

Root<OutputWin> OutputWin::create(Rect bounds, const string& title) {
    Root<OutputWin> win = runtime::make<OutputWin>(bounds, title);
    win->set_closable(true);
    win->set_minimizable(true);
    win->set_maximizable(true);
    Root<kestrum::TextArea> area = kestrum::TextArea::create(rect(0, 0, 16, 1), effective_log_max(), 1, OUTPUT_LINE_CAP);
    win->area = area;
    win->add(area);
    Root<kestrum::Button> button = runtime::make<kestrum::Button>(rect(0, 2, 12, 1), "Clear"_t, CMD_CLEAR_OUTPUT);
    win->clear_button = button;
    win->add(button);
    win->layout_contents();
    return win;
}

void OutputWin::draw(const Root<kestrum::CellBuffer>& buf, Rect bounds, Rect clip, bool focused,
                     const Root<kestrum::Theme>& theme) {
    layout_contents();
    Window::draw(buf, bounds, clip, focused, theme);
}

EventResult OutputWin::handle_event(const Event& ev) {
    EventResult result = Window::handle_event(ev);
    if (result.command != CMD_CLEAR_OUTPUT) return result;
    clear_log();
    return kestrum::event_handled();
}

void OutputWin::set_bounds(Rect r) {
    Window::set_bounds(r);
    layout_contents();
}

void OutputWin::layout_contents() {
    int32_t w = kestrum::max_int(bounds.w - 2, 16), h = kestrum::max_int(bounds.h - 2, 5);
    int32_t text_h = kestrum::max_int(h - 2, 1);
    area->bounds = rect(0, 0, w, text_h);
    area->set_visible_rows(text_h);
    clear_button->bounds = rect(0, text_h + 1, 12, 1);
}

void OutputWin::clear_log() { area->set_text(stdlib::empty_string()); }

void OutputWin::set_body(const string& text) {
    area->set_text(trim_oldest_lines(text, effective_log_max()));
    scroll_to_end();
}

void OutputWin::append_chunk(const string& text) {
    string marker = concat(concat("--- "_t, string(title)), " ---"_t);
    area->set_text(append_capped(area->text(), text, marker, effective_log_max()));
    scroll_to_end();
}

void OutputWin::scroll_to_end() {
    area->set_caret(kestrum::max_int(area->line_count - 1, 0), 0);
}

string trim_oldest_lines(const string& text, int32_t max) {
    if (max < 1 || stdlib::is_empty(text)) return stdlib::empty_string();
    int32_t pieces = stdlib::count_char(text, '\n') + 1;
    if (pieces <= max) return text;
    // Drop everything up to and including the line feed that ends the first dropped piece.
    int32_t drop = pieces - max, at = 0;
    for (const char* p = stdlib::c_str(text); drop > 0; at++)
        if (p[at] == '\n') drop--;
    return stdlib::substring(text, at, stdlib::length(text) - at);
}

string append_capped(const string& existing, const string& chunk, const string& marker, int32_t max) {
    // An empty log takes the chunk with no marker; either way the log keeps to its limit.
    if (stdlib::is_empty(existing)) return trim_oldest_lines(chunk, max);
    string separator = stdlib::is_empty(marker) ? string("\n"_t) : concat(concat("\n"_t, marker), "\n"_t);
    return trim_oldest_lines(concat(concat(existing, separator), chunk), max);
}

int32_t effective_log_max() { return build_log_max_lines(); }

}  // namespace ide
