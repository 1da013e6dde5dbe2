#!/usr/bin/env bash
# Installs what is missing and builds into BUILD_DIR (default: build/release).
# Extra arguments go to CMake's configure step.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build/release}
"$root/scripts/install-dependencies.sh"
cmake -S "$root" -B "$build" -G Ninja "$@" >/dev/null
ninja -C "$build" -j"${JOBS:-2}"
