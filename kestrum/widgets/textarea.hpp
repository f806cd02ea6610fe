// kestrum.widgets.textarea: the multi-line text control, and its own line store.
//
// The lines are one fixed array of texts whose capacities are chosen at creation; every edit makes
// a new text for the line it touches, and nothing records edits. Three measures of a position are
// kept apart: bytes for the limits, codepoints for the caret, cells for the screen. What does not
// fit a limit is dropped without a word, and nothing else changes.
//
// The selection runs from the anchor to the caret; moving the caret moves it. In mark mode caret
// movement extends it as Shift does.
#pragma once
#include "kestrum/syntax.hpp"
#include "kestrum/view.hpp"

namespace kestrum {

constexpr int32_t max_lines_cap() { return 2048; }
constexpr int32_t max_line_cap() { return 512; }

// The text's rows as the last draws left them, before the selection and the caret were laid
// over them: each row's cells across the drawn area, with the line, its number and the stack it
// was painted from. Everything else a row's cells depend on is the key; a draw with another key
// starts the record afresh.
struct KeptRowsKey {
    Rect span;  // the area drawn, within the buffer
    Rect text_clip;
    int32_t left = 0, gutter = 0, pen = 0;  // the area's x, the gutter's width, column 0's x
    int32_t lang = 0;
    Style base, numbers;
    bool operator==(const KeptRowsKey&) const = default;
};

class KeptRows {
    NOLT_MANAGED(KeptRows, void);

public:
    KeptRowsKey key;
    Member<SyntaxScheme> scheme;
    Member<runtime::Array<Member<Text>>> texts;  // by row; null where none is kept
    Member<runtime::Array<HlStack>> starts;
    Member<runtime::Array<int32_t>> indices;
    Member<runtime::Array<Cell>> cells;  // span.w of them for each row
};

class TextArea : public View {
    NOLT_MANAGED(TextArea, View);

public:
    Member<runtime::Array<Member<Text>>> lines;  // max_lines slots; those at and past line_count are empty
    int32_t max_lines = 1;
    int32_t line_count = 1;  // at least 1
    int32_t caret_line = 0;
    int32_t caret_col = 0;  // in codepoints, 0 to the line's codepoint count
    int32_t top_line = 0;   // first line shown
    int32_t left_col = 0;   // first display column shown
    int32_t visible_rows = 1;  // for paging and scroll limits; the owner keeps it equal to bounds.h
    int32_t line_cap = 8;      // bytes a line may hold
    bool drag_vbar = false;
    bool drag_hbar = false;
    bool drag_sel = false;
    int32_t lang = LANG_NONE();  // the catalog's language for highlighting
    Member<SyntaxScheme> scheme;  // the colours of text and gutter; "default" at creation
    Member<HlCache> hl;           // the highlighter's end stacks from the last draws
    Member<KeptRows> kept_rows;   // the painted rows of the last draws
    Member<runtime::Array<Member<Text>>> width_texts;  // content_width's lines and their widths
    Member<runtime::Array<int32_t>> widths;
    // The changes to the lines so far: set_line counts one, and so does each shift of the lines up
    // or down, which changes line_count; nothing else stores into a slot. What is worked out from
    // the lines alone is kept with this count.
    uint64_t edits = 0;
    uint64_t widest_at = UINT64_MAX;  // content_width's last answer, and the count it holds for
    int32_t widest = 0;
    bool line_numbers = false;
    bool overwrite = false;
    bool sel_active = false;
    int32_t sel_anchor_line = 0;
    int32_t sel_anchor_col = 0;  // in codepoints
    bool marking = false;

    // max_lines limited to 1..2048, visible_rows to at least 1, line_cap to 8..512.
    static Root<TextArea> create(Rect bounds, int32_t max_lines, int32_t visible_rows, int32_t line_cap);

    bool wants_focus() override { return true; }
    bool opaque() override { return true; }
    bool captures_mouse() override { return drag_vbar || drag_hbar || drag_sel; }
    // One cell wider and taller: the scrollbars stand on the frame right of and below the text.
    Rect hit_bounds() override;
    void draw(const Root<CellBuffer>& buf, Rect bounds, Rect clip, bool focused, const Root<Theme>& theme) override;
    EventResult handle_event(const Event& ev) override;

    virtual void set_syntax(int32_t lang);
    virtual void set_syntax_scheme(const Root<SyntaxScheme>& scheme);
    virtual void set_visible_rows(int32_t n);
    virtual void set_line_numbers(bool on);
    virtual void toggle_overwrite();

    // ---- Geometry and scrolling --------------------------------------------------------------
    // 0 without line numbers, else the digits of line_count plus one, limited to 3..6.
    virtual int32_t gutter_w();
    virtual int32_t vis_cols();  // bounds.w less the gutter, at least 1
    // top_line within 0..line_count - vis_rows().
    virtual void clamp_offset();
    virtual int32_t vis_rows();       // bounds.h, at least 1
    // Line i's slot holds `text` from now on.
    void set_line(int32_t i, const string& text);
    virtual int32_t content_width();  // widest line in cells; a line is measured again only once changed
    virtual bool has_hscroll();
    virtual stdlib::Option<string> line(int32_t index);
    virtual string line_or(int32_t index, const string& fallback);
    virtual bool has_scrollbar();  // line_count above visible_rows
    // Brings line_count to at least 1 and the caret (and the selection's anchor) into the text.
    virtual void clamp_caret();
    // Scrolls the least that shows the caret's line and column.
    virtual void ensure_visible();
    virtual void ensure_hscroll();

    // ---- Selection -----------------------------------------------------------------------------
    virtual void clear_sel();  // also ends mark mode
    // Anchors a selection at the caret unless one is running.
    virtual void begin_sel();
    virtual void start_mark();
    virtual void end_mark();
    virtual void toggle_mark();
    virtual bool sel_empty();
    virtual bool pos_before(int32_t line1, int32_t col1, int32_t line2, int32_t col2);
    // Inside the selection, whose end is exclusive.
    virtual bool in_sel(int32_t line, int32_t col);
    // The selected text, lines joined by newlines; None when the selection is empty.
    virtual stdlib::Option<string> selected_text();
    virtual void select_all();
    virtual void delete_selection();
    // Selects the next occurrence of the exact bytes after the caret, within single lines,
    // wrapping round once; false, with nothing changed, when there is none.
    virtual bool find_next(const string& needle);
    // Moves the view, not the caret.
    virtual void scroll_by(int32_t delta);
    virtual void set_caret(int32_t line, int32_t col);

    // ---- Text ----------------------------------------------------------------------------------
    // Inserts printable ASCII at the caret: a newline splits the line, a tab gives four spaces,
    // carriage returns and all other bytes are dropped. A non-empty selection goes first.
    virtual void paste(const string& text);
    // The lines joined by newlines, without a trailing one.
    virtual string text();
    // Lines cut at newlines, each without one trailing carriage return and cut to line_cap bytes;
    // lines past max_lines are dropped. Caret, view and selection start afresh.
    virtual void set_text(const string& text);
    // Opens a slot at `at` (still holding the old text) if a line is free.
    virtual void shift_lines_down(int32_t at);
    // Removes the line at `from`; the last line is never removed, only emptied.
    virtual void shift_lines_up(int32_t from);
    // Enter: nothing at all when max_lines lines are in use.
    virtual void split_line_at_caret();
    // Backspace at column 0: joins with the line above, cut to line_cap bytes.
    virtual void join_with_prev();

    // ---- Mouse ---------------------------------------------------------------------------------
    virtual void set_offset_from_y(Rect r, int32_t y);
    virtual int32_t h_track_len(int32_t width, int32_t gutter);
    virtual void set_col_from_x(Rect r, int32_t x);
    // Positions in the coordinates of `bounds`; true if the event was used.
    virtual bool handle_mouse(const Event& ev);

    // The scheme's normal text, and its gutter.
    Style base_style() const;
    Style gutter_style() const;
    // The gutter, g cells wide, on row y of r, within area.
    void draw_gutter_row(const Root<CellBuffer>& buf, Rect r, Rect area, int32_t y, int32_t g);

private:
    // The selection's ends in text order, their lines limited to the text.
    struct Span {
        int32_t start_line, start_col, end_line, end_col;
    };

    string at(int32_t index) const { return lines[index]; }
    int32_t count_at(int32_t index) const;
    // Inserts as typing does, in insert mode or, if `may_overwrite`, by the overwrite flag.
    void type_char(int32_t ch, bool may_overwrite);
    // Delete at the end of a line: the next line is joined onto this one.
    void join_next();
    void extend_or_clear(bool extending);
    // Moves the caret to a cell of the text at mx, my, inside r; false outside.
    bool caret_to_point(Rect r, int32_t mx, int32_t my);
    // The record of painted rows, fitted to a draw: emptied when its key has changed.
    Root<KeptRows> fit_kept_rows(const Root<CellBuffer>& buf, Rect r, Rect area, int32_t g, int32_t pen, Rect tclip);
    Span sel_span();
    void draw_selection(const Root<CellBuffer>& buf, Rect r, Rect area, int32_t text_x, int32_t rows);
};

// ---- One line's text -----------------------------------------------------------------------

// Bytes that are not continuation bytes.
int32_t line_cp_count(const string& line);
int32_t clamp_col(const string& line, int32_t col);
// The byte offset of codepoint cp, stepping by lead bytes; a step past the end gives the length.
int32_t cp_to_byte(const string& line, int32_t cp);
// Codepoints that start before the byte offset.
int32_t byte_to_cp(const string& line, int32_t byte);
// Cells of the first cp codepoints, tabs on their stops from column 0.
int32_t cp_to_display(const string& line, int32_t cp);
// The codepoint under display column dcol; every codepoint measured alone, so a tab counts 8.
int32_t display_to_cp(const string& line, int32_t dcol);
// The line with one printable ASCII byte put in at codepoint col if it holds fewer than cap bytes;
// otherwise the line itself.
string insert_char_line(const string& line, int32_t col, int32_t ch, int32_t cap);
string replace_char_line(const string& line, int32_t col, int32_t ch);
string delete_before_line(const string& line, int32_t col);
string delete_at_line(const string& line, int32_t col);
string empty_line();

}  // namespace kestrum
