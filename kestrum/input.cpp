#include "kestrum/input.hpp"

#include <string.h>

namespace kestrum {

using runtime::Array;
using runtime::Root;

namespace {

constexpr int32_t ESC = 0x1B;

// Attempts of feed_make_room to drop complete sequences before it wipes the queue.
constexpr int32_t MAKE_ROOM_TRIES = 64;

bool is_digit(int32_t byte) { return byte >= '0' && byte <= '9'; }
bool is_final_byte(int32_t byte) { return byte >= 0x40 && byte <= 0x7E; }

// Terminal parameters are accumulated without an overflow check; they wrap as 32-bit values.
int32_t push_digit(int32_t value, int32_t digit) { return int32_t(uint32_t(value) * 10u + uint32_t(digit - '0')); }

// The part of the queue that one parse looks at: its bytes from some index on. A drain parses
// item after item from a moving index and drops what it used once, at the end.
struct Front {
    KeyDecoder* d;
    const int32_t* q;
    int32_t len;
};

Front front_at(KeyDecoder* d, int32_t at) { return Front{d, d->bytes->data() + at, d->len - at}; }

void drop_front(KeyDecoder* d, int32_t n) {
    if (n <= 0) return;
    if (n >= d->len) {
        d->len = 0;
        return;
    }
    int32_t* q = d->bytes->data();
    memmove(q, q + n, size_t(d->len - n) * sizeof(int32_t));
    d->len -= n;
}

// Drops one complete CSI or SS3 sequence from the front of the queue, if one is there.
bool feed_try_drop_complete(KeyDecoder* d) {
    const int32_t* q = d->bytes->data();
    if (d->len < 2 || q[0] != ESC) return false;
    if (q[1] == '[') {
        for (int32_t j = 2; j < d->len; j++) {
            if (is_final_byte(q[j])) {
                drop_front(d, j + 1);
                return true;
            }
        }
        return false;
    }
    if (q[1] == 'O' && d->len >= 3) {
        drop_front(d, 3);
        return true;
    }
    return false;
}

// Makes room in a full queue; false when it had to wipe it.
bool feed_make_room(KeyDecoder* d) {
    for (int32_t i = 0; i < MAKE_ROOM_TRIES && d->len >= DEC_CAP; i++)
        if (!feed_try_drop_complete(d)) break;
    if (d->len < DEC_CAP) return true;
    d->len = 0;
    return false;
}

void apply_mod_param(KeyEvent& key, int32_t value) {
    int32_t m = value > 0 ? value - 1 : 0;
    if (m & 1) key.shift = true;
    if (m & 2) key.alt = true;
    if (m & 4) key.ctrl = true;
}

KeyCode arrow_from_letter(int32_t final_byte) {
    switch (final_byte) {
    case 'A': return key_arrow_up();
    case 'B': return key_arrow_down();
    case 'C': return key_arrow_right();
    case 'D': return key_arrow_left();
    case 'H': return key_home();
    case 'F': return key_end();
    case 'Z': return key_backtab();
    default: return key_unknown();
    }
}

KeyCode key_from_tilde(int32_t param) {
    switch (param) {
    case 1: return key_home();
    case 2: return key_insert();
    case 3: return key_delete();
    case 4: return key_end();
    case 5: return key_page_up();
    case 6: return key_page_down();
    case 11: return key_f(1);
    case 12: return key_f(2);
    case 13: return key_f(3);
    case 14: return key_f(4);
    case 15: return key_f(5);
    case 17: return key_f(6);
    case 18: return key_f(7);
    case 19: return key_f(8);
    case 20: return key_f(9);
    case 21: return key_f(10);
    case 23: return key_f(11);
    case 24: return key_f(12);
    default: return key_unknown();
    }
}

KeyCode key_from_ss3(int32_t byte) {
    switch (byte) {
    case 'P': return key_f(1);
    case 'Q': return key_f(2);
    case 'R': return key_f(3);
    case 'S': return key_f(4);
    case 'A': return key_arrow_up();
    case 'B': return key_arrow_down();
    case 'C': return key_arrow_right();
    case 'D': return key_arrow_left();
    case 'H': return key_home();
    case 'F': return key_end();
    default: return key_unknown();
    }
}

// Peels the flag bits of an SGR button code, then maps what remains to a button.
MouseEvent sgr_button_from_pb(int32_t pb) {
    MouseEvent mouse = empty_mouse();
    mouse.motion = pb & 32;
    mouse.ctrl = pb & 16;
    mouse.alt = pb & 8;
    mouse.shift = pb & 4;
    pb &= ~(32 | 16 | 8 | 4);
    switch (pb) {
    case 0: mouse.button = MouseButton::Left; break;
    case 1: mouse.button = MouseButton::Middle; break;
    case 2: mouse.button = MouseButton::Right; break;
    case 64: mouse.button = MouseButton::WheelUp; break;
    case 65: mouse.button = MouseButton::WheelDown; break;
    default: mouse.button = MouseButton::None; break;
    }
    return mouse;
}

KeyEvent escape_key() { return key_event_plain(key_escape()); }

// ESC [ < pb ; x ; y, then M for a press or drag, m for a release.
ParseOne parse_sgr_mouse(const Front& f, bool flush) {
    if (f.len < 4) return flush ? parse_ok_skip(f.len) : parse_fail_incomplete();
    int32_t params[3] = {0, 0, 0};
    int32_t index = 0;
    int32_t i = 3;
    for (; i < f.len; i++) {
        int32_t byte = f.q[i];
        if (is_digit(byte)) {
            params[index] = push_digit(params[index], byte);
        } else if (byte == ';') {
            if (++index == 3) return parse_ok_skip(i + 1);
        } else if (byte == 'M' || byte == 'm') {
            break;
        } else {
            return parse_ok_skip(i + 1);
        }
    }
    if (i == f.len) return flush ? parse_ok_skip(f.len) : parse_fail_incomplete();
    MouseEvent mouse = sgr_button_from_pb(params[0]);
    mouse.pressed = f.q[i] == 'M';
    mouse.x = params[1] > 0 ? params[1] - 1 : 0;
    mouse.y = params[2] > 0 ? params[2] - 1 : 0;
    return parse_ok_mouse(mouse, i + 1);
}

// ESC [ with at most two numeric parameters and a final byte. A third parameter's digits run on
// into the second.
ParseOne parse_csi(const Front& f, bool flush) {
    if (f.len >= 3 && f.q[2] == '<') return parse_sgr_mouse(f, flush);
    int32_t first = 0, second = 0, index = 1;
    int32_t i = 2;
    for (; i < f.len; i++) {
        int32_t byte = f.q[i];
        if (is_digit(byte)) {
            if (index == 1) first = push_digit(first, byte);
            else second = push_digit(second, byte);
        } else if (byte == ';') {
            index = 2;
        } else {
            break;
        }
    }
    if (i == f.len) return flush ? parse_ok(escape_key(), f.len) : parse_fail_incomplete();
    int32_t final_byte = f.q[i];
    // Private and other sequences this decoder does not know: the ESC alone is Escape, and what
    // follows it is read again as ordinary keys.
    if (!is_final_byte(final_byte)) return parse_ok(escape_key(), 1);
    int32_t consumed = i + 1;
    if (final_byte != '~') {
        KeyEvent key = key_event_plain(arrow_from_letter(final_byte));
        if (index == 2 && second >= 2) apply_mod_param(key, second);
        else if (index == 1 && first >= 2) apply_mod_param(key, first);
        return parse_ok(key, consumed);
    }
    if (first == 200) {
        f.d->in_paste = true;
        f.d->paste_len = 0;
        return parse_ok_skip(consumed);
    }
    if (first == 201) return parse_ok_skip(consumed);
    KeyEvent key = key_event_plain(key_from_tilde(first));
    if (index == 2 && second >= 2) apply_mod_param(key, second);
    return parse_ok(key, consumed);
}

ParseOne parse_ss3(const Front& f, bool flush) {
    if (f.len < 3) return flush ? parse_ok(escape_key(), f.len) : parse_fail_incomplete();
    return parse_ok(key_event_plain(key_from_ss3(f.q[2])), 3);
}

ParseOne parse_escape(const Front& f, bool flush) {
    if (f.len < 2) return flush ? parse_ok(escape_key(), 1) : parse_fail_incomplete();
    int32_t second = f.q[1];
    if (second == '[') return parse_csi(f, flush);
    if (second == 'O') return parse_ss3(f, flush);
    if (second >= 0x20 && second <= 0x7E) return parse_ok(key_event(key_char(second), false, true, false), 2);
    return parse_ok(escape_key(), 1);
}

int32_t utf8_lead_len(int32_t byte) {
    if (byte >= 0xC0 && byte <= 0xDF) return 2;
    if (byte >= 0xE0 && byte <= 0xEF) return 3;
    if (byte >= 0xF0 && byte <= 0xF7) return 4;
    return 1;
}

// Overlong forms and surrogates are let through; only the shape of the sequence is checked.
ParseOne parse_utf8(const Front& f, bool flush) {
    int32_t need = utf8_lead_len(f.q[0]);
    if (need == 1) return parse_ok(empty_key(), 1);
    if (f.len < need) return flush ? parse_ok(empty_key(), f.len) : parse_fail_incomplete();
    int32_t codepoint = f.q[0] & (0x7F >> need);
    for (int32_t i = 1; i < need; i++) {
        if ((f.q[i] & 0xC0) != 0x80) return parse_ok(empty_key(), 1);
        codepoint = (codepoint << 6) | (f.q[i] & 0x3F);
    }
    return parse_ok(key_event_char(codepoint), need);
}

void add_paste_byte(KeyDecoder* d, int32_t byte) {
    if (d->paste_len < PASTE_CAP) d->paste_bytes->data()[d->paste_len++] = byte;
}

// Ends the paste and makes its text. Texts hold no NUL, so NUL bytes of the paste are left out.
void finish_paste(KeyDecoder* d) {
    d->in_paste = false;
    d->paste_ready = true;
    int32_t kept = 0;
    for (int32_t i = 0; i < d->paste_len; i++) kept += d->paste_bytes->data()[i] != 0;
    if (kept == 0) {
        d->paste_text = stdlib::empty_string();
        return;
    }
    stdlib::string text = stdlib::string_buffer(kept);
    char* out = text->bytes();
    const int32_t* in = d->paste_bytes->data();
    for (int32_t i = 0; i < d->paste_len; i++)
        if (in[i] != 0) *out++ = char(in[i]);
    d->paste_text = text;
}

// Inside a bracketed paste nothing is interpreted: every byte is data until ESC [ 2 0 1 ~.
ParseOne parse_paste_body(const Front& f, bool flush) {
    static constexpr int32_t terminator[] = {ESC, '[', '2', '0', '1', '~'};
    if (f.len < 1) return parse_fail_incomplete();
    if (f.q[0] == ESC && f.len < 6) {
        if (!flush) return parse_fail_incomplete();
        int32_t held = f.len;
        for (int32_t i = 0; i < held; i++) add_paste_byte(f.d, f.q[i]);
        finish_paste(f.d);
        return parse_ok_skip(held);
    }
    if (f.q[0] == ESC && memcmp(f.q, terminator, sizeof terminator) == 0) {
        finish_paste(f.d);
        return parse_ok_skip(6);
    }
    add_paste_byte(f.d, f.q[0]);
    return parse_ok_skip(1);
}

ParseOne parse_front(const Front& f, bool flush) {
    if (f.len < 1) return parse_fail_incomplete();
    if (f.d->in_paste) return parse_paste_body(f, flush);
    int32_t byte = f.q[0];
    if (byte == ESC) return parse_escape(f, flush);
    if (byte == 0x09) return parse_ok(key_event_plain(key_tab()), 1);
    if (byte == 0x0D || byte == 0x0A) return parse_ok(key_event_plain(key_enter()), 1);
    if (byte == 0x7F || byte == 0x08) return parse_ok(key_event_plain(key_backspace()), 1);
    if (byte >= 0x01 && byte <= 0x1A) return parse_ok(key_event_ctrl_letter(0x40 + byte), 1);
    if (byte < 0x20) return parse_ok(empty_key(), 1);
    if (byte <= 0x7E) return parse_ok(key_event_char(byte), 1);
    return parse_utf8(f, flush);
}

Event parse_to_event(const ParseOne& parsed) {
    return parsed.is_mouse ? event_mouse(parsed.mouse) : event_key(parsed.key);
}

int32_t usable_cap(const Root<Array<Event>>& out, int32_t cap) {
    int32_t room = runtime::length(out);
    return cap < room ? cap : room;
}

// Parses item after item and stores events from out[count] on until `cap` are out; then drops the
// bytes used. Without `flush` it stops where input is incomplete; with it, a parse that uses
// nothing drops one byte.
int32_t drain(KeyDecoder* d, const Root<Array<Event>>& out, int32_t count, int32_t cap, bool flush) {
    int32_t used = 0;
    while (count < cap && used < d->len) {
        ParseOne parsed = parse_front(front_at(d, used), flush);
        if (parsed.consumed < 1) {
            if (!flush) break;
            used++;
            continue;
        }
        used += parsed.consumed;
        if (!parsed.skip) out->data()[count++] = parse_to_event(parsed);
    }
    drop_front(d, used);
    return count;
}

}  // namespace

ParseOne parse_ok(KeyEvent key, int32_t consumed) {
    ParseOne parsed;
    parsed.key = key;
    parsed.consumed = consumed;
    return parsed;
}

ParseOne parse_ok_skip(int32_t consumed) {
    ParseOne parsed = parse_ok(empty_key(), consumed);
    parsed.skip = true;
    return parsed;
}

ParseOne parse_ok_mouse(MouseEvent mouse, int32_t consumed) {
    ParseOne parsed = parse_ok(empty_key(), consumed);
    parsed.mouse = mouse;
    parsed.is_mouse = true;
    return parsed;
}

ParseOne parse_fail_incomplete() {
    ParseOne parsed = parse_ok(empty_key(), 0);
    parsed.incomplete = true;
    return parsed;
}

Root<KeyDecoder> decoder_create() {
    Root<KeyDecoder> decoder = runtime::make<KeyDecoder>();
    decoder->bytes = Array<int32_t>::make(DEC_CAP);
    decoder->paste_bytes = Array<int32_t>::make(PASTE_CAP);
    decoder->paste_text = stdlib::empty_string();
    return decoder;
}

void decoder_clear(const Root<KeyDecoder>& decoder) {
    decoder->len = 0;
    decoder->paste_len = 0;
    decoder->in_paste = false;
    decoder->paste_ready = false;
    decoder->paste_text = stdlib::empty_string();
}

void decoder_feed(const Root<KeyDecoder>& decoder, const stdlib::string& text) {
    KeyDecoder* d = decoder.get();
    const unsigned char* in = reinterpret_cast<const unsigned char*>(stdlib::c_str(text));
    int32_t n = stdlib::length(text);
    // After a wipe the rest of this text is dropped up to its next ESC, so that the queue starts
    // again at a sequence boundary.
    bool wiped = false;
    for (int32_t i = 0; i < n; i++) {
        int32_t byte = in[i];
        if (!wiped && d->len >= DEC_CAP && !feed_make_room(d)) wiped = true;
        if (wiped) {
            if (byte != ESC) continue;
            wiped = false;
        }
        d->bytes->data()[d->len++] = byte;
    }
}

ParseOne parse_one(const Root<KeyDecoder>& decoder, bool flush) {
    return parse_front(front_at(decoder.get(), 0), flush);
}

int32_t decoder_poll_events(const Root<KeyDecoder>& decoder, const Root<Array<Event>>& out, int32_t cap) {
    return drain(decoder.get(), out, 0, usable_cap(out, cap), false);
}

int32_t decoder_flush_events(const Root<KeyDecoder>& decoder, const Root<Array<Event>>& out, int32_t cap) {
    cap = usable_cap(out, cap);
    return drain(decoder.get(), out, drain(decoder.get(), out, 0, cap, false), cap, true);
}

stdlib::string decoder_take_paste(const Root<KeyDecoder>& decoder) {
    if (!decoder->paste_ready) return stdlib::empty_string();
    stdlib::string text = decoder->paste_text;
    decoder->paste_ready = false;
    decoder->paste_text = stdlib::empty_string();
    // A paste that began behind the finished one keeps what it has gathered.
    if (!decoder->in_paste) decoder->paste_len = 0;
    return text;
}

}  // namespace kestrum
