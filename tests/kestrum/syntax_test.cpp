#include "kestrum/syntax.hpp"

#include <stdlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/boot.hpp"
#include "tests/support/temp_dir.hpp"

using namespace kestrum;
using namespace stdlib;
using Lines = std::vector<std::string>;

namespace {

// Role letters, in the order of the scheme's role fields: '.' is "normal", ' ' a cell not drawn.
constexpr const char* LETTERS = "KTSCNOFPVcAEoXaB";

// A scheme whose role i is coloured (i + 1, 0, 0), so that a cell's colour names its role.
Root<SyntaxScheme> probe_scheme() {
    Color c[16];
    for (int32_t i = 0; i < 16; i++) c[i] = rgb(i + 1, 0, 0);
    return scheme_make("probe"_t, rgb(0, 0, 9), rgb(0, 0, 0), c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7], c[8],
                       c[9], c[10], c[11], c[12], c[13], c[14], c[15], rgb(0, 0, 0), rgb(0, 0, 0), false);
}

std::string roles_of(const Root<CellBuffer>& buf, int32_t y) {
    std::string out;
    for (int32_t x = 0; x < buf->width; x++) {
        Cell cell = cellbuf_get(buf, x, y);
        out += cell.style.bg != rgb(0, 0, 9) ? ' ' : cell.style.fg.r == 0 ? '.' : LETTERS[cell.style.fg.r - 1];
    }
    return out.erase(out.find_last_not_of(' ') + 1);
}

string_array texts(const Lines& lines) {
    string_array array = Array<Member<Text>>::make(lines.size());
    for (size_t i = 0; i < lines.size(); i++) array[i] = from_bytes(lines[i].data(), (int32_t)lines[i].size());
    return array;
}

// The role map of lines first .. first + rows - 1 after a whole-document paint in catalog language `lang`.
Lines paint(int32_t lang, const Lines& lines, int32_t first = 0, int32_t rows = -1) {
    rows = rows < 0 ? (int32_t)lines.size() : rows;
    Root<CellBuffer> buf = cellbuf_create(48, rows);
    paint_lines(buf, texts(lines), (int32_t)lines.size(), first, rows, 0, 0, lang, probe_scheme(), rect(0, 0, 48, rows));
    Lines out;
    for (int32_t y = 0; y < rows; y++) out.push_back(roles_of(buf, y));
    return out;
}

Root<Lang> parse(const std::string& toml) { return parse_lang(from_bytes(toml.data(), (int32_t)toml.size())); }

// Registers a definition in the open catalog and gives its index.
int32_t install(const std::string& toml) {
    ensure_catalog();
    Root<Lang> lang = parse(toml);
    register_lang(lang);
    return find_id(lang->id);
}

std::string file_def(const std::string& id, const std::string& more = "") { return "id = \"" + id + "\"\n" + more; }

const std::string ITEMS = R"(item_data = [{name = "K", role = "keyword"}, {name = "S", role = "string"}, )"
                          R"({name = "C", role = "comment"}, {name = "N", role = "number"}])"
                          "\n";

class Syntax : public testing::Test {
protected:
    void SetUp() override {
        g_ready = false;
        g_extra_n = 0;
        unsetenv("NOLT_HOME");
    }
    test_support::TempDir tmp;
    std::string dir(const std::string& name, const std::vector<std::pair<std::string, std::string>>& files) {
        std::string path = tmp / name;
        std::filesystem::create_directories(path);
        for (auto& [file, text] : files) test_support::write_bytes(path + "/" + file, text);
        return path;
    }
};

TEST_F(Syntax, SchemesByNameAndRoleStyles) {
    for (auto [name, found] : {std::pair{"Monokai", "monokai"}, {"HC", "highcontrast"}, {"synthwave_84", "synthwave"},
                               {"nosuch", "default"}})
        EXPECT_STREQ(c_str(scheme_by_name(from_c(name))->name), found);
    Root<SyntaxScheme> def = scheme_default();
    EXPECT_EQ(scheme_style(def, "Keyword"_t), scheme_style(def, "normal"_t));  // role names are exact
    EXPECT_EQ(scheme_style(def, "keyword"_t), style_make(rgb(255, 210, 80), rgb(16, 32, 64), true, false, false));
}

TEST_F(Syntax, ParsingKeepsToEveryLimit) {
    std::string nine = "[\"1\", \"2\", \"3\", \"4\", \"5\", \"6\", \"7\", \"8\", \".nine\"]";
    std::string toml = file_def("t", "extensions = " + nine + "\nfilenames = " + nine + "\nlist_names = " + nine +
                                         "\ncasesensitive = \"yes\"\nlists.1 = [\"A\", \"\", \"b\"]\nlists.2 = []\n");
    for (int i = 0; i < 17; i++) toml += "[[item_data]]\nrole = \"r" + std::to_string(i) + "\"\n";
    std::string rules = "rules = [";
    for (int i = 0; i < 25; i++) rules += "{type = \"number\"}, ";
    for (int i = 0; i < 17; i++) toml += "[[context]]\nname = \"c" + std::to_string(i) + "\"\n" + rules + "]\n";
    Root<Lang> lang = parse(toml);
    EXPECT_TRUE(equals(lang->title, "t"_t) && !lang->casesensitive);
    EXPECT_EQ(std::vector<int32_t>({lang->ext_count, lang->filename_count, lang->list_count, lang->item_count,
                                    lang->ctx_count, lang->contexts[15]->rule_count}),
              std::vector<int32_t>({8, 8, 8, 16, 16, 24}));
    EXPECT_TRUE(equals(lang->contexts[0]->line_end, "stay"_t) && equals(lang->contexts[0]->rules[0]->next, "stay"_t));
    EXPECT_TRUE(equals(lang->lists[0], "|a|b|"_t) && equals(lang->lists[1], "|"_t));
    EXPECT_TRUE(list_has(lang, "1"_t, "B"_t) && !list_has(lang, "9"_t, "a"_t));
    EXPECT_STREQ(c_str(item_role(lang, ""_t)), "r0");  // an item without a name matches an empty attribute
    EXPECT_STREQ(c_str(item_role(lang, "x"_t)), "normal");
    EXPECT_TRUE(is_empty(parse("title = \"no id\"")->id) && is_empty(parse("id = \"broken")->id));
}

TEST_F(Syntax, CatalogLoadsDirectoriesInOrder) {
    EXPECT_EQ(lang_from_path("a.nolt"_t), 0);
    EXPECT_EQ(LANG_NOLT(), 0);
    g_ready = false;
    std::string a = dir("a", {{"x.TOML", file_def("x", "extensions = [\".x\"]")},
                              {"skip.txt", file_def("y", "extensions = [\".y\"]")},
                              {"bad.toml", "id = \"z"},
                              {"none.toml", "extensions = [\".y\"]"}});
    std::string b = dir("b", {{"z.toml", file_def("z", "filenames = [\"Makefile\", \"Make.X\"]")}});
    std::string c = dir("c", {{"x.toml", file_def("x", "extensions = [\".xx\"]")}});
    add_syntax_dir(""_t);
    add_syntax_dir(from_c(a.c_str()));
    add_syntax_dir(from_c(b.c_str()));
    add_syntax_dir(from_c(a.c_str()));
    EXPECT_EQ(g_extra_n, 2);
    ensure_catalog();
    EXPECT_EQ(g_n, 3);
    EXPECT_EQ(lang_from_path("src/MAKE.x"_t), 1);  // x comes first, its extension beats z's file name
    EXPECT_EQ(lang_from_path("src\\makefile"_t), 2);
    EXPECT_EQ(lang_from_path("a.y"_t), 0);
    add_syntax_dir(from_c(c.c_str()));  // loaded at once: x keeps its index, the record is c's
    EXPECT_EQ(find_id("x"_t), 1);
    EXPECT_EQ(lang_from_path("a.x"_t), 0);
    EXPECT_EQ(lang_from_path("a.XX"_t), 1);
    for (int i = 0; i < 8; i++) add_syntax_dir(from_c((tmp / std::to_string(i)).c_str()));
    EXPECT_EQ(g_extra_n, 8);

    // The catalog holds 31 languages besides the built-in one.
    SetUp();
    std::vector<std::pair<std::string, std::string>> files;
    for (int i = 0; i < 33; i++) files.push_back({std::to_string(i) + ".toml", file_def("l" + std::to_string(i))});
    add_syntax_dir(from_c(dir("many", files).c_str()));
    ensure_catalog();
    int found = 0;
    for (int i = 0; i < 33; i++) found += find_id(from_c(("l" + std::to_string(i)).c_str())) > 0;
    EXPECT_TRUE(g_n == 32 && found == 31);
}

TEST_F(Syntax, RulesContextsAndCase) {
    int32_t t = install(file_def("t", ITEMS + R"(list_names = ["kw"]
lists.kw = ["if", "end"]
[[context]]
name = "code"
rules = [{type = "word_detect", needle = "do", attribute = "K"}, {type = "keyword", list = "kw", attribute = "K"}, )"
                                             R"({type = "hex", attribute = "N"}, {type = "number", attribute = "N"}, )"
                                             R"({type = "detect2", needle = "/*", attribute = "C", next = "block"}, )"
                                             R"({type = "detect_char", needle = "\"", attribute = "S", next = "str"}, )"
                                             R"({type = "detect_char", needle = "@", attribute = "S", next = "nowhere"}, )"
                                             R"({type = "keyword", list = "nolist", attribute = "K"}]
[[context]]
name = "block"
attribute = "C"
rules = [{type = "detect2", needle = "*/", next = "pop"}, {type = "no such kind"}]
[[context]]
name = "str"
attribute = "S"
line_end = "pop"
)"));
    Lines doc = {"do done xif 7 0x", "\xc3\xa9" "1@2", "x \"a\"b", "0x1\t7", "IF /* a", "", "b */ 1"};
    EXPECT_EQ(paint(t, doc), (Lines{"KK.......KK.N.N.", ".NSN", "..SSSS", "NNN.....N", "...CCCC", "", "CCCC.N"}));
    Lines far(40, "x");
    far[0] = "/* open";
    EXPECT_EQ(paint(t, far, 39, 1), Lines{"C"});
    // Kept between draws, the end states and the spans of a shown line follow an edit of a line
    // above the ones shown, and back.
    Root<HlCache> cache = runtime::make<HlCache>();
    Root<SyntaxScheme> scheme = probe_scheme();
    string_array kept = texts({"", "x", "x"});
    Root<CellBuffer> one = cellbuf_create(48, 1);
    for (const char* first : {"/* open", "y", "/* again"}) {
        kept[0] = from_c(first);
        for (int32_t twice = 0; twice < 2; twice++) {
            paint_lines(one, kept, 3, 2, 1, 0, 0, t, scheme, rect(0, 0, 48, 1), cache);
            EXPECT_EQ(roles_of(one, 0), first[0] == '/' ? "C" : ".") << first;
        }
    }
    EXPECT_EQ(paint(0, {"do 1"}), Lines{"...."});

    int32_t u = install(file_def("u", ITEMS + R"(casesensitive = false
list_names = ["kw"]
lists.kw = ["If"]
context = [{name = "c", rules = [{type = "keyword", list = "kw", attribute = "K"}, {type = "detect2", needle = "AB", attribute = "S"}]}]
)"));
    EXPECT_EQ(paint(u, {"IF if iF ab AB"}), Lines{"KK.KK.KK....SS"});
}

// Every shipped definition loads and colours a sample as expected.
TEST_F(Syntax, ShippedDefinitions) {
    add_syntax_dir(NOLT_SOURCE_DIR "/nolt-stdlib/kestrum/syntax.d"_t);
    EXPECT_GT(LANG_NOLT(), 0);
    EXPECT_EQ(g_n, 10);
    struct Sample { const char* path; Lines lines, roles; } samples[] = {
        {"x.nolt",
         {"fn f(s: string) -> i32 # TODO", "print(\"a\\n\", 0x1F, 2.5, true)", "end f"},
         {"KK......TTTTTT..OO.TTT.CCAAAA", "BBBBB.SSXXS..NNNN..NNN..cccc.", "KKK.."}},
        {"m.c",
         {"#include <stdio.h> /* x", "*/ int n = 0x10; // FIXME", "x = \"a\\\"b\";"},
         {"PPPPPPPP.O.......O.CCCC", "CC.TTT...O.NNNN..CCCAAAAA", "..O.SSXXSS."}},
        {"m.hpp",
         {"[[nodiscard]] auto s = R\"(a\"b)\";", "class A : public B {};"},
         {"aaaaaaaaaaaaa.TTTT...O.SSSSSSSS.", "KKKKK...O.KKKKKK......"}},
        {"s.py",
         {"@app.route(\"/\")", "def f(self): return None  # x", "x = \"\"\"a", "b\"\"\" + 1"},
         {"aaaaaaaaaa.SSS.", "KKK...VVVV...KKKKKK.cccc..CCC", "..O.SSSS", "SSSS.O.N"}},
        {"run.sh",
         {"if [ -n \"$HOME\" ]; then echo ${x} $1 '$y' # c"},
         {"KK......SVVVVVS..O.KKKK.BBBB.VVVV.VV.SSSS.CCC"}},
        {"Makefile", {"CC := $(shell cc) $@ # x", "ifeq ($(X),1)"}, {"...OO.VVFFFFFVVVV.VV.CCC", "KKKK..VVVV.N."}},
        {"README.md",
         {"## Title", "Some **bold** and *it* `code` [l](u)"},
         {"KKKKKKKK", ".....TTTTTTTT.....XXXX.SSSSSS.F.FFaF"}},
        {"conf.toml",
         {"[tab]", "key = \"v\" # c", "n = [1, true]", "x = 0x1F"},
         {"KKKKK", "aaaaO.SSS.CCC", "a.O.ONO.ccccO", "aaO.NNNN"}},
        {"d.json", {"{\"a\": [1.5e3, -2, true, nul]}"}, {"OSSSO.ONNNNNO.NNO.ccccO.EEEOO"}},
    };
    for (const Sample& sample : samples)
        EXPECT_EQ(paint(lang_from_path(from_c(sample.path)), sample.lines), sample.roles) << sample.path;
}

}  // namespace
