#!/bin/bash
# A complete changeset of two FILES-file trees in the window, by hand under Xvfb: how long the
# call takes, how long from the tab's opening to the first frame that shows its list (the
# application's own measure), and the memory the list costs per item beyond what the document
# itself holds (the growth of the window's Corvane less the growth of a headless one, which holds
# the same document and no list), at the peak.
#   xvfb-run -a -s "-screen 0 1280x800x24" bench/changeset-window.sh build/release 100000
set -eu
build=$(cd "$1" && pwd)
files=${2:-100000}
cd "$(dirname "$0")/.."
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
source bench/trees.sh
make_trees "$root" "$files"
items=$((files * 3 / 2))
export GSK_RENDERER=cairo GTK_A11Y=none

corvane=
rss() { awk '/VmRSS/ { print $2 }' "/proc/$corvane/status"; }

# Runs the changeset once against a Corvane started with the arguments; prints the growth of its
# resident memory in KB, and the call's and the first frame's milliseconds when it has a window.
run() {
    eval "$(scripts/testbed.sh start "$build")" >/dev/null
    # No journal: it is the test bed's record of every request, not part of what a person runs.
    env -u CORVANE_JOURNAL "$build/Corvane.app/Contents/MacOS/Corvane" "$@" >/dev/null 2>&1 &
    corvane=$!
    sleep 2
    echo a >"$root/a"; echo b >"$root/b"
    cvdiff "$root/a" "$root/b"
    sleep 1
    local before start called painted=-
    before=$(rss)
    start=$(date +%s%N)
    cvdiff --changeset --filelist "$root/left" "$root/right"
    called=$(date +%s%N)
    if [[ " $* " != *" --headless "* ]]; then
        # Asked of the current tab: a listing of every document would itself take the main loop.
        until painted=$(Corvane --describe current | grep '"itemCount"' |
            grep -o '"firstPaintMilliseconds":[0-9.]*'); do
            sleep 0.5
        done
    fi
    sleep 2 # the identical-file search and the heap settle
    echo "$(($(rss) - before)) $(((called - start) / 1000000)) ${painted#*:}" \
        "$(awk '/VmHWM/ { print $2 }' "/proc/$corvane/status") $before"
    Corvane --quit
    eval "$(scripts/testbed.sh stop)" >/dev/null
}

read -r headless _ _ headlessPeak headlessBefore < <(run --headless)
read -r window call painted windowPeak windowBefore < <(run)
echo "$items items ($files files a side, half of them on both sides)"
echo "call answered (tool's whole run): $call ms"
echo "tab opened to the first frame showing its list (measured inside): $painted ms"
echo "resident before → peak: window $windowBefore → $windowPeak KB, headless $headlessBefore → $headlessPeak KB"
echo "the list: $((((windowPeak - windowBefore) - (headlessPeak - headlessBefore)) * 1024 / items)) bytes per item at the peak" \
    "(settled growth: window $window KB, headless $headless KB)"
