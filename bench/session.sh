# Sourced by the benchmarks that need Corvane running.
#
#   begin_bench NAME BUILD_DIR
# checks that BUILD_DIR holds Corvane.app with cvdiff, sets app (its executables' folder) and root
# (a scratch folder named after NAME), and on exit ends every process in the array pids and
# removes root.
begin_bench() {
    app=$(cd "$2" && pwd)/Corvane.app/Contents/MacOS
    [[ -x $app/Corvane && -x $app/cvdiff ]] || { echo "no Corvane.app with cvdiff in $2" >&2; exit 2; }
    root=$(mktemp -d "${TMPDIR:-/tmp}/$1-XXXXXX")
    pids=()
    trap end_bench EXIT
}
end_bench() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$root"
}

# A private home and session bus under ROOT
# (with dbus-daemon's built-in limits, like scripts/testbed.sh, or Debian's session limits), and
# Corvane launched by a first `cvdiff a b` from ROOT/work, where the run is left. Sets app_pid and
# adds the bus and the application to the array pids, for the caller's clean-up to end.
#   start_session ROOT APP_FOLDER [builtin|debian]
start_session() {
    local root=$1 app=$2 limits=${3:-debian}
    mkdir -p "$root/config" "$root/data/applications" "$root/share" "$root/tmp" "$root/work"
    printf '[Desktop Entry]\nType=Application\nName=Corvane\nExec=%s\n' "$app/Corvane" \
        > "$root/data/applications/com.corvane.Corvane.desktop"
    export XDG_CONFIG_HOME=$root/config XDG_DATA_HOME=$root/data XDG_DATA_DIRS=$root/share
    export TMPDIR=$root/tmp DBUS_SESSION_BUS_ADDRESS=unix:path=$root/bus
    if [[ $limits == debian ]]; then
        dbus-daemon --session --nofork --address="$DBUS_SESSION_BUS_ADDRESS" 2>/dev/null &
    else
        cat > "$root/bus.conf" <<CONFIG
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>$DBUS_SESSION_BUS_ADDRESS</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
CONFIG
        dbus-daemon --config-file="$root/bus.conf" --nofork 2>/dev/null &
    fi
    pids+=($!)
    for _ in $(seq 100); do [[ -S $root/bus ]] && break; sleep 0.05; done

    cd "$root/work"
    echo left > a.txt
    echo right > b.txt
    "$app/cvdiff" a.txt b.txt </dev/null # launches Corvane
    app_pid=$(busctl --user call com.corvane.Corvane.distributed-objects.cvdiff \
        /com/corvane/Corvane/cvdiff com.corvane.Corvane.CVCLIProxyProtocol processID |
        awk '{print $2}')
    pids+=("$app_pid")
}
