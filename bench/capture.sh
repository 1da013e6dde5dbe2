#!/usr/bin/env bash
# Standard-input capture against `cat > file`: both read the same pipe of SIZE bytes (default
# 2 GiB) and write it to a file in the temporary directory. cvdiff is run as `cvdiff -` with no
# session bus: it captures standard input, finds no Corvane to send it to, and removes its copy. Also reports the
# largest resident set of each, to show that memory does not grow with the input.
# usage: bench/capture.sh BUILD_DIR [SIZE] [ROUNDS]
set -euo pipefail
build=${1:?usage: capture.sh BUILD_DIR [SIZE] [ROUNDS]}
size=${2:-2G}
rounds=${3:-5}
tool=$(cd "$build" && pwd)/Corvane.app/Contents/MacOS/cvdiff
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export TMPDIR=$work XDG_CONFIG_HOME=$work/config DBUS_SESSION_BUS_ADDRESS=unix:path=$work/no-bus

"$(dirname "$0")/compare.sh" "$rounds" \
    "cat > file" "head -c $size /dev/zero | cat > $work/copy; rm -f $work/copy" \
    "cvdiff (capture)" "head -c $size /dev/zero | $tool - 2>/dev/null || true"

rss() { /usr/bin/time -f %M bash -c "$1" 2>&1 >/dev/null | tail -n 1; }
echo "largest resident set, cat:    $(rss "head -c $size /dev/zero | cat > $work/copy") KiB"
echo "largest resident set, cvdiff: $(rss "head -c $size /dev/zero | $tool - 2>/dev/null") KiB"
left=$(find "$work" -mindepth 1 -not -path "$work/config*" -not -name copy | wc -l)
echo "entries left in the temporary directory by cvdiff: $left"
