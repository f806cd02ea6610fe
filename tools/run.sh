#!/usr/bin/env bash
# Builds noltide and opens it on the bundled example project.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/deps.sh build
cmake -S . -B build/run -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNOLT_TESTS=OFF >/dev/null
cmake --build build/run --target noltide
root=$(pwd)
cd examples/hello
exec "$root/build/run/noltide" "$@"
