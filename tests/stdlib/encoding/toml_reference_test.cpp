// Differential test: seeded random documents inside the common ground of this dialect and TOML 1.0
// are read by the codec and by Python's tomllib, and the flat keys and values must agree. Python
// flattens its tree the way the codec spells keys and prints every leaf in a canonical form; bare
// values that the codec kept as source text are canonicalised by a second Python pass.
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "stdlib/encoding/toml.hpp"
#include "tests/support/boot.hpp"

using namespace stdlib;

namespace {

const char* const kFlattener = R"PY(
import sys, tomllib
def canon(v):
    if isinstance(v, bool): return 'b:' + ('true' if v else 'false')
    if isinstance(v, int): return 'i:%d' % v
    if isinstance(v, float): return 'f:' + repr(v)
    if isinstance(v, str): return 's:' + v
    return 'd:' + v.isoformat()
def flat(path, v, out):
    if isinstance(v, dict):
        for k, x in v.items(): flat(path + [k], x, out)
    elif isinstance(v, list):
        for i, x in enumerate(v): flat(path + [str(i)], x, out)
        out.append(('.'.join(path + ['#len']), 'i:%d' % len(v)))
    else:
        out.append(('.'.join(path), canon(v)))
for line in open(sys.argv[1]):
    try:
        doc = tomllib.loads(bytes.fromhex(line.strip()).decode('utf-8'))
    except Exception:
        print('ERR'); continue
    out = []
    flat([], doc, out)
    print(' '.join(['OK'] + [k.encode().hex() + ':' + v.encode().hex() for k, v in out]))
)PY";

using Leaves = std::map<std::string, std::string>;
struct Verdict {
    bool ok = false;
    Leaves leaves;
};

std::string hex(const std::string& s) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (unsigned char c : s) out += {digits[c >> 4], digits[c & 15]};
    return out;
}

std::string unhex(const std::string& s) {
    std::string out;
    for (size_t i = 0; i + 1 < s.size(); i += 2) out += char(std::stoi(s.substr(i, 2), nullptr, 16));
    return out;
}

std::string python() { return access("/usr/bin/python3", X_OK) == 0 ? "/usr/bin/python3" : "python3"; }

// Runs the flattener over the documents, one verdict per document.
std::vector<Verdict> reference(const std::vector<std::string>& docs) {
    char dir[] = "/tmp/toml-reference-XXXXXX";
    if (!mkdtemp(dir)) return {};
    std::string script = std::string(dir) + "/flatten.py", input = std::string(dir) + "/docs";
    std::ofstream(script) << kFlattener;
    {
        std::ofstream out(input);
        for (auto& doc : docs) out << hex(doc) << "\n";
    }
    std::vector<Verdict> verdicts;
    if (FILE* pipe = popen((python() + " " + script + " " + input).c_str(), "r")) {
        std::string line;
        for (int c; (c = fgetc(pipe)) != EOF;) {
            if (c != '\n') {
                line += char(c);
                continue;
            }
            Verdict verdict;
            verdict.ok = line.rfind("OK", 0) == 0;
            for (size_t at = 3; verdict.ok && at < line.size();) {
                size_t colon = line.find(':', at), space = line.find(' ', colon);
                if (space == std::string::npos) space = line.size();
                verdict.leaves[unhex(line.substr(at, colon - at))] = unhex(line.substr(colon + 1, space - colon - 1));
                at = space + 1;
            }
            verdicts.push_back(verdict);
            line.clear();
        }
        pclose(pipe);
    }
    unlink(script.c_str());
    unlink(input.c_str());
    rmdir(dir);
    return verdicts;
}

// Documents that both readers must take the same way: fresh names everywhere, so that TOML's
// redefinition rules never apply, and no construct on which the two differ.
struct Generator {
    std::mt19937 rng;
    int fresh = 0;
    bool spoil = false;  // put one value into the document that both must refuse
    std::vector<std::string> table_arrays;

    explicit Generator(uint32_t seed) : rng(seed) {}
    int pick(int n) { return int(rng() % uint32_t(n)); }
    template <size_t N>
    const char* one_of(const char* const (&items)[N]) {
        return items[pick(N)];
    }

    std::string digits(int base, int count, bool underscores) {
        static const char set[] = "0123456789abcdefABCDEF";
        std::string out;
        for (int i = 0; i < count; i++) {
            if (i > 0 && underscores && pick(4) == 0) out += '_';
            int d = pick(base);
            if (base == 16 && d >= 10 && pick(2)) d += 6;
            out += set[i == 0 && base == 10 && count > 1 ? 1 + pick(9) : d];
        }
        return out;
    }
    static std::string two(int v) { return std::string{char('0' + v / 10), char('0' + v % 10)}; }
    std::string time() {
        std::string t = two(pick(24)) + ":" + two(pick(60)) + ":" + two(pick(60));
        if (pick(3) == 0) t += "." + digits(10, 1 + pick(8), false);
        return t;
    }
    std::string date() { return "19" + two(pick(100)) + "-" + two(1 + pick(12)) + "-" + two(1 + pick(28)); }
    std::string sign() { return one_of({"", "+", "-"}); }

    std::string scalar() {
        if (spoil && pick(6) == 0) {
            spoil = false;
            static const char* const bad[] = {"007", "1__0", "_1", "1_", "0X10", "+0x10", "1.", ".5", "1e", "tru",
                                              "nan1", "0b2", "0o8", "--1", "2024-13-01", "1979-05-27T25:00:00",
                                              "\"\\q\"", "\"\\u00\"", "1 2"};
            return one_of(bad);
        }
        switch (pick(9)) {
            case 0: return pick(2) ? "true" : "false";
            case 1: return sign() + (pick(5) ? digits(10, 1 + pick(12), true) : "0");
            case 2: {
                static const int bases[] = {16, 8, 2};
                int base = bases[pick(3)];
                return std::string(base == 16 ? "0x" : base == 8 ? "0o" : "0b") + digits(base, 1 + pick(10), true);
            }
            case 3: {
                std::string f = sign() + (pick(4) ? digits(10, 1 + pick(5), true) : "0");
                if (pick(3)) f += "." + digits(10, 1 + pick(6), true);
                if (f.find('.') == std::string::npos || pick(3) == 0)
                    f += one_of({"e", "E"}) + sign() + digits(10, 1 + pick(2), false);
                return pick(8) ? f : sign() + one_of({"inf", "nan"});
            }
            case 4:
                switch (pick(4)) {
                    case 0: return date();
                    case 1: return time();
                    default: {
                        std::string offset = pick(2) ? one_of({"Z", "z", ""})
                                                     : one_of({"+", "-"}) + two(pick(24)) + ":" + two(pick(60));
                        return date() + one_of({"T", "t", " "}) + time() + offset;
                    }
                }
            case 5: {
                std::string s = "'";
                for (int i = pick(8); i > 0; i--) s += one_of({"a", "Z", " ", "#", "\"", "\xc3\xa9", "\t", "=", "}"});
                return s + "'";
            }
            default: {
                std::string s = "\"";
                for (int i = pick(10); i > 0; i--)
                    s += one_of({"a", "9", " ", "#", "'", ",", "]", "}", "\xe2\x86\x92", "\t", "\\n", "\\t", "\\r",
                                 "\\\\", "\\\""});
                return s + "\"";
            }
        }
    }

    std::string segment() {
        std::string name = "k" + std::to_string(fresh++);
        switch (pick(6)) {
            case 0: return "\"" + name + " q\xc3\xa9\\t\"";
            case 1: return "'" + name + " lit'";
            case 2: return name + "-x_y";
            default: return name;
        }
    }
    std::string key() {
        std::string k = segment();
        for (int n = pick(4) == 0 ? 1 + pick(2) : 0; n > 0; n--) k += (pick(3) ? "." : " . ") + segment();
        return k;
    }

    // A value; inside an inline table everything stays on one line.
    std::string value(int depth, bool one_line) {
        int kind = depth < 3 ? pick(8) : 0;
        if (kind == 6) {
            std::string t = "{";
            for (int i = 0, n = pick(4); i < n; i++) t += (i ? ", " : " ") + key() + " = " + value(depth + 1, true);
            return t + (t.size() > 1 ? " }" : "}");
        }
        if (kind != 7) return scalar();
        std::string a = "[", gap = one_line ? " " : one_of({" ", "", "\n  ", " # note\n  ", "\t"});
        int n = pick(5);
        for (int i = 0; i < n; i++) a += gap + value(depth + 1, one_line) + (i + 1 < n ? "," : "");
        if (n > 0 && pick(3) == 0) a += ",";
        return a + (n ? gap : "") + "]";
    }

    std::string document() {
        std::string doc;
        spoil = pick(8) == 0;
        for (int line = 0, lines = 2 + pick(14); line < lines; line++) {
            switch (pick(10)) {
                case 0: doc += one_of({"# comment [x] = 1\n", "\n", "  \t\n"}); break;
                case 1: {
                    std::string name = "t" + std::to_string(fresh++);
                    if (pick(3) == 0) name += ".t" + std::to_string(fresh++);
                    doc += "[" + name + "]" + one_of({"", " # header"}) + "\n";
                    break;
                }
                case 2:
                    if (table_arrays.empty() || pick(2)) table_arrays.push_back("a" + std::to_string(fresh++));
                    doc += "[[" + table_arrays[pick(int(table_arrays.size()))] + "]]\n";
                    break;
                default:
                    doc += std::string(one_of({"", "  ", "\t"})) + key() + one_of({" = ", "=", " =\t"}) +
                           value(0, false) + one_of({"\n", " # trailing\n", "\n", "  \n"});
            }
        }
        return pick(4) && !doc.empty() ? doc : doc + "last = 1";
    }
};

TEST(TomlReference, AgreesWithTomllibOnTheCommonGround) {
    test_support::boot();
    if (system((python() + " -c 'import tomllib' 2>/dev/null").c_str()) != 0) {
        if (getenv("CI") && std::string(getenv("CI")) == "true")
            FAIL() << "the reference reader, Python 3.11+ with tomllib (Debian package python3), is missing";
        GTEST_SKIP() << "no python3 with tomllib";
    }
    std::vector<std::string> docs;
    std::vector<std::vector<std::string>> arrays_of_tables;
    for (uint32_t seed = 1; seed <= 400; seed++) {
        Generator generator(seed);
        docs.push_back(generator.document());
        arrays_of_tables.push_back(generator.table_arrays);
    }
    std::vector<Verdict> verdicts = reference(docs);
    ASSERT_EQ(verdicts.size(), docs.size()) << "the reference reader did not answer for every document";

    // Codec values whose Python form is not a string go through Python once more as `v = TEXT`.
    std::vector<std::string> bare, expected, where;
    int accepted = 0, refused = 0;
    for (size_t i = 0; i < docs.size(); i++) {
        Result<TomlDoc, Error> ours = toml_parse_doc(from_bytes(docs[i].data(), (int32_t)docs[i].size()));
        std::string context = "document " + std::to_string(i + 1) + ":\n" + docs[i];
        ASSERT_EQ(ours.is_ok(), verdicts[i].ok)
            << context << "\n" << (ours.is_err() ? c_str(ours.unwrap_err()->message) : "accepted by the codec");
        if (!ours.is_ok()) {
            refused++;
            continue;
        }
        accepted++;
        Leaves theirs = verdicts[i].leaves;
        for (auto& name : arrays_of_tables[i]) theirs.erase(name + ".#len");
        const toml_doc& doc = ours.unwrap_ok();
        std::set<std::string> keys;
        for (int32_t p = 0; p < doc->count; p++) {
            string k = doc->keys[p], v = doc->values[p];
            std::string key(c_str(k), (size_t)length(k)), value(c_str(v), (size_t)length(v));
            ASSERT_TRUE(keys.insert(key).second) << context << "\nrepeated key " << key;
            auto found = theirs.find(key);
            ASSERT_NE(found, theirs.end()) << context << "\nkey only in the codec: " << key;
            if (found->second.rfind("s:", 0) == 0) {
                EXPECT_EQ(value, found->second.substr(2)) << context << "\nat " << key;
            } else {
                bare.push_back("v = " + value);
                expected.push_back(found->second);
                where.push_back(context + "\nat " + key);
            }
        }
        EXPECT_EQ(keys.size(), theirs.size()) << context;
    }
    EXPECT_GT(accepted, 300);
    EXPECT_GT(refused, 20);

    std::vector<Verdict> scalars = reference(bare);
    ASSERT_EQ(scalars.size(), bare.size());
    for (size_t i = 0; i < bare.size(); i++)
        EXPECT_EQ(scalars[i].leaves["v"], expected[i]) << where[i] << "\nstored as " << bare[i];
}

}  // namespace
