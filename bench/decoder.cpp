// Input decoder throughput: terminal input cut into reads of 256 bytes, each fed and drained 32
// events at a time with the paste taken after each drain, as the application's loop does.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "kestrum/input.hpp"
#include "tests/support/runtime_up.hpp"

using namespace kestrum;

namespace {

void boot() { test_support::runtime_up(); }

std::string typing() {
    return "for item in items do\r  total = total + item.size() -- sum\r\x7f\x7f\tend\r";
}
std::string unicode() { return "naïve café — Größe ≤ 10 µs, 東京 🙂 "; }
std::string keys() {
    return "\x1b[A\x1b[B\x1b[1;5C\x1b[1;2D\x1b[3~\x1b[5~\x1b[6;5~\x1bOP\x1b[15~\x1b[H\x1b[1;6F\x1bx\x13";
}
std::string mouse() {
    std::string s = "\x1b[<0;12;7M";
    for (int x = 13; x < 40; x++) s += "\x1b[<32;" + std::to_string(x) + ";7M";
    return s + "\x1b[<0;40;7m\x1b[<64;20;10M\x1b[<65;20;10M";
}
std::string paste() {
    std::string body;
    for (int i = 0; i < 40; i++) body += "    let value = compute(" + std::to_string(i) + ") -- ünïcode\n";
    return "\x1b[200~" + body + "\x1b[201~";
}

// About 64 KiB of one kind of input, or of all kinds in turn.
std::string stream(int kind) {
    std::string s;
    while (s.size() < 65536) {
        if (kind == 0 || kind == 1) s += typing();
        if (kind == 0 || kind == 2) s += unicode();
        if (kind == 0 || kind == 3) s += keys();
        if (kind == 0 || kind == 4) s += mouse();
        if (kind == 0 || kind == 5) s += paste();
    }
    return s;
}

void BM_Decoder(benchmark::State& state) {
    boot();
    std::string bytes = stream(int(state.range(0)));
    std::vector<stdlib::string> reads;
    for (size_t at = 0; at < bytes.size(); at += 256)
        reads.push_back(stdlib::from_bytes(bytes.data() + at, int32_t(std::min<size_t>(256, bytes.size() - at))));
    runtime::Root<KeyDecoder> decoder = decoder_create();
    runtime::Root<runtime::Array<Event>> out = runtime::Array<Event>::make(32);
    int64_t events = 0, pastes = 0;
    for (auto _ : state) {
        for (const stdlib::string& read : reads) {
            decoder_feed(decoder, read);
            int32_t n;
            do {
                n = decoder_poll_events(decoder, out, 32);
                events += n;
            } while (n == 32);
            if (decoder->paste_ready) pastes += stdlib::length(decoder_take_paste(decoder));
        }
    }
    benchmark::DoNotOptimize(pastes);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes.size()));
    state.counters["events"] = benchmark::Counter(double(events), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_Decoder)->ArgName("mix|text|utf8|keys|mouse|paste")->DenseRange(0, 5);

}  // namespace

BENCHMARK_MAIN();
