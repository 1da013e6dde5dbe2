#!/usr/bin/env bash
# Installs what is missing, builds, and shows the main job: cvdiff sends a diff of two sample
# files to Corvane (launching it), waits, and exits 0 once the document's tab is closed.
# With no session bus reachable, a private one is started for the demo and ended afterwards.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build/release}
BUILD_DIR=$build "$root/scripts/build.sh" >/dev/null
bundle=$build/Corvane.app/Contents/MacOS

bus_reachable() {
    local address=${DBUS_SESSION_BUS_ADDRESS:-}
    if [[ -z $address && -n ${XDG_RUNTIME_DIR:-} ]]; then
        address=unix:path=$XDG_RUNTIME_DIR/bus
    fi
    [[ $address == unix:path=* && -S ${address#unix:path=} ]] ||
        [[ -n $address && $address != unix:path=* ]]
}

work=$(mktemp -d)
private_bus=
cleanup() {
    if [[ -n $private_bus ]]; then
        eval "$("$root/scripts/testbed.sh" stop)" >/dev/null
    fi
    rm -rf "$work"
}
trap cleanup EXIT

if ! bus_reachable; then
    echo "No session bus is reachable: starting a private one for the demo."
    eval "$("$root/scripts/testbed.sh" start "$build")" >/dev/null
    private_bus=yes
fi
export CORVANE_JOURNAL=$work/journal.jsonl

# Run through a link, the way an installed bin/cvdiff is: the tool finds the bundle it lives in.
ln -s "$bundle/cvdiff" "$work/cvdiff"
printf 'one\ntwo\nthree\n' >"$work/left.txt"
printf 'one\n2\nthree\nfour\n' >"$work/right.txt"
was_running=$("$bundle/Corvane" --list >/dev/null 2>&1 && echo yes || true)

echo "\$ cvdiff --wait left.txt right.txt"
"$work/cvdiff" --wait "$work/left.txt" "$work/right.txt" </dev/null &
tool=$!

guid=
for _ in $(seq 200); do
    guid=$(grep -o '"reply":"[^"]*"' "$CORVANE_JOURNAL" 2>/dev/null | tail -n 1 | cut -d'"' -f4 || true)
    [[ -n $guid ]] && break
    sleep 0.05
done
if [[ -z $guid ]]; then
    echo "Corvane did not open the document." >&2
    kill "$tool" 2>/dev/null || true
    exit 1
fi

echo "Corvane opened document $guid:"
"$bundle/Corvane" --list
echo
echo "cvdiff is waiting for the tab to close (running: $(kill -0 "$tool" 2>/dev/null && echo yes || echo no))."
echo "\$ Corvane --close-tab $guid"
"$bundle/Corvane" --close-tab "$guid"
status=0
wait "$tool" || status=$?
echo "cvdiff exited with status $status."
if [[ -z $was_running && -z $private_bus ]]; then
    "$bundle/Corvane" --quit >/dev/null 2>&1 || true
fi
exit "$status"
