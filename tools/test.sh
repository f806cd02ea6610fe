#!/usr/bin/env bash
# Builds and runs every test: a normal build, then an AddressSanitizer + UBSan build.
# Installs the Debian packages the tests need when they are missing.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/deps.sh test

jobs=$(nproc 2>/dev/null || echo 2)
run_suite() {  # build-dir, extra cmake args...
    local dir=$1; shift
    cmake -S . -B "$dir" -G Ninja "$@" >/dev/null
    cmake --build "$dir" -j "$jobs"
    ctest --test-dir "$dir" -j "$jobs" --output-on-failure --timeout 300
}

echo "== normal build"
run_suite build/release -DCMAKE_BUILD_TYPE=RelWithDebInfo
echo "== Debian package of the normal build"
tools/install_check.sh package build/release
echo "== the real program in a pseudo-terminal, 20 s of random input"
tools/soak.sh 20 build/release/noltide
echo "== normal build, a collection at every allocation, dead blocks poisoned"
NOLT_GC_TORTURE=1 NOLT_GC_VERIFY=1 ctest --test-dir build/release -j "$jobs" --output-on-failure --timeout 600
echo "== sanitizer build (address, undefined)"
run_suite build/asan -DCMAKE_BUILD_TYPE=Debug -DNOLT_SANITIZE=ON
echo "== fuzz targets (clang, libFuzzer), ${FUZZ_SECONDS:-40}s each"
tools/fuzz.sh
