#include "kestrum/theme.hpp"

#include "tests/support/boot.hpp"

using namespace kestrum;
using namespace stdlib;

namespace {

std::string name_of(const Root<Theme>& theme) { return c_str(string(theme->name)); }

TEST(Themes, FoundByNameAndAliasInCycleOrderWithClassicAsFallBack) {
    const char* order[] = {"classic", "cobalt", "ocean_blue", "monochrome", "amber", "green",
                           "paper",   "nord",   "sunset",     "rose",       "ascii", "double"};
    ASSERT_EQ(theme_builtin_count(), 12);
    for (int32_t i = 0; i < 12; i++) {
        EXPECT_EQ(name_of(theme_builtin_at(i)), order[i]);
        EXPECT_EQ(name_of(theme_by_name(from_c(order[i]))), order[i]);
    }
    const char* aliases[][2] = {{"default", "classic"}, {"ocean", "ocean_blue"}, {"mono", "monochrome"},
                                {"phosphor", "green"},  {"light", "paper"},      {"Classic", "classic"},
                                {"", "classic"},        {"NORD", "classic"}};
    for (auto& [alias, name] : aliases) EXPECT_EQ(name_of(theme_by_name(from_c(alias))), name) << alias;
    EXPECT_EQ(name_of(theme_by_name(string())), "classic");
}

}  // namespace
