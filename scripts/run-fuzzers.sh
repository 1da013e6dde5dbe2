#!/usr/bin/env bash
# Runs every fuzz target in BUILD_DIR/fuzz for SECONDS each, from its seed corpus in fuzz/corpus.
# Fails when any target finds a crash.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:?usage: run-fuzzers.sh BUILD_DIR [SECONDS]}
seconds=${2:-60}
status=0
shopt -s nullglob
for target in "$build"/fuzz/*_fuzzer; do
    name=$(basename "$target")
    corpus=$(mktemp -d)
    seeds="$root/fuzz/corpus/${name%_fuzzer}"
    [[ -d $seeds ]] && cp -r "$seeds"/. "$corpus"/
    dictionary="$root/fuzz/${name%_fuzzer}.dict"
    options=()
    [[ -f $dictionary ]] && options+=("-dict=$dictionary")
    echo "-- $name"
    if ! "$target" "${options[@]}" -max_total_time="$seconds" -print_final_stats=1 \
            -artifact_prefix="$build/fuzz/$name-" "$corpus" 2>"$build/fuzz/$name.log"; then
        tail -n 40 "$build/fuzz/$name.log"
        status=1
    else
        grep -E '^stat::number_of_executed_units' "$build/fuzz/$name.log" || true
    fi
    rm -rf "$corpus"
done
exit $status
