#!/usr/bin/env bash
# Builds noltide and the stand-in compiler noltc, and opens noltide on the bundled example
# project with noltc first on PATH and NOLT_HOME at the checkout, so that the language
# definitions under nolt-stdlib/kestrum/syntax.d are found.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/deps.sh build
cmake -S . -B build/run -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNOLT_TESTS=OFF >/dev/null
cmake --build build/run --target noltide noltc
root=$(pwd)
export PATH="$root/build/run:$PATH"
export NOLT_HOME="$root"
cd examples/hello
exec "$root/build/run/noltide" "$@"
