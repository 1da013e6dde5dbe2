#!/bin/bash
# The window's speed, by hand under Xvfb: the application's own time to answer the call, how long
# from then until the first frame showing the comparison is painted (the application's own
# measure, read through the control interface), and the application's peak memory.
# Usage: bench/window-speed.sh BUILD_DIR LINES CHANGES (COLD=1: the first diff of a new window)
#   xvfb-run -a -s "-screen 0 1280x800x24" bench/window-speed.sh build/dev 20000 2000
set -eu
build=$(cd "$1" && pwd)
lines=$2
changes=$3
work=$(mktemp -d)
python3 - "$work" "$lines" "$changes" <<'PY'
import random, sys
work, lines, changes = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
random.seed(7)
left = [f"    value_{i} = compute(value_{i - 1}, {i * 7 % 1000}); // line {i}\n" for i in range(lines)]
right = list(left)
for i in random.sample(range(lines), changes):
    right[i] = right[i].replace("compute", "recompute")
open(f"{work}/left.cpp", "w").writelines(left)
open(f"{work}/right.cpp", "w").writelines(right)
PY
cd "$(dirname "$0")/.."
eval "$(scripts/testbed.sh start "$build")" >/dev/null
export PATH="$build/Corvane.app/Contents/MacOS:$PATH" GSK_RENDERER=cairo GTK_A11Y=none
Corvane >/dev/null 2>&1 &
# This one, not another Corvane that may be running on the machine.
pid=$!
sleep 2
if [ "${COLD:-0}" != 1 ]; then
    # A window already open, as it is for every diff but the first (COLD=1 measures the first).
    echo a >"$work/a"; echo b >"$work/b"
    cvdiff "$work/a" "$work/b"
    sleep 1
fi
before=$(grep VmRSS "/proc/$pid/status" | tr -s ' ')
start=$(date +%s.%N)
cvdiff "$work/left.cpp" "$work/right.cpp"
called=$(date +%s.%N)
guid=$(Corvane --list | python3 -c 'import json,sys; print(json.load(sys.stdin)[-1]["GUID"])')
# Polled slowly, so that the polling takes no time from the application: the application
# measures the time itself, from the tab's opening (right after the call's answer) to the first
# frame painted with the comparison.
until painted=$(Corvane --describe "$guid" | grep -o '"firstPaintMilliseconds":[0-9.]*'); do sleep 0.1; done
echo "files: $(du -h "$work/left.cpp" | cut -f1) each, $lines lines, $changes changes"
echo "call answered (tool's run): $(echo "($called - $start) * 1000" | bc) ms"
echo "tab opened to first frame showing the comparison (measured inside): ${painted#*:} ms"
grep -o '"microseconds":[0-9.]*' "$CORVANE_JOURNAL" | tail -1 | sed 's/^/application own time per request /'
echo "before the call: $before; peak: $(grep VmHWM "/proc/$pid/status" | tr -s ' ');" \
    "after the first frame: $(grep VmRSS "/proc/$pid/status" | tr -s ' ')"
bytes=$(($(stat -c %s "$work/left.cpp") + $(stat -c %s "$work/right.cpp")))
peak=$(awk '/VmHWM/ {print $2}' "/proc/$pid/status")
echo "the two files: $bytes bytes; peak over them: $(echo "scale=2; $peak * 1024 / $bytes" | bc)x"
Corvane --quit
eval "$(scripts/testbed.sh stop)" >/dev/null
rm -rf "$work"
