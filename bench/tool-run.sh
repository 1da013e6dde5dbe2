#!/usr/bin/env bash
# `cvdiff LEFT RIGHT` with Corvane running, from start to exit, side by side with a minimal
# sd-bus client process that makes the same GUIDForDocumentWithCVDiffInvocation call with the
# same payload; then how soon a waiting tool exits after its tab's close notification. Runs in a
# private session (scripts/testbed.sh). Needs a build with benchmarks (CVDIFF_BENCH=ON).
# usage: bench/tool-run.sh BUILD_DIR [ROUNDS]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "${1:?usage: tool-run.sh BUILD_DIR [ROUNDS]}" && pwd)
rounds=${2:-200}
eval "$("$here/../scripts/testbed.sh" start "$build")" >/dev/null
trap 'eval "$("$here/../scripts/testbed.sh" stop)" >/dev/null' EXIT

bundle=$build/Corvane.app/Contents/MacOS
work=$(dirname "$TMPDIR")/work
printf 'left\n' >"$work/left.txt"
printf 'right\n' >"$work/right.txt"
"$bundle/Corvane" >/dev/null 2>&1 &
for _ in $(seq 100); do "$bundle/Corvane" --list >/dev/null 2>&1 && break; sleep 0.05; done
cd "$work"

client="$build/bench/minimal_document_client left.txt right.txt"
tool="$bundle/cvdiff left.txt right.txt"
if command -v hyperfine >/dev/null; then
    # No shell in between: the figures are the processes' own.
    hyperfine -N --warmup 20 --runs "$rounds" -n "minimal sd-bus client" "$client" \
        -n "cvdiff left right" "$tool"
else
    "$here/compare.sh" "$rounds" "minimal sd-bus client" "$client" \
        "cvdiff left right" "$tool </dev/null"
fi
"$build/bench/close_tab_latency" "$bundle/cvdiff" left.txt right.txt 50
