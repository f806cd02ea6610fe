#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs them one after another, each for a time or a
# number of executions, and prints per target: executions, crashes, and coverage (cov/ft) at the
# start and at the end. A crash, hang, leak or out-of-memory input is kept in
# build/fuzz/artifacts/<name>/ and the target goes on fuzzing, up to 3 findings; the status is 1
# if anything was found. Each target's corpus grows in build/fuzz/corpus/<name>, seeded from
# fuzz/corpus/<name>; its full log is build/fuzz/logs/<name>.log.
#
# -l caps the length of the inputs the fuzzer makes (its default is 4096 bytes); slow targets run
# many times faster on short scripts.
#
#   tools/fuzz_soak.sh [-t SECONDS | -n EXECUTIONS] [-l BYTES] [NAME...]   (default: -t 60, every target)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=60 runs= max_len=()
while getopts t:n:l: opt; do
    case $opt in
    t) seconds=$OPTARG runs= ;;
    n) runs=$OPTARG seconds= ;;
    l) max_len=("-max_len=$OPTARG") ;;
    *) echo "usage: $0 [-t SECONDS | -n EXECUTIONS] [-l BYTES] [NAME...]" >&2; exit 2 ;;
    esac
done
shift $((OPTIND - 1))

CC=clang CXX=clang++ cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNOLT_TESTS=OFF \
    -DNOLT_FUZZ=ON >/dev/null
cd build/fuzz
cmake --build . -j "$(nproc 2>/dev/null || echo 2)" >build.log 2>&1 || { tail -n 40 build.log; exit 1; }
names=("$@")
if [ ${#names[@]} = 0 ]; then
    for target in fuzz_*; do [ -f "$target" ] && [ -x "$target" ] && names+=("${target#fuzz_}"); done
fi

status=0
printf '%-14s %12s %8s %16s %16s\n' target executions crashes "start cov/ft" "end cov/ft"
for name in "${names[@]}"; do
    mkdir -p "corpus/$name" "artifacts/$name" logs
    [ -d "../../fuzz/corpus/$name" ] && cp -r "../../fuzz/corpus/$name/." "corpus/$name/"
    log=logs/$name.log
    : >"$log"
    done_runs=0 found=0 start= end=
    deadline=$((SECONDS + ${seconds:-0}))
    while [ "$found" -lt 3 ]; do
        if [ -n "$runs" ]; then
            left=$((runs - done_runs)) limit="-runs=$left"
        else
            left=$((deadline - SECONDS)) limit="-max_total_time=$left"
        fi
        [ "$left" -gt 0 ] || break
        before=$(ls "artifacts/$name" | wc -l)
        "./fuzz_$name" "$limit" "${max_len[@]}" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
            -artifact_prefix="artifacts/$name/" "corpus/$name" >"$log.pass" 2>&1 || true
        cat "$log.pass" >>"$log"
        [ -n "$start" ] || start=$(grep -m1 -o 'INITED cov: [0-9]* ft: [0-9]*' "$log.pass" | awk '{print $3 "/" $5}' || true)
        last=$(grep -o 'cov: [0-9]* ft: [0-9]*' "$log.pass" | tail -n 1 | awk '{print $2 "/" $4}' || true)
        end=${last:-$end}
        executed=$(grep -o 'number_of_executed_units: [0-9]*' "$log.pass" | awk '{print $2}' || true)
        [ -n "$executed" ] || executed=$(grep -o '^#[0-9]*' "$log.pass" | tail -n 1 | tr -d '#' || true)
        done_runs=$((done_runs + ${executed:-0}))
        new=$(($(ls "artifacts/$name" | wc -l) - before))
        [ "$new" -gt 0 ] || break  # the budget is spent
        found=$((found + new))
    done
    rm -f "$log.pass"
    [ "$found" = 0 ] || status=1
    printf '%-14s %12s %8s %16s %16s\n' "$name" "$done_runs" "$found" "${start:-?}" "${end:-?}"
done
[ "$status" = 0 ] || echo "findings kept in build/fuzz/artifacts/; see build/fuzz/logs/" >&2
exit "$status"
