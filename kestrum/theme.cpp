#include "kestrum/theme.hpp"

namespace kestrum {

using namespace runtime::literals;

namespace {

struct Rgb {
    uint8_t r, g, b;
};
struct PaletteStyle {
    Rgb fg, bg;
    bool bold;
};
// One palette theme: its name, its fill and its styles in the order of the Theme's fields,
// from desktop_style to scrollbar_knob_style.
struct Palette {
    const char* name;
    int32_t fill;
    PaletteStyle styles[15];
};

// clang-format off
constexpr Palette palettes[] = {
    {"classic", 32, {
        {{170, 170, 170}, {0, 0, 170}, 0},
        {{0, 170, 170}, {0, 0, 170}, 0},
        {{0, 0, 0}, {0, 170, 170}, 1},
        {{170, 170, 170}, {0, 0, 170}, 0},
        {{255, 255, 255}, {0, 0, 170}, 0},
        {{0, 0, 0}, {0, 170, 0}, 0},
        {{0, 0, 0}, {255, 255, 255}, 1},
        {{255, 255, 255}, {0, 0, 0}, 0},
        {{255, 255, 255}, {0, 0, 110}, 0},
        {{255, 255, 255}, {0, 0, 110}, 0},
        {{0, 255, 255}, {0, 0, 170}, 1},
        {{0, 0, 0}, {0, 170, 170}, 0},
        {{0, 170, 170}, {0, 0, 0}, 1},
        {{0, 0, 0}, {0, 170, 170}, 0},
        {{200, 200, 200}, {40, 40, 60}, 0},
    }},
    {"cobalt", 0x2573, {
        {{80, 110, 160}, {10, 25, 70}, 0},
        {{100, 180, 255}, {30, 70, 160}, 0},
        {{10, 25, 70}, {100, 180, 255}, 1},
        {{140, 170, 210}, {30, 70, 160}, 0},
        {{200, 230, 255}, {30, 70, 160}, 0},
        {{10, 25, 70}, {0, 200, 220}, 0},
        {{10, 25, 70}, {200, 230, 255}, 1},
        {{200, 230, 255}, {10, 25, 70}, 0},
        {{200, 230, 255}, {18, 48, 118}, 0},
        {{255, 255, 255}, {18, 48, 118}, 0},
        {{0, 200, 220}, {10, 25, 70}, 1},
        {{10, 25, 70}, {100, 180, 255}, 0},
        {{100, 180, 255}, {10, 25, 70}, 1},
        {{200, 230, 255}, {10, 25, 70}, 0},
        {{200, 200, 200}, {40, 40, 60}, 0},
    }},
    {"ocean_blue", 32, {
        {{40, 100, 120}, {5, 30, 50}, 0},
        {{30, 160, 160}, {15, 70, 100}, 0},
        {{5, 30, 50}, {30, 160, 160}, 1},
        {{100, 150, 160}, {15, 70, 100}, 0},
        {{180, 240, 240}, {15, 70, 100}, 0},
        {{5, 30, 50}, {220, 190, 120}, 0},
        {{5, 30, 50}, {180, 240, 240}, 1},
        {{180, 240, 240}, {5, 30, 50}, 0},
        {{180, 240, 240}, {10, 50, 75}, 0},
        {{255, 255, 255}, {10, 50, 75}, 0},
        {{30, 160, 160}, {5, 30, 50}, 1},
        {{5, 30, 50}, {30, 160, 160}, 0},
        {{5, 30, 50}, {180, 240, 240}, 1},
        {{180, 240, 240}, {5, 30, 50}, 0},
        {{200, 200, 200}, {40, 40, 60}, 0},
    }},
    {"monochrome", 0x2592, {
        {{90, 90, 90}, {0, 0, 0}, 0},
        {{200, 200, 200}, {30, 30, 30}, 0},
        {{0, 0, 0}, {240, 240, 240}, 1},
        {{90, 90, 90}, {30, 30, 30}, 0},
        {{240, 240, 240}, {30, 30, 30}, 0},
        {{0, 0, 0}, {200, 200, 200}, 0},
        {{0, 0, 0}, {255, 255, 255}, 1},
        {{255, 255, 255}, {0, 0, 0}, 0},
        {{200, 200, 200}, {55, 55, 55}, 0},
        {{255, 255, 255}, {55, 55, 55}, 0},
        {{255, 255, 255}, {30, 30, 30}, 1},
        {{0, 0, 0}, {200, 200, 200}, 0},
        {{255, 255, 255}, {0, 0, 0}, 1},
        {{0, 0, 0}, {200, 200, 200}, 0},
        {{200, 200, 200}, {40, 40, 60}, 0},
    }},
    {"amber", 0x2591, {
        {{160, 100, 0}, {25, 15, 0}, 0},
        {{255, 176, 0}, {25, 15, 0}, 0},
        {{0, 0, 0}, {255, 176, 0}, 1},
        {{160, 100, 0}, {25, 15, 0}, 0},
        {{255, 220, 120}, {25, 15, 0}, 0},
        {{0, 0, 0}, {255, 176, 0}, 0},
        {{0, 0, 0}, {255, 220, 120}, 1},
        {{255, 176, 0}, {0, 0, 0}, 0},
        {{255, 176, 0}, {50, 30, 0}, 0},
        {{255, 220, 120}, {50, 30, 0}, 0},
        {{255, 220, 120}, {25, 15, 0}, 1},
        {{0, 0, 0}, {255, 176, 0}, 0},
        {{255, 176, 0}, {0, 0, 0}, 1},
        {{0, 0, 0}, {255, 176, 0}, 0},
        {{200, 200, 200}, {40, 40, 60}, 0},
    }},
    {"green", 0x2591, {
        {{0, 120, 40}, {0, 20, 0}, 0},
        {{0, 220, 80}, {0, 20, 0}, 0},
        {{0, 0, 0}, {0, 220, 80}, 1},
        {{0, 120, 40}, {0, 20, 0}, 0},
        {{180, 255, 180}, {0, 20, 0}, 0},
        {{0, 0, 0}, {0, 220, 80}, 0},
        {{0, 0, 0}, {180, 255, 180}, 1},
        {{0, 220, 80}, {0, 0, 0}, 0},
        {{0, 220, 80}, {0, 45, 12}, 0},
        {{180, 255, 180}, {0, 45, 12}, 0},
        {{180, 255, 180}, {0, 20, 0}, 1},
        {{0, 0, 0}, {0, 220, 80}, 0},
        {{0, 220, 80}, {0, 0, 0}, 1},
        {{0, 0, 0}, {0, 220, 80}, 0},
        {{200, 200, 200}, {40, 40, 60}, 0},
    }},
    {"paper", 32, {
        {{100, 100, 120}, {245, 242, 230}, 0},
        {{40, 40, 50}, {255, 252, 245}, 0},
        {{255, 252, 245}, {40, 90, 180}, 1},
        {{100, 100, 120}, {220, 220, 230}, 0},
        {{40, 40, 50}, {255, 252, 245}, 0},
        {{255, 252, 245}, {40, 90, 180}, 0},
        {{20, 20, 30}, {255, 200, 80}, 1},
        {{255, 252, 245}, {40, 40, 50}, 0},
        {{40, 40, 50}, {228, 226, 218}, 0},
        {{40, 40, 50}, {228, 226, 218}, 0},
        {{40, 90, 180}, {255, 252, 245}, 1},
        {{255, 252, 245}, {40, 90, 180}, 0},
        {{40, 90, 180}, {255, 252, 245}, 1},
        {{255, 252, 245}, {40, 40, 50}, 0},
        {{200, 200, 200}, {40, 40, 60}, 0},
    }},
    {"nord", 32, {
        {{129, 161, 193}, {46, 52, 64}, 0},
        {{136, 192, 208}, {59, 66, 82}, 0},
        {{46, 52, 64}, {136, 192, 208}, 1},
        {{129, 161, 193}, {59, 66, 82}, 0},
        {{236, 239, 244}, {59, 66, 82}, 0},
        {{46, 52, 64}, {163, 190, 140}, 0},
        {{46, 52, 64}, {236, 239, 244}, 1},
        {{236, 239, 244}, {46, 52, 64}, 0},
        {{236, 239, 244}, {42, 48, 62}, 0},
        {{236, 239, 244}, {42, 48, 62}, 0},
        {{136, 192, 208}, {46, 52, 64}, 1},
        {{46, 52, 64}, {136, 192, 208}, 0},
        {{136, 192, 208}, {46, 52, 64}, 1},
        {{236, 239, 244}, {46, 52, 64}, 0},
        {{200, 200, 200}, {40, 40, 60}, 0},
    }},
    {"sunset", 32, {
        {{120, 70, 100}, {40, 20, 50}, 0},
        {{255, 140, 60}, {80, 40, 90}, 0},
        {{40, 20, 50}, {255, 140, 60}, 1},
        {{255, 160, 180}, {80, 40, 90}, 0},
        {{255, 240, 220}, {80, 40, 90}, 0},
        {{40, 20, 50}, {255, 200, 100}, 0},
        {{40, 20, 50}, {255, 240, 220}, 1},
        {{255, 240, 220}, {40, 20, 50}, 0},
        {{255, 240, 220}, {58, 28, 68}, 0},
        {{255, 240, 220}, {58, 28, 68}, 0},
        {{255, 200, 100}, {40, 20, 50}, 1},
        {{40, 20, 50}, {255, 140, 60}, 0},
        {{255, 140, 60}, {40, 20, 50}, 1},
        {{255, 240, 220}, {40, 20, 50}, 0},
        {{200, 200, 200}, {40, 40, 60}, 0},
    }},
    {"rose", 32, {
        {{120, 80, 100}, {30, 15, 25}, 0},
        {{220, 120, 150}, {90, 50, 70}, 0},
        {{30, 15, 25}, {220, 120, 150}, 1},
        {{180, 140, 160}, {90, 50, 70}, 0},
        {{255, 245, 248}, {90, 50, 70}, 0},
        {{255, 245, 248}, {140, 40, 70}, 0},
        {{30, 15, 25}, {255, 200, 210}, 1},
        {{255, 200, 210}, {30, 15, 25}, 0},
        {{255, 245, 248}, {65, 35, 52}, 0},
        {{255, 245, 248}, {65, 35, 52}, 0},
        {{255, 200, 210}, {30, 15, 25}, 1},
        {{30, 15, 25}, {220, 120, 150}, 0},
        {{255, 245, 248}, {140, 40, 70}, 1},
        {{30, 15, 25}, {220, 120, 150}, 0},
        {{200, 200, 200}, {40, 40, 60}, 0},
    }},
};
// clang-format on

enum PaletteIndex { CLASSIC, COBALT, OCEAN_BLUE, MONOCHROME, AMBER, GREEN, PAPER, NORD, SUNSET, ROSE };

Style style_of(const PaletteStyle& s) {
    return style_make(color_rgb(s.fg.r, s.fg.g, s.fg.b), color_rgb(s.bg.r, s.bg.g, s.bg.b), s.bold, false, false);
}

Root<Theme> from_palette(int32_t index) {
    const Palette& p = palettes[index];
    Root<Theme> theme = runtime::make<Theme>();
    theme->name = stdlib::from_c(p.name);
    theme->desktop_fill = p.fill;
    Style* fields[] = {&theme->desktop_style,  &theme->frame_style,         &theme->title_style,
                       &theme->inactive_style, &theme->client_style,        &theme->button_style,
                       &theme->selected_style, &theme->spare_style,         &theme->input_style,
                       &theme->input_focused_style, &theme->popup_frame_style, &theme->menubar_style,
                       &theme->menubar_open_style, &theme->status_style,    &theme->scrollbar_knob_style};
    for (int32_t i = 0; i < 15; i++) *fields[i] = style_of(p.styles[i]);
    theme->frame_mode = FrameMode::Single;
    theme->box = box_glyphs_unicode_light();
    return theme;
}

struct FillPreset {
    const char* name;
    int32_t codepoint;
};
constexpr FillPreset fill_presets[] = {
    {"space", 0x20},        {"middle_dot", 0xB7}, {"light_shade", 0x2591}, {"medium_shade", 0x2592},
    {"dark_shade", 0x2593}, {"diagonal", 0x2571}, {"cross_hatch", 0x2573}, {"full_block", 0x2588},
};

// i modulo n, where a remainder of 0 or below means the first entry.
int32_t wrap_index(int32_t i, int32_t n) {
    int32_t r = i % n;
    return r <= 0 ? 0 : r;
}

}  // namespace

BoxGlyphs box_glyphs_ascii() {
    return {'+', '-', '+', '|', '+', '-', '+', '+', '+', '+', '+', '+', '+'};
}
BoxGlyphs box_glyphs_unicode_light() {
    return {0x250C, 0x2500, 0x2510, 0x2502, 0x2514, 0x2500, 0x2518, 0x2524, 0x251C, 0x2534, 0x252C, 0x2524, 0x251C};
}
BoxGlyphs box_glyphs_unicode_double() {
    return {0x2554, 0x2550, 0x2557, 0x2551, 0x255A, 0x2550, 0x255D, 0x2563, 0x2560, 0x2569, 0x2566, 0x2563, 0x2560};
}

Root<Theme> theme_classic() { return from_palette(CLASSIC); }
Root<Theme> theme_cobalt() { return from_palette(COBALT); }
Root<Theme> theme_ocean_blue() { return from_palette(OCEAN_BLUE); }
Root<Theme> theme_monochrome() { return from_palette(MONOCHROME); }
Root<Theme> theme_amber() { return from_palette(AMBER); }
Root<Theme> theme_green() { return from_palette(GREEN); }
Root<Theme> theme_paper() { return from_palette(PAPER); }
Root<Theme> theme_nord() { return from_palette(NORD); }
Root<Theme> theme_sunset() { return from_palette(SUNSET); }
Root<Theme> theme_rose() { return from_palette(ROSE); }

Root<Theme> theme_ascii() {
    Root<Theme> theme = theme_classic();
    theme->name = "ascii"_t;
    theme->frame_mode = FrameMode::Ascii;
    theme->box = box_glyphs_ascii();
    return theme;
}

Root<Theme> theme_double() {
    Root<Theme> theme = theme_classic();
    theme->name = "double"_t;
    theme->frame_mode = FrameMode::Double;
    theme->box = box_glyphs_unicode_double();
    return theme;
}

int32_t theme_builtin_count() { return 12; }

Root<Theme> theme_builtin_at(int32_t i) {
    int32_t index = wrap_index(i, theme_builtin_count());
    if (index == 10) return theme_ascii();
    if (index == 11) return theme_double();
    return from_palette(index);
}

Root<Theme> theme_by_name(const string& name) {
    static constexpr struct {
        const char* name;
        int32_t index;
    } names[] = {
        {"classic", 0}, {"default", 0},  {"cobalt", 1}, {"ocean_blue", 2}, {"ocean", 2},   {"monochrome", 3},
        {"mono", 3},    {"amber", 4},    {"green", 5},  {"phosphor", 5},   {"paper", 6},   {"light", 6},
        {"nord", 7},    {"sunset", 8},   {"rose", 9},   {"ascii", 10},     {"double", 11},
    };
    for (const auto& entry : names)
        if (name && name->equals(entry.name)) return theme_builtin_at(entry.index);
    return theme_classic();
}

int32_t theme_desktop_fill(const Root<Theme>& theme) { return theme->desktop_fill > 0 ? theme->desktop_fill : 32; }

int32_t desktop_fill_preset_count() { return 8; }
int32_t desktop_fill_preset_at(int32_t i) { return fill_presets[wrap_index(i, 8)].codepoint; }
string desktop_fill_preset_name(int32_t i) { return stdlib::from_c(fill_presets[wrap_index(i, 8)].name); }

stdlib::Option<int32_t> desktop_fill_preset_index(int32_t codepoint) {
    for (int32_t i = 0; i < 8; i++)
        if (fill_presets[i].codepoint == codepoint) return stdlib::Some(i);
    return stdlib::None;
}

}  // namespace kestrum
