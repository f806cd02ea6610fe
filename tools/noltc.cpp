// noltc: a stand-in for the Nolt compiler, for machines that have none.
//
//   noltc <source> -o <output>   checks one source file and writes a program at <output>
//   noltc build                  builds the project whose nolt.toml is in the current directory
//
// The check covers what a missing `end` or an open quote breaks: every block opener is closed by
// its own `end <name>` line, and every text or character literal closes on its line. Faults go to
// stderr as "path:line:column: error: message" with exit status 1.
//
// The program written is a copy of this executable with a trailer appended: the line it prints,
// its length as four little-endian bytes, then TRAILER_TAG. At start noltc looks for that trailer
// in its own file; if there is one, it acts as the built program instead: it prints the line and
// then its arguments, one per line, and exits 0.
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr char TRAILER_TAG[] = "\n#noltc-built-program#\n";
constexpr size_t TAG_LEN = sizeof(TRAILER_TAG) - 1;

const char USAGE[] =
    "usage: noltc <source> -o <output>   check one source file and write its program\n"
    "       noltc build                  build the project of ./nolt.toml\n"
    "       noltc --help\n";

std::optional<std::string> read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
}

int fail(const std::string& message) {
    std::cerr << "noltc: error: " << message << "\n";
    return 1;
}

int unreadable(const std::string& what, const std::string& path) {
    std::error_code ec;
    return fail("cannot read " + what + path + (fs::exists(path, ec) ? "" : ": No such file or directory"));
}

// ---- The built program ------------------------------------------------------------------

// The line stored in this executable's trailer, if it has one.
std::optional<std::string> own_trailer() {
    std::ifstream self("/proc/self/exe", std::ios::binary | std::ios::ate);
    std::streamoff size = self ? std::streamoff(self.tellg()) : 0;
    char tail[TAG_LEN + 4];
    if (size < std::streamoff(sizeof tail) || !self.seekg(size - sizeof tail).read(tail, sizeof tail) ||
        std::memcmp(tail + 4, TRAILER_TAG, TAG_LEN) != 0)
        return std::nullopt;
    const unsigned char* n = reinterpret_cast<const unsigned char*>(tail);
    std::streamoff len = n[0] | n[1] << 8 | n[2] << 16 | std::streamoff(n[3]) << 24;
    std::string line(size_t(std::min(len, size - std::streamoff(sizeof tail))), '\0');
    if (!self.seekg(size - std::streamoff(sizeof tail) - std::streamoff(line.size())).read(line.data(), line.size()))
        return std::nullopt;
    return line;
}

// A copy of this executable that prints `line`. Written beside
// the target and renamed over it, so that a running old program is not disturbed.
int write_program(const std::string& output, const std::string& line) {
    std::optional<std::string> self = read_file("/proc/self/exe");
    if (!self) return fail("cannot read this compiler's own executable");
    fs::path target(output);
    std::error_code ec;
    if (target.has_parent_path()) fs::create_directories(target.parent_path(), ec);
    if (ec) return fail("cannot create directory " + target.parent_path().string() + ": " + ec.message());
    std::string temp = output + ".noltc-tmp";
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        uint32_t n = uint32_t(line.size());
        const char len[4] = {char(n), char(n >> 8), char(n >> 16), char(n >> 24)};
        out << *self << line;
        out.write(len, 4);
        out.write(TRAILER_TAG, TAG_LEN);
        if (!out.flush()) return fail("cannot write " + output + ": " + std::strerror(errno));
    }
    if (chmod(temp.c_str(), 0755) != 0 || std::rename(temp.c_str(), output.c_str()) != 0) {
        int err = errno;
        std::remove(temp.c_str());
        return fail("cannot write " + output + ": " + std::strerror(err));
    }
    return 0;
}

// ---- The source check -------------------------------------------------------------------

bool ident_start(char c) { return std::isalpha((unsigned char)c) || c == '_'; }
bool ident_cont(char c) { return std::isalnum((unsigned char)c) || c == '_'; }

bool starts_with_word(const std::string& s, const std::string& w) {
    return s.compare(0, w.size(), w) == 0 && (s.size() == w.size() || !ident_cont(s[w.size()]));
}

std::string after_word(const std::string& s, const std::string& w) {
    size_t i = std::min(w.size(), s.size());
    while (i < s.size() && (s[i] == ' ' || s[i] == '\t')) i++;
    return s.substr(i);
}

std::string ident(const std::string& s) {
    if (s.empty() || !ident_start(s[0])) return "";
    size_t i = 1;
    while (i < s.size() && ident_cont(s[i])) i++;
    return s.substr(0, i);
}

// The name that `end` must repeat for a line that opens a block, or "" for any other line. `code`
// is the line without indentation and comment, and not an `end` line.
std::string block_name(std::string code) {
    if (code.find("=>") != std::string::npos) return "";
    for (int round = 0; round < 6; round++) {
        const char* found = nullptr;
        for (const char* m : {"override", "exclusive", "shared"})
            if (!found && starts_with_word(code, m)) found = m;
        if (!found) break;
        code = after_word(code, found);
    }
    for (const char* kw : {"fn", "proc"}) {
        if (!starts_with_word(code, kw)) continue;
        std::string rest = after_word(code, kw);
        return rest.find('(') != std::string::npos && rest[0] != '(' ? ident(rest) : "";
    }
    if (starts_with_word(code, "object")) return ident(after_word(code, "object"));
    if (starts_with_word(code, "type")) {
        bool opens = code.find("struct") != std::string::npos || code.find("enum") != std::string::npos ||
                     code.find("union") != std::string::npos;
        return opens ? ident(after_word(code, "type")) : "";
    }
    for (const char* kw : {"init", "module", "export", "if", "while", "for", "match", "typecase"})
        if (starts_with_word(code, kw)) return kw;
    return "";
}

struct Open {
    std::string name;
    int line, column;
};

struct Checker {
    std::string path;
    int errors = 0;

    void error(int line, int column, const std::string& message) {
        std::cerr << path << ":" << line << ":" << column << ": error: " << message << "\n";
        errors++;
    }

    // The line up to its comment, or up to an open literal, which is reported.
    std::string code_of(const std::string& line, int number) {
        for (size_t i = 0; i < line.size(); i++) {
            if (line[i] == '#') return line.substr(0, i);
            if (line[i] != '"' && line[i] != '\'') continue;
            size_t j = i + 1;
            while (j < line.size() && line[j] != line[i]) j += line[j] == '\\' ? 2 : 1;
            if (j >= line.size()) {
                error(number, int(i) + 1, line[i] == '"' ? "unterminated string" : "unterminated character literal");
                return line.substr(0, i);
            }
            i = j;
        }
        return line;
    }

    void check(const std::string& text) {
        std::vector<Open> open;
        std::istringstream in(text);
        std::string line;
        for (int number = 1; std::getline(in, line); number++) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            std::string code = code_of(line, number);
            size_t indent = code.find_first_not_of(" \t");
            if (indent == std::string::npos) continue;
            code = code.substr(indent, code.find_last_not_of(" \t") + 1 - indent);
            int column = int(indent) + 1;
            if (starts_with_word(code, "end")) {
                close(open, ident(after_word(code, "end")), number, column);
            } else if (std::string name = block_name(code); !name.empty()) {
                open.push_back({name, number, column});
            }
        }
        for (const Open& o : open) error(o.line, o.column, "`" + o.name + "` is not closed: expected `end " + o.name + "`");
    }

    void close(std::vector<Open>& open, const std::string& name, int number, int column) {
        std::string said = name.empty() ? "`end`" : "`end " + name + "`";
        if (open.empty()) return error(number, column, said + " has no open block to close");
        if (name == open.back().name) return open.pop_back();
        error(number, column, said + " does not close `" + open.back().name + "` opened at line " +
                                  std::to_string(open.back().line) + ": expected `end " + open.back().name + "`");
        // Recover at the block it names, or take it for the innermost one.
        auto match = std::find_if(open.rbegin(), open.rend(), [&](const Open& o) { return o.name == name; });
        open.erase(match == open.rend() ? open.end() - 1 : match.base() - 1, open.end());
    }
};

struct Sources {
    int files = 0;
    long lines = 0;
    int errors = 0;
};

// Checks one file; false if it cannot be read.
bool check_file(const std::string& path, Sources& sources) {
    std::optional<std::string> text = read_file(path);
    if (!text || fs::is_directory(path)) return false;
    Checker checker{path};
    checker.check(*text);
    sources.files++;
    sources.lines += std::count(text->begin(), text->end(), '\n') + (!text->empty() && text->back() != '\n');
    sources.errors += checker.errors;
    return true;
}

std::string built_line(const std::string& program, const Sources& s) {
    return program + ": built from " + std::to_string(s.files) + " source file" + (s.files == 1 ? "" : "s") + ", " +
           std::to_string(s.lines) + " line" + (s.lines == 1 ? "" : "s") + ", by noltc, a stand-in compiler";
}

int finish(const std::string& program, const std::string& output, const Sources& sources) {
    if (sources.errors) {
        std::cerr << "noltc: " << sources.errors << " error" << (sources.errors == 1 ? "" : "s") << ", nothing written\n";
        return 1;
    }
    return write_program(output, built_line(program, sources));
}

int build_file(const std::string& source, const std::string& output) {
    std::error_code ec;
    if (fs::equivalent(source, output, ec)) return fail("the output " + output + " would overwrite the source");
    Sources sources;
    if (!check_file(source, sources)) return unreadable("", source);
    return finish(fs::path(output).filename().string(), output, sources);
}

// ---- nolt.toml ----------------------------------------------------------------------------

// The few keys a build needs, as "table.key" -> values (one for a text, any number for an array).
using Manifest = std::map<std::string, std::vector<std::string>>;

char unescape(char c) { return c == 'n' ? '\n' : c == 't' ? '\t' : c == 'r' ? '\r' : c; }

// Reads a quoted text at s[i], with the IDE's escapes, leaving i behind it; false if it does not close.
bool read_quoted(const std::string& s, size_t& i, std::string& out) {
    for (size_t j = i + 1; j < s.size(); j++) {
        if (s[j] == '\\' && j + 1 < s.size()) out += unescape(s[++j]);
        else if (s[j] == '"') return i = j + 1, true;
        else out += s[j];
    }
    return false;
}

std::string trim(const std::string& s) {
    size_t a = s.find_first_not_of(" \t\r"), b = s.find_last_not_of(" \t\r");
    return a == std::string::npos ? "" : s.substr(a, b + 1 - a);
}

// Values other than texts and arrays of texts (numbers, booleans) are kept as their raw text.
std::optional<std::string> parse_manifest(const std::string& text, Manifest& keys) {
    std::istringstream in(text);
    std::string line, table;
    for (int number = 1; std::getline(in, line); number++) {
        std::string where = "nolt.toml:" + std::to_string(number) + ": ";
        line = trim(line);
        if (line.empty() || line[0] == '#') continue;
        if (line[0] == '[') {
            size_t end = line.find(']');
            if (end == std::string::npos) return where + "unclosed table header";
            table = trim(line.substr(line[1] == '[' ? 2 : 1, end - (line[1] == '[' ? 2 : 1)));
            continue;
        }
        size_t eq = line.find('=');
        std::string key = eq == std::string::npos ? "" : trim(line.substr(0, eq));
        if (key.empty()) return where + "expected key = value";
        std::string value = trim(line.substr(eq + 1));
        std::vector<std::string>& values = keys[table.empty() ? key : table + "." + key];
        values.clear();
        size_t i = 0;
        if (value.empty()) return where + "missing value for " + key;
        if (value[0] == '"') {
            std::string s;
            if (!read_quoted(value, i, s)) return where + "unterminated string";
            values.push_back(s);
        } else if (value[0] == '[') {
            for (i = 1; i < value.size() && value[i] != ']';) {
                if (value[i] == '"') {
                    std::string s;
                    if (!read_quoted(value, i, s)) return where + "unterminated string";
                    values.push_back(s);
                } else if (value[i] == ' ' || value[i] == ',' || value[i] == '\t') {
                    i++;
                } else {
                    return where + "expected a list of quoted texts for " + key;
                }
            }
            if (i >= value.size()) return where + "unclosed list for " + key;
        } else {
            values.push_back(value.substr(0, value.find('#')));
        }
    }
    return std::nullopt;
}

std::string text_key(const Manifest& keys, const std::string& key, const std::string& fallback) {
    auto it = keys.find(key);
    return it == keys.end() || it->second.empty() ? fallback : it->second[0];
}

int build_project() {
    std::optional<std::string> text = read_file("nolt.toml");
    if (!text) return fail("no nolt.toml in " + fs::current_path().string());
    Manifest keys;
    if (std::optional<std::string> bad = parse_manifest(*text, keys)) return fail(*bad);
    std::string name = text_key(keys, "package.name", "");
    std::string output = text_key(keys, "build.output", name);
    if (output.empty()) return fail("nolt.toml: package.name is missing");
    std::string entry = text_key(keys, "build.entry", "src/main.nolt");
    auto dirs = keys.find("build.source_dirs");
    std::vector<std::string> source_dirs = dirs == keys.end() ? std::vector<std::string>{"src"} : dirs->second;

    Sources sources;
    if (!check_file(entry, sources)) return unreadable("the entry ", entry);
    std::vector<std::string> files;
    for (const std::string& dir : source_dirs) {
        std::error_code ec;
        if (!fs::is_directory(dir, ec)) return fail("source directory " + dir + " not found");
        for (auto it = fs::recursive_directory_iterator(dir, ec); !ec && it != fs::recursive_directory_iterator(); it.increment(ec))
            if (it->is_regular_file() && it->path().extension() == ".nolt") files.push_back(it->path().lexically_normal().string());
    }
    std::sort(files.begin(), files.end());
    files.erase(std::unique(files.begin(), files.end()), files.end());
    for (const std::string& file : files)
        if (file != fs::path(entry).lexically_normal().string() && !check_file(file, sources))
            return unreadable("", file);
    std::string dir = text_key(keys, "build.output_dir", "build");
    return finish(name.empty() ? output : name, (fs::path(dir) / output).string(), sources);
}

}  // namespace

// A program that includes this file to reach the checker names its own entry here.
#ifndef NOLTC_MAIN
#define NOLTC_MAIN main
#endif

int NOLTC_MAIN(int argc, char** argv) {
    if (std::optional<std::string> line = own_trailer()) {
        std::cout << *line << "\n";
        for (int i = 1; i < argc; i++) std::cout << argv[i] << "\n";
        return 0;
    }
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.size() == 1 && args[0] == "--help") {
        std::cout << "noltc: a stand-in compiler for Nolt. It checks that blocks and literals are closed\n"
                     "and writes a program that reports what it was built from.\n\n"
                  << USAGE;
        return 0;
    }
    if (args.size() == 1 && args[0] == "build") return build_project();
    if (args.size() == 3 && args[1] == "-o" && !args[0].empty() && !args[2].empty()) return build_file(args[0], args[2]);
    std::cerr << USAGE;
    return 2;
}
