#include "kestrum/syntax.hpp"

#include <string.h>
#include <algorithm>

#include "stdlib/core/chars.hpp"
#include "stdlib/core/convert.hpp"
#include "stdlib/encoding/toml.hpp"
#include "stdlib/encoding/utf8.hpp"
#include "stdlib/io/dir.hpp"
#include "stdlib/io/file.hpp"
#include "stdlib/sys/env.hpp"
#include "stdlib/text/stringbuilder.hpp"

namespace kestrum {

using namespace runtime::literals;
using stdlib::None;
using stdlib::Some;
using Texts = Array<Member<Text>>;

namespace {

// Raw views of texts for the scanning paths, which allocate nothing; a null text is empty.
int32_t len_of(const Text* t) { return t ? t->length() : 0; }
const char* bytes_of(const Text* t) { return t ? t->c_str() : ""; }
// The first byte is compared inline: most comparisons on the scanning path fail there.
bool same(const Text* t, const char* s, int32_t n) {
    return len_of(t) == n && (n == 0 || (t->c_str()[0] == s[0] && memcmp(t->c_str(), s, (size_t)n) == 0));
}
bool same(const Text* a, const Text* b) { return same(a, bytes_of(b), len_of(b)); }
// Equal once both sides are lower-cased.
bool same_folded(const Text* t, const char* s, int32_t n) {
    if (len_of(t) != n) return false;
    for (int32_t i = 0; i < n; i++)
        if (stdlib::to_lower(t->c_str()[i]) != stdlib::to_lower(s[i])) return false;
    return true;
}

// Index of the first text among the first `count` of `names` equal to s, or -1.
int32_t index_in(const Member<Texts>& names, int32_t count, const char* s, int32_t n) {
    for (int32_t i = 0; i < count; i++)
        if (same(names[i].get(), s, n)) return i;
    return -1;
}

int32_t ctx_index(const Lang* lang, const char* s, int32_t n) {
    for (int32_t i = 0; i < lang->ctx_count; i++)
        if (same(lang->contexts[i]->name.get(), s, n)) return i;
    return -1;
}

// Whether the packed list holds the word as a whole entry: a pipe, the word and a pipe. The list
// of a language that ignores case is already lower-case, so only the word is folded.
bool packed_has(const Text* packed, const char* word, int32_t n, bool fold) {
    const char* p = bytes_of(packed);
    int32_t len = len_of(packed);
    for (int32_t at = 0; at + n + 1 < len; at++) {
        if (p[at] != '|' || p[at + n + 1] != '|') continue;
        int32_t k = 0;
        while (k < n && (fold ? stdlib::to_lower(word[k]) : word[k]) == p[at + 1 + k]) k++;
        if (k == n) return true;
    }
    return false;
}

bool list_has_raw(const Lang* lang, const Text* list_name, const char* word, int32_t n) {
    int32_t i = index_in(lang->list_names, lang->list_count, bytes_of(list_name), len_of(list_name));
    return i >= 0 && packed_has(lang->lists[i].get(), word, n, !lang->casesensitive);
}

Text* role_of(const Lang* lang, const Text* attribute) {
    int32_t i = index_in(lang->item_names, lang->item_count, bytes_of(attribute), len_of(attribute));
    return i >= 0 ? lang->item_roles[i].get() : "normal"_t;
}

// ---- Reading a definition ------------------------------------------------------------------

using stdlib::toml_doc;

string dotted(const string& a, const string& b) { return stdlib::concat(stdlib::concat(a, "."_t), b); }
string dotted(const string& a, int32_t index) { return dotted(a, stdlib::to_string(index)); }

string get_or(const toml_doc& doc, const string& key, const string& fallback) {
    return stdlib::toml_get_doc_or(doc, key, fallback);
}

// The first `limit` elements at most of the inline array `key`, into `into`; gives how many.
int32_t read_strings(const toml_doc& doc, const string& key, const Member<Texts>& into, int32_t limit) {
    int32_t n = min_int(max_int(stdlib::toml_array_len_doc_or(doc, key, 0), 0), limit);
    for (int32_t i = 0; i < n; i++) into[i] = stdlib::toml_array_item_doc_or(doc, key, i, stdlib::empty_string());
    return n;
}

// The number of [[name]] tables to read, at most `limit`.
int32_t table_count(const toml_doc& doc, const string& name, int32_t limit) {
    return min_int(stdlib::toml_array_count(doc->keys, doc->count, name), limit);
}

int32_t rule_kind(const string& type) {
    static const char* const names[] = {"detect_char", "detect2", "string_detect", "word_detect", "keyword",
                                        "detect_identifier", "number", "hex"};
    static const int32_t kinds[] = {RK_CHAR, RK_DETECT2, RK_DETECT2, RK_STRING, RK_KEYWORD, RK_IDENT, RK_NUMBER, RK_HEX};
    for (int32_t i = 0; i < 8; i++)
        if (same(type.get(), names[i], (int32_t)strlen(names[i]))) return kinds[i];
    return 0;
}

Root<Rule> read_rule(const toml_doc& doc, const string& key) {
    Root<Rule> rule = empty_rule();
    rule->kind = rule_kind(get_or(doc, dotted(key, "type"_t), stdlib::empty_string()));
    rule->needle = get_or(doc, dotted(key, "needle"_t), stdlib::empty_string());
    rule->list = get_or(doc, dotted(key, "list"_t), stdlib::empty_string());
    rule->attribute = get_or(doc, dotted(key, "attribute"_t), stdlib::empty_string());
    string next = get_or(doc, dotted(key, "next"_t), stdlib::empty_string());
    if (!stdlib::is_empty(next)) rule->next = next;
    return rule;
}

Root<Ctx> read_ctx(const toml_doc& doc, const string& key) {
    Root<Ctx> ctx = runtime::make<Ctx>();
    ctx->name = get_or(doc, dotted(key, "name"_t), stdlib::empty_string());
    ctx->attribute = get_or(doc, dotted(key, "attribute"_t), stdlib::empty_string());
    ctx->line_end = get_or(doc, dotted(key, "line_end"_t), "stay"_t);
    ctx->rules = Array<Member<Rule>>::make(max_rules());
    string rules = dotted(key, "rules"_t);
    ctx->rule_count = min_int(max_int(stdlib::toml_array_len_doc_or(doc, rules, 0), 0), max_rules());
    for (int32_t i = 0; i < ctx->rule_count; i++) ctx->rules[i] = read_rule(doc, dotted(rules, i));
    return ctx;
}

Root<Lang> blank_lang() {
    Root<Lang> lang = runtime::make<Lang>();
    lang->extensions = Texts::make(max_ext());
    lang->filenames = Texts::make(max_ext());
    lang->list_names = Texts::make(max_lists());
    lang->lists = Texts::make(max_lists());
    lang->item_names = Texts::make(max_item_data());
    lang->item_roles = Texts::make(max_item_data());
    lang->contexts = Array<Member<Ctx>>::make(max_ctx());
    return lang;
}

}  // namespace

Root<Rule> empty_rule() {
    Root<Rule> rule = runtime::make<Rule>();
    rule->next = "stay"_t;
    return rule;
}

string pack_list(const string_array& words) {
    stdlib::string_builder sb = stdlib::sb_new();
    stdlib::sb_append(sb, "|"_t);
    for (int32_t i = 0; i < runtime::length(words); i++) {
        string word = words[i];
        if (stdlib::is_empty(word)) continue;
        stdlib::sb_append(sb, word);
        stdlib::sb_append(sb, "|"_t);
    }
    return stdlib::sb_build(sb);
}

Root<Lang> parse_lang(const string& text) {
    Root<Lang> lang = blank_lang();
    auto parsed = stdlib::toml_parse_doc(text);
    if (parsed.is_err()) return lang;
    const toml_doc& doc = parsed.unwrap_ok();
    string id = get_or(doc, "id"_t, stdlib::empty_string());
    if (stdlib::is_empty(id)) return lang;
    lang->id = id;
    lang->title = get_or(doc, "title"_t, id);
    lang->casesensitive = stdlib::toml_get_bool_doc_or(doc, "casesensitive"_t, true);
    lang->ext_count = read_strings(doc, "extensions"_t, lang->extensions, max_ext());
    lang->filename_count = read_strings(doc, "filenames"_t, lang->filenames, max_ext());
    lang->list_count = read_strings(doc, "list_names"_t, lang->list_names, max_lists());
    for (int32_t i = 0; i < lang->list_count; i++) {
        string key = dotted("lists"_t, lang->list_names[i]);
        Root<Texts> words = Texts::make((uint64_t)max_int(stdlib::toml_array_len_doc_or(doc, key, 0), 0));
        for (int32_t w = 0; w < runtime::length(words); w++)
            words[w] = stdlib::toml_array_item_doc_or(doc, key, w, stdlib::empty_string());
        string packed = pack_list(words);
        lang->lists[i] = lang->casesensitive ? packed : stdlib::to_lower(packed);
    }
    lang->item_count = table_count(doc, "item_data"_t, max_item_data());
    for (int32_t i = 0; i < lang->item_count; i++) {
        string key = dotted("item_data"_t, i);
        lang->item_names[i] = get_or(doc, dotted(key, "name"_t), stdlib::empty_string());
        lang->item_roles[i] = get_or(doc, dotted(key, "role"_t), stdlib::empty_string());
    }
    lang->ctx_count = table_count(doc, "context"_t, max_ctx());
    for (int32_t i = 0; i < lang->ctx_count; i++) lang->contexts[i] = read_ctx(doc, dotted("context"_t, i));
    return lang;
}

Option<int32_t> find_ctx(const Root<Lang>& lang, const string& name) {
    int32_t i = ctx_index(lang.get(), stdlib::c_str(name), stdlib::length(name));
    if (i < 0) return None;
    return Some(i);
}

Option<int32_t> find_list(const Root<Lang>& lang, const string& name) {
    int32_t i = index_in(lang->list_names, lang->list_count, stdlib::c_str(name), stdlib::length(name));
    if (i < 0) return None;
    return Some(i);
}

string item_role(const Root<Lang>& lang, const string& attribute) {
    return string(role_of(lang.get(), attribute.get()));
}

bool list_has(const Root<Lang>& lang, const string& list_name, const string& word) {
    return list_has_raw(lang.get(), list_name.get(), stdlib::c_str(word), stdlib::length(word));
}

// ---- Catalog ---------------------------------------------------------------------------------

Global<Array<Member<Lang>>> g_langs;
int32_t g_n = 1;
Global<Texts> g_extra;
int32_t g_extra_n = 0;
bool g_ready = false;

namespace {

// The program's entry makes both arrays at start; anything else that uses the catalog first
// gets them here.
void ensure_slots() {
    if (!g_langs) {
        g_langs.register_root();
        g_langs = Array<Member<Lang>>::make(max_langs());
    }
    if (!g_extra) {
        g_extra.register_root();
        g_extra = Texts::make(MAX_EXTRA_DIRS);
    }
}

Lang* lang_at(int32_t index) { return (*g_langs.get())[index].get(); }

// Whether the name ends in ".toml", in any case.
bool is_toml_name(const string& name) {
    int32_t n = stdlib::length(name);
    return n >= 5 && same_folded(".toml"_t, stdlib::c_str(name) + n - 5, 5);
}

}  // namespace

string home_syntax_dir() {
    string home = stdlib::get_env_or("NOLT_HOME"_t, stdlib::empty_string());
    if (stdlib::is_empty(home)) return home;
    return stdlib::concat(home, "/nolt-stdlib/kestrum/syntax.d"_t);
}

void ensure_catalog() {
    if (g_ready) return;
    ensure_slots();
    g_n = 1;
    g_ready = true;
    load_dir(home_syntax_dir());
    for (int32_t i = 0; i < g_extra_n; i++) load_dir(string((*g_extra.get())[i]));
}

void add_syntax_dir(const string& dir) {
    ensure_slots();
    if (stdlib::is_empty(dir) || g_extra_n >= MAX_EXTRA_DIRS) return;
    for (int32_t i = 0; i < g_extra_n; i++)
        if (same((*g_extra.get())[i].get(), dir.get())) return;
    (*g_extra.get())[g_extra_n++] = dir.get();
    if (g_ready) load_dir(dir);
}

void load_dir(const string& dir) {
    if (stdlib::is_empty(dir)) return;
    auto listed = stdlib::list_dir(dir);
    if (listed.is_err()) return;
    const string_array& names = listed.unwrap_ok();
    for (int32_t i = 0; i < runtime::length(names); i++) {
        string name = names[i];
        if (!is_toml_name(name)) continue;
        auto text = stdlib::readFile(stdlib::concat(stdlib::concat(dir, "/"_t), name));
        if (text.is_ok()) register_lang(parse_lang(text.unwrap_ok()));
    }
}

void register_lang(const Root<Lang>& lang) {
    if (!lang || len_of(lang->id.get()) == 0) return;
    ensure_slots();
    int32_t index = find_id(lang->id);
    if (index == 0 && g_n < max_langs()) index = g_n++;
    if (index > 0) (*g_langs.get())[index] = lang;
}

int32_t find_id(const string& id) {
    for (int32_t i = 1; i < g_n; i++)
        if (lang_at(i) && same(lang_at(i)->id.get(), id.get())) return i;
    return 0;
}

int32_t lang_from_path(const string& path) {
    ensure_catalog();
    const char* p = stdlib::c_str(path);
    int32_t n = stdlib::length(path), base = n;
    if (n == 0) return 0;
    while (base > 0 && p[base - 1] != '/' && p[base - 1] != '\\') base--;
    for (int32_t i = 1; i < g_n; i++) {
        const Lang* lang = lang_at(i);
        for (int32_t f = 0; f < lang->filename_count; f++)
            if (same_folded(lang->filenames[f].get(), p + base, n - base)) return i;
        for (int32_t e = 0; e < lang->ext_count; e++) {
            int32_t k = len_of(lang->extensions[e].get());
            if (k > 0 && k <= n && same_folded(lang->extensions[e].get(), p + n - k, k)) return i;
        }
    }
    return 0;
}

int32_t LANG_NOLT() {
    ensure_catalog();
    return find_id("nolt"_t);
}

// ---- Colour schemes --------------------------------------------------------------------------

namespace {

// One built-in scheme: bg, fg, the sixteen roles in order, gutter_fg, gutter_bg.
struct SchemeRow {
    const char* name;
    bool keyword_bold;
    uint8_t colors[20][3];
};

const SchemeRow SCHEMES[] = {
    {"default", true,
     {{16, 32, 64}, {220, 230, 245}, {255, 210, 80}, {130, 200, 255}, {140, 230, 160}, {150, 175, 210}, {255, 170, 130},
      {200, 210, 230}, {255, 200, 120}, {180, 160, 255}, {220, 230, 245}, {255, 170, 130}, {255, 120, 80}, {255, 80, 80},
      {180, 190, 210}, {255, 180, 200}, {200, 180, 120}, {180, 160, 255}, {140, 160, 190}, {12, 24, 48}}},
    {"darcula", false,
     {{43, 43, 43}, {169, 183, 198}, {204, 120, 50}, {152, 118, 170}, {106, 135, 89}, {128, 128, 128}, {104, 151, 187},
      {169, 183, 198}, {255, 198, 109}, {187, 181, 41}, {169, 183, 198}, {152, 118, 170}, {255, 107, 104}, {188, 63, 60},
      {186, 186, 186}, {204, 120, 50}, {187, 181, 41}, {136, 136, 198}, {96, 99, 102}, {49, 51, 53}}},
    {"highcontrast", true,
     {{0, 0, 0}, {255, 255, 255}, {255, 255, 0}, {128, 128, 255}, {0, 255, 255}, {0, 255, 0}, {255, 0, 255},
      {255, 255, 255}, {255, 200, 0}, {255, 128, 0}, {255, 255, 255}, {255, 0, 255}, {255, 80, 80}, {255, 0, 0},
      {200, 200, 200}, {255, 128, 255}, {255, 255, 128}, {128, 255, 128}, {180, 180, 180}, {0, 0, 0}}},
    {"paper", true,
     {{245, 240, 230}, {26, 26, 26}, {0, 51, 153}, {102, 0, 153}, {17, 102, 17}, {102, 102, 102}, {170, 34, 0},
      {51, 51, 51}, {153, 102, 0}, {0, 102, 102}, {26, 26, 26}, {102, 0, 102}, {153, 0, 0}, {153, 0, 0},
      {80, 80, 80}, {153, 51, 0}, {102, 51, 0}, {0, 102, 153}, {90, 90, 90}, {232, 226, 214}}},
    {"monokai", false,
     {{39, 40, 34}, {248, 248, 242}, {249, 38, 114}, {102, 217, 239}, {230, 219, 116}, {117, 113, 94}, {174, 129, 255},
      {248, 248, 242}, {166, 226, 46}, {166, 226, 46}, {248, 248, 242}, {174, 129, 255}, {249, 38, 114}, {249, 38, 114},
      {190, 190, 180}, {253, 151, 31}, {102, 217, 239}, {166, 226, 46}, {144, 144, 138}, {30, 31, 26}}},
    {"solarized_dark", false,
     {{0, 43, 54}, {131, 148, 150}, {181, 137, 0}, {181, 137, 0}, {42, 161, 152}, {88, 110, 117}, {203, 75, 22},
      {131, 148, 150}, {38, 139, 210}, {203, 75, 22}, {131, 148, 150}, {211, 54, 130}, {220, 50, 47}, {220, 50, 47},
      {147, 161, 161}, {133, 153, 0}, {108, 113, 196}, {38, 139, 210}, {88, 110, 117}, {7, 54, 66}}},
    {"solarized_light", false,
     {{253, 246, 227}, {101, 123, 131}, {181, 137, 0}, {181, 137, 0}, {42, 161, 152}, {147, 161, 161}, {203, 75, 22},
      {101, 123, 131}, {38, 139, 210}, {203, 75, 22}, {101, 123, 131}, {211, 54, 130}, {220, 50, 47}, {220, 50, 47},
      {88, 110, 117}, {133, 153, 0}, {108, 113, 196}, {38, 139, 210}, {147, 161, 161}, {238, 232, 213}}},
    {"twilight", false,
     {{20, 20, 20}, {248, 248, 248}, {205, 168, 105}, {155, 133, 157}, {143, 157, 106}, {95, 90, 96}, {207, 106, 76},
      {248, 248, 248}, {155, 112, 63}, {205, 168, 105}, {117, 135, 166}, {207, 106, 76}, {207, 106, 76}, {207, 106, 76},
      {180, 180, 180}, {249, 238, 152}, {155, 133, 157}, {155, 112, 63}, {95, 90, 96}, {12, 12, 12}}},
    {"vibrant_ink", false,
     {{12, 12, 12}, {255, 255, 255}, {255, 102, 0}, {255, 204, 0}, {102, 255, 0}, {153, 51, 204}, {255, 238, 152},
      {255, 255, 255}, {255, 204, 0}, {255, 102, 0}, {255, 255, 255}, {51, 153, 255}, {255, 80, 80}, {255, 0, 0},
      {200, 200, 200}, {255, 102, 0}, {255, 204, 0}, {51, 153, 255}, {128, 128, 128}, {0, 0, 0}}},
    {"dracula", false,
     {{40, 42, 54}, {248, 248, 242}, {255, 121, 198}, {139, 233, 253}, {241, 250, 140}, {98, 114, 164}, {189, 147, 249},
      {248, 248, 242}, {80, 250, 123}, {255, 121, 198}, {248, 248, 242}, {189, 147, 249}, {255, 184, 108}, {255, 85, 85},
      {98, 114, 164}, {255, 184, 108}, {80, 250, 123}, {139, 233, 253}, {98, 114, 164}, {33, 34, 44}}},
    {"one_dark", false,
     {{40, 44, 52}, {171, 178, 191}, {198, 120, 221}, {229, 192, 123}, {152, 195, 121}, {92, 99, 112}, {209, 154, 102},
      {171, 178, 191}, {97, 175, 239}, {198, 120, 221}, {224, 108, 117}, {209, 154, 102}, {229, 192, 123}, {224, 108, 117},
      {171, 178, 191}, {86, 182, 194}, {229, 192, 123}, {86, 182, 194}, {75, 82, 99}, {33, 37, 43}}},
    {"tokyo_night", false,
     {{26, 27, 38}, {192, 202, 245}, {187, 154, 247}, {42, 195, 222}, {158, 206, 106}, {86, 95, 137}, {255, 158, 100},
      {137, 221, 255}, {122, 162, 247}, {187, 154, 247}, {192, 202, 245}, {255, 158, 100}, {224, 175, 104}, {247, 118, 142},
      {169, 177, 214}, {125, 207, 255}, {115, 218, 202}, {125, 207, 255}, {59, 66, 97}, {22, 22, 30}}},
    {"gruvbox", false,
     {{40, 40, 40}, {235, 219, 178}, {251, 73, 52}, {250, 189, 47}, {184, 187, 38}, {146, 131, 116}, {211, 134, 155},
      {254, 128, 25}, {184, 187, 38}, {142, 192, 124}, {235, 219, 178}, {211, 134, 155}, {254, 128, 25}, {251, 73, 52},
      {168, 153, 132}, {254, 128, 25}, {250, 189, 47}, {131, 165, 152}, {146, 131, 116}, {29, 32, 33}}},
    {"catppuccin", false,
     {{30, 30, 46}, {205, 214, 244}, {203, 166, 247}, {249, 226, 175}, {166, 227, 161}, {108, 112, 134}, {250, 179, 135},
      {137, 220, 235}, {137, 180, 250}, {203, 166, 247}, {205, 214, 244}, {250, 179, 135}, {249, 226, 175}, {243, 139, 168},
      {166, 173, 200}, {245, 194, 231}, {148, 226, 213}, {243, 139, 168}, {108, 112, 134}, {24, 24, 37}}},
    {"everforest", false,
     {{45, 53, 59}, {211, 198, 170}, {230, 126, 128}, {219, 188, 127}, {167, 192, 128}, {133, 146, 137}, {214, 153, 182},
      {230, 152, 117}, {167, 192, 128}, {127, 187, 179}, {211, 198, 170}, {214, 153, 182}, {230, 152, 117}, {230, 126, 128},
      {157, 169, 160}, {230, 152, 117}, {219, 188, 127}, {127, 187, 179}, {133, 146, 137}, {35, 42, 46}}},
    {"gruvbox_light", true,
     {{251, 241, 199}, {60, 56, 54}, {157, 0, 6}, {181, 118, 20}, {121, 116, 14}, {146, 131, 116}, {143, 63, 113},
      {175, 58, 3}, {66, 123, 88}, {66, 123, 88}, {60, 56, 54}, {143, 63, 113}, {175, 58, 3}, {157, 0, 6},
      {124, 111, 100}, {175, 58, 3}, {181, 118, 20}, {7, 102, 120}, {146, 131, 116}, {242, 229, 188}}},
    {"synthwave", false,
     {{38, 35, 53}, {255, 255, 255}, {255, 126, 219}, {254, 222, 93}, {255, 139, 57}, {132, 139, 189}, {249, 126, 114},
      {255, 255, 255}, {54, 249, 246}, {255, 126, 219}, {255, 255, 255}, {249, 126, 114}, {254, 222, 93}, {254, 68, 80},
      {132, 139, 189}, {255, 126, 219}, {254, 222, 93}, {54, 249, 246}, {132, 139, 189}, {36, 27, 47}}},
};

constexpr int32_t ROLE_COUNT = 16;
const char* const ROLE_NAMES[ROLE_COUNT] = {"keyword",  "type",     "string",   "comment", "number",   "operator",
                                            "function", "preprocessor", "variable", "constant", "alert", "error",
                                            "others",   "special",  "attribute", "builtin"};
Color SyntaxScheme::* const ROLE_COLORS[ROLE_COUNT] = {
    &SyntaxScheme::keyword,  &SyntaxScheme::type,         &SyntaxScheme::string,   &SyntaxScheme::comment,
    &SyntaxScheme::number,   &SyntaxScheme::operator_,    &SyntaxScheme::function, &SyntaxScheme::preprocessor,
    &SyntaxScheme::variable, &SyntaxScheme::constant,     &SyntaxScheme::alert,    &SyntaxScheme::error,
    &SyntaxScheme::others,   &SyntaxScheme::special,      &SyntaxScheme::attribute, &SyntaxScheme::builtin};

// The index of a role name, or -1 for "normal" and anything else.
int32_t role_index(const Text* role) {
    for (int32_t i = 0; i < ROLE_COUNT; i++)
        if (same(role, ROLE_NAMES[i], (int32_t)strlen(ROLE_NAMES[i]))) return i;
    return -1;
}

Style role_style(const SyntaxScheme* scheme, int32_t role) {
    Color fg = role >= 0 ? scheme->*ROLE_COLORS[role] : scheme->fg;
    return style_make(fg, scheme->bg, role == 0 && scheme->keyword_bold, false, false);
}

Root<SyntaxScheme> scheme_from(int32_t index) {
    const SchemeRow& row = SCHEMES[index];
    auto c = [&](int32_t k) { return rgb(row.colors[k][0], row.colors[k][1], row.colors[k][2]); };
    return scheme_make(stdlib::from_c(row.name), c(0), c(1), c(2), c(3), c(4), c(5), c(6), c(7), c(8), c(9), c(10),
                       c(11), c(12), c(13), c(14), c(15), c(16), c(17), c(18), c(19), row.keyword_bold);
}

}  // namespace

Color rgb(int32_t r, int32_t g, int32_t b) { return color_rgb(r, g, b); }

Root<SyntaxScheme> scheme_make(const string& name, Color bg, Color fg, Color keyword, Color type, Color string,
                               Color comment, Color number, Color operator_, Color function, Color preprocessor,
                               Color variable, Color constant, Color alert, Color error, Color others, Color special,
                               Color attribute, Color builtin, Color gutter_fg, Color gutter_bg, bool keyword_bold) {
    Root<SyntaxScheme> scheme = runtime::make<SyntaxScheme>();
    scheme->name = name;
    const Color roles[ROLE_COUNT] = {keyword, type,   string, comment, number,  operator_, function,  preprocessor,
                                     variable, constant, alert, error,  others, special,  attribute, builtin};
    for (int32_t i = 0; i < ROLE_COUNT; i++) scheme.get()->*ROLE_COLORS[i] = roles[i];
    scheme->bg = bg;
    scheme->fg = fg;
    scheme->gutter_fg = gutter_fg;
    scheme->gutter_bg = gutter_bg;
    scheme->keyword_bold = keyword_bold;
    return scheme;
}

Root<SyntaxScheme> scheme_default() { return scheme_from(0); }
Root<SyntaxScheme> scheme_darcula() { return scheme_from(1); }
Root<SyntaxScheme> scheme_highcontrast() { return scheme_from(2); }
Root<SyntaxScheme> scheme_paper() { return scheme_from(3); }
Root<SyntaxScheme> scheme_monokai() { return scheme_from(4); }
Root<SyntaxScheme> scheme_solarized_dark() { return scheme_from(5); }
Root<SyntaxScheme> scheme_solarized_light() { return scheme_from(6); }
Root<SyntaxScheme> scheme_twilight() { return scheme_from(7); }
Root<SyntaxScheme> scheme_vibrant_ink() { return scheme_from(8); }
Root<SyntaxScheme> scheme_dracula() { return scheme_from(9); }
Root<SyntaxScheme> scheme_one_dark() { return scheme_from(10); }
Root<SyntaxScheme> scheme_tokyo_night() { return scheme_from(11); }
Root<SyntaxScheme> scheme_gruvbox() { return scheme_from(12); }
Root<SyntaxScheme> scheme_catppuccin() { return scheme_from(13); }
Root<SyntaxScheme> scheme_everforest() { return scheme_from(14); }
Root<SyntaxScheme> scheme_gruvbox_light() { return scheme_from(15); }
Root<SyntaxScheme> scheme_synthwave() { return scheme_from(16); }

Root<SyntaxScheme> scheme_by_name(const string& name) {
    static const struct {
        const char* alias;
        int32_t scheme;
    } aliases[] = {{"darcula", 1},        {"highcontrast", 2},     {"high-contrast", 2}, {"hc", 2},
                   {"paper", 3},          {"light", 3},            {"monokai", 4},       {"solarized_dark", 5},
                   {"solarized", 5},      {"solarized_light", 6},  {"twilight", 7},      {"vibrant_ink", 8},
                   {"vibrantink", 8},     {"dracula", 9},          {"one_dark", 10},     {"onedark", 10},
                   {"atom", 10},          {"tokyo_night", 11},     {"tokyonight", 11},   {"gruvbox", 12},
                   {"gruvbox_dark", 12},  {"catppuccin", 13},      {"mocha", 13},        {"catppuccin_mocha", 13},
                   {"everforest", 14},    {"gruvbox_light", 15},   {"synthwave", 16},    {"synthwave84", 16},
                   {"synthwave_84", 16}};
    for (const auto& entry : aliases)
        if (same_folded(name.get(), entry.alias, (int32_t)strlen(entry.alias))) return scheme_from(entry.scheme);
    return scheme_default();
}

Style scheme_style(const Root<SyntaxScheme>& scheme, const string& role) {
    return role_style(scheme.get(), role_index(role.get()));
}

bool is_scheme_role(const string& role) { return role_index(role.get()) >= 0; }

// ---- Highlighter -----------------------------------------------------------------------------

namespace {

bool ident_start(char c) { return stdlib::is_alpha(c) || c == '_'; }
bool ident_char(char c) { return stdlib::is_alphanumeric(c) || c == '_'; }

int32_t ident_at(const char* s, int32_t n, int32_t pos) {
    if (pos < 0 || pos >= n || !ident_start(s[pos])) return 0;
    int32_t i = pos;
    while (i < n && ident_char(s[i])) i++;
    return i - pos;
}

int32_t digits_from(const char* s, int32_t n, int32_t i) {
    while (i < n && stdlib::is_digit(s[i])) i++;
    return i;
}

int32_t number_at(const char* s, int32_t n, int32_t pos) {
    if (pos < 0 || pos >= n || !stdlib::is_digit(s[pos])) return 0;
    int32_t i = digits_from(s, n, pos);
    if (i + 1 < n && s[i] == '.' && stdlib::is_digit(s[i + 1])) i = digits_from(s, n, i + 1);
    return i - pos;
}

int32_t hex_at(const char* s, int32_t n, int32_t pos) {
    if (pos < 0 || pos >= n - 2 || s[pos] != '0' || (s[pos + 1] != 'x' && s[pos + 1] != 'X')) return 0;
    int32_t i = pos + 2;
    while (i < n && stdlib::is_hex_digit(s[i])) i++;
    return i == pos + 2 ? 0 : i - pos;
}

bool starts_here(const char* s, int32_t n, int32_t pos, const Text* needle) {
    int32_t m = len_of(needle);
    return m > 0 && pos >= 0 && (int64_t)pos + m <= n && same(needle, s + pos, m);
}

int32_t match_at(const Lang* lang, const Rule* rule, const char* s, int32_t n, int32_t pos) {
    switch (rule->kind) {
        case RK_CHAR:
        case RK_DETECT2: return starts_here(s, n, pos, rule->needle.get()) ? len_of(rule->needle.get()) : 0;
        case RK_STRING: {
            int32_t m = len_of(rule->needle.get());
            return starts_here(s, n, pos, rule->needle.get()) && ident_at(s, n, pos) == m ? m : 0;
        }
        case RK_KEYWORD: {
            int32_t m = ident_at(s, n, pos);
            return m > 0 && list_has_raw(lang, rule->list.get(), s + pos, m) ? m : 0;
        }
        case RK_IDENT: return ident_at(s, n, pos);
        case RK_HEX: return hex_at(s, n, pos);
        case RK_NUMBER: return number_at(s, n, pos);
        default: return 0;
    }
}

HlStack step(const HlStack& stack, const Lang* lang, const Text* next) {
    int32_t n = len_of(next);
    if (n == 0 || same(next, "stay", 4)) return stack;
    HlStack after = stack;
    if (same(next, "pop", 3)) {
        if (after.depth > 1) after.depth--;
        return after;
    }
    int32_t index = ctx_index(lang, next->c_str(), n);
    if (index >= 0 && after.depth >= 0 && after.depth < max_stack()) after.ctxs[after.depth++] = index;
    return after;
}

const Ctx* ctx_at(const Lang* lang, int32_t index) {
    return lang->contexts[index >= 0 && index < lang->ctx_count ? index : 0].get();
}

// Draws the spans of one line in order. Each span starts at x plus the display width of the line's
// bytes before it, as measured on a text cut there; that width is carried forward from span to
// span instead of being measured from the start each time.
struct SpanPainter {
    const Root<CellBuffer>& buf;
    const string& line;
    int32_t x, y;
    Rect clip;
    int32_t measured = 0;  // bytes measured so far: whole characters only
    int32_t width = 0;     // their display width

    int32_t width_before(int32_t start) {
        if (start < measured) measured = width = 0;
        while (measured < start) {
            Point step = utf8_decode_step(line, measured);
            if (step.y > start) break;
            width += step.x == '\t' ? tab_advance(width) : codepoint_display_width(step.x);
            measured = step.y;
        }
        // A character that the cut splits reads as one cell per byte.
        return width + (start - measured);
    }

    // The display width of the bytes before start, where a span from start is drawn.
    int32_t offset(int32_t start) { return start > 0 ? width_before(start) : 0; }

    void draw(int32_t start, int32_t end, int32_t offset, const Style& style) {
        int64_t pen = (int64_t)x + offset;
        if (pen <= INT32_MAX) cellbuf_draw_range_in(buf, (int32_t)pen, y, line, start, end, style, clip);
    }

    void span(int32_t start, int32_t end, const Style& style) {
        if (end > start) draw(start, end, offset(start), style);
    }
};

// The style of each attribute, looked up once for a run of spans in the same attribute.
struct AttributeStyles {
    const Lang* lang;
    const SyntaxScheme* scheme;
    const Text* last = nullptr;
    Style style;

    const Style& of(const Text* attribute) {
        if (attribute != last || !last) {
            style = role_style(scheme, role_index(role_of(lang, attribute)));
            last = attribute;
        }
        return style;
    }
};

}  // namespace

HlStack empty_stack() {
    HlStack stack;
    stack.depth = 1;
    return stack;
}

int32_t stack_top(const HlStack& stack) {
    return stack.depth > 0 && stack.depth <= max_stack() ? stack.ctxs[stack.depth - 1] : 0;
}

bool same_stack(const HlStack& a, const HlStack& b) {
    if (a.depth != b.depth) return false;
    for (int32_t i = 0; i < a.depth && i < max_stack(); i++)
        if (a.ctxs[i] != b.ctxs[i]) return false;
    return true;
}

HlStack stack_apply(const HlStack& stack, const Root<Lang>& lang, const string& next) {
    return step(stack, lang.get(), next.get());
}

bool starts_at(const string& line, int32_t pos, const string& needle) {
    return starts_here(stdlib::c_str(line), stdlib::length(line), pos, needle.get());
}
int32_t ident_len(const string& line, int32_t pos) { return ident_at(stdlib::c_str(line), stdlib::length(line), pos); }
int32_t hex_len(const string& line, int32_t pos) { return hex_at(stdlib::c_str(line), stdlib::length(line), pos); }
int32_t number_len(const string& line, int32_t pos) {
    return number_at(stdlib::c_str(line), stdlib::length(line), pos);
}

int32_t match_rule(const Root<Lang>& lang, const Root<Rule>& rule, const string& line, int32_t pos) {
    return match_at(lang.get(), rule.get(), stdlib::c_str(line), stdlib::length(line), pos);
}

void paint_span(const Root<CellBuffer>& buf, int32_t x, int32_t y, const string& line, int32_t start, int32_t end,
                const Style& style, Rect clip) {
    SpanPainter{buf, line, x, y, clip}.span(start, end, style);
}

namespace {

// The spans of one line in the order they are painted, up to a bound; past it the line is not kept.
struct SpanList {
    static constexpr int32_t kMax = 256;
    HlSpan spans[kMax];
    int32_t count = 0;

    void add(int32_t start, int32_t end, int32_t offset, const Style& style) {
        if (count < kMax) spans[count] = HlSpan{start, end, offset, style};
        count++;
    }
    bool complete() const { return count <= kMax; }
};

// Runs the rules over one line from `stack`; paints through `painter` when it is given, and then
// lists the spans in `list` when that is given. Nothing here allocates, so the records are read
// through plain pointers.
HlStack run_line(const Lang* l, const SyntaxScheme* scheme, const string& line, const HlStack& stack,
                 SpanPainter* painter, SpanList* list) {
    const char* s = stdlib::c_str(line);
    int32_t n = stdlib::length(line);
    AttributeStyles styles{l, scheme, nullptr, Style{}};
    HlStack now = stack;
    for (int32_t pos = 0; pos < n;) {
        const Ctx* ctx = ctx_at(l, stack_top(now));
        const Rule* hit = nullptr;
        int32_t matched = 0;
        const Member<Rule>* rules = ctx->rules->data();
        for (int32_t r = 0; r < ctx->rule_count && !hit; r++) {
            const Rule* rule = rules[r].get();
            if ((matched = match_at(l, rule, s, n, pos)) > 0) hit = rule;
        }
        if (!hit) matched = ctx->rule_count == 0 ? n - pos : min_int(stdlib::utf8_char_len(s[pos]), n - pos);
        const Text* attribute = hit && len_of(hit->attribute.get()) > 0 ? hit->attribute.get() : ctx->attribute.get();
        if (painter && matched > 0) {
            const Style& style = styles.of(attribute);
            int32_t offset = painter->offset(pos);
            painter->draw(pos, pos + matched, offset, style);
            if (list) list->add(pos, pos + matched, offset, style);
        }
        if (hit) now = step(now, l, hit->next.get());
        pos += matched;
    }
    int32_t top = stack_top(now);
    if (top >= 0 && top < l->ctx_count) now = step(now, l, l->contexts[top]->line_end.get());
    return now;
}

}  // namespace

HlStack apply_line(const Root<Lang>& lang, const string& line, const HlStack& stack, const Root<CellBuffer>& buf,
                   int32_t x, int32_t y, const Root<SyntaxScheme>& scheme, Rect clip, bool paint) {
    const Lang* l = lang.get();
    if (!l || l->ctx_count <= 0) {
        if (paint) cellbuf_draw_text_in(buf, x, y, line, role_style(scheme.get(), -1), clip);
        return stack;
    }
    SpanPainter painter{buf, line, x, y, clip};
    return run_line(l, scheme.get(), line, stack, paint ? &painter : nullptr, nullptr);
}

namespace {

// Keeps the cache if it was made for this language and enough slots, else starts it empty; the
// kept spans go with another scheme too.
void fit_cache(const Root<HlCache>& cache, const Root<Lang>& language, const Root<SyntaxScheme>& scheme,
               int32_t slots) {
    if (cache->lang.get() != language.get() || !cache->texts || (int32_t)cache->texts->size() < slots) {
        cache->lang = language;
        cache->texts = Array<Member<Text>>::make((uint64_t)slots);
        cache->ends = Array<HlStack>::make((uint64_t)slots);
        cache->painted = Root<Array<Member<HlLine>>>();
        cache->valid = 0;
    }
    if (cache->painted && cache->scheme.get() == scheme.get()) return;
    cache->scheme = scheme;
    cache->painted = Array<Member<HlLine>>::make(cache->texts->size());
}

// The spans kept for line i, if they were found for this text from this stack.
const HlLine* kept_line(const Root<HlCache>& cache, int32_t i, const string& line, const HlStack& stack) {
    const HlLine* kept = cache->painted[i].get();
    return kept && kept->text.get() == line.get() && same_stack(kept->start, stack) ? kept : nullptr;
}

// Paints line i of the cache from its kept spans (`kept`, as kept_line found them), or runs the
// rules over it and keeps what they found. The kept spans are painted in the same calls, in the
// same order, as the rules would paint them, so the cells come out the same; only the rules and
// the measuring are not run again.
HlStack paint_kept(const Root<HlCache>& cache, int32_t i, const string& line, const HlStack& stack,
                   SpanPainter& painter, const HlLine* kept) {
    if (kept) {
        for (const HlSpan& span : *kept->spans) painter.draw(span.start, span.end, span.offset, span.style);
        return kept->end;
    }
    SpanList list;
    HlStack end = run_line(cache->lang.get(), cache->scheme.get(), line, stack, &painter, &list);
    if (!list.complete()) return end;
    Root<Array<HlSpan>> spans = Array<HlSpan>::make((uint64_t)list.count);
    for (int32_t k = 0; k < list.count; k++) spans[k] = list.spans[k];
    if (!cache->painted[i]) cache->painted[i] = runtime::make<HlLine>();
    HlLine* record = cache->painted[i].get();
    record->text = line;
    record->start = stack;
    record->end = end;
    record->spans = spans;
    return end;
}

}  // namespace

// A memo's row is restored only where the line's end stack is known without the rules: without a
// language it is the stack the line starts in, with one it is the kept record's.
void paint_lines(const Root<CellBuffer>& buf, const string_array& lines, int32_t count, int32_t first, int32_t rows,
                 int32_t x, int32_t y, int32_t lang, const Root<SyntaxScheme>& scheme, Rect clip,
                 const Root<HlCache>& cache, RowMemo* memo) {
    ensure_catalog();
    Root<Lang> language = lang > 0 && lang < g_n ? Root<Lang>(lang_at(lang)) : Root<Lang>();
    HlStack stack = empty_stack();
    count = min_int(count, runtime::length(lines));
    // Lines below the painted ones cannot change what is shown.
    int32_t end = (int32_t)std::min<int64_t>(count, (int64_t)first + max_int(rows, 0));
    bool cached = language && language->ctx_count > 0 && cache;
    if (cached) fit_cache(cache, language, scheme, runtime::length(lines));
    int32_t i = 0;
    if (cached) {
        // The lines above the painted ones whose slots hold their recorded texts end in their
        // recorded stacks: only the slots are compared.
        const Member<Text>* now = lines->data();
        const Member<Text>* seen = cache->texts->data();
        for (int32_t known = min_int(min_int(first, cache->valid), end); i < known && now[i].get() == seen[i].get();) i++;
        if (i > 0) stack = cache->ends[i - 1];
    }
    for (; i < end; i++) {
        int64_t row = (int64_t)y + i - first;
        bool paint = i >= first && row >= INT32_MIN && row <= INT32_MAX;
        if (!language && !paint) continue;
        string line = lines[i];
        bool recorded = cached && i < cache->valid;
        if (recorded && !paint && cache->texts[i].get() == line.get()) {
            stack = cache->ends[i];
            continue;
        }
        HlStack start = stack;
        bool restored = false;
        const HlLine* kept = cached && paint ? kept_line(cache, i, line, stack) : nullptr;
        if (paint && memo) {
            bool known = kept || !language || language->ctx_count <= 0;
            restored = known && memo->restore((int32_t)row, i, line, stack);
            if (restored && kept) stack = kept->end;
            if (!restored) memo->clear((int32_t)row, i);
        }
        if (!restored) {
            if (!language) {
                cellbuf_draw_text_in(buf, x, (int32_t)row, line, role_style(scheme.get(), -1), clip);
            } else if (cached && paint) {
                SpanPainter painter{buf, line, x, (int32_t)row, clip};
                stack = paint_kept(cache, i, line, stack, painter, kept);
            } else {
                stack = apply_line(language, line, stack, buf, x, (int32_t)row, scheme, clip, paint);
            }
            if (paint && memo) memo->keep((int32_t)row, i, line, start);
        }
        if (!cached || i > cache->valid) continue;
        if (!recorded || !same_stack(cache->ends[i], stack)) cache->valid = i + 1;
        cache->texts[i] = line;
        cache->ends[i] = stack;
    }
}

}  // namespace kestrum
