// Configuration documents: parsing one of the largest size accepted (1024 pairs, spread over
// tables, arrays and inline tables as real files are) and looking keys up in it.
#include "stdlib/encoding/toml.hpp"

#include <benchmark/benchmark.h>

#include <string>

#include "tests/support/runtime_up.hpp"

using namespace stdlib;

namespace {

void boot() { test_support::runtime_up(); }

// 64 tables of 16 pairs each: 10 plain keys, a 4-element array with its marker, an inline table
// of one pair.
string full_document() {
    std::string text = "# generated\n";
    for (int t = 0; t < 64; t++) {
        text += "\n[section_" + std::to_string(t) + "]\n";
        for (int k = 0; k < 10; k++) {
            std::string key = "key_" + std::to_string(k);
            text += k % 3 ? key + " = " + std::to_string(t * 100 + k) + "\n"
                          : key + " = \"value " + std::to_string(k) + "\"\n";
        }
        text += "list = [\"a\", \"b\", 3, 4.5]  # four\n";
        text += "geom = {width = 80}\n";
    }
    return from_bytes(text.data(), (int32_t)text.size());
}

void BM_TomlParse1024Pairs(benchmark::State& state) {
    boot();
    string text = full_document();
    for (auto _ : state) {
        Result<TomlDoc, Error> doc = toml_parse_doc(text);
        if (doc.is_err() || doc.unwrap_ok()->count != max_entries()) state.SkipWithError("document not read whole");
        benchmark::DoNotOptimize(doc);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * length(text));
}
BENCHMARK(BM_TomlParse1024Pairs);

// A lookup scans from the front: the first key is the cheapest, the last the dearest.
void BM_TomlLookup(benchmark::State& state) {
    boot();
    toml_doc doc = toml_parse_doc(full_document()).unwrap_ok();
    string key = state.range(0) ? "section_63.geom.width"_t : "section_0.key_0"_t;
    for (auto _ : state) benchmark::DoNotOptimize(toml_get_int_doc_or(doc, key, -1));
}
BENCHMARK(BM_TomlLookup)->Arg(0)->Arg(1);

}  // namespace

BENCHMARK_MAIN();
