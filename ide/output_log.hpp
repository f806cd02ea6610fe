// The output window: build and run reports piling up in a TextArea above a "Clear" button. The
// TextArea is the only store of the log; every change rewrites its whole text, and the oldest
// lines go once the user's line limit is passed.
#pragma once
#include <stdint.h>

#include "kestrum/widgets/button.hpp"
#include "kestrum/widgets/textarea.hpp"
#include "kestrum/widgets/window.hpp"

namespace ide {

using runtime::Member;
using runtime::Root;
using runtime::Text;
using stdlib::string;

inline constexpr int32_t CMD_CLEAR_OUTPUT = 144;
// The byte limit of one log line; longer output lines are cut.
inline constexpr int32_t OUTPUT_LINE_CAP = 200;

class OutputWin : public kestrum::Window {
    NOLT_MANAGED(OutputWin, kestrum::Window);

public:
    OutputWin() = default;
    OutputWin(kestrum::Rect bounds, const string& title) : Window(bounds, title) {}

    Member<kestrum::TextArea> area;
    Member<kestrum::Button> clear_button;

    // Closable, minimisable and maximisable; the log holds up to effective_log_max lines as it is
    // now, within what a TextArea can hold. The title also names the window in marker lines.
    static Root<OutputWin> create(kestrum::Rect bounds, const string& title);

    void draw(const Root<kestrum::CellBuffer>& buf, kestrum::Rect bounds, kestrum::Rect clip, bool focused,
              const Root<kestrum::Theme>& theme) override;
    // CMD_CLEAR_OUTPUT from the button clears the log and goes no further.
    kestrum::EventResult handle_event(const kestrum::Event& ev) override;
    void set_bounds(kestrum::Rect r) override;

    // The text above, the button on the last client row, one empty row between them; the client
    // area counts as at least 16 by 5.
    virtual void layout_contents();
    virtual void clear_log();
    // Replaces the log with the newest lines of `text`.
    virtual void set_body(const string& text);
    // Adds `text` behind the log, after a "--- title ---" marker line unless the log is empty.
    virtual void append_chunk(const string& text);
    // The caret to column 0 of the last line, which scrolls the view there.
    virtual void scroll_to_end();
};

// The last `max` line-feed-separated pieces of `text` (a final line feed ends one more, empty
// piece); empty for an empty text or a `max` below 1.
string trim_oldest_lines(const string& text, int32_t max);
// `chunk` alone after an empty `existing`; otherwise existing, a line feed, the marker and a line
// feed (only one line feed for an empty marker), and chunk; then trimmed to `max` lines.
string append_capped(const string& existing, const string& chunk, const string& marker, int32_t max);
// The user's build_log_max_lines, asked anew at every call.
int32_t effective_log_max();

}  // namespace ide
