#!/usr/bin/env bash
# Installs what is missing (saying what), builds the tool and the application, and shows the main
# job: cvdiff hands two versions of a file to Corvane. With a display (DISPLAY or WAYLAND_DISPLAY)
# the window shows the comparison, a changeset and a merge, each saved as a PNG beside the build;
# without one, a waiting diff is played through and told in words. With no session bus reachable,
# a private one is started for the demo and ended afterwards.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(realpath -m "${BUILD_DIR:-$root/build/release}")
"$root/scripts/install-dependencies.sh"
echo "Building the tool and the application in $build"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCVDIFF_TESTS=OFF \
    -DCVDIFF_BENCH=OFF >/dev/null
ninja -C "$build" -j"${JOBS:-2}" cvdiff Corvane
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
mkdir -p "$work/before" "$work/after"
cat >"$work/before/greet.c" <<'C'
#include <stdio.h>

static void greet(const char *name) {
    printf("Hello, %s\n", name);
}

int main(int argc, char **argv) {
    greet(argc > 1 ? argv[1] : "world");
    return 0;
}
C
cat >"$work/after/greet.c" <<'C'
#include <stdio.h>
#include <string.h>

static void greet(const char *name, int times) {
    for (int i = 0; i < times; i++) {
        printf("Hello, %s!\n", name);
    }
}

int main(int argc, char **argv) {
    greet(argc > 1 ? argv[1] : "world", 2);
    return 0;
}
C
mkdir -p "$work/theirs"
sed 's/Hello, %s/Good morning, %s/' "$work/before/greet.c" >"$work/theirs/greet.c"
printf 'notes\n' >"$work/before/notes.txt"
printf 'notes, revised\n' >"$work/after/notes.txt"
printf 'new file\n' >"$work/after/added.txt"

newest_document() {
    local guid=
    for _ in $(seq 1200); do
        guid=$(grep -o '"reply":"[^"]*"' "$CORVANE_JOURNAL" 2>/dev/null | tail -n 1 | cut -d'"' -f4 || true)
        [[ -n $guid && $guid != "${1:-}" ]] && break
        sleep 0.05
    done
    echo "$guid"
}

if [[ -n ${DISPLAY:-}${WAYLAND_DISPLAY:-} ]]; then
    shoot() { # GUID NAME
        # Until the tab shows its comparison: a minute at most, for a heavily loaded machine.
        for _ in $(seq 600); do
            "$bundle/Corvane" --describe "$1" 2>/dev/null | grep -q '"state":"shown"' && break
            sleep 0.1
        done
        # A tab that has just opened may not have reached the screen yet: try again.
        for _ in $(seq 20); do
            "$bundle/Corvane" --screenshot "$build/demo-$2.png" 2>/dev/null && break
            sleep 0.2
        done
        echo "  saved $build/demo-$2.png"
    }
    echo "\$ cvdiff before/greet.c after/greet.c"
    "$work/cvdiff" "$work/before/greet.c" "$work/after/greet.c" </dev/null
    first=$(newest_document)
    shoot "$first" comparison
    echo "\$ cvdiff --changeset --filelist before after"
    "$work/cvdiff" --changeset --filelist "$work/before" "$work/after" </dev/null
    second=$(newest_document "$first")
    "$bundle/Corvane" --activate "$second" next-item >/dev/null 2>&1 || true
    "$bundle/Corvane" --activate "$second" next-item >/dev/null 2>&1 || true
    sleep 2  # the selected item's comparison is read and diffed after the selection
    shoot "$second" changeset
    echo "\$ cvdiff --merge -W --output merged.c --base before/greet.c after/greet.c theirs/greet.c"
    : >"$work/merged.c"
    "$work/cvdiff" --merge -W --output "$work/merged.c" --base "$work/before/greet.c" \
        "$work/after/greet.c" "$work/theirs/greet.c" </dev/null || true
    shoot "$(newest_document "$second")" merge
    echo "Corvane's window shows the three tabs; closing it ends the demo's Corvane."
    # A private bus ends with the demo: keep the window until the person closes it.
    if [[ -n $private_bus ]]; then
        while "$bundle/Corvane" --list >/dev/null 2>&1; do sleep 1; done
    fi
    exit 0
fi

echo "\$ cvdiff --wait before/greet.c after/greet.c"
"$work/cvdiff" --wait "$work/before/greet.c" "$work/after/greet.c" </dev/null &
tool=$!
guid=$(newest_document)
if [[ -z $guid ]]; then
    echo "Corvane did not open the document." >&2
    kill "$tool" 2>/dev/null || true
    exit 1
fi
echo "Corvane (running without a window: no display) opened the comparison of before/greet.c"
echo "and after/greet.c as document $guid; cvdiff waits for its tab to close."
echo "\$ Corvane --close-tab $guid"
"$bundle/Corvane" --close-tab "$guid"
status=0
wait "$tool" || status=$?
echo "The tab closed, and cvdiff exited with status $status, as a waiting diff does."
echo "Run it where there is a display to see the window."
"$bundle/Corvane" --quit >/dev/null 2>&1 || true
exit "$status"
