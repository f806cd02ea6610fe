#include "ide/endblock.hpp"

#include "tests/support/boot.hpp"

using namespace ide;
using namespace runtime::literals;

namespace {

TEST(EndBlock, OpenersAndTheirClosingLines) {
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
        {"override exclusive shared override shared shared override fn f()", ""}};
    for (auto& [before, closing] : cases)
        EXPECT_STREQ(stdlib::c_str(end_line(detect(stdlib::from_c(before)))), closing) << before;
    Opener add = detect("  fn add(a)"_t);
    for (auto [line, present] : {std::pair{"end add", true}, {"\t  end add  ", true}, {"end adder", false},
                                 {"end", false}, {"end add # ok", false}, {"", false}})
        EXPECT_EQ(already_present(stdlib::from_c(line), add), present) << line;
}

}  // namespace
