#!/usr/bin/env bash
# Installs the Debian packages that a fresh machine lacks. "build" for the program alone,
# "test" for the program, its tests and benchmarks.
set -euo pipefail
pkgs=(g++ cmake ninja-build)
[ "${1:-build}" = test ] && pkgs+=(googletest libgtest-dev libgmock-dev libbenchmark-dev libvterm-dev clang python3
    pkgconf mandoc dpkg-dev file vim nano)
missing=()
for p in "${pkgs[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get install -y -q "${missing[@]}" </dev/null ||
    { $sudo apt-get update -q </dev/null && $sudo apt-get install -y -q "${missing[@]}" </dev/null; }
