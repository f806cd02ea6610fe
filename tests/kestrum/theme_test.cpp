#include "kestrum/theme.hpp"

#include <gtest/gtest.h>

#include "tests/support/boot.hpp"

using namespace kestrum;
using namespace stdlib;

namespace {

std::string name_of(const Root<Theme>& theme) { return c_str(string(theme->name)); }

TEST(Themes, FoundByNameAndAliasInCycleOrderWithClassicAsFallBack) {
    test_support::boot();
    const char* order[] = {"classic", "cobalt", "ocean_blue", "monochrome", "amber", "green",
                           "paper",   "nord",   "sunset",     "rose",       "ascii", "double"};
    ASSERT_EQ(theme_builtin_count(), 12);
    for (int32_t i = 0; i < 12; i++) {
        EXPECT_EQ(name_of(theme_builtin_at(i)), order[i]);
        EXPECT_EQ(name_of(theme_by_name(from_c(order[i]))), order[i]);
    }
    EXPECT_EQ(name_of(theme_builtin_at(13)), "cobalt");
    for (int32_t i : {12, -1, -13}) EXPECT_EQ(name_of(theme_builtin_at(i)), "classic");
    const char* aliases[][2] = {{"default", "classic"}, {"ocean", "ocean_blue"}, {"mono", "monochrome"},
                                {"phosphor", "green"},  {"light", "paper"},      {"Classic", "classic"},
                                {"", "classic"},        {"NORD", "classic"}};
    for (auto& [alias, name] : aliases) EXPECT_EQ(name_of(theme_by_name(from_c(alias))), name) << alias;
    EXPECT_EQ(name_of(theme_by_name(string())), "classic");
}

TEST(Themes, FramesFillsAndPresets) {
    test_support::boot();
    Root<Theme> ascii = theme_ascii(), dbl = theme_double(), classic = theme_classic();
    EXPECT_EQ(ascii->box, box_glyphs_ascii());
    EXPECT_EQ(ascii->frame_mode, FrameMode::Ascii);
    EXPECT_EQ(dbl->box.tl, 0x2554);
    EXPECT_EQ(classic->box.title_left, 0x2524);
    // Only the frames tell ascii and double from classic.
    EXPECT_EQ(ascii->client_style, classic->client_style);
    EXPECT_EQ(dbl->menubar_open_style, classic->menubar_open_style);
    EXPECT_EQ(theme_desktop_fill(theme_cobalt()), 0x2573);
    classic->desktop_fill = 0;
    EXPECT_EQ(theme_desktop_fill(classic), 32);

    EXPECT_EQ(desktop_fill_preset_count(), 8);
    EXPECT_EQ(desktop_fill_preset_at(9), 0xB7);
    EXPECT_EQ(desktop_fill_preset_at(-3), 32);
    EXPECT_STREQ(c_str(desktop_fill_preset_name(14)), "cross_hatch");
    EXPECT_EQ(desktop_fill_preset_index(0x2588).unwrap(), 7);
    EXPECT_TRUE(desktop_fill_preset_index(0x41).is_none());
}

}  // namespace
