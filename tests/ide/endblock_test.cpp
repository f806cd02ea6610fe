#include "ide/endblock.hpp"

#include <gtest/gtest.h>

#include "ide/user_prefs.hpp"
#include "tests/support/boot.hpp"
#include "tests/support/home_dir.hpp"

using namespace ide;
using namespace runtime::literals;

namespace {

TEST(EndBlock, OpenersAndTheirClosingLines) {
    test_support::boot();
    // The text before the caret, and the closing line it gets ("" for none).
    const char* cases[][2] = {
        {"fn add(a, b)", "end add"}, {"    proc run()", "    end run"}, {"\tif x > 0", "\tend if"},
        {"override shared fn draw(self)", "end draw"}, {"fn add(", "end add"}, {"fn add", ""}, {"fn(x)", ""},
        {"fn (x)", ""}, {"fn add(a, b) => a + b", ""}, {"if s == \"=>\"", ""}, {"object Point", "end Point"},
        {"type Point struct", "end Point"}, {"type Id = Int", ""}, {"type reunion = Int", "end reunion"},
        {"init(a)", "end init"}, {"export fn main()", "end export"}, {"while ok", "end while"},
        {"typecase v", "end typecase"}, {"iffy()", ""}, {"x = fn go()", ""}, {"end if", ""}, {"ending()", ""},
        {" \t ", ""}, {"else", ""}, {"struct S", ""}, {"fn caf\xc3\xa9()", "end caf"}, {"fn \xc3\xa9t\xc3\xa9()", ""},
        {"override exclusive shared override shared shared fn f()", "end f"},
        {"override exclusive shared override shared shared override fn f()", ""},
    };
    for (auto& [before, closing] : cases) {
        Opener opener = detect(stdlib::from_c(before));
        nolt_heaps_gc();
        EXPECT_EQ(opener.found, *closing != 0) << before;
        EXPECT_STREQ(stdlib::c_str(end_line(opener)), closing) << before;
    }

    Opener add = detect("  fn add(a)"_t);
    const std::pair<const char*, bool> next_lines[] = {{"end add", true},       {"\t  end add  ", true},
                                                       {"end adder", false},    {"end", false},
                                                       {"end add # ok", false}, {"", false}};
    for (auto& [line, present] : next_lines) EXPECT_EQ(already_present(stdlib::from_c(line), add), present) << line;
    EXPECT_FALSE(already_present("end "_t, empty_opener()));
}

TEST(EndBlock, ToggleIsSavedAndNamedOnTheMenu) {
    test_support::boot();
    test_support::TempHome home;
    g_loaded = false;
    EXPECT_TRUE(enabled());
    EXPECT_STREQ(stdlib::c_str(menu_label()), "Auto End Block: On");
    EXPECT_FALSE(toggle());
    EXPECT_STREQ(stdlib::c_str(menu_label()), "Auto End Block: Off");
    g_loaded = false;  // a later start reads it back
    EXPECT_FALSE(enabled());
    EXPECT_TRUE(toggle());
    EXPECT_NE(test_support::read_bytes(home.config("settings.toml")).find("auto_end_block = true"), std::string::npos);
}

}  // namespace
