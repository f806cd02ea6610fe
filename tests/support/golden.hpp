// Screen goldens: a CellBuffer rendered as lines of text, one character per cell (a wide
// character and its continuation cell shown once), and as a letter-per-style map. A failed
// comparison prints the expected and actual pictures side by side with the differing rows marked.
//
//   EXPECT_SCREEN(buf, {"+--+", "|ab|", "+--+"});
//   EXPECT_STYLES(buf, legend, {"ffff", "fccf", "ffff"});   // legend: {{'f', frame}, {'c', client}}
//   EXPECT_SCREEN_AT(buf, rect(2, 1, 4, 2), {...});         // a part of the buffer
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "kestrum/cell.hpp"

namespace test_support {

using Picture = std::vector<std::string>;
using Legend = std::vector<std::pair<char, kestrum::Style>>;

inline kestrum::Rect whole(const runtime::Root<kestrum::CellBuffer>& buf) {
    return kestrum::rect(0, 0, buf->width, buf->height);
}

inline Picture screen_text(const runtime::Root<kestrum::CellBuffer>& buf, kestrum::Rect area) {
    Picture rows;
    for (int32_t y = area.y; y < area.y + area.h; y++) {
        std::string row;
        for (int32_t x = area.x; x < area.x + area.w; x++) {
            int32_t cp = kestrum::cellbuf_get(buf, x, y).codepoint;
            row += stdlib::c_str(kestrum::codepoint_to_utf8(cp));
            if (kestrum::codepoint_display_width(cp) == 2) x++;
        }
        rows.push_back(row);
    }
    return rows;
}

// One letter per cell from `legend`; a style it does not list shows as '?'.
inline Picture screen_styles(const runtime::Root<kestrum::CellBuffer>& buf, kestrum::Rect area,
                             const Legend& legend) {
    Picture rows;
    for (int32_t y = area.y; y < area.y + area.h; y++) {
        std::string row;
        for (int32_t x = area.x; x < area.x + area.w; x++) {
            kestrum::Style s = kestrum::cellbuf_get(buf, x, y).style;
            auto it = std::find_if(legend.begin(), legend.end(), [&](const auto& e) { return e.second == s; });
            row += it == legend.end() ? '?' : it->first;
        }
        rows.push_back(row);
    }
    return rows;
}

inline size_t glyph_count(const std::string& s) {
    return std::count_if(s.begin(), s.end(), [](char c) { return (c & 0xC0) != 0x80; });
}

inline testing::AssertionResult same_picture(const Picture& actual, const Picture& expected) {
    if (actual == expected) return testing::AssertionSuccess();
    size_t width = 8;
    for (const auto& row : expected) width = std::max(width, glyph_count(row));
    std::string out = "\n  expected" + std::string(width - 6, ' ') + "actual\n";
    for (size_t i = 0; i < std::max(actual.size(), expected.size()); i++) {
        std::string e = i < expected.size() ? expected[i] : "", a = i < actual.size() ? actual[i] : "";
        out += (e == a ? "  " : "! ") + e + std::string(width - glyph_count(e) + 2, ' ') + a + "\n";
    }
    return testing::AssertionFailure() << out;
}

}  // namespace test_support

#define EXPECT_SCREEN_AT(buf, area, ...) \
    EXPECT_TRUE(test_support::same_picture(test_support::screen_text(buf, area), test_support::Picture __VA_ARGS__))
#define EXPECT_SCREEN(buf, ...) EXPECT_SCREEN_AT(buf, test_support::whole(buf), __VA_ARGS__)
#define EXPECT_STYLES_AT(buf, area, legend, ...)                                         \
    EXPECT_TRUE(test_support::same_picture(test_support::screen_styles(buf, area, legend), \
                                           test_support::Picture __VA_ARGS__))
#define EXPECT_STYLES(buf, legend, ...) EXPECT_STYLES_AT(buf, test_support::whole(buf), legend, __VA_ARGS__)
