// kestrum.syntax: language definitions read from TOML files, the catalog that holds them, the
// highlighter that runs their rules over lines of text, and the colour schemes it paints with.
//
// The module knows no language of its own. Each `*.toml` file in a syntax.d directory describes
// one: keyword lists, contexts and rules. The highlighter is a small pushdown machine whose state
// between lines is an HlStack of context indices; rules paint what they match, then push, pop or
// stay. A text area keeps each line's end stack in an HlCache between draws.
#pragma once
#include <stdint.h>

#include "kestrum/cell.hpp"
#include "stdlib/core/option.hpp"

namespace kestrum {

using runtime::Array;
using runtime::Global;
using stdlib::Option;
using stdlib::string_array;

// ---- Limits --------------------------------------------------------------------------------

constexpr int32_t max_langs() { return 32; }  // slot 0 stays empty: 31 languages at most
constexpr int32_t max_ctx() { return 16; }
constexpr int32_t max_rules() { return 24; }
constexpr int32_t max_lists() { return 8; }
constexpr int32_t max_item_data() { return 16; }
constexpr int32_t max_ext() { return 8; }  // extensions, and also filenames
constexpr int32_t max_stack() { return 16; }
inline constexpr int32_t MAX_EXTRA_DIRS = 8;

// Rule kinds; 0 never matches.
inline constexpr int32_t RK_CHAR = 1;     // "detect_char": the needle here
inline constexpr int32_t RK_DETECT2 = 2;  // "detect2", "string_detect": the needle here
inline constexpr int32_t RK_STRING = 3;   // "word_detect": the needle as a whole identifier
inline constexpr int32_t RK_KEYWORD = 4;  // "keyword": an identifier found in a list
inline constexpr int32_t RK_IDENT = 5;    // "detect_identifier"
inline constexpr int32_t RK_NUMBER = 6;   // "number": digits, optionally "." and digits
inline constexpr int32_t RK_HEX = 7;      // "hex": 0x and hex digits

// ---- Definitions ---------------------------------------------------------------------------

class Rule {
    NOLT_MANAGED(Rule, void);

public:
    int32_t kind = 0;
    Member<Text> needle;
    Member<Text> list;       // name of a keyword list
    Member<Text> attribute;  // an item_data name; empty: the context's
    Member<Text> next;       // a next-step: "stay", "pop" or a context name
};

class Ctx {
    NOLT_MANAGED(Ctx, void);

public:
    Member<Text> name;
    Member<Text> attribute;  // of text that no rule matches
    Member<Text> line_end;   // a next-step taken at the end of each line
    Member<Array<Member<Rule>>> rules;
    int32_t rule_count = 0;
};

// A language; an empty id marks a record that is not valid. Each list is packed into one text
// with a pipe before, between and after the words.
class Lang {
    NOLT_MANAGED(Lang, void);

public:
    Member<Text> id;
    Member<Text> title;
    bool casesensitive = true;  // for keyword lists only
    Member<Array<Member<Text>>> extensions;
    int32_t ext_count = 0;
    Member<Array<Member<Text>>> filenames;
    int32_t filename_count = 0;
    Member<Array<Member<Text>>> list_names;
    Member<Array<Member<Text>>> lists;
    int32_t list_count = 0;
    Member<Array<Member<Text>>> item_names;
    Member<Array<Member<Text>>> item_roles;
    int32_t item_count = 0;
    Member<Array<Member<Ctx>>> contexts;  // the first is the start context
    int32_t ctx_count = 0;
};

// 0, empty needle, list and attribute, next "stay".
Root<Rule> empty_rule();
// Always a record; its id is empty if the text was not a usable definition. Values beyond a limit
// are left out; names that point nowhere are kept and simply match nothing at run time.
Root<Lang> parse_lang(const string& text);
// "|" + the non-empty words joined by "|" + "|"; a lone "|" for none.
string pack_list(const string_array& words);

Option<int32_t> find_ctx(const Root<Lang>& lang, const string& name);
Option<int32_t> find_list(const Root<Lang>& lang, const string& name);
// The role of the first item_data entry with exactly that name; "normal" if there is none.
string item_role(const Root<Lang>& lang, const string& attribute);
// False if the list does not exist; the word is lower-cased for a language that ignores case.
bool list_has(const Root<Lang>& lang, const string& list_name, const string& word);

// ---- Catalog -------------------------------------------------------------------------------

// Languages by index, slot 0 unused; the next free index; the extra directories to load from.
extern Global<Array<Member<Lang>>> g_langs;
extern int32_t g_n;
extern Global<Array<Member<Text>>> g_extra;
extern int32_t g_extra_n;
extern bool g_ready;

// NOLT_HOME + "/nolt-stdlib/kestrum/syntax.d", or empty when the variable is unset or empty.
string home_syntax_dir();
// Opens the catalog once: the NOLT_HOME directory, then every extra directory in order.
void ensure_catalog();
// Remembers a directory (empty, repeated and ninth ones ignored); loads it at once if the catalog
// is open.
void add_syntax_dir(const string& dir);
// Parses and registers every readable "*.toml" file of the directory, in listing order.
void load_dir(const string& dir);
// Replaces the record of the same id, else takes the next free slot; dropped when full.
void register_lang(const Root<Lang>& lang);
// The index of the language with that id, or 0.
int32_t find_id(const string& id);
// The first language, in index order, whose file names hold the base name or whose extensions
// end the path, all compared in lower case; 0 for none.
int32_t lang_from_path(const string& path);
constexpr int32_t LANG_NONE() { return 0; }
int32_t LANG_NOLT();

// ---- Colour schemes ------------------------------------------------------------------------

class SyntaxScheme {
    NOLT_MANAGED(SyntaxScheme, void);

public:
    Member<Text> name;
    Color bg;
    Color fg;  // role "normal" and any role not below
    Color keyword, type, string, comment, number, operator_, function, preprocessor, variable, constant, alert,
        error, others, special, attribute, builtin;
    Color gutter_fg;
    Color gutter_bg;
    bool keyword_bold = false;
};

Color rgb(int32_t r, int32_t g, int32_t b);
Root<SyntaxScheme> scheme_make(const stdlib::string& name, Color bg, Color fg, Color keyword, Color type, Color string,
                               Color comment, Color number, Color operator_, Color function, Color preprocessor,
                               Color variable, Color constant, Color alert, Color error, Color others, Color special,
                               Color attribute, Color builtin, Color gutter_fg, Color gutter_bg, bool keyword_bold);
Root<SyntaxScheme> scheme_default();
Root<SyntaxScheme> scheme_darcula();
Root<SyntaxScheme> scheme_highcontrast();
Root<SyntaxScheme> scheme_paper();
Root<SyntaxScheme> scheme_monokai();
Root<SyntaxScheme> scheme_solarized_dark();
Root<SyntaxScheme> scheme_solarized_light();
Root<SyntaxScheme> scheme_twilight();
Root<SyntaxScheme> scheme_vibrant_ink();
Root<SyntaxScheme> scheme_dracula();
Root<SyntaxScheme> scheme_one_dark();
Root<SyntaxScheme> scheme_tokyo_night();
Root<SyntaxScheme> scheme_gruvbox();
Root<SyntaxScheme> scheme_catppuccin();
Root<SyntaxScheme> scheme_everforest();
Root<SyntaxScheme> scheme_gruvbox_light();
Root<SyntaxScheme> scheme_synthwave();
// A new record for the name or one of its aliases, in any case; "default" for anything else.
Root<SyntaxScheme> scheme_by_name(const string& name);
// The role's colour on bg; bold only for "keyword" in a scheme that says so.
Style scheme_style(const Root<SyntaxScheme>& scheme, const string& role);
// True for the sixteen role names a scheme colours; "normal" is not among them.
bool is_scheme_role(const string& role);

// ---- Highlighter ---------------------------------------------------------------------------

// Context indices, the start context at the bottom; the bottom entry is never popped.
struct HlStack {
    int32_t ctxs[max_stack()] = {};
    int32_t depth = 0;
};

HlStack empty_stack();
int32_t stack_top(const HlStack& stack);
// The same contexts, bottom to top.
bool same_stack(const HlStack& a, const HlStack& b);
// "" or "stay" keep the stack, "pop" drops the top above the bottom, a context name pushes it if
// it exists and there is room; anything else keeps the stack.
HlStack stack_apply(const HlStack& stack, const Root<Lang>& lang, const string& next);

// Byte scanners with ASCII character classes; each gives 0 for no match.
bool starts_at(const string& line, int32_t pos, const string& needle);
int32_t ident_len(const string& line, int32_t pos);
int32_t hex_len(const string& line, int32_t pos);
int32_t number_len(const string& line, int32_t pos);
// Bytes that the rule matches at pos; 0 for none.
int32_t match_rule(const Root<Lang>& lang, const Root<Rule>& rule, const string& line, int32_t pos);

// Draws the bytes start..end of the line at x plus the display width of the bytes before start.
void paint_span(const Root<CellBuffer>& buf, int32_t x, int32_t y, const string& line, int32_t start, int32_t end,
                const Style& style, Rect clip);
// Runs the rules over one line and gives the stack for the next; draws at x, y only if `paint`.
HlStack apply_line(const Root<Lang>& lang, const string& line, const HlStack& stack, const Root<CellBuffer>& buf,
                   int32_t x, int32_t y, const Root<SyntaxScheme>& scheme, Rect clip, bool paint);
// The stack after each line, with the line text and language it was found for. Line texts are
// never changed in place (an edit stores a new text in the slot), so records 0 .. valid - 1 form
// a chain: a line whose slot still holds the recorded text object starts in the stack its
// predecessor ended in, and so ends in the recorded one.
// One painted stretch of a line: bytes start..end in one style, drawn `offset` cells right of
// the line's start.
struct HlSpan {
    int32_t start = 0, end = 0, offset = 0;
    Style style;
};

// What the rules found on one painted line, kept so that the next frame paints the same spans
// without running the rules again: valid while the slot holds the same text object, the line
// starts in the same stack and the cache keeps its language and scheme.
class HlLine {
    NOLT_MANAGED(HlLine, void);

public:
    Member<Text> text;
    HlStack start, end;
    Member<Array<HlSpan>> spans;
};

class HlCache {
    NOLT_MANAGED(HlCache, void);

public:
    Member<Lang> lang;
    Member<SyntaxScheme> scheme;  // the scheme the kept spans were styled in
    Member<Array<Member<Text>>> texts;
    Member<Array<HlStack>> ends;
    Member<Array<Member<HlLine>>> painted;  // by line index; null where none is kept
    int32_t valid = 0;
};

// The rows a caller has painted before, kept in its own terms. For a line whose end stack is
// known without running the rules, paint_lines first asks `restore` to put the row back as the
// same line from the same stack left it; when it does not, the row is handed to `clear` before
// the line is painted and to `keep` after.
struct RowMemo {
    virtual bool restore(int32_t row, int32_t index, const string& line, const HlStack& start) = 0;
    virtual void clear(int32_t row, int32_t index) = 0;
    virtual void keep(int32_t row, int32_t index, const string& line, const HlStack& start) = 0;
};

// Scans lines 0 to first + rows - 1 of catalog language `lang` and paints lines first .. first +
// rows - 1 at rows y and below; without a language they are painted in role "normal". With a cache,
// a line above the painted ones whose record holds is not scanned again; a changed line renews
// its record and, if its end stack changed, drops the records below it.
void paint_lines(const Root<CellBuffer>& buf, const string_array& lines, int32_t count, int32_t first, int32_t rows,
                 int32_t x, int32_t y, int32_t lang, const Root<SyntaxScheme>& scheme, Rect clip,
                 const Root<HlCache>& cache = Root<HlCache>(), RowMemo* memo = nullptr);

}  // namespace kestrum
