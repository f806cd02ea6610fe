// Differential test: seeded random documents on the common ground of this dialect and TOML 1.0 are
// read by the codec and by Python's tomllib. Python flattens its tree the way the codec spells keys
// and prints each leaf in a canonical form; the bare values that the codec keeps as source text are
// canonicalised by a second Python pass.
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "stdlib/encoding/toml.hpp"
#include "tests/support/boot.hpp"

using namespace stdlib;

namespace {

// Reads documents separated by zero bytes; answers, for each, "OK" or "ERR" and its leaves as
// \1 key \2 canonical value, closed by a zero byte.
const char* const kFlattener = R"PY(
import sys, tomllib
def canon(v):
    if isinstance(v, bool): return 'b:%s' % v
    if isinstance(v, (int, float)): return 'n:%r' % v
    if isinstance(v, str): return 's:' + v
    return 'd:' + v.isoformat()
def flat(path, v, out):
    if isinstance(v, dict):
        for k, x in v.items(): flat(path + [k], x, out)
    elif isinstance(v, list):
        for i, x in enumerate(v): flat(path + [str(i)], x, out)
        out.append('.'.join(path + ['#len']) + '\2n:%d' % len(v))
    else:
        out.append('.'.join(path) + '\2' + canon(v))
for text in open(sys.argv[1], 'rb').read().split(b'\0')[:-1]:
    out = ['OK']
    try: flat([], tomllib.loads(text.decode()), out)
    except tomllib.TOMLDecodeError: out = ['ERR']
    sys.stdout.buffer.write('\1'.join(out).encode() + b'\0')
)PY";

std::string python() { return access("/usr/bin/python3", X_OK) == 0 ? "/usr/bin/python3" : "python3"; }

struct Verdict {
    bool ok = false;
    std::map<std::string, std::string> leaves;
};

// Python's reading of each document.
std::vector<Verdict> reference(const std::vector<std::string>& docs) {
    char dir[] = "/tmp/toml-reference-XXXXXX";
    if (!mkdtemp(dir)) return {};
    std::string script = std::string(dir) + "/flatten.py", input = std::string(dir) + "/docs", answer;
    std::ofstream(script) << kFlattener;
    std::ofstream out(input, std::ios::binary);
    for (auto& doc : docs) out << doc << '\0';
    out.close();
    if (FILE* pipe = popen((python() + " " + script + " " + input).c_str(), "r")) {
        char chunk[4096];
        for (size_t n; (n = fread(chunk, 1, sizeof chunk, pipe)) > 0;) answer.append(chunk, n);
        pclose(pipe);
    }
    unlink(script.c_str());
    unlink(input.c_str());
    rmdir(dir);
    std::vector<Verdict> verdicts;
    for (size_t at = 0, end; (end = answer.find('\0', at)) != std::string::npos; at = end + 1) {
        std::string record = answer.substr(at, end - at);
        Verdict verdict{record.rfind("OK", 0) == 0, {}};
        for (size_t leaf = record.find('\1'), next; leaf != std::string::npos; leaf = next) {
            next = record.find('\1', leaf + 1);
            std::string pair = record.substr(leaf + 1, next - leaf - 1);
            verdict.leaves[pair.substr(0, pair.find('\2'))] = pair.substr(pair.find('\2') + 1);
        }
        verdicts.push_back(verdict);
    }
    return verdicts;
}

// Scalars both readers accept, as templates: D digit, N digit 1-9, d nothing or one more digit
// with or without "_" before it, H O B hex, octal and binary digits, S a sign or none, M month,
// A day, h hour, m minute or second, T date-time separator, Z UTC mark, c a piece of a quoted
// string, L a piece of a single-quoted one; anything else stands.
std::vector<std::string> split(const std::string& list) {
    std::vector<std::string> out(1);
    for (char c : list)
        if (c == '|') out.emplace_back();
        else out.back() += c;
    return out;
}

const std::vector<std::string> kScalars = split(
    "true|false|SD|SNddd|0xHH_Hd|0oOO_O|0bB_BB|SNd.Ddd|S0.DdeD|SNdESDd|SD.De-DD|Sinf|Snan|19DD-M-A|h:m:m|h:m:m.DDD|"
    "19DD-M-ATh:m:mZ|19DD-M-ATh:m:m.DDDDDDDD+h:m|19DD-M-ATh:m:m-h:m|19DD-M-ATh:m:m|\"cccccc\"|\"c\"|\"\"|'LLLL'|''");
// Scalars both readers refuse.
const std::vector<std::string> kRefused = split(
    "007|1__0|_1|1_|0X10|+0x10|1.|.5|1e|tru|nan1|0b2|0o8|--1|2024-13-01|1979-05-27T25:00:00|\"\\q\"|\"\\u00\"|1 2");

// Documents with fresh names everywhere, so that TOML's rules on redefinition never apply.
struct Generator {
    std::mt19937 rng;
    int fresh = 0;
    bool spoil = false;  // one scalar of the document is to be one that both refuse
    std::vector<std::string> table_arrays;

    explicit Generator(uint32_t seed) : rng(seed) {}
    int pick(int n) { return int(rng() % uint32_t(n)); }
    template <size_t N>
    std::string one_of(const char* const (&items)[N]) {
        return items[pick(N)];
    }
    std::string two(int limit, int from = 0) {
        int v = from + pick(limit - from);
        return {char('0' + v / 10), char('0' + v % 10)};
    }

    std::string scalar() {
        if (spoil && pick(6) == 0) {
            spoil = false;
            return kRefused[pick(int(kRefused.size()))];
        }
        std::string out;
        for (char t : kScalars[pick(int(kScalars.size()))]) {
            switch (t) {
                case 'D': out += char('0' + pick(10)); break;
                case 'N': out += char('1' + pick(9)); break;
                case 'd': out += one_of({"", "", "0", "_7", "5"}); break;
                case 'H': out += "0123456789abcdefABCDEF"[pick(22)]; break;
                case 'O': out += char('0' + pick(8)); break;
                case 'B': out += char('0' + pick(2)); break;
                case 'S': out += one_of({"", "+", "-"}); break;
                case 'M': out += two(13, 1); break;
                case 'A': out += two(29, 1); break;
                case 'h': out += two(24); break;
                case 'm': out += two(60); break;
                case 'T': out += one_of({"T", "t", " "}); break;
                case 'Z': out += one_of({"Z", "z"}); break;
                case 'c':
                    out += one_of(
                        {"a", " ", "#", "'", ",", "]", "}", "\xe2\x86\x92", "\t", "\\n", "\\t", "\\r", "\\\\", "\\\""});
                    break;
                case 'L': out += one_of({"a", " ", "#", "\"", "\xc3\xa9", "\t", "=", "}"}); break;
                default: out += t;
            }
        }
        return out;
    }

    std::string key() {
        std::string k;
        for (int n = pick(4) ? 1 : 2 + pick(2); n > 0; n--) {
            std::string name = "k" + std::to_string(fresh++);
            k += k.empty() ? "" : pick(2) ? "." : " . ";
            k += one_of({"N", "N", "N-x_y", "\"N q\xc3\xa9\\t\"", "'N lit'"});
            k.replace(k.rfind('N'), 1, name);
        }
        return k;
    }

    // A scalar, an inline table (on one line) or an inline array, which may span lines.
    std::string value(int depth, bool one_line) {
        int kind = depth < 3 ? pick(8) : 0;
        if (kind == 6) {
            std::string t = "{";
            for (int i = 0, n = pick(4); i < n; i++) t += (i ? ", " : " ") + key() + " = " + value(depth + 1, true);
            return t + (t.size() > 1 ? " }" : "}");
        }
        if (kind != 7) return scalar();
        std::string a = "[", gap = one_line ? " " : one_of({" ", "", "\n  ", " # note\n  ", "\t"});
        for (int i = 0, n = pick(5); i < n; i++)
            a += gap + value(depth + 1, one_line) + (i + 1 < n || pick(3) == 0 ? "," : "");
        return a + gap + "]";
    }

    std::string document() {
        std::string doc;
        spoil = pick(8) == 0;
        for (int lines = 2 + pick(14); lines > 0; lines--) {
            int kind = pick(10);
            if (kind == 0) {
                doc += one_of({"# comment [x] = 1\n", "\n", "  \t\n"});
            } else if (kind == 1) {
                std::string name = "t" + std::to_string(fresh++);
                if (pick(3) == 0) name += ".u" + std::to_string(fresh++);
                doc += "[" + name + "]" + one_of({"\n", " # header\n"});
            } else if (kind == 2) {
                if (table_arrays.empty() || pick(2)) table_arrays.push_back("a" + std::to_string(fresh++));
                doc += "[[" + table_arrays[pick(int(table_arrays.size()))] + "]]\n";
            } else {
                doc += one_of({"", "  ", "\t"}) + key() + one_of({" = ", "=", " =\t"}) + value(0, false) +
                       one_of({"\n", " # trailing\n", "  \n"});
            }
        }
        return pick(4) ? doc : doc + "last = 1";
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

    std::vector<std::string> bare, expected, where;
    int accepted = 0;
    for (size_t i = 0; i < docs.size(); i++) {
        Result<TomlDoc, Error> ours = toml_parse_doc(from_bytes(docs[i].data(), (int32_t)docs[i].size()));
        std::string context = "document " + std::to_string(i + 1) + ":\n" + docs[i];
        ASSERT_EQ(ours.is_ok(), verdicts[i].ok) << context << "\n"
                                                << (ours.is_err() ? c_str(ours.unwrap_err()->message) : "");
        if (ours.is_err()) continue;
        accepted++;
        // An array of tables has no length marker here.
        auto theirs = verdicts[i].leaves;
        for (auto& name : arrays_of_tables[i]) theirs.erase(name + ".#len");
        const toml_doc& doc = ours.unwrap_ok();
        ASSERT_EQ(size_t(doc->count), theirs.size()) << context;
        for (int32_t p = 0; p < doc->count; p++) {
            string k = doc->keys[p], v = doc->values[p];
            std::string key(c_str(k), size_t(length(k))), value(c_str(v), size_t(length(v)));
            ASSERT_EQ(theirs.count(key), 1u) << context << "\nkey only in the codec: " << key;
            if (theirs[key].rfind("s:", 0) == 0) {
                EXPECT_EQ("s:" + value, theirs[key]) << context << "\nat " << key;
            } else {
                bare.push_back("v = " + value);
                expected.push_back(theirs[key]);
                where.push_back(context + "\nat " + key);
            }
        }
    }
    EXPECT_GT(accepted, 300);
    EXPECT_LT(accepted, 390);

    std::vector<Verdict> scalars = reference(bare);
    ASSERT_EQ(scalars.size(), bare.size());
    for (size_t i = 0; i < bare.size(); i++)
        EXPECT_EQ(scalars[i].leaves["v"], expected[i]) << where[i] << "\nstored as " << bare[i];
}

}  // namespace
