#include "kestrum/widgets/inputline.hpp"

namespace kestrum {

using stdlib::length;

namespace {

// `text` without the byte at `pos`.
string remove_byte(const string& text, int32_t pos) {
    int32_t n = length(text);
    string out = stdlib::string_buffer(n - 1);
    memcpy(out->bytes(), text->c_str(), pos);
    memcpy(out->bytes() + pos, text->c_str() + pos + 1, n - pos - 1);
    return out;
}

}  // namespace

string truncate_to_max(const string& text, int32_t max) {
    if (max <= 0) return stdlib::empty_string();
    return length(text) > max ? stdlib::substring(text, 0, max) : text;
}

int32_t clamp_caret(const string& text, int32_t n) { return clamp(n, 0, length(text)); }

string insert_char(const string& text, int32_t pos, int32_t codepoint, int32_t max) {
    int32_t n = length(text);
    if (n >= max || codepoint < 32 || codepoint > 126) return text;
    pos = clamp_caret(text, pos);
    string out = stdlib::string_buffer(n + 1);
    memcpy(out->bytes(), text->c_str(), pos);
    out->bytes()[pos] = char(codepoint);
    memcpy(out->bytes() + pos + 1, text->c_str() + pos, n - pos);
    return out;
}

string delete_before(const string& text, int32_t pos) {
    return pos > 0 && pos <= length(text) ? remove_byte(text, pos - 1) : text;
}

string delete_at(const string& text, int32_t pos) {
    return pos >= 0 && pos < length(text) ? remove_byte(text, pos) : text;
}

Root<InputLine> InputLine::create(Rect bounds, int32_t max_len, const string& text) {
    Root<InputLine> line = runtime::make<InputLine>();
    line->bounds = bounds;
    line->max_len = max_int(max_len, 0);
    line->text = truncate_to_max(text, line->max_len);
    line->caret = length(string(line->text));
    return line;
}

void InputLine::set_mask(int32_t codepoint) { mask = max_int(codepoint, 0); }

void InputLine::set_text(const string& value) {
    text = truncate_to_max(value, max_len);
    caret = clamp_caret(string(text), caret);
}

void InputLine::set_caret(int32_t n) { caret = clamp_caret(string(text), n); }

void InputLine::paste(const string& value) {
    int32_t n = length(value);
    for (int32_t i = 0; i < n && length(string(text)) < max_len; i++) {
        int32_t byte = (unsigned char)value->c_str()[i];
        if (byte == '\n' || byte == '\r' || byte == '\t') byte = ' ';
        if (byte < 32 || byte > 126) continue;
        text = insert_char(string(text), caret, byte, max_len);
        caret++;
    }
}

void InputLine::draw(const Root<CellBuffer>& buf, Rect r, Rect clip, bool focused, const Root<Theme>& theme) {
    Rect area = rect_intersect(r, clip);
    if (rect_empty(area)) return;
    Style style = focused ? theme->input_focused_style : theme->input_style;
    cellbuf_fill_rect(buf, area, CH_SPACE, style);
    string content(text);
    int32_t n = length(content);
    if (n > 0 && mask == 0) cellbuf_draw_text_in(buf, r.x, r.y, content, style, area);
    for (int32_t i = 0; mask != 0 && i < n; i++) cellbuf_put_in(buf, r.x + i, r.y, mask, style, area);
    if (focused) cellbuf_invert_in(buf, r.x + caret, r.y, area);
}

EventResult InputLine::handle_event(const Event& ev) {
    if (ev.kind != EventKind::Key || ev.key.ctrl || ev.key.alt) return event_ignored();
    string content(text);
    int32_t n = length(content);
    switch (ev.key.key.tag) {
        case KeyCode::Left: caret = caret > 0 ? caret - 1 : caret; break;
        case KeyCode::Right: caret = caret < n ? caret + 1 : caret; break;
        case KeyCode::Home: caret = 0; break;
        case KeyCode::End: caret = n; break;
        case KeyCode::Backspace:
            if (caret > 0) text = delete_before(content, caret--);
            break;
        case KeyCode::Delete: text = delete_at(content, caret); break;
        case KeyCode::Char: {
            int32_t cp = ev.key.key.codepoint;
            if (cp < 32 || cp > 126) return event_ignored();
            text = insert_char(content, caret, cp, max_len);
            if (length(string(text)) > n) caret++;
            break;
        }
        default: return event_ignored();
    }
    return event_handled();
}

}  // namespace kestrum
