// The input decoder: turns the terminal's byte stream into Events.
//
// Bytes go into a queue through decoder_feed, in whatever pieces `read` delivers. A parse is a pure
// look at the front of the queue that either says how many bytes it used or that it needs more;
// nothing is dropped until a parse has succeeded, so a sequence split across two reads is simply
// parsed again from the start once the rest has come.
//
// Whether an ESC alone at the end of the queue is the Escape key or the start of a sequence is left
// to the caller: decoder_poll_events keeps it waiting, and the caller calls decoder_flush_events
// once a poll has timed out with bytes still queued.
#pragma once
#include <stdint.h>

#include "kestrum/event.hpp"
#include "stdlib/core/str.hpp"

namespace kestrum {

constexpr int32_t DEC_CAP = 512;     // bytes held in the queue
constexpr int32_t PASTE_CAP = 8192;  // bytes kept of one bracketed paste

class KeyDecoder {
    NOLT_MANAGED(KeyDecoder, void);

public:
    runtime::Member<runtime::Array<int32_t>> bytes;  // the queue, one byte 0..255 per entry, front at 0
    int32_t len = 0;
    bool in_paste = false;  // between the paste start and end sequences
    runtime::Member<runtime::Array<int32_t>> paste_bytes;
    int32_t paste_len = 0;
    bool paste_ready = false;  // a finished paste waits in paste_text
    runtime::Member<runtime::Text> paste_text;
};

// The outcome of one parse at the front of the queue.
struct ParseOne {
    KeyEvent key;
    MouseEvent mouse;
    bool is_mouse = false;
    bool skip = false;        // bytes were used, but no event results
    int32_t consumed = 0;     // bytes to drop from the front
    bool incomplete = false;  // more bytes are needed; nothing is used
};

ParseOne parse_ok(KeyEvent key, int32_t consumed);
ParseOne parse_ok_skip(int32_t consumed);
ParseOne parse_ok_mouse(MouseEvent mouse, int32_t consumed);
ParseOne parse_fail_incomplete();

// An empty decoder with both arrays at their full size.
runtime::Root<KeyDecoder> decoder_create();
// Forgets queued bytes and any paste in progress or waiting.
void decoder_clear(const runtime::Root<KeyDecoder>& decoder);
// Appends the bytes of `text`. When the queue is full, complete escape sequences at its front are
// dropped to make room; failing that, the queue is wiped and the rest of `text` is discarded up to
// its next ESC.
void decoder_feed(const runtime::Root<KeyDecoder>& decoder, const stdlib::string& text);
// Parses one item at the front of the queue. With `flush`, what is queued is all there is.
ParseOne parse_one(const runtime::Root<KeyDecoder>& decoder, bool flush);
// Parses as far as complete input goes; stores at most `cap` events (and no more than `out` holds)
// and returns how many.
int32_t decoder_poll_events(const runtime::Root<KeyDecoder>& decoder, const runtime::Root<runtime::Array<Event>>& out,
                            int32_t cap);
// As decoder_poll_events, then forces out what is left: the queue ends empty unless `cap` was reached.
int32_t decoder_flush_events(const runtime::Root<KeyDecoder>& decoder, const runtime::Root<runtime::Array<Event>>& out,
                             int32_t cap);
// The finished paste, taken out of the decoder; the empty text when none is waiting.
stdlib::string decoder_take_paste(const runtime::Root<KeyDecoder>& decoder);

}  // namespace kestrum
