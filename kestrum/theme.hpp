// kestrum.theme: the palette of the user interface. A Theme is a record of finished styles, one
// for each kind of thing on the screen, with the desktop's fill character and the frame glyphs.
// Themes are made by their constructors, never read from files, and never changed once made.
#pragma once
#include <stdint.h>

#include "kestrum/cell.hpp"

namespace kestrum {

enum class FrameMode : int32_t { Single = 0, Double = 1, Ascii = 2 };

// A frame's corners and edges, the caps beside a window title, and the ends of frame scrollbars.
struct BoxGlyphs {
    int32_t tl = 0, t = 0, tr = 0, v = 0, bl = 0, b = 0, br = 0;
    int32_t title_left = 0, title_right = 0;
    int32_t scroll_up = 0, scroll_down = 0, scroll_left = 0, scroll_right = 0;
    bool operator==(const BoxGlyphs&) const = default;
};

BoxGlyphs box_glyphs_ascii();
BoxGlyphs box_glyphs_unicode_light();
BoxGlyphs box_glyphs_unicode_double();

class Theme {
    NOLT_MANAGED(Theme, void);

public:
    Member<Text> name;
    Style desktop_style;
    int32_t desktop_fill = 32;
    Style frame_style;           // the active window's frame; the track of frame scrollbars
    Style title_style;           // the active window's title and frame buttons
    Style inactive_style;        // an inactive window's frame and title; disabled menu rows
    Style client_style;          // client areas, popup bodies, labels, list rows
    Style button_style;          // a button; a marked list row without focus
    Style selected_style;        // a focused button, the selected menu row, the focused list row
    Style spare_style;           // read by no widget
    Style input_style;
    Style input_focused_style;
    Style popup_frame_style;     // popup frames and separators
    Style menubar_style;
    Style menubar_open_style;    // the title of the open menu
    Style status_style;
    Style scrollbar_knob_style;
    FrameMode frame_mode = FrameMode::Single;
    BoxGlyphs box;
};

Root<Theme> theme_classic();
Root<Theme> theme_cobalt();
Root<Theme> theme_ocean_blue();
Root<Theme> theme_monochrome();
Root<Theme> theme_amber();
Root<Theme> theme_green();
Root<Theme> theme_paper();
Root<Theme> theme_nord();
Root<Theme> theme_sunset();
Root<Theme> theme_rose();
Root<Theme> theme_ascii();
Root<Theme> theme_double();

int32_t theme_builtin_count();
// By i modulo the count, from classic; a remainder of 0 or below gives classic.
Root<Theme> theme_builtin_at(int32_t i);
// Exact names and their aliases; anything else gives classic.
Root<Theme> theme_by_name(const string& name);
// The fill character, 32 when the theme's is 0 or below.
int32_t theme_desktop_fill(const Root<Theme>& theme);

int32_t desktop_fill_preset_count();
int32_t desktop_fill_preset_at(int32_t i);
string desktop_fill_preset_name(int32_t i);
stdlib::Option<int32_t> desktop_fill_preset_index(int32_t codepoint);

}  // namespace kestrum
