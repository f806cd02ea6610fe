#include "stdlib/encoding/toml.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using namespace stdlib;

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

string text_of(const std::string& s) { return from_bytes(s.data(), (int32_t)s.size()); }
std::string std_of(const string& s) { return std::string(c_str(s), (size_t)length(s)); }

toml_doc parse(const std::string& source) {
    Result<TomlDoc, Error> result = toml_parse_doc(text_of(source));
    if (result.is_err()) ADD_FAILURE() << "parse failed: " << c_str(result.unwrap_err()->message);
    return result.unwrap_or(toml_doc());
}

Pairs pairs_of(const std::string& source) {
    toml_doc doc = parse(source);
    Pairs pairs;
    for (int32_t i = 0; doc && i < doc->count; i++) pairs.emplace_back(std_of(doc->keys[i]), std_of(doc->values[i]));
    return pairs;
}

// "InvalidInput: message" or "OutOfRange: message" of a failed parse, or "ok".
std::string failure(const std::string& source, int32_t capacity = max_entries()) {
    Result<TomlDoc, Error> result = toml_parse_doc_sized(text_of(source), capacity);
    if (result.is_ok()) return "ok";
    const Root<Error>& e = result.unwrap_err();
    const char* kind = e->kind == ErrorKind::InvalidInput ? "InvalidInput"
                       : e->kind == ErrorKind::OutOfRange ? "OutOfRange"
                                                          : "?";
    return std::string(kind) + ": " + std_of(e->message);
}

std::string repeat(const std::string& piece, int n) {
    std::string out;
    for (int i = 0; i < n; i++) out += piece;
    return out;
}

TEST(Toml, FlattensTablesArraysOfTablesAndInlineValues) {
    EXPECT_EQ(pairs_of(""), Pairs{});
    EXPECT_EQ(pairs_of("# only\n\n  \t# comments\n"), Pairs{});
    EXPECT_EQ(pairs_of("a = 1"), pairs_of("a = 1\n"));

    Pairs expected = {{"top", "1"},      {"a.b", "2"},     {"q.r", "3"},      {"t.k", "x"},        {"t.k", "y"},
                      {" a .k", "4"},    {"\"x\".k", "5"}, {"arr.0.n", "6"},  {"arr.1.n", "7"},    {"arr.x.y.m", "8"},
                      {"plain", "9"},    {"n.0.0", "1"},   {"n.0.1", "2"},    {"n.0.#len", "2"},   {"n.1.0", "3"},
                      {"n.1.#len", "1"}, {"n.#len", "2"},  {"o.0.x", "1"},    {"o.1.x", "2"},      {"o.#len", "2"},
                      {"e.#len", "0"},   {"it.p.q", "s"},  {"it.arr.0", "1"}, {"it.arr.#len", "1"}};
    EXPECT_EQ(pairs_of("top = 1\n"
                       "a . b = 2\n"
                       "\"q\".r = 3 # dotted keys are normalised\n"
                       "[t]\nk = \"x\"\n[t] junk ignored\nk = \"y\"\n"
                       "[ a ]\nk = 4\n"
                       "[\"x\"]\nk = 5\n"
                       "[[arr]]\nn = 6\n[[arr]]\nn = 7\n[arr.x.y]\nm = 8\n"
                       "[]\nplain = 9\n"
                       "n = [[1, 2], [3]]\n"
                       "o = [{x = 1}, {x = 2}]\n"
                       "e = []\n"
                       "it = {p.q = 's', empty = {}, arr = [1]}\n"),
              expected);

    toml_doc doc = parse("l = ['a', 'b']\na = 1\na = 2\n[[x]]\na = 1\n[[x]]\na = 2\n[[x]]\n");
    EXPECT_EQ(doc->count, 7);
    EXPECT_EQ(std_of(toml_get_doc(doc, "a"_t).unwrap()), "1");
    EXPECT_EQ(toml_array_count(doc->keys, doc->count, "x"_t), 2);
    EXPECT_TRUE(toml_array_len_doc(doc, "x"_t).is_none());
    EXPECT_EQ(toml_array_len_doc_or(doc, "l"_t, -1), 2);
    EXPECT_EQ(std_of(toml_array_item_doc_or(doc, "l"_t, 1, "?"_t)), "b");
    EXPECT_EQ(std_of(toml_array_item_doc_or(doc, "l"_t, 2, "?"_t)), "?");
    EXPECT_EQ(std_of(toml_array_get(doc->keys, doc->values, doc->count, "x"_t, 1, "a"_t).unwrap()), "2");

    // An index counts by its leading digits; one past the int range does not count.
    toml_doc shapes = parse("t.3.a = 1\nt.12b.a = 1\nt.99999999999.a = 1\nu.2147483647 = 1\n");
    EXPECT_EQ(toml_array_count(shapes->keys, 1, "t"_t), 4);
    EXPECT_EQ(toml_array_count(shapes->keys, 3, "t"_t), 13);
    EXPECT_EQ(toml_array_count(shapes->keys, 4, "u"_t), INT32_MAX);

    // Repeated keys inside inline tables are refused only when written directly in one table.
    EXPECT_EQ(pairs_of("a = {x = {y = 1}, x.y = 2}"), (Pairs{{"a.x.y", "1"}, {"a.x.y", "2"}}));
    EXPECT_EQ(pairs_of("a = [1, # one\n  2,\n]"), (Pairs{{"a.0", "1"}, {"a.1", "2"}, {"a.#len", "2"}}));
}

TEST(Toml, KeepsBareValueTextAndDecodesQuotedValues) {
    EXPECT_EQ(pairs_of("a = 1_000  \nb = 0x10\t# hex\nc = 1979-05-27 07:32:00Z\nd = -inf\n"),
              (Pairs{{"a", "1_000"}, {"b", "0x10"}, {"c", "1979-05-27 07:32:00Z"}, {"d", "-inf"}}));
    EXPECT_EQ(pairs_of("s = \"q\\\"\\\\\\n\\t\\r\\'\"\nt = 'c:\\temp'\nu = \"two\nlines\"  # c\nv = \"\"\n"),
              (Pairs{{"s", "q\"\\\n\t\r'"}, {"t", "c:\temp"}, {"u", "two\nlines"}, {"v", ""}}));
    EXPECT_EQ(pairs_of("\"\" = 1\n\"a b\".'c' = 2\n\"k\\t\xc3\xa9\" . x=3"),
              (Pairs{{"", "1"}, {"a b.c", "2"}, {"k\t\xc3\xa9.x", "3"}}));

    toml_doc doc = parse(
        "quoted = \"12\"\nbare = 12\nyes = \"true\"\nno = \"True\"\nf = 12.5\nbig = 1e10\nmax = 2147483647\n"
        "min = -2147483648\nover = 2147483648\nunder = -2147483649\nspaced = \"  +7x\"\nnone = \"-\"\n");
    EXPECT_EQ(std_of(toml_get_doc_or(doc, "quoted"_t, "?"_t)), "12");
    const std::pair<const char*, int32_t> ints[] = {
        {"quoted", 12}, {"bare", 12}, {"f", 12}, {"big", 1}, {"max", INT32_MAX}, {"min", INT32_MIN},
        {"spaced", 7}, {"over", -1}, {"under", -1}, {"none", -1}, {"missing", -1}};
    for (auto& [key, value] : ints) EXPECT_EQ(toml_get_int_doc_or(doc, from_c(key), -1), value) << key;
    EXPECT_TRUE(toml_get_int(doc->keys, doc->values, 6, "max"_t).is_none());  // beyond the count given
    EXPECT_EQ(toml_get_bool_doc(doc, "yes"_t).unwrap(), true);
    EXPECT_EQ(toml_get_bool_doc(doc, "bare"_t).unwrap(), false);
    EXPECT_TRUE(toml_get_bool_doc(doc, "missing"_t).is_none());
    EXPECT_TRUE(toml_get_bool_doc_or(doc, "missing"_t, true));
    EXPECT_FALSE(toml_get_bool_doc_or(doc, "yes."_t, false));
    EXPECT_TRUE(toml_has_key_doc(doc, "no"_t));
    EXPECT_FALSE(toml_has_key_doc(doc, "No"_t));
    EXPECT_FALSE(toml_has_key_doc(toml_doc(), "no"_t));
}

TEST(Toml, AcceptsOnlyTheScalarsOfTheDialect) {
    for (const char* value : {"true", "false", "0", "+0", "-0", "42", "1_000", "0xDEAD_beef", "0o17", "0b1_0", "1.5",
                              "-0.0", "1e5", "1E-0_5", "6.02e+23", "inf", "+nan", "2024-02-31", "1979-05-27",
                              "2024-01-01T10:00:00+01:00", "1979-05-27 07:32:00Z", "1979-05-27t07:32:00.999z",
                              "10:00:00.5", "23:59:60"})
        EXPECT_EQ(failure(std::string("a = ") + value), "ok") << value;
    for (std::string value : {"+0x10", "0X10", "007", "0_0", "1__0", "_1", "1_", "0x", "1.", ".5", "1e", "01.5", "TRUE",
                              "nan1", "2024-13-01", "2024-01-00", "12:00", "24:00:00", "10:00:00Z",
                              "1979-05-27T07:32:00+24:00", "1979-05-27T07:32", "1979-05-2712", "1 2", "+"})
        EXPECT_EQ(failure("a = " + value), "InvalidInput: toml: invalid value '" + value + "' at position 4");
}

TEST(Toml, ReportsEachFaultWithItsPosition) {
    const std::pair<const char*, const char*> cases[] = {
        {"a = 1\r\n", "toml: invalid value '1\r' at position 4"},
        {"a = 1\n\r\n", "toml: unexpected token at position 6"},
        {"a = \"x\"\r\n", "toml: trailing garbage after value at position 7"},
        {"a = \"\"\"x\"\"\"", "toml: trailing garbage after value at position 6"},
        {"a = \"\\u0041\"", "toml: invalid escape sequence at position 6"},
        {"a = \"abc", "toml: unterminated string at position 8"},
        {"a = 'x\\", "toml: unterminated string at position 7"},
        {"\"a#b\" = 1", "toml: '#' not allowed in key segments (reserved for internal markers) at position 5"},
        {"a. = 1", "toml: empty key segment at position 3"},
        {"a 1", "toml: expected '=' at position 2"},
        {"a =", "toml: expected value at position 3"},
        {"a = # none", "toml: expected value at position 4"},
        {"= 1", "toml: unexpected token at position 0"},
        {"[a\nb = 1", "toml: unterminated table header at position 2"},
        {"[[a]x", "toml: mismatched table-array brackets at position 4"},
        {"a = [1, 2", "toml: unterminated inline array at position 9"},
        {"a = [\"1\" \"2\"]", "toml: expected ',' or ']' in inline array at position 9"},
        {"a = [1,,2]", "toml: expected value at position 7"},
        {"a = [1] x", "toml: trailing garbage after value at position 8"},
        {"a = {x = 1,}", "toml: trailing comma in inline table at position 11"},
        {"a = {x = 1,\ny = 2}", "toml: unterminated inline table at position 11"},
        {"a = {x = 1 # c", "toml: invalid value '1 # c' at position 9"},
        {"a = {x.y = 1, x.y = 2}", "toml: duplicate key in inline table 'x.y' at position 17"},
        {"a = {x 1}", "toml: expected '=' in inline table at position 7"},
        {"a = {x =\n}", "toml: unterminated inline table at position 8"},
        {"a = {=1}", "toml: expected key in inline table at position 5"},
        {"a = {x = \"1\" y}", "toml: expected ',' or '}' in inline table at position 13"},
        {"a = {x = 1", "toml: unterminated inline table at position 10"},
    };
    for (auto& [source, message] : cases) EXPECT_EQ(failure(source), std::string("InvalidInput: ") + message);
    EXPECT_EQ(failure("a = 1\n[a#b]\nc = 2\n[[x]] ]]\n[a]]\n"), "ok");
}

TEST(Toml, HoldsEveryLimitAtItsBoundary) {
    EXPECT_EQ(failure("a = " + repeat("[", 32) + repeat("]", 32)), "ok");
    EXPECT_EQ(failure("a = " + repeat("[", 33) + repeat("]", 33)),
              "InvalidInput: toml: nesting too deep (max 32) at position 36");
    EXPECT_EQ(failure("a = " + repeat("{x = ", 32) + "1" + repeat("}", 32)), "ok");
    EXPECT_EQ(failure("a = " + repeat("[{x = ", 17) + "1" + repeat("}]", 17)),
              "InvalidInput: toml: nesting too deep (max 32) at position 100");

    std::string full;
    for (int i = 0; i < 1024; i++) full += "k" + std::to_string(i) + " = " + std::to_string(i) + "\n";
    EXPECT_EQ(toml_get_int_doc_or(parse(full + "# trailing comment\n\n   \n"), "k1023"_t, -1), 1023);
    EXPECT_EQ(failure(full + "k = 1\n"), "OutOfRange: toml: exceeded capacity");
    EXPECT_EQ(failure(full + "[t]\n"), "OutOfRange: toml: exceeded capacity");
    EXPECT_EQ(failure("a = [1, 2, 3]", 3), "OutOfRange: toml: exceeded capacity at position 13");
    EXPECT_EQ(failure("a = [1, 2, 3]", 2), "OutOfRange: toml: exceeded capacity at position 12");
    EXPECT_EQ(failure("a = {x = 1, y = 2}", 1), "OutOfRange: toml: exceeded capacity at position 17");
    EXPECT_EQ(failure("a = 1", 0), "OutOfRange: toml: exceeded capacity");
    EXPECT_EQ(failure("# nothing", 0), "ok");

    std::string tables;
    for (int i = 0; i < 64; i++) tables += "[[t" + std::to_string(i) + "]]\n[[t0]]\n";
    EXPECT_EQ(failure(tables), "ok");
    EXPECT_EQ(failure(tables + "[[t64]]"),
              "OutOfRange: toml: exceeded capacity of 64 unique table arrays at position " +
                  std::to_string(tables.size() + 7));

    std::string inline_table = "a = {";
    for (int i = 0; i < 128; i++) inline_table += (i ? ", k" : "k") + std::to_string(i) + " = 1";
    EXPECT_EQ(failure(inline_table + "}"), "ok");
    EXPECT_EQ(failure(inline_table + ", k0 = 2}"),
              "InvalidInput: toml: duplicate key in inline table 'k0' at position " +
                  std::to_string(inline_table.size() + 4));
    EXPECT_EQ(failure(inline_table + ", z = 2}"), "OutOfRange: toml: inline table exceeds 128 pairs at position " +
                                                      std::to_string(inline_table.size() + 3));
}

TEST(Toml, WriterOutputParsesBack) {
    toml_builder_ref b = toml_builder();
    toml_set_int(b, "a"_t, 1);
    toml_begin_table(b, "t"_t);
    toml_set_bool(b, "b"_t, true);
    toml_begin_table(b, "u"_t);
    toml_set_string(b, "c"_t, "x"_t);
    EXPECT_EQ(std_of(toml_render(b)), "a = 1\n[t]\nb = true\n\n[u]\nc = \"x\"\n");

    const std::string tricky = "say \"hi\"\\ \n\t\r # \x01 \xc3\xa9";
    string_array items = Array<Member<Text>>::make(2);
    items[0] = text_of(tricky);
    items[1] = empty_string();
    b = toml_builder();
    toml_set_string(b, "s"_t, text_of(tricky));
    toml_set_int(b, "min"_t, INT32_MIN);
    toml_set_bool(b, "off"_t, false);
    toml_set_string_array(b, "none"_t, string_array());
    toml_begin_table(b, "sec"_t);
    toml_set_string_array(b, "list"_t, items);
    string rendered = toml_render(b);
    const std::string first_line = "s = \"say \\\"hi\\\"\\\\ \\n\\t\\r # \x01 \xc3\xa9\"\n";
    EXPECT_EQ(std_of(rendered).substr(0, first_line.size()), first_line);
    EXPECT_EQ(pairs_of(std_of(rendered)), (Pairs{{"s", tricky}, {"min", "-2147483648"}, {"off", "false"},
                                                 {"none.#len", "0"}, {"sec.list.0", tricky}, {"sec.list.1", ""},
                                                 {"sec.list.#len", "2"}}));

    b = toml_builder();
    toml_set_int(b, "a key"_t, 1);
    EXPECT_EQ(failure(std_of(toml_render(b))), "InvalidInput: toml: expected '=' at position 2");
}

}  // namespace
