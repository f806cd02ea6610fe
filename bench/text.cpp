// Text operations on the managed heap against their std::string equivalents in the same run:
// concatenation, substring, split, join, and building a text from many parts.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "stdlib/core/convert.hpp"
#include "stdlib/text/stringbuilder.hpp"
#include "tests/support/runtime_up.hpp"

using namespace stdlib;
using test_support::runtime_up;

namespace {

// A line of source text, 60 bytes, and a comma-separated record of 16 fields.
const char kLine[] = "    let total = compute(values, offset) + 42 # running sum";
const char kRecord[] = "alpha,beta,gamma,delta,epsilon,zeta,eta,theta,iota,kappa,lambda,mu,nu,xi,omicron,pi";

std::vector<std::string> std_split(const std::string& record) {
    std::vector<std::string> pieces;
    size_t start = 0;
    for (size_t comma; (comma = record.find(',', start)) != std::string::npos; start = comma + 1)
        pieces.push_back(record.substr(start, comma - start));
    pieces.push_back(record.substr(start));
    return pieces;
}

void BM_Concat(benchmark::State& state) {
    runtime_up();
    string a = from_c(kLine), b = from_c(kRecord);
    for (auto _ : state) benchmark::DoNotOptimize(concat(a, b).get());
}
BENCHMARK(BM_Concat);

void BM_ConcatStd(benchmark::State& state) {
    std::string a = kLine, b = kRecord;
    for (auto _ : state) benchmark::DoNotOptimize(a + b);
}
BENCHMARK(BM_ConcatStd);

void BM_Substring(benchmark::State& state) {
    runtime_up();
    string line = from_c(kLine);
    for (auto _ : state) benchmark::DoNotOptimize(substring(line, 4, 40).get());
}
BENCHMARK(BM_Substring);

void BM_SubstringStd(benchmark::State& state) {
    std::string line = kLine;
    for (auto _ : state) benchmark::DoNotOptimize(line.substr(4, 40));
}
BENCHMARK(BM_SubstringStd);

void BM_Split(benchmark::State& state) {
    runtime_up();
    string record = from_c(kRecord);
    for (auto _ : state) benchmark::DoNotOptimize(split(record, ',').get());
}
BENCHMARK(BM_Split);

void BM_SplitStd(benchmark::State& state) {
    std::string record = kRecord;
    for (auto _ : state) benchmark::DoNotOptimize(std_split(record).data());
}
BENCHMARK(BM_SplitStd);

void BM_Join(benchmark::State& state) {
    runtime_up();
    string_array pieces = split(from_c(kRecord), ',');
    for (auto _ : state) benchmark::DoNotOptimize(join(pieces, ", "_t).get());
}
BENCHMARK(BM_Join);

void BM_JoinStd(benchmark::State& state) {
    std::vector<std::string> pieces = std_split(kRecord);
    for (auto _ : state) {
        std::string joined;
        for (size_t i = 0; i < pieces.size(); i++) {
            if (i) joined += ", ";
            joined += pieces[i];
        }
        benchmark::DoNotOptimize(joined.data());
    }
}
BENCHMARK(BM_JoinStd);

// Building one text from N parts of 5 to 60 bytes; the time per part stays flat as N grows.
void BM_StringBuilder(benchmark::State& state) {
    runtime_up();
    int64_t parts = state.range(0);
    string_array words = split(from_c(kRecord), ',');
    for (auto _ : state) {
        string_builder sb = sb_new();
        for (int64_t i = 0; i < parts; i++) sb_append(sb, words[i % 16]);
        benchmark::DoNotOptimize(sb_build(sb).get());
    }
    state.SetItemsProcessed(state.iterations() * parts);
}
BENCHMARK(BM_StringBuilder)->Arg(1000)->Arg(10000)->Arg(100000);

void BM_StringBuilderStd(benchmark::State& state) {
    int64_t parts = state.range(0);
    std::vector<std::string> words = std_split(kRecord);
    for (auto _ : state) {
        std::string built;
        for (int64_t i = 0; i < parts; i++) built += words[i % 16];
        benchmark::DoNotOptimize(built.data());
    }
    state.SetItemsProcessed(state.iterations() * parts);
}
BENCHMARK(BM_StringBuilderStd)->Arg(1000)->Arg(10000)->Arg(100000);

}  // namespace

BENCHMARK_MAIN();
