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
source "$here/session.sh"
begin_bench close-tab-ratio "$build"

for program in waitclient closetab-ratio; do
    gcc -O2 -o "$root/$program" "$here/$program.c" $(pkg-config --cflags --libs libsystemd)
done

start_session "$root" "$app"

"$root/closetab-ratio" "$rounds" "$root/waitclient" "$PWD/a.txt" "$PWD/b.txt" \
    :: "$app/cvdiff" -w "$PWD/a.txt" "$PWD/b.txt"
