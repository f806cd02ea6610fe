#include "ide/session.hpp"

#include "tests/support/boot.hpp"
#include "tests/support/temp_dir.hpp"

using namespace ide;
using namespace runtime::literals;

namespace {

std::string s(const stdlib::string& text) { return stdlib::c_str(text); }
stdlib::string t(const std::string& text) { return stdlib::from_c(text.c_str()); }

// One line per record: root, active and kind, each buffer with its rectangle, the output windows.
std::string describe(const session_ref& r) {
    std::string out = s(r->root) + " " + std::to_string(r->active) + " " + s(r->active_kind) + " |";
    for (int32_t i = 0; i < r->buffer_count; i++) out += " " + s(r->buffers[i]) + "@" + s(r->rects[i]);
    return out + " | " + (r->build_visible ? "B " : "- ") + s(r->build_rect) + (r->run_visible ? " R " : " - ") +
           s(r->run_rect);
}

session_ref record(const char* root, int32_t files) {
    session_ref r = empty_project_session();
    r->root = stdlib::from_c(root);
    for (int32_t i = 0; i < files && i < MAX_BUFFERS; i++) {
        r->buffers[i] = t(std::string(root) + "/f" + std::to_string(i));
        r->rects[i] = format_geom(Geom{2, 2, 60 + i, 20});
    }
    r->buffer_count = files;
    r->active = files > 0 ? 0 : -1;
    r->active_kind = files > 0 ? "editor"_t : ""_t;
    return r;
}

std::string roots_in(const std::string& path) {
    std::string out;
    auto doc = stdlib::toml_parse_doc(t(test_support::read_bytes(path)));
    stdlib::string_array roots = collect_roots(doc.unwrap_ok());
    for (int32_t i = 0; i < runtime::length(roots); i++) out += s(roots[i]) + " ";
    return out;
}

TEST(Session, TheFileOfOneProjectWithOneFile) {
    test_support::TempHome home;
    const std::string path = home.config("session.toml");
    ASSERT_TRUE(save_project(session_file_path(), ""_t, record("/home/u/p", 1)));
    EXPECT_EQ(test_support::read_bytes(path),
              "last_root = \"/home/u/p\"\n[\"/home/u/p\"]\nactive = 0\nactive_kind = \"editor\"\n"
              "buffers = [\"/home/u/p/f0\"]\nrects = [\"2,2,60,20\"]\nbuild_visible = false\n"
              "build_rect = \"0,0,0,0\"\nrun_visible = false\nrun_rect = \"0,0,0,0\"\n");

    // Roots the header cannot spell are neither written nor looked up; nine buffers write eight.
    EXPECT_FALSE(save_project(t(path), ""_t, record("/a\"b", 1)));
    EXPECT_FALSE(save_project(t(path), ""_t, empty_project_session()));
    session_ref nine = record("/n", 8);
    nine->buffer_count = 9;
    ASSERT_TRUE(save_project(t(path), ""_t, nine));
    EXPECT_EQ(load_project(t(path), "/n"_t)->buffer_count, 8);

    EXPECT_EQ(s(format_geom(Geom{-1, -2, 3, 4})), "-1,-2,3,4");
    Geom g = parse_geom("1,x,3,4"_t);
    EXPECT_EQ(std::make_tuple(g.x, g.y, g.w, g.h, geom_valid(g)), std::make_tuple(1, 0, 3, 4, true));
    for (const char* bad : {"1,2,3", "1,2,3,4,5", "", "0,0,0,0", "1,2,0,4"}) EXPECT_FALSE(geom_valid(parse_geom(t(bad)))) << bad;
}

TEST(Session, DamagedFilesLoadWhatSurvives) {
    test_support::TempHome home;
    const std::string path = home / "session.toml";
    std::string file =
        "last_root = 5\n[\"/types\"]\nactive = \"x\"\nactive_kind = 5\nbuffers = \"a\"\nrects = 7\n"
        "build_visible = 1\nbuild_rect = [1]\nrun_visible = \"true\"\nrun_rect = 3\n"
        "[\"/twelve\"]\ncolour = \"red\"\nbuffers = [\"0\",\"1\",\"2\",\"3\",\"4\",\"5\",\"6\",\"7\",\"8\",\"9\",\"10\",\"11\"]\n"
        "rects = [\"1,2,3\", \"1,x,3,4\"]\n[\"/only-active\"]\nactive = 2\n[\"/nothing\"]\nunknown = 1\n";
    for (int i = 0; i < 20; i++) file += "[\"/s" + std::to_string(i) + "\"]\nactive = 0\n";
    test_support::write_bytes(path, file);
    EXPECT_EQ(s(load_last_root(t(path))), "5");
    EXPECT_EQ(describe(load_project(t(path), "/types"_t)), "/types -1 5 | | - 0,0,0,0 R 3");
    EXPECT_EQ(describe(load_project(t(path), "/twelve"_t)),
              "/twelve -1  | 0@1,2,3 1@1,x,3,4 2@0,0,0,0 3@0,0,0,0 4@0,0,0,0 5@0,0,0,0 6@0,0,0,0 7@0,0,0,0 | - 0,0,0,0 - 0,0,0,0");
    EXPECT_EQ(describe(load_project(t(path), "/only-active"_t)), "/only-active 2  | | - 0,0,0,0 - 0,0,0,0");
    EXPECT_FALSE(session_has_section(load_project(t(path), "/nothing"_t)));
    EXPECT_TRUE(session_has_section(load_project(t(path), "/s19"_t)));

    // The first sixteen roots count; the empty section and the last eight go at the next save.
    ASSERT_TRUE(save_project(t(path), ""_t, record("/new", 0)));
    std::string kept = "/types /twelve /only-active ";
    for (int i = 0; i < 12; i++) kept += "/s" + std::to_string(i) + " ";
    EXPECT_EQ(roots_in(path), kept + "/new ");
    EXPECT_EQ(load_project(t(path), "/twelve"_t)->buffer_count, 8);
    // A save replaces its own section, which moves last; with sixteen, a new root takes the last place.
    ASSERT_TRUE(save_project(t(path), ""_t, record("/types", 2)));
    EXPECT_EQ(describe(load_project(t(path), "/types"_t)), describe(record("/types", 2)));
    ASSERT_TRUE(save_project(t(path), "/s0"_t, record("/x", 1)));
    EXPECT_EQ(roots_in(path), kept.substr(7) + "/new /x ");
    EXPECT_EQ(s(load_last_root(t(path))), "/s0");

    // Cut anywhere, a file reads as nothing or as the part before the cut.
    test_support::write_bytes(path, "");
    ASSERT_TRUE(save_project(t(path), ""_t, record("/p", 1)));
    const std::string whole = test_support::read_bytes(path);
    for (size_t cut = 0; cut < whole.size(); cut += 3) {
        test_support::write_bytes(path, whole.substr(0, cut));
        session_ref r = load_project(t(path), "/p"_t);
        EXPECT_TRUE(!session_has_section(r) || (s(r->root) == "/p" && r->buffer_count <= 1)) << cut;
    }
    test_support::write_bytes(path, whole.substr(0, whole.find("build_visible")));
    EXPECT_EQ(describe(load_project(t(path), "/p"_t)), "/p 0 editor | /p/f0@2,2,60,20 | - 0,0,0,0 - 0,0,0,0");
}

}  // namespace
