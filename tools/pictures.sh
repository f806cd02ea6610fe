#!/usr/bin/env bash
# Remakes the README's pictures, docs/pictures/*.svg, from the real program: builds noltide,
# noltc and the picture maker, which runs noltide in a pseudo-terminal and draws its screens.
# BUILD_DIR (default build/release, the test script's) is the build folder to use.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${BUILD_DIR:-build/release}
tools/deps.sh test
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --target noltide noltc pictures
mkdir -p docs/pictures
"$build/tests/pictures" docs/pictures "$build/noltide" "$build" "$(pwd)"
