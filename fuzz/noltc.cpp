// Feeds arbitrary bytes to the stand-in compiler's readers. The first byte picks one:
//
//  source    The source check. Every error is one line "path:line:column: error: message" that
//            points at a written character of a line of the text, the count of errors is the
//            count of lines, and a text with CR LF line ends gets the same report as with LF.
//
//  manifest  The project file reader. A refusal names a line of the text. And a nolt.toml that
//            the IDE's writer makes from values split at NUL bytes (name, entry, output, output
//            dir, then source dirs) gives the compiler exactly those values.
#define NOLTC_MAIN noltc_main
#include "tools/noltc.cpp"

#include <stdlib.h>

#include "fuzz/boot.hpp"
#include "ide/project_settings.hpp"

namespace {

void must(bool holds) {
    if (!holds) abort();
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// The checker's report on `text`, with every line's place checked.
std::string report(const std::string& text) {
    std::ostringstream out;
    std::streambuf* saved = std::cerr.rdbuf(out.rdbuf());
    Checker checker{"f"};
    checker.check(text);
    std::cerr.rdbuf(saved);
    std::vector<std::string> source = lines_of(text), said = lines_of(out.str());
    must(said.size() == size_t(checker.errors));
    for (const std::string& line : said) {
        unsigned number = 0, column = 0;
        int used = 0;
        must(sscanf(line.c_str(), "f:%u:%u: error: %n", &number, &column, &used) == 2 && used > 0);
        must(number >= 1 && number <= source.size());
        const std::string& at = source[number - 1];
        must(column >= 1 && column <= at.size() && at[column - 1] != ' ' && at[column - 1] != '\t');
    }
    return out.str();
}

void check_source(const std::string& text) {
    std::string said = report(text);
    if (text.find('\r') != std::string::npos) return;
    std::string crlf;
    for (char c : text) crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
    must(report(crlf) == said);
}

std::string bytes(const stdlib::string& text) { return std::string(stdlib::c_str(text), size_t(stdlib::length(text))); }

void check_manifest(const std::string& text) {
    Manifest keys;
    if (std::optional<std::string> bad = parse_manifest(text, keys)) {
        unsigned number = 0;
        must(sscanf(bad->c_str(), "nolt.toml:%u: ", &number) == 1 && number >= 1 && number <= lines_of(text).size());
    }

    std::vector<std::string> fields;
    for (size_t at = 0;; at++) {
        size_t end = text.find('\0', at);
        fields.push_back(text.substr(at, end == std::string::npos ? std::string::npos : end - at));
        if (end == std::string::npos) break;
        at = end;
    }
    fields.resize(std::max<size_t>(fields.size(), 4));
    int32_t dirs = int32_t(std::min<size_t>(fields.size() - 4, ide::max_source_dirs()));
    auto text_of = [](const std::string& s) { return stdlib::from_bytes(s.data(), int32_t(s.size())); };
    stdlib::string_array dir_texts = ide::alloc_source_dirs();
    for (int32_t i = 0; i < dirs; i++) dir_texts[i] = text_of(fields[4 + size_t(i)]);
    std::string written = bytes(ide::surgical_update(stdlib::empty_string(), text_of(fields[0]), text_of(fields[1]),
                                                     text_of(fields[2]), text_of(fields[3]), dir_texts, dirs));
    Manifest read;
    must(!parse_manifest(written, read));
    const char* names[] = {"package.name", "build.entry", "build.output", "build.output_dir"};
    for (size_t i = 0; i < 4; i++) must(read[names[i]] == std::vector<std::string>{fields[i]});
    must(read["build.source_dirs"] == std::vector<std::string>(fields.begin() + 4, fields.begin() + 4 + dirs));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_boot();
    if (size < 1 || size > 1 << 14) return 0;
    std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    if (data[0] & 1) check_manifest(text);
    else check_source(text);
    return 0;
}
