#!/usr/bin/env bash
# Installs the Debian package into a fresh, minimal Debian 12 root (made with mmdebstrap from the
# machine's own package sources) with apt and without recommended packages, so that only the
# dependencies the package declares come in, and then uses it there: cvdiff hands two files to
# Corvane, which it launches (without a display, as on a server), on a session bus of the root's
# own; Corvane lists the document. The root is removed afterwards. Needs root and the archive.
#
#   scripts/clean-install-check.sh PACKAGE.deb
set -euo pipefail
package=$(realpath "${1:?usage: $0 PACKAGE.deb}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# What runs inside the root once the package is installed.
cat >"$work/use.sh" <<'USE'
set -eu
cd /tmp
printf 'one\ntwo\n' >left.txt
printf 'one\n2\n' >right.txt
mkdir -m 700 -p /tmp/runtime
export HOME=/tmp XDG_RUNTIME_DIR=/tmp/runtime
dbus-run-session -- sh -c '
    cvdiff left.txt right.txt
    corvane --list >listing.json
    corvane --quit'
grep -q '"files":\["/tmp/left.txt","/tmp/right.txt"\]' listing.json
echo "cvdiff and Corvane work in the clean root: $(cvdiff --version)"
USE

# The machine's own package sources (the package's dependencies were computed against them).
sources=()
for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list /etc/apt/sources.list.d/*.sources; do
    [[ -s $file ]] && sources+=("$file")
done
echo "-- a clean Debian 12 root from ${sources[*]:-the default mirror}, and the package in it"
mmdebstrap --variant=apt --mode=root --quiet \
    --customize-hook="copy-in $package /tmp" \
    --customize-hook="copy-in $work/use.sh /tmp" \
    --customize-hook='chroot "$1" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q \
        --no-install-recommends "/tmp/'"$(basename "$package")"'"' \
    --customize-hook='chroot "$1" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q \
        --no-install-recommends dbus-daemon >/dev/null' \
    --customize-hook='chroot "$1" sh /tmp/use.sh' \
    bookworm "$work/root" "${sources[@]}"
