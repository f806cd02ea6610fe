// noltide started as tools/run.sh starts it: NOLT_HOME at the checkout, the stand-in compiler
// first on PATH, in the bundled example project.
#include <stdlib.h>

#include "harness.hpp"

TEST(FirstRun, OpensTheExampleWithNoltHighlighted) {
    std::string path = std::string(NOLTC_DIR) + ":" + getenv("PATH");
    e2e::Session s(NOLTIDE_BIN, e2e::Options()
                                    .with_env("NOLT_HOME", NOLT_SOURCE_DIR)
                                    .with_env("PATH", path)
                                    .in_dir(std::string(NOLT_SOURCE_DIR) + "/examples/hello"));
    ASSERT_TRUE(s.wait_text("fn main("));
    int row = 0;
    while (s.row_text(row).find("fn main(") == std::string::npos) row++;
    std::string before = s.row_text(row).substr(0, s.row_text(row).find("fn main("));
    int col = 0;  // cells before it: the frame's glyphs take several bytes each
    for (unsigned char c : before) col += (c & 0xC0) != 0x80;
    // The keyword stands out from the name behind it, which is plain text.
    e2e::Cell keyword = s.cell(row, col), name = s.cell(row, col + 3);
    EXPECT_TRUE(keyword.bold);
    EXPECT_FALSE(name.bold);
    EXPECT_NE(keyword.fg, name.fg);
}
