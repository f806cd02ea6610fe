#include "kestrum/input.hpp"

#include <string>
#include <vector>

#include "tests/support/boot.hpp"

using namespace kestrum;
using runtime::Array;
using runtime::Root;

#define ESC "\x1b"
// A literal with zero bytes inside.
#define BYTES(literal) std::string(literal, sizeof(literal) - 1)

namespace {

constexpr int32_t kCap = 32;

// clang-format off
const char* const kKeyNames[] = {"None", "Unknown", "Escape", "Enter", "Tab", "BackTab", "Backspace", "Delete",
    "Insert", "Left", "Right", "Up", "Down", "Home", "End", "PageUp", "PageDown", "Space", "Char",
    "F1", "F2", "F3", "F4", "F5", "F6", "F7", "F8", "F9", "F10", "F11", "F12"};
// clang-format on
const char* const kButtonNames[] = {"None", "Left", "Middle", "Right", "WheelUp", "WheelDown"};

std::string modifiers(bool ctrl, bool alt, bool shift) {
    return std::string(ctrl ? "C-" : "") + (alt ? "A-" : "") + (shift ? "S-" : "");
}

// One line per event: "C-Right", "A-'a'", "U+20AC", "Left press 9,4", "None release motion 0,0".
std::string describe(const Event& e) {
    if (is_mouse_event(e)) {
        const MouseEvent& m = e.mouse;
        return modifiers(m.ctrl, m.alt, m.shift) + kButtonNames[int(m.button)] + (m.pressed ? " press" : " release") +
               (m.motion ? " motion " : " ") + std::to_string(m.x) + "," + std::to_string(m.y);
    }
    const KeyEvent& k = e.key;
    std::string name = kKeyNames[keycode_index(k.key)];
    if (is_char(k.key)) {
        int32_t cp = k.key.codepoint;
        char hex[16];
        snprintf(hex, sizeof hex, "U+%04X", cp);
        name = cp >= 0x20 && cp < 0x7F ? std::string("'") + char(cp) + "'" : std::string(hex);
    }
    return modifiers(k.ctrl, k.alt, k.shift) + name;
}

// Drives a decoder the way the application does: feed, drain until the decoder holds back, take the
// paste. Events are listed in order, then every paste taken as "paste:<text>".
struct Driver {
    Root<KeyDecoder> decoder = decoder_create();
    Root<Array<Event>> out = Array<Event>::make(kCap);
    std::vector<std::string> events, pastes;

    void feed(const std::string& bytes) {
        decoder_feed(decoder, stdlib::from_bytes(bytes.data(), int32_t(bytes.size())));
    }
    void drain(bool flush) {
        int32_t n;
        do {
            n = flush ? decoder_flush_events(decoder, out, kCap) : decoder_poll_events(decoder, out, kCap);
            for (int32_t i = 0; i < n; i++) events.push_back(describe(out[i]));
        } while (n == kCap);
        if (decoder->paste_ready) pastes.push_back("paste:" + std::string(stdlib::c_str(decoder_take_paste(decoder))));
    }
    std::vector<std::string> seen() const {
        std::vector<std::string> all = events;
        all.insert(all.end(), pastes.begin(), pastes.end());
        return all;
    }
};

using Seen = std::vector<std::string>;

struct Case {
    std::string bytes;
    Seen expected;
    bool flush = false;  // a quiet poll follows the input
};

// Every case is fed whole and then one byte per read: a sequence split at any point must decode
// exactly as if it had come at once.
void check_cases(const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        Driver whole, split;
        whole.feed(c.bytes);
        whole.drain(false);
        for (char byte : c.bytes) {
            split.feed(std::string(1, byte));
            split.drain(false);
        }
        if (c.flush) {
            whole.drain(true);
            split.drain(true);
        }
        EXPECT_EQ(whole.seen(), c.expected) << "input " << testing::PrintToString(c.bytes);
        EXPECT_EQ(split.seen(), c.expected) << "input split bytewise " << testing::PrintToString(c.bytes);
    }
}

TEST(Decoder, SingleBytesAndUtf8) {
    check_cases({
        {"a Z~", {"'a'", "' '", "'Z'", "'~'"}},
        {"\t\r\n\x7f\x08", {"Tab", "Enter", "Enter", "Backspace", "Backspace"}},
        {"\x01\x11\x1a", {"C-'A'", "C-'Q'", "C-'Z'"}},
        {BYTES("\0\x1c\x1f"), {"Unknown", "Unknown", "Unknown"}},
        {"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80", {"U+00E9", "U+20AC", "U+1F600"}},
        {"\x80\xbf\xf8\xff", {"Unknown", "Unknown", "Unknown", "Unknown"}},
        // A lead byte with a bad follower yields Unknown, and the follower is read again.
        {"\xc3" "a\xe2\x82z", {"Unknown", "'a'", "Unknown", "Unknown", "'z'"}},
        {"\xe2\x82", {}},
        {"\xe2\x82", {"Unknown"}, true},
        // Overlong forms are not rejected.
        {"\xc0\xaf", {"'/'"}},
    });
}

TEST(Decoder, EscapeAndAlt) {
    check_cases({
        {ESC, {}},
        {ESC, {"Escape"}, true},
        {ESC ESC, {"Escape"}},
        {ESC ESC, {"Escape", "Escape"}, true},
        {ESC "a" ESC "Q", {"A-'a'", "A-'Q'"}},
        // No OSC parser: ESC ] is Alt-], and the rest ordinary keys.
        {ESC "]0;t\x07", {"A-']'", "'0'", "';'", "'t'", "C-'G'"}},
        {ESC "\x01", {"Escape", "C-'A'"}},
        {ESC "\xc3\xa9", {"Escape", "U+00E9"}},
        {ESC "[", {}},
        {ESC "[", {"Escape"}, true},
        {ESC "O", {"Escape"}, true},
    });
}

TEST(Decoder, CsiKeysAndModifiers) {
    check_cases({
        {ESC "[A" ESC "[B" ESC "[C" ESC "[D", {"Up", "Down", "Right", "Left"}},
        {ESC "[H" ESC "[F" ESC "[Z", {"Home", "End", "BackTab"}},
        {ESC "[1;5C" ESC "[5C" ESC "[1C" ESC "[1;2A", {"C-Right", "C-Right", "Right", "S-Up"}},
        {ESC "[1;8D" ESC "[1;3H", {"C-A-S-Left", "A-Home"}},
        // Digits of a third parameter run on into the second: 1;1;5 has 15 as modifier, 14 = ctrl+alt.
        {ESC "[1;1;5C" ESC "[1;5X", {"C-A-Right", "C-Unknown"}},
        {ESC "[1~" ESC "[2~" ESC "[3~", {"Home", "Insert", "Delete"}},
        {ESC "[4~" ESC "[5~" ESC "[6~", {"End", "PageUp", "PageDown"}},
        {ESC "[11~" ESC "[12~" ESC "[13~" ESC "[14~" ESC "[15~" ESC "[17~", {"F1", "F2", "F3", "F4", "F5", "F6"}},
        {ESC "[18~" ESC "[19~" ESC "[20~" ESC "[21~" ESC "[23~" ESC "[24~", {"F7", "F8", "F9", "F10", "F11", "F12"}},
        {ESC "[3;2~" ESC "[24;5~" ESC "[16~" ESC "[99;3~", {"S-Delete", "C-F12", "Unknown", "A-Unknown"}},
        // Private sequences are not understood: Escape, then the bytes as keys.
        {ESC "[?1c", {"Escape", "'['", "'?'", "'1'", "'c'"}},
        // A paste end outside a paste is swallowed.
        {ESC "[201~x", {"'x'"}},
        {ESC "OP" ESC "OQ" ESC "OR" ESC "OS", {"F1", "F2", "F3", "F4"}},
        {ESC "OA" ESC "OB" ESC "OC" ESC "OD" ESC "OH" ESC "OF", {"Up", "Down", "Right", "Left", "Home", "End"}},
        {ESC "OZ" ESC "O5x", {"Unknown", "Unknown", "'x'"}},
    });
}

TEST(Decoder, SgrMouse) {
    check_cases({
        {ESC "[<0;10;5M" ESC "[<0;10;5m", {"Left press 9,4", "Left release 9,4"}},
        {ESC "[<1;1;1M" ESC "[<2;0;0M", {"Middle press 0,0", "Right press 0,0"}},
        {ESC "[<64;3;4M" ESC "[<65;3;4M", {"WheelUp press 2,3", "WheelDown press 2,3"}},
        {ESC "[<32;3;4M" ESC "[<35;7;8M", {"Left press motion 2,3", "None press motion 6,7"}},
        {ESC "[<16;1;1M" ESC "[<28;2;2m", {"C-Left press 0,0", "C-A-S-Left release 1,1"}},
        {ESC "[<80;1;1M", {"C-WheelUp press 0,0"}},
        {ESC "[<131;456;789M" ESC "[<123;1;1m", {"None press 455,788", "C-A-None release motion 0,0"}},
        // A fourth parameter or a stray byte ends the report without an event.
        {ESC "[<0;1;1;1M", {"'1'", "'M'"}},
        {ESC "[<0;1xy", {"'y'"}},
        {ESC "[<0;1", {}, true},
        {ESC "[<", {}, true},
    });
}

TEST(Decoder, BracketedPaste) {
    check_cases({
        {ESC "[200~hello\r\n\tworld" ESC "[A" ESC "[201~x", {"'x'", "paste:hello\r\n\tworld" ESC "[A"}},
        // A lone ESC inside is data once six bytes stand behind it.
        {ESC "[200~a" ESC "b c" ESC "[201~", {"paste:a" ESC "b c"}},
        {ESC "[200~a" ESC ESC "[201~", {"paste:a" ESC}},
        {ESC "[200~" ESC "[201~", {"paste:"}},
        {BYTES(ESC "[200~a\0b" ESC "[201~"), {"paste:ab"}},
        // A quiet poll inside a paste ends it with what is held.
        {ESC "[200~ab" ESC "[20", {"paste:ab" ESC "[20"}, true},
        {ESC "[200~ab", {}, true},
    });
}

// A paste past its cap keeps its first bytes and still ends; a full queue drops bytes, never overruns.
TEST(Decoder, PastesAndTheQueueStopAtTheirCaps) {
    Driver paste;
    paste.feed(ESC "[200~");
    for (int i = 0; i < 40; i++) {
        paste.feed(std::string(250, char('a' + i % 26)));
        paste.drain(false);
    }
    paste.feed(ESC "[201~z");
    paste.drain(false);
    std::string kept = "paste:";
    for (int i = 0; i < PASTE_CAP; i++) kept += char('a' + i / 250 % 26);
    EXPECT_EQ(paste.seen(), (Seen{"'z'", kept}));

    // Plain bytes without a drain: the 513th wipes the queue, and the feed resumes at its next ESC.
    Driver resumes;
    resumes.feed(std::string(550, 'a') + ESC "[Abc");
    resumes.drain(false);
    EXPECT_EQ(resumes.events, (Seen{"Up", "'b'", "'c'"}));
    // A complete sequence at the front is dropped to make room, and nothing else is lost.
    Driver room;
    room.feed(ESC "[A" + std::string(DEC_CAP - 3, 'a'));
    room.feed("bc");
    room.drain(false);
    EXPECT_TRUE(room.events.size() == size_t(DEC_CAP - 1) && room.events.front() == "'a'" && room.events.back() == "'c'");
}

TEST(Decoder, PasteStateAcrossTakesAndClear) {
    Driver driver;
    driver.feed(ESC "[200~ab" ESC "[201~" ESC "[200~cd");
    // Taking the finished paste keeps what the next one has gathered.
    driver.drain(false);
    driver.feed("ef" ESC "[201~");
    driver.drain(false);
    EXPECT_TRUE(driver.seen() == (Seen{"paste:ab", "paste:cdef"}) && driver.events.empty());
    EXPECT_EQ(stdlib::length(decoder_take_paste(driver.decoder)), 0);

    // Clear forgets a paste in progress and a half-received sequence.
    driver.feed(ESC "[200~gh" ESC "[201~" ESC "[200~ij" ESC "[1;");
    EXPECT_EQ(decoder_poll_events(driver.decoder, driver.out, kCap), 0);
    decoder_clear(driver.decoder);
    driver.feed("x");
    driver.drain(true);
    EXPECT_EQ(driver.seen(), (Seen{"'x'", "paste:ab", "paste:cdef"}));
}

}  // namespace
