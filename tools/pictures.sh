#!/usr/bin/env bash
# Remakes the README's pictures, docs/pictures/*.svg, from the real program: builds noltide,
# noltc and the picture maker, which runs noltide in a pseudo-terminal and draws its screens.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/deps.sh test
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build/release --target noltide noltc pictures
mkdir -p docs/pictures
build/release/tests/pictures docs/pictures build/release/noltide build/release "$(pwd)"
