// The real programs side by side in 200x60 pseudo-terminals: noltide, vim -u DEFAULTS and nano
// on the same 1,000-line Nolt file, 1,500 keys typed at a steady rate, and noltide at rest with a
// project of seven such files and the file tree. Processor time is read per thread from
// /proc/PID/task/*/schedstat, so noltide's main thread is counted apart from its tick thread.
// NOLTIDE_BEFORE=path adds a second noltide binary, for a before and after in one run. The idle
// table has a floor row: a bare loop that makes only the system calls of a quiet turn (a poll of
// the terminal with the loop's 50 ms timeout, the size ioctl and the file's access check), which is
// what any program that keeps this timing pays on the machine at hand.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "harness.hpp"

namespace {

constexpr int kKeys = 1500;
constexpr int kPerLine = 40;
constexpr e2e::Millis kIdle{4000};

// Nanoseconds on the processor: the thread whose id is the process's, and all the others.
struct Cpu {
    double main_ns = 0, other_ns = 0;
};

Cpu cpu_of(pid_t pid) {
    Cpu cpu;
    std::string dir = "/proc/" + std::to_string(pid) + "/task";
    DIR* tasks = opendir(dir.c_str());
    if (!tasks) return cpu;
    while (dirent* entry = readdir(tasks)) {
        if (entry->d_name[0] == '.') continue;
        std::ifstream in(dir + "/" + entry->d_name + "/schedstat");
        double ns = 0;
        in >> ns;
        (std::to_string(pid) == entry->d_name ? cpu.main_ns : cpu.other_ns) += ns;
    }
    closedir(tasks);
    return cpu;
}

std::string nolt_source(int lines) {
    std::string text;
    for (int i = 1; i <= lines; i++)
        text += i % 10 == 1   ? "# step " + std::to_string(i) + ": the running total, kept in a \"box\"\n"
                : i % 10 == 2 ? "fn step" + std::to_string(i) + "(n: i32) -> i32\n"
                : i % 10 == 9 ? "end step" + std::to_string(i - 8) + "\n"
                              : "    total = total + n * 0x" + std::to_string(i) + " + 'c' -- " + std::to_string(i) + "\n";
    return text;
}

struct Program {
    const char* name;
    std::string bin;
    std::vector<std::string> args;
    std::string before_typing;  // keys that start inserting
};

std::vector<Program> programs(const std::string& file) {
    std::vector<Program> all{{"noltide", NOLTIDE_BIN, {file}, ""}};
    if (const char* before = std::getenv("NOLTIDE_BEFORE")) all.push_back({"noltide (before)", before, {file}, ""});
    all.push_back({"vim -u DEFAULTS", "/usr/bin/vim", {"-u", "DEFAULTS", "-i", "NONE", "-n", file}, "i"});
    all.push_back({"nano", "/usr/bin/nano", {"--ignorercfiles", file}, ""});
    return all;
}

// A 200x60 terminal; noltide finds the shipped language definitions in the checkout, so its Nolt
// files are highlighted, as for a user of an installed copy.
e2e::Options options(const std::filesystem::path& home) {
    return e2e::Options().with_size(200, 60).with_home(home).with_env("NOLT_HOME", NOLT_SOURCE_DIR);
}

double ms_since(std::chrono::steady_clock::time_point t0) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
}

// The programs take turns, three rounds of each, and every column is the median of its rounds: on
// a shared machine one round can land beside a burst of someone else's work. The main thread's
// cost also shows the lowest round, which a burst can only raise.
constexpr int kRounds = 3;

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// One round of typing: start-up ms, idle ms/s, main us/key, other threads' us/key, bytes/key.
std::vector<double> type_into(const Program& p, const std::filesystem::path& home) {
    auto t0 = std::chrono::steady_clock::now();
    e2e::Session s(p.bin, options(home).with_args(p.args));
    if (!s.wait_text("the running total")) return {};
    double startup = ms_since(t0);
    s.send(p.before_typing);
    s.pump_for(e2e::Millis(1000));
    Cpu rest0 = cpu_of(s.pid());
    s.pump_for(kIdle);
    Cpu rest1 = cpu_of(s.pid());
    std::string last;
    size_t bytes0 = s.output().size();
    for (int i = 0; i < kKeys; i++) {
        if (i % kPerLine == 0 && i > 0) s.send("\x1b[B\x1b[H"), last.clear();  // down, then home
        last += char('a' + i % 26);
        s.send(last.substr(last.size() - 1));
        s.pump_for(e2e::Millis(5));
    }
    if (!s.wait_text(last)) return {};
    Cpu typed = cpu_of(s.pid());
    s.kill();
    return {startup, (rest1.main_ns + rest1.other_ns - rest0.main_ns - rest0.other_ns) / 1e6 / (kIdle.count() / 1e3),
            (typed.main_ns - rest1.main_ns) / 1e3 / kKeys, (typed.other_ns - rest1.other_ns) / 1e3 / kKeys,
            double(s.output().size() - bytes0) / kKeys};
}

void BM_TypingSideBySide(benchmark::State& state) {
    e2e::TempDir home;
    e2e::write_file(home.path() / "long.nolt", nolt_source(1000));
    std::vector<Program> all = programs("long.nolt");
    for (auto _ : state) {
        std::vector<std::vector<std::vector<double>>> rounds(all.size());  // [program][round][column]
        for (int r = 0; r < kRounds; r++)
            for (size_t i = 0; i < all.size(); i++) {
                rounds[i].push_back(type_into(all[i], home.path()));
                if (rounds[i].back().empty()) return state.SkipWithError((std::string(all[i].name) + ": the file did not open or the keys were not shown").c_str());
            }
        std::printf("\n%-18s %12s %10s %12s %14s %14s %13s %12s\n", "program", "start-up ms", "idle ms/s", "cpu us/key",
                    "main us/key", "(lowest)", "tick us/key", "bytes/key");
        for (size_t i = 0; i < all.size(); i++) {
            auto values = [&](size_t c) {
                std::vector<double> found;
                for (const auto& round : rounds[i]) found.push_back(c == 5 ? round[2] + round[3] : round[c]);
                return found;
            };
            auto column = [&](size_t c) { return median(values(c)); };
            std::vector<double> main = values(2);
            std::printf("%-18s %12.1f %10.2f %12.1f %14.1f %14.1f %13.1f %12.1f\n", all[i].name, column(0), column(1),
                        column(5), column(2), *std::min_element(main.begin(), main.end()), column(3), column(4));
        }
    }
}
BENCHMARK(BM_TypingSideBySide)->Iterations(1)->Unit(benchmark::kSecond);

// Seven 1,000-line files beside the file tree, restored from the session, and nothing happening.
void BM_IdleEightWindows(benchmark::State& state) {
    e2e::TempDir home;
    std::string root = (home.path() / "proj").string(), buffers, rects;
    e2e::write_file(home.path() / "proj/nolt.toml", "[package]\nname = \"idle\"\n");
    for (int i = 1; i <= 7; i++) {
        std::string path = root + "/src/f" + std::to_string(i) + ".nolt";
        e2e::write_file(path, nolt_source(1000));
        buffers += std::string(i > 1 ? ", " : "") + "\"" + path + "\"";
        rects += std::string(i > 1 ? ", " : "") + "\"" + std::to_string(20 + i * 10) + "," + std::to_string(1 + i * 3) +
                 ",100,40\"";
    }
    e2e::write_file(home.path() / ".config/noltide/session.toml",
                    "last_root = \"" + root + "\"\n[\"" + root + "\"]\nactive = 6\nactive_kind = \"editor\"\nbuffers = [" +
                        buffers + "]\nrects = [" + rects + "]\n");
    std::vector<std::pair<const char*, std::string>> bins{{"noltide", NOLTIDE_BIN}};
    if (const char* before = std::getenv("NOLTIDE_BEFORE")) bins.push_back({"noltide (before)", before});
    bins.push_back({"floor", "--idle-floor"});
    for (auto _ : state) {
        std::vector<std::vector<double>> main_ms(bins.size()), tick_ms(bins.size());
        for (int r = 0; r < kRounds; r++)
            for (size_t i = 0; i < bins.size(); i++) {
                bool floor = bins[i].second == "--idle-floor";
                std::vector<std::string> args;
                if (floor) args.push_back(bins[i].second);
                e2e::Session s(floor ? std::filesystem::read_symlink("/proc/self/exe").string() : bins[i].second,
                               options(home.path()).in_dir(home.path()).with_args(args));
                if (!s.wait_text(floor ? "idle floor" : "f7.nolt")) {
                    std::printf("%s\n", s.screen().c_str());
                    return state.SkipWithError("the project did not open");
                }
                s.pump_for(e2e::Millis(1000));
                Cpu rest0 = cpu_of(s.pid());
                s.pump_for(kIdle);
                Cpu rest1 = cpu_of(s.pid());
                double secs = kIdle.count() / 1e3;
                main_ms[i].push_back((rest1.main_ns - rest0.main_ns) / 1e6 / secs);
                tick_ms[i].push_back((rest1.other_ns - rest0.other_ns) / 1e6 / secs);
                s.kill();
            }
        std::printf("\n%-18s %14s %14s\n", "program", "main ms/s", "tick ms/s");
        for (size_t i = 0; i < bins.size(); i++)
            std::printf("%-18s %14.2f %14.2f\n", bins[i].first, median(main_ms[i]), median(tick_ms[i]));
    }
}
BENCHMARK(BM_IdleEightWindows)->Iterations(1)->Unit(benchmark::kSecond);

// The floor row's program: quiet turns and nothing else, until the terminal goes away.
int idle_floor() {
    std::printf("idle floor\n");
    std::fflush(stdout);
    for (;;) {
        struct pollfd terminal = {0, POLLIN, 0};
        if (poll(&terminal, 1, 50) > 0) return 0;
        struct winsize size;
        ioctl(1, TIOCGWINSZ, &size);
        access("proj/src/f7.nolt", W_OK);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::string(argv[1]) == "--idle-floor") return idle_floor();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
