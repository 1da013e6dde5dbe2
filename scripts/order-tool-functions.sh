#!/bin/bash
# Writes src/tool/cvdiff.order, the functions the tool's link places side by side at the start of
# its code: those a run calls, as callgrind sees them in the runs whose speed counts (a plain diff, and a diff that waits until its tab is closed) on a private session with
# Corvane running. Run it on a release build after changes that move the tool's work around;
# names that no longer exist are skipped by the link, so an old order only costs speed.
#
#   scripts/order-tool-functions.sh BUILD_DIR      (needs valgrind, busctl and dbus-daemon)
set -euo pipefail
build=$(cd "${1:?usage: order-tool-functions.sh BUILD_DIR}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
order=$(cd "$here/../src/tool" && pwd)/cvdiff.order
command -v valgrind >/dev/null || { echo "$0: needs valgrind" >&2; exit 1; }
source "$here/../bench/session.sh"
begin_bench order-tool-functions "$build"
start_session "$root" "$app"

profile() {
    local name=$1
    shift
    valgrind --tool=callgrind --demangle=no --callgrind-out-file="$root/$name.callgrind" \
        "$app/cvdiff" "$@" </dev/null >/dev/null 2>&1
}
documents() { "$app/Corvane" --list | grep -o '"GUID":"[^"]*"' | cut -d'"' -f4; }

profile send a.txt b.txt
before=$(documents | wc -l)
profile wait -w a.txt b.txt &
waiting=$!
for _ in $(seq 600); do
    (($(documents | wc -l) > before)) && break
    sleep 0.1
done
busctl --user call com.corvane.Corvane /com/corvane/Corvane/control \
    com.corvane.Corvane.Control CloseTab s "$(documents | tail -n 1)"
wait "$waiting"

# Callgrind names each object and function in full once, then by its number: "fn=(12) name",
# later "fn=(12)"; "cob=" and "cfn=" name a called function and the object it lies in.
{
    echo "# The tool's functions that a run calls, placed side by side by its link; made by"
    echo "# scripts/order-tool-functions.sh, read by the tool's link (src/tool/CMakeLists.txt)."
    awk '
        function named(kind, text,   number, rest) {
            if (!match(text, /^\([0-9]+\)/)) {
                return text
            }
            number = substr(text, 2, RLENGTH - 2)
            rest = substr(text, RLENGTH + 2)
            if (rest != "") {
                names[kind, number] = rest
            }
            return names[kind, number]
        }
        function keep(object, name) {
            sub(/\047[0-9]+$/, "", name)
            if (object ~ /\/cvdiff$/ && name ~ /^[A-Za-z_][A-Za-z0-9_.]*$/ && !(name in seen)) {
                seen[name] = 1
                print name
            }
        }
        FNR == 1 { delete names; object = ""; calledObject = "" }
        /^ob=/ { object = named("ob", substr($0, 4)); next }
        /^cob=/ { calledObject = named("ob", substr($0, 5)); next }
        /^fn=/ { calledObject = ""; keep(object, named("fn", substr($0, 4))); next }
        /^cfn=/ {
            keep(calledObject != "" ? calledObject : object, named("fn", substr($0, 5)))
            calledObject = ""
        }
    ' "$root/send.callgrind" "$root/wait.callgrind"
} >"$order"
echo "$(grep -vc '^#' "$order") functions in $order"
