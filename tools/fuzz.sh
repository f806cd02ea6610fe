#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for a bounded time (FUZZ_SECONDS, 60 by
# default). A target that crashes, hangs or leaks fails the script and leaves its input in build/fuzz.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${FUZZ_SECONDS:-60}
CC=clang CXX=clang++ cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNOLT_TESTS=OFF \
    -DNOLT_FUZZ=ON >/dev/null
cmake --build build/fuzz -j "$(nproc 2>/dev/null || echo 2)"
for target in build/fuzz/fuzz_*; do
    [ -f "$target" ] && [ -x "$target" ] || continue
    name=${target##*/fuzz_}
    corpus=build/fuzz/corpus/$name
    mkdir -p "$corpus"
    [ -d "fuzz/corpus/$name" ] && cp -r "fuzz/corpus/$name/." "$corpus/"
    echo "== fuzzing $name for ${seconds}s"
    (cd build/fuzz && "./fuzz_$name" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -print_final_stats=1 "corpus/$name" 2>&1 | tail -n 12)
    [ "${PIPESTATUS[0]}" = 0 ] || exit 1
done
