// End-block completion, the language half: whether a line opens a Nolt block, and what the
// closing line reads. One line is looked at, byte by byte, with no parser and no memory; the edit
// window decides when to ask and writes the line.
#pragma once
#include "stdlib/core/str.hpp"

namespace ide {

using stdlib::string;

// What `detect` found. `indent` is the opener's leading blanks and tabs as they stand; `name` is
// the word behind "end " on the closing line.
struct Opener {
    bool found = false;
    string indent;
    string name;
};

Opener empty_opener();
// `before` is the line up to the caret.
Opener detect(const string& before);
// indent + "end " + name, or the empty text for no opener.
string end_line(const Opener& opener);
// The line below already closes the block: trimmed, it reads exactly "end " + name.
bool already_present(const string& next_line, const Opener& opener);

// The on/off switch is the user preference auto_end_block; setting it saves the settings file.
bool enabled();
void set_enabled(bool on);
// Flips the switch and returns the new state.
bool toggle();
// "Auto End Block: On" or "Auto End Block: Off".
string menu_label();

}  // namespace ide
