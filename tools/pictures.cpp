// Makes the README's pictures: runs noltide in a pseudo-terminal on a copy of the example
// project, takes it through a few screens and writes each screen as an SVG of its cells.
//
//   pictures OUT_DIR NOLTIDE NOLTC_DIR SOURCE_DIR
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "harness.hpp"

namespace {

namespace fs = std::filesystem;
using e2e::Cell;
using e2e::Color;

constexpr int kCellW = 9, kCellH = 18;

// An xterm's 256 colours; the default colours are those of a light-on-black terminal.
std::string css(const Color& c, bool foreground) {
    int r = 0, g = 0, b = 0;
    if (c.kind == Color::Rgb) {
        r = c.r, g = c.g, b = c.b;
    } else if (c.kind == Color::Default) {
        r = g = b = foreground ? 229 : 0;
    } else if (c.index < 16) {
        static const int base[16][3] = {{0, 0, 0},     {205, 0, 0},   {0, 205, 0},   {205, 205, 0},
                                        {0, 0, 238},   {205, 0, 205}, {0, 205, 205}, {229, 229, 229},
                                        {127, 127, 127}, {255, 0, 0}, {0, 255, 0},   {255, 255, 0},
                                        {92, 92, 255}, {255, 0, 255}, {0, 255, 255}, {255, 255, 255}};
        r = base[c.index][0], g = base[c.index][1], b = base[c.index][2];
    } else if (c.index < 232) {
        auto level = [](int v) { return v ? 55 + 40 * v : 0; };
        int i = c.index - 16;
        r = level(i / 36), g = level(i / 6 % 6), b = level(i % 6);
    } else {
        r = g = b = 8 + 10 * (c.index - 232);
    }
    char text[8];
    snprintf(text, sizeof text, "#%02x%02x%02x", r, g, b);
    return text;
}

std::string xml_escape(const std::string& text) {
    std::string out;
    for (char ch : text) {
        if (ch == '&') out += "&amp;";
        else if (ch == '<') out += "&lt;";
        else if (ch == '>') out += "&gt;";
        else out += ch;
    }
    return out;
}

// One <rect> for each run of cells with the same background, one <text> for each run with the
// same foreground and attributes; a run's text is stretched to its cells so columns stay aligned.
void write_svg(const e2e::Session& s, const fs::path& path) {
    std::ostringstream bg, fg;
    for (int row = 0; row < s.rows(); row++) {
        int y = row * kCellH;
        for (int col = 0; col < s.cols();) {
            Cell first = s.cell(row, col);
            std::string back = css(first.reverse ? first.fg : first.bg, first.reverse);
            int end = col + 1;
            while (end < s.cols()) {
                Cell c = s.cell(row, end);
                if (css(c.reverse ? c.fg : c.bg, c.reverse) != back) break;
                end++;
            }
            bg << "<rect x=\"" << col * kCellW << "\" y=\"" << y << "\" width=\"" << (end - col) * kCellW
               << "\" height=\"" << kCellH << "\" fill=\"" << back << "\"/>\n";
            col = end;
        }
        for (int col = 0; col < s.cols();) {
            Cell first = s.cell(row, col);
            auto style = [](const Cell& c) {
                return css(c.reverse ? c.bg : c.fg, !c.reverse) + (c.bold ? "b" : "") + (c.underline ? "u" : "");
            };
            std::string text;
            int end = col;
            while (end < s.cols() && style(s.cell(row, end)) == style(first)) text += s.cell(row, end++).text;
            if (text.find_first_not_of(' ') != std::string::npos) {
                fg << "<text x=\"" << col * kCellW << "\" y=\"" << y + kCellH - 5 << "\" textLength=\""
                   << (end - col) * kCellW << "\" lengthAdjust=\"spacingAndGlyphs\" fill=\""
                   << css(first.reverse ? first.bg : first.fg, !first.reverse) << "\""
                   << (first.bold ? " font-weight=\"bold\"" : "")
                   << (first.underline ? " text-decoration=\"underline\"" : "") << ">" << xml_escape(text)
                   << "</text>\n";
            }
            col = end;
        }
    }
    std::ofstream out(path);
    out << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << s.cols() * kCellW << "\" height=\""
        << s.rows() * kCellH << "\" font-family=\"DejaVu Sans Mono, monospace\" font-size=\"15\""
        << " xml:space=\"preserve\">\n"
        << bg.str() << fg.str() << "</svg>\n";
    std::cout << path.string() << "\n";
}

bool step(const ::testing::AssertionResult& waited, const char* what) {
    if (!waited) std::cerr << "pictures: " << what << ": " << waited.message() << "\n";
    return waited;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::cerr << "usage: pictures OUT_DIR NOLTIDE NOLTC_DIR SOURCE_DIR\n";
        return 2;
    }
    fs::path out = argv[1], program = fs::absolute(argv[2]), noltc_dir = fs::absolute(argv[3]),
             source = fs::absolute(argv[4]);
    // A fixed folder, so that the paths in the pictures read plainly.
    fs::path work = fs::temp_directory_path() / "noltide-pictures";
    fs::remove_all(work);
    fs::create_directories(work);
    fs::copy(source / "examples/hello", work / "hello", fs::copy_options::recursive);
    e2e::Session s(program, e2e::Options()
                                .with_size(100, 30)
                                .with_env("COLORTERM", "truecolor")
                                .with_env("NOLT_HOME", source.string())
                                .with_env("PATH", noltc_dir.string() + ":" + getenv("PATH"))
                                .in_dir(work / "hello"));
    if (!step(s.wait_text("fn main("), "the example")) return 1;
    s.send(e2e::keys::f10);
    s.send(e2e::keys::right);
    s.send(e2e::keys::right);
    if (!step(s.wait_text("Run "), "the Build menu")) return 1;
    write_svg(s, out / "editor.svg");

    s.send(e2e::keys::enter);
    if (!step(s.wait_text("Build OK"), "the build")) return 1;
    write_svg(s, out / "build.svg");

    s.send(e2e::keys::f10);
    for (int i = 0; i < 4; i++) s.send(e2e::keys::right);
    if (!step(s.wait_text("Preferences"), "the Settings menu")) return 1;
    s.send(e2e::keys::enter);
    if (!step(s.wait_text("Log max lines"), "the Preferences window")) return 1;
    write_svg(s, out / "preferences.svg");
    s.kill();
    fs::remove_all(work);
    return 0;
}
