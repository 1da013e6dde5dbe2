#!/bin/sh
# A private desktop session for trying cvdiff and Corvane by hand: a dbus-daemon of its own, a
# temporary home with the XDG folders, and the built Corvane.app registered by its desktop entry.
#
#   eval "$(scripts/testbed.sh start BUILD_DIR)"   # exports the session's environment
#   cvdiff left.txt right.txt; Corvane --list; tail -f "$CORVANE_JOURNAL"
#   eval "$(scripts/testbed.sh stop)"              # ends every process of the session
#
# `start` prints the exports; `stop` reads CVDIFF_TESTBED, ends the session's processes, removes
# its folder and prints the matching `unset`.
set -eu

usage() {
    echo "usage: $0 start BUILD_DIR | stop" >&2
    exit 2
}

start() {
    build=$(cd "$1" && pwd)
    if [ ! -x "$build/Corvane.app/Contents/MacOS/Corvane" ]; then
        echo "$0: $build/Corvane.app has no Corvane; build the Corvane and cvdiff targets" >&2
        exit 1
    fi
    root=$(mktemp -d "${TMPDIR:-/tmp}/cvdiff-bed-XXXXXX")
    mkdir -p "$root/config" "$root/data/applications" "$root/share" "$root/runtime" \
        "$root/tmp" "$root/home" "$root/work"
    chmod 700 "$root/runtime"
    cat > "$root/data/applications/com.corvane.Corvane.desktop" <<ENTRY
[Desktop Entry]
Type=Application
Name=Corvane
Exec=$build/Corvane.app/Contents/MacOS/Corvane
ENTRY
    cat > "$root/bus.conf" <<CONFIG
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=$root/bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
CONFIG
    dbus-daemon --config-file="$root/bus.conf" --fork --print-pid > "$root/bus.pid"
    cat <<EXPORTS
export CVDIFF_TESTBED='$root'
export DBUS_SESSION_BUS_ADDRESS='unix:path=$root/bus'
export XDG_CONFIG_HOME='$root/config'
export XDG_DATA_HOME='$root/data'
export XDG_DATA_DIRS='$root/share'
export XDG_RUNTIME_DIR='$root/runtime'
export TMPDIR='$root/tmp'
export CORVANE_JOURNAL='$root/journal.jsonl'
export PATH='$build/Corvane.app/Contents/MacOS':"\$PATH"
echo 'cvdiff test bed in $root (journal: \$CORVANE_JOURNAL); end it with: scripts/testbed.sh stop'
EXPORTS
}

stop() {
    root=${CVDIFF_TESTBED:?"no test bed in this shell (CVDIFF_TESTBED is not set)"}
    address="DBUS_SESSION_BUS_ADDRESS=unix:path=$root/bus"
    # Every process of this user whose environment names the bed's bus, the application
    # included (the tool starts it in a session of its own).
    for environ in /proc/[0-9]*/environ; do
        pid=${environ#/proc/}
        pid=${pid%/environ}
        [ "$pid" = "$$" ] || [ "$pid" = "$PPID" ] && continue
        if tr '\0' '\n' 2>/dev/null < "$environ" | grep -qxF "$address"; then
            kill -TERM "$pid" 2>/dev/null || true
        fi
    done
    if [ -f "$root/bus.pid" ]; then
        kill -TERM "$(cat "$root/bus.pid")" 2>/dev/null || true
    fi
    rm -rf "$root"
    echo "unset CVDIFF_TESTBED DBUS_SESSION_BUS_ADDRESS XDG_CONFIG_HOME XDG_DATA_HOME" \
        "XDG_DATA_DIRS XDG_RUNTIME_DIR TMPDIR CORVANE_JOURNAL"
}

[ $# -ge 1 ] || usage
case "$1" in
    start) [ $# -eq 2 ] || usage; start "$2" ;;
    stop) stop ;;
    *) usage ;;
esac
