#!/bin/bash
# Times the whole `cvdiff --changeset --filelist LEFT RIGHT` of two FILES-file trees (half of the
# names on both sides) with Corvane running, against `find LEFT RIGHT -type f` over the same trees,
# interleaved; reports medians of the wall time and of the peak memory (/usr/bin/time -v) and the
# ratio to find. The bus has either dbus-daemon's built-in limits, like scripts/testbed.sh
# ("builtin"), or Debian's session limits ("debian").
#
#   bench/changeset.sh BUILD_DIR [FILES] [ROUNDS] [builtin|debian]
set -euo pipefail
build=$(cd "${1:?usage: changeset.sh BUILD_DIR [FILES] [ROUNDS] [builtin|debian]}" && pwd)
files=${2:-100000}
rounds=${3:-5}
limits=${4:-builtin}
here=$(cd "$(dirname "$0")" && pwd)
source "$here/session.sh"
begin_bench cvdiff-changeset "$build"

source "$here/trees.sh"
make_trees "$root" "$files"

start_session "$root" "$app" "$limits"
echo "trees: $files files each ($((files / 2)) on both sides), bus limits: $limits"

# Wall milliseconds and peak kilobytes of one command (the clock read around GNU time, whose own
# figure has a resolution of 10 ms).
measure() { # out_file command...
    local out=$1 start end
    shift
    start=$(date +%s%N)
    /usr/bin/time -v -o "$root/time" "$@" </dev/null >/dev/null 2>"$root/stderr" || {
        echo "failed: $* ($(cat "$root/stderr"))" >&2
        return 1
    }
    end=$(date +%s%N)
    echo "$(((end - start) / 1000000)) $(awk -F': ' '/Maximum resident set size/ { print $2 }' "$root/time")" >> "$out"
}

for _ in $(seq "$rounds"); do
    measure "$root/find" find "$root/left" "$root/right" -type f
    measure "$root/cvdiff" "$app/cvdiff" --changeset --filelist "$root/left" "$root/right"
done

median() { sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
find_ms=$(cut -d' ' -f1 "$root/find" | median)
find_kb=$(cut -d' ' -f2 "$root/find" | median)
tool_ms=$(cut -d' ' -f1 "$root/cvdiff" | median)
tool_kb=$(cut -d' ' -f2 "$root/cvdiff" | median)
echo "find -type f:        median ${find_ms} ms, ${find_kb} KB peak  (rounds: $(cut -d' ' -f1 "$root/find" | tr '\n' ' '))"
echo "cvdiff --changeset:  median ${tool_ms} ms, ${tool_kb} KB peak  (rounds: $(cut -d' ' -f1 "$root/cvdiff" | tr '\n' ' '))"
paste -d' ' "$root/find" "$root/cvdiff" | awk '{ print $3 / ($1 > 0 ? $1 : 1) }' | median |
    awk -v t="$tool_ms" -v f="$find_ms" '{ printf "ratio cvdiff/find: %.2f of the medians, %.2f median of the rounds\n", t / (f > 0 ? f : 1), $1 }'
echo "Corvane peak: $(awk '/VmHWM/ { print $2, $3 }' "/proc/$app_pid/status")"
