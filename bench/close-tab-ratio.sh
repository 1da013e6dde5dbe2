#!/bin/bash
# Times `cvdiff -w LEFT RIGHT` from the closing of its tab to its exit against waitclient, the least
# a waiting process can do, interleaved in one run on a private bus and home with Corvane running
# (bench/closetab-ratio.c). The last line is the median per-round ratio.
#
#   bench/close-tab-ratio.sh BUILD_DIR [ROUNDS]
set -euo pipefail
build=$(cd "${1:?usage: close-tab-ratio.sh BUILD_DIR [ROUNDS]}" && pwd)
rounds=${2:-41}
here=$(cd "$(dirname "$0")" && pwd)
app=$build/Corvane.app/Contents/MacOS
[[ -x $app/Corvane && -x $app/cvdiff ]] || { echo "no Corvane.app with cvdiff in $build" >&2; exit 2; }

root=$(mktemp -d "${TMPDIR:-/tmp}/close-tab-ratio-XXXXXX")
pids=()
cleanup() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$root"
}
trap cleanup EXIT

for program in waitclient closetab-ratio; do
    gcc -O2 -o "$root/$program" "$here/$program.c" $(pkg-config --cflags --libs libsystemd)
done

mkdir -p "$root/config" "$root/data/applications" "$root/share" "$root/tmp" "$root/work"
printf '[Desktop Entry]\nType=Application\nName=Corvane\nExec=%s\n' "$app/Corvane" \
    > "$root/data/applications/com.corvane.Corvane.desktop"
export XDG_CONFIG_HOME=$root/config XDG_DATA_HOME=$root/data XDG_DATA_DIRS=$root/share TMPDIR=$root/tmp
export DBUS_SESSION_BUS_ADDRESS=unix:path=$root/bus
dbus-daemon --session --nofork --address="$DBUS_SESSION_BUS_ADDRESS" 2>/dev/null &
pids+=($!)
for _ in $(seq 100); do [[ -S $root/bus ]] && break; sleep 0.05; done

cd "$root/work"
echo left > a.txt
echo right > b.txt
"$app/cvdiff" a.txt b.txt </dev/null # launches Corvane
app_pid=$(busctl --user call com.corvane.Corvane.distributed-objects.cvdiff /com/corvane/Corvane/cvdiff \
    com.corvane.Corvane.CVCLIProxyProtocol processID | awk '{print $2}')
pids+=("$app_pid")

"$root/closetab-ratio" "$rounds" "$root/waitclient" "$PWD/a.txt" "$PWD/b.txt" \
    :: "$app/cvdiff" -w "$PWD/a.txt" "$PWD/b.txt"
