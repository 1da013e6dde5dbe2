#!/bin/bash
# Times pairing two folders of FILES files each (half of them on both sides) against
# `find left right -type f` over the same trees, interleaved, and prints medians and the ratio.
#
#   bench/folder-pairing.sh [BENCHMARK_BINARY] [FILES] [ROUNDS]
set -eu

binary=${1:-$(dirname "$0")/../build-model/bench/FolderPairingBenchmark}
files=${2:-100000}
rounds=${3:-5}
[ -x "$binary" ] || { echo "no benchmark binary at $binary" >&2; exit 1; }

root=$(mktemp -d "${TMPDIR:-/tmp}/cvdiff-pairing.XXXXXX")
trap 'rm -rf "$root"' EXIT

source "$(dirname "$0")/trees.sh"
make_trees "$root" "$files"
echo "trees: $files files each in $root ($(( files / 2 )) on both sides)"

now() { date +%s%N; }
find_times=""
pair_times=""
round=1
while [ "$round" -le "$rounds" ]; do
    start=$(now)
    find "$root/left" "$root/right" -type f > /dev/null
    find_times="$find_times $(( ($(now) - start) / 1000000 ))"
    start=$(now)
    lists=$("$binary" --pair "$root/left" "$root/right")
    pair_times="$pair_times $(( ($(now) - start) / 1000000 ))"
    round=$(( round + 1 ))
done

median() { echo "$@" | tr ' ' '\n' | sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
find_median=$(median $find_times)
pair_median=$(median $pair_times)
echo "find -type f:  median ${find_median} ms  (rounds:${find_times})"
echo "pairing:       median ${pair_median} ms  (rounds:${pair_times}, $lists lists)"
awk -v p="$pair_median" -v f="$find_median" 'BEGIN { printf "ratio pairing/find: %.2f\n", p / (f > 0 ? f : 1) }'
