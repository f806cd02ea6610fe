#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for a bounded time (FUZZ_SECONDS, 40 by
# default, so that the build and the twelve targets stay within about 15 minutes on 2 cores). A
# target that crashes, hangs or leaks fails the script and leaves its input in build/fuzz/artifacts.
set -euo pipefail
cd "$(dirname "$0")/.."
exec tools/fuzz_soak.sh -t "${FUZZ_SECONDS:-40}"
