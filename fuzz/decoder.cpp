// Feeds the input decoder bytes in arbitrary pieces. The first byte picks one of two checks:
//
//  raw   Arbitrary bytes, cut into pieces, with quiet-poll flushes between some of them. Nothing
//        may crash or hang, and a flush must leave the queue empty. Unless the queue filled up
//        (where the wipe depends on where the pieces end), the events and the final state must
//        equal those of a run that feeds one byte per read with flushes at the same points, and
//        every paste seen must be one that run saw too: a cut never loses or changes a byte.
//
//  keys  The bytes are read as a script of keys, mouse reports and pastes, which is encoded as a
//        terminal sends them, cut into pieces and decoded. Every event and paste must come back
//        exactly, in order.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "fuzz/boot.hpp"
#include "fuzz/reader.hpp"
#include "kestrum/input.hpp"

using namespace kestrum;
using runtime::Array;
using runtime::Root;

namespace {

void check(bool holds) {
    if (!holds) abort();
}

struct Run {
    Root<KeyDecoder> decoder = decoder_create();
    Root<Array<Event>> out;
    std::vector<Event> events;
    std::vector<std::string> pastes;
    bool overflowed = false;

    explicit Run(int32_t cap) : out(Array<Event>::make(cap)) {}

    void feed(const std::string& bytes) {
        if (decoder->len + int32_t(bytes.size()) > DEC_CAP) overflowed = true;
        decoder_feed(decoder, stdlib::from_bytes(bytes.data(), int32_t(bytes.size())));
    }
    void take_paste() {
        if (!decoder->paste_ready) return;
        stdlib::string text = decoder_take_paste(decoder);
        pastes.emplace_back(stdlib::c_str(text), size_t(stdlib::length(text)));
    }
    // Drains as the application does; a flush must end with an empty queue.
    void drain(bool flush) {
        int32_t cap = runtime::length(out), n;
        do {
            n = flush ? decoder_flush_events(decoder, out, cap) : decoder_poll_events(decoder, out, cap);
            check(n >= 0 && n <= cap);
            for (int32_t i = 0; i < n; i++) events.push_back(out[i]);
            take_paste();
        } while (n == cap);
        if (flush) check(decoder->len == 0);
    }
};

bool is_subsequence(const std::vector<std::string>& part, const std::vector<std::string>& whole) {
    size_t j = 0;
    for (const std::string& item : whole)
        if (j < part.size() && part[j] == item) j++;
    return j == part.size();
}

void check_raw(Reader& in) {
    uint32_t max_piece = 1 + in.below(256);
    uint32_t flush_odds = in.below(16);
    std::string bytes(reinterpret_cast<const char*>(in.data + in.at), in.size - in.at);
    // Piece sizes and flushes come from a generator seeded by the input, not from the bytes fed.
    uint32_t state = 2166136261u ^ uint32_t(bytes.size());
    for (char c : bytes) state = (state ^ uint8_t(c)) * 16777619u;
    auto next = [&state] {
        state ^= state << 13, state ^= state >> 17, state ^= state << 5;
        return state;
    };

    Run pieces(32);
    std::vector<size_t> flush_points;
    for (size_t at = 0; at < bytes.size();) {
        size_t n = 1 + next() % max_piece;
        if (n > bytes.size() - at) n = bytes.size() - at;
        pieces.feed(bytes.substr(at, n));
        pieces.drain(false);
        at += n;
        if (flush_odds && next() % flush_odds == 0) {
            pieces.drain(true);
            flush_points.push_back(at);
        }
    }
    pieces.drain(true);

    Run bytewise(32);
    size_t next_flush = 0;
    for (size_t at = 0; at < bytes.size(); at++) {
        bytewise.feed(bytes.substr(at, 1));
        bytewise.drain(false);
        if (next_flush < flush_points.size() && flush_points[next_flush] == at + 1) {
            bytewise.drain(true);
            next_flush++;
        }
    }
    bytewise.drain(true);

    if (pieces.overflowed || bytewise.overflowed) return;
    check(pieces.events == bytewise.events);
    check(is_subsequence(pieces.pastes, bytewise.pastes));
    check(pieces.decoder->in_paste == bytewise.decoder->in_paste);
    check(pieces.decoder->paste_len == bytewise.decoder->paste_len);
}

// ---- Scripted input -----------------------------------------------------------------------

struct Script {
    std::string bytes;
    std::vector<Event> events;
    std::vector<std::string> pastes;

    void key(const std::string& sent, KeyEvent key) {
        bytes += sent;
        events.push_back(event_key(key));
    }
};

std::string utf8(uint32_t cp) {
    std::string s;
    if (cp < 0x800) {
        s += char(0xC0 | cp >> 6);
    } else if (cp < 0x10000) {
        s += char(0xE0 | cp >> 12);
        s += char(0x80 | (cp >> 6 & 0x3F));
    } else {
        s += char(0xF0 | cp >> 18);
        s += char(0x80 | (cp >> 12 & 0x3F));
        s += char(0x80 | (cp >> 6 & 0x3F));
    }
    return s + char(0x80 | (cp & 0x3F));
}

KeyEvent with_mods(KeyCode key, uint32_t mods) { return key_event(key, mods & 4, mods & 2, mods & 1); }

void add_control(Script& s, uint32_t byte) {
    std::string sent(1, char(byte));
    if (byte == 0x09) s.key(sent, key_event_plain(key_tab()));
    else if (byte == 0x0D || byte == 0x0A) s.key(sent, key_event_plain(key_enter()));
    else if (byte == 0x08 || byte == 0x7F) s.key(sent, key_event_plain(key_backspace()));
    else if (byte >= 0x01 && byte <= 0x1A) s.key(sent, key_event_ctrl_letter(int32_t(0x40 + byte)));
    else if (byte != 0x1B) s.key(sent, empty_key());  // 0x00 and 0x1C..0x1F; ESC is scripted apart
}

void add_csi_key(Script& s, Reader& in) {
    static const char letters[] = "ABCDHFZ";
    static const KeyCode::Tag keys[] = {KeyCode::Up,   KeyCode::Down, KeyCode::Right,  KeyCode::Left,
                                        KeyCode::Home, KeyCode::End,  KeyCode::BackTab};
    uint32_t which = in.below(7), mods = in.below(8);
    std::string sent = "\x1b[";
    if (mods) sent += "1;" + std::to_string(mods + 1);
    s.key(sent + letters[which], with_mods(KeyCode{keys[which], 0}, mods));
}

void add_tilde_key(Script& s, Reader& in) {
    static const int numbers[] = {1, 2, 3, 4, 5, 6, 11, 12, 13, 14, 15, 17, 18, 19, 20, 21, 23, 24};
    static const KeyCode::Tag keys[] = {KeyCode::Home, KeyCode::Insert, KeyCode::Delete, KeyCode::End, KeyCode::PageUp,
                                        KeyCode::PageDown, KeyCode::F1, KeyCode::F2, KeyCode::F3, KeyCode::F4,
                                        KeyCode::F5, KeyCode::F6, KeyCode::F7, KeyCode::F8, KeyCode::F9, KeyCode::F10,
                                        KeyCode::F11, KeyCode::F12};
    uint32_t which = in.below(18), mods = in.below(8);
    std::string sent = "\x1b[" + std::to_string(numbers[which]);
    if (mods) sent += ";" + std::to_string(mods + 1);
    s.key(sent + "~", with_mods(KeyCode{keys[which], 0}, mods));
}

void add_ss3_key(Script& s, Reader& in) {
    static const char letters[] = "PQRSABCDHF";
    static const KeyCode::Tag keys[] = {KeyCode::F1, KeyCode::F2,    KeyCode::F3,   KeyCode::F4,   KeyCode::Up,
                                        KeyCode::Down, KeyCode::Right, KeyCode::Left, KeyCode::Home, KeyCode::End};
    uint32_t which = in.below(10);
    s.key(std::string("\x1bO") + letters[which], key_event_plain(KeyCode{keys[which], 0}));
}

void add_mouse(Script& s, Reader& in) {
    static const int codes[] = {0, 1, 2, 3, 64, 65};
    static const MouseButton buttons[] = {MouseButton::Left,  MouseButton::Middle,  MouseButton::Right,
                                          MouseButton::None,  MouseButton::WheelUp, MouseButton::WheelDown};
    uint32_t which = in.below(6), flags = in.below(16) * 4;
    int32_t x = int32_t(in.byte() << 2 | in.below(4)), y = int32_t(in.byte());
    bool press = in.below(2);
    s.bytes += "\x1b[<" + std::to_string(codes[which] + flags) + ";" + std::to_string(x + 1) + ";" +
               std::to_string(y + 1) + (press ? "M" : "m");
    MouseEvent expected = mouse_event(x, y, buttons[which], press, flags & 32, flags & 16, flags & 8, flags & 4);
    s.events.push_back(event_mouse(expected));
}

// A paste, then a key so that the next paste is taken apart from this one.
void add_paste(Script& s, Reader& in) {
    std::string body;
    for (uint32_t n = in.below(64); n > 0; n--) body += char(in.byte());
    for (size_t at; (at = body.find("\x1b[201~")) != std::string::npos;) body[at + 5] = '-';
    std::string text;
    for (char c : body)
        if (c != 0) text += c;
    s.bytes += "\x1b[200~" + body + "\x1b[201~";
    s.pastes.push_back(text);
    s.key("k", key_event_char('k'));
}

void check_keys(Reader& in) {
    uint32_t max_piece = 1 + in.below(64);
    Script s;
    bool escape_pending = false;  // a lone ESC must be followed by another ESC or end the script
    while (in.more()) {
        uint32_t kind = escape_pending ? 3 + in.below(7) : in.below(10);
        escape_pending = false;
        switch (kind) {
        case 0: {
            char c = char(0x20 + in.below(0x5F));
            s.key(std::string(1, c), key_event_char(c));
            break;
        }
        case 1: {
            uint32_t byte = in.below(0x21);
            add_control(s, byte == 0x20 ? 0x7F : byte);
            break;
        }
        case 2: {
            uint32_t cp = 0x80 + (in.byte() << 16 | in.byte() << 8 | in.byte()) % (0x110000 - 0x80);
            s.key(utf8(cp), key_event_char(int32_t(cp)));
            break;
        }
        case 3:
            s.key("\x1b", key_event_plain(key_escape()));
            escape_pending = true;
            break;
        case 4: add_csi_key(s, in); break;
        case 5: add_tilde_key(s, in); break;
        case 6: add_ss3_key(s, in); break;
        case 7: {
            char c = char(0x20 + in.below(0x5F));
            if (c == '[' || c == 'O') c = '_';
            s.key(std::string("\x1b") + c, key_event(key_char(c), false, true, false));
            break;
        }
        case 8: add_mouse(s, in); break;
        default: add_paste(s, in); break;
        }
    }

    // One event per poll, so that every paste is taken before the next one can finish.
    Run run(1);
    uint32_t state = uint32_t(s.bytes.size()) * 2654435761u + 1;
    for (size_t at = 0; at < s.bytes.size();) {
        state ^= state << 13, state ^= state >> 17, state ^= state << 5;
        size_t n = 1 + state % max_piece;
        if (n > s.bytes.size() - at) n = s.bytes.size() - at;
        run.feed(s.bytes.substr(at, n));
        run.drain(false);
        at += n;
    }
    run.drain(true);
    check(!run.overflowed);
    check(run.events == s.events);
    check(run.pastes == s.pastes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_boot();
    if (size < 1 || size > 4096) return 0;
    Reader in{data + 1, size - 1};
    if (data[0] & 1) check_keys(in);
    else check_raw(in);
    return 0;
}
