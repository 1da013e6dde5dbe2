#!/usr/bin/env bash
# Times two shell commands side by side: ROUNDS rounds, each running A then B (interleaved, so
# that drift in the machine's load hits both), then prints each one's median and B/A.
# usage: compare.sh ROUNDS LABEL_A COMMAND_A LABEL_B COMMAND_B
set -euo pipefail
rounds=$1 label_a=$2 command_a=$3 label_b=$4 command_b=$5

now() { date +%s%N; }
times_a=() times_b=()
for ((round = 0; round < rounds; round++)); do
    start=$(now); bash -c "$command_a" >/dev/null 2>&1 || true; times_a+=($(( $(now) - start )))
    start=$(now); bash -c "$command_b" >/dev/null 2>&1 || true; times_b+=($(( $(now) - start )))
done

median() { printf '%s\n' "$@" | sort -n | awk '{ a[NR] = $1 } END { print (NR % 2) ? a[(NR + 1) / 2] : (a[NR / 2] + a[NR / 2 + 1]) / 2 }'; }
median_a=$(median "${times_a[@]}")
median_b=$(median "${times_b[@]}")
awk -v a="$median_a" -v b="$median_b" -v la="$label_a" -v lb="$label_b" -v n="$rounds" 'BEGIN {
    printf "%-28s median %10.3f ms  (%d rounds)\n", la, a / 1e6, n
    printf "%-28s median %10.3f ms\n", lb, b / 1e6
    printf "ratio %s / %s = %.3f\n", lb, la, b / a
}'
