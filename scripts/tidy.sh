#!/usr/bin/env bash
# Runs clang-tidy-14 with the repository's .clang-tidy over the compile database of BUILD_DIR.
# With FILES (files or folders, relative to the repository), only the translation units under
# them; without, every source file of src/, tests/, bench/ and fuzz/ in the database. Prints each
# finding once (a header's findings come once, not once per file that includes it), then the
# count per check; exits 1 when there is a finding.
#   scripts/tidy.sh build/dev src/cli src/link/CVAdditions.cpp
set -euo pipefail
if [[ $# -lt 1 ]]; then
    echo "usage: scripts/tidy.sh BUILD_DIR [FILE|FOLDER...]" >&2
    exit 2
fi
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "$1" && pwd)
shift
if [[ ! -f $build/compile_commands.json ]]; then
    echo "tidy: no compile_commands.json in $build; configure it with scripts/build.sh first" >&2
    exit 2
fi
paths=("$@")
[[ ${#paths[@]} -gt 0 ]] || paths=(src tests bench fuzz)
patterns=()
for path in "${paths[@]}"; do
    absolute=$(cd "$root" && realpath -m "$path")
    patterns+=("^${absolute//./\\.}(/|\$)")
done

output=$(mktemp)
trap 'rm -f "$output"' EXIT
# The database is gcc's (and run-clang-tidy colours its output, taken off below): clang is told to let the options it does not know pass.
run-clang-tidy-14 -quiet -p "$build" -j "${JOBS:-2}" \
    -extra-arg=-Wno-unknown-warning-option -extra-arg=-Wno-ignored-optimization-argument \
    "${patterns[@]}" >"$output" 2>/dev/null || true
findings=$(sed -E 's/\x1b\[[0-9;]*m//g' "$output" | grep -E '^/.*:[0-9]+:[0-9]+: (warning|error): ' | grep -v "^$build/" | sort -u || true)
if [[ -z $findings ]]; then
    echo "tidy: no findings"
    exit 0
fi
echo "$findings"
echo "--"
echo "$findings" | sed -E 's/.*\[([^]]+)\]$/\1/' | sort | uniq -c | sort -rn
echo "tidy: $(echo "$findings" | wc -l) findings"
exit 1
