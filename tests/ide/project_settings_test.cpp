#include "ide/project_settings.hpp"

#include "ide/project.hpp"
#include "tests/support/golden.hpp"
#include "tests/support/stream.hpp"
#include "tests/support/temp_dir.hpp"

using namespace ide;
using namespace runtime::literals;

namespace {

const std::string PKG = "[package]\nname = \"new\"";
const std::string BLD = "[build]\nentry = \"e\"\noutput = \"app\"\noutput_dir = \"out\"\nsource_dirs = [\"src\"]";

std::string str(const string& s) { return stdlib::c_str(s); }
string_array dirs() { return stdlib::split("src,lib"_t, ','); }

std::string update(const std::string& text, int32_t dir_count = 1) {
    string out = surgical_update(stdlib::from_c(text.c_str()), "new"_t, "e"_t, "app"_t, "out"_t, dirs(), dir_count);
    return stdlib::c_str(out);
}

TEST(SurgicalUpdate, OnlyTheFiveKeysChange) {
    // Comments, odd spacing, unknown keys, an array of tables, another table with the same keys.
    EXPECT_EQ(update("# demo\n[package]\nname  =  \"old\"  # was\nversion = \"1.2\"\n[[package.x]]\n  name = \"in\"\n\n"
                     "[build]\n\tentry=\"old\"\n# binary\noutput_dir = 'bin'\nf = { o = 2 }\n\n[tool]\nname = \"k\"\n"),
              "# demo\n[package]\nname = \"new\"\nversion = \"1.2\"\n[[package.x]]\nname = \"new\"\n\n[build]\n"
              "entry = \"e\"\n# binary\noutput_dir = \"out\"\nf = { o = 2 }\n\noutput = \"app\"\n"
              "source_dirs = [\"src\"]\n[tool]\nname = \"k\"\n");
    // Missing tables and keys; forms the writer does not own stay as they are.
    for (auto& [text, expected] : std::initializer_list<std::pair<std::string, std::string>>{
             {"", PKG + "\n\n" + BLD},
             {"[package]\nname = \"a\"\n", PKG + "\n\n" + BLD},
             {"[package]\nname = \"a\"", PKG + "\n\n" + BLD},
             {"[build]\nentry = \"x\"\n[package]\nname = \"a\"", BLD + "\n" + PKG},
             {"[package]\n\"name\" = \"q\"", "[package]\n\"name\" = \"q\"\nname = \"new\"\n\n" + BLD},
             {"package = { name = \"x\" }\nbuild.entry = \"y\"\n",
              "package = { name = \"x\" }\nbuild.entry = \"y\"\n\n" + PKG + "\n\n" + BLD}})
        EXPECT_EQ(update(text), expected) << text;
    EXPECT_TRUE(update("", 0).ends_with("source_dirs = []") && update("", 9).ends_with("[\"src\", \"lib\"]"));
}

TEST(SurgicalUpdate, SavedValuesReadBack) {
    test_support::TempDir dir;
    string path = stdlib::from_c((dir / "nolt.toml").c_str());
    test_support::write_bytes(dir / "nolt.toml", "[package]\nname = \"a\"\nversion = \"1.2\"\n");
    const string name = "de\"mo\\x\ty"_t;
    ASSERT_TRUE(save_nolt_toml(path, name, "src/app.nolt"_t, ""_t, "out"_t, dirs(), 2));
    Root<Project> p = project_load(path).project;
    ASSERT_TRUE(p);
    EXPECT_TRUE(stdlib::equals(p->name, name) && stdlib::equals(p->output, name));
    EXPECT_EQ(str(p->version) + " " + str(p->entry) + " " + str(p->source_dirs[1]), "1.2 src/app.nolt lib");
    for (const std::string& bad : {std::string(), dir / "gone/nolt.toml", dir.path()})
        EXPECT_FALSE(save_nolt_toml(stdlib::from_c(bad.c_str()), name, ""_t, ""_t, ""_t, dirs(), 2)) << bad;
}

const std::string TOML = "# demo\n[package]\nname = \"demo\"  # shown\nversion = \"0.3\"\n\n[build]\n"
                         "entry = \"src/main.nolt\"\nflags = [\"-O\"]\n\n[tool.fmt]\nwidth = 80\n";

using ProjectForm = stream::Loops;

TEST_F(ProjectForm, LaidOutAndShownAsWrittenAfterApply) {
    test_support::TempDir dir;
    test_support::write_bytes(dir / "nolt.toml", TOML);
    Root<Project> project = project_load(stdlib::from_c((dir / "nolt.toml").c_str())).project;
    app->set_theme(kestrum::theme_ascii());
    Root<ProjectSettingsWin> win = ProjectSettingsWin::create(project);
    open_settings_modal(app, win);
    app->redraw();
    EXPECT_SCREEN_AT(app->frame, kestrum::rect(2, 1, 58, 16),
                     {"++ Project Settings +-------------------------------+ x ++",
                      "|Name         demo                                       |",
                      "|                                                        |",
                      "|Entry        src/main.nolt                              |",
                      "|                                                        |",
                      "|Output       demo                                       |",
                      "|                                                        |",
                      "|Output dir   build                                      |",
                      "|                                                        |",
                      "|Source dirs  src                                        |",
                      "|                                                        |",
                      "|                                                        |",
                      "|                                                        |",
                      "|                                                        |",
                      "|                                   [ Apply ]  [ Cancel ]|",
                      "+--------------------------------------------------------▄"});

    // Fields are dirty byte for byte and shown as written after Apply.
    win->input(0)->set_text("demo "_t);
    win->sync_dirty_from_fields();
    EXPECT_TRUE(win->is_dirty());
    win->input(3)->set_text("out "_t);
    win->input(4)->set_text(" a,b ,,c,d,e,f,g,h,i"_t);
    ASSERT_TRUE(win->apply_to_disk());
    EXPECT_FALSE(win->is_dirty());
    EXPECT_EQ(str(win->input(0)->text) + "|" + str(win->input(3)->text) + "|" + str(win->input(4)->text) + "|" +
                  str(win->title),
              "demo|out|a, b, c, d, e, f, g, h|Project Settings");
    EXPECT_NE(test_support::read_bytes(dir / "nolt.toml").find("source_dirs = [\"a\", \"b\", \"c\", \"d\", \"e\", \"f\", \"g\", \"h\"]"),
              std::string::npos);
}

}  // namespace
