#!/usr/bin/env bash
# Checks the installation and the Debian package made from a build folder:
#  1. cmake --install into a DESTDIR lists every installed path in install_manifest.txt, so that
#     removing the listed paths leaves no file behind;
#  2. cpack -G DEB makes the package, and lintian finds no error in it;
#  3. apt installs the package (with the dependencies it computed), its files are in place, the
#     manual page renders and the installed cvdiff finds the installed Corvane through
#     bin/cvdiff; the package is removed again afterwards;
#  4. the package installs into a clean Debian 12 root and works there
#     (scripts/clean-install-check.sh): its declared dependencies are all it needs.
# Steps 3 and 4 need root and step 3 changes the machine, so they run only as root and only when
# no cvdiff package is installed already (CI); PACKAGE_INSTALL=no skips them.
#
#   scripts/package-check.sh BUILD_DIR
set -euo pipefail
build=$(cd "${1:?usage: $0 BUILD_DIR}" && pwd)
work=$(mktemp -d)
installed_here=
cleanup() {
    if [[ -n $installed_here ]]; then
        echo "-- removing the package again"
        apt-get purge -y -q cvdiff >/dev/null
    fi
    rm -rf "$work"
}
trap cleanup EXIT
fail() {
    echo "package-check: $*" >&2
    exit 1
}

echo "-- install into a DESTDIR and uninstall from the manifest"
DESTDIR=$work/root cmake --install "$build" --prefix /usr >/dev/null
manifest=$build/install_manifest.txt
while IFS= read -r path || [[ -n $path ]]; do
    rm -f "$work/root$path"
done <"$manifest"
left=$(find "$work/root" ! -type d)
[[ -z $left ]] || fail "files the manifest does not list: $left"
echo "   $(grep -c . "$manifest") paths, none left behind"

echo "-- cpack -G DEB"
(cd "$build" && cpack -G DEB >/dev/null)
package=$(ls "$build"/cvdiff_*.deb)
dpkg-deb -f "$package" Depends

echo "-- lintian"
# Lintian leaves files of its own in the temporary folder; they go with the check's folder.
mkdir "$work/lintian"
lintian_tmp() { TMPDIR=$work/lintian lintian "$@"; }
lintian_tmp --fail-on error --tag-display-limit 0 "$package" 2>&1 | grep -v 'root privileges' || true
lintian_tmp --fail-on error "$package" >/dev/null 2>&1 || fail "lintian reports errors"

if [[ ${PACKAGE_INSTALL:-yes} == no ]]; then
    exit 0
fi
if [[ $(id -u) -ne 0 ]]; then
    echo "-- not root: the package install is not tried"
    exit 0
fi
if dpkg-query -W -f='${Status}' cvdiff 2>/dev/null | grep -q 'ok installed'; then
    echo "-- a cvdiff package is installed already: the package install is not tried"
    exit 0
fi

echo "-- apt install $package"
installed_here=yes
DEBIAN_FRONTEND=noninteractive apt-get install -y -q "$package"
for path in /usr/bin/cvdiff /usr/bin/corvane /usr/lib/corvane/Corvane.app/Contents/MacOS/Corvane \
    /usr/share/applications/com.corvane.Corvane.desktop /usr/share/man/man1/cvdiff.1.gz; do
    [[ -e $path ]] || fail "$path is missing"
done
man -l /usr/share/man/man1/cvdiff.1.gz 2>/dev/null | grep -q 'send files to Corvane' ||
    fail "man cvdiff does not render"

echo "-- the installed cvdiff finds the installed Corvane through bin/cvdiff"
HOME=$work XDG_CONFIG_HOME=$work/config XDG_DATA_HOME=$work/data XDG_DATA_DIRS=/usr/share \
    /usr/bin/cvdiff --debug-version | tee "$work/debug-version"
grep -qx "Corvane at: '/usr/lib/corvane/Corvane.app'" "$work/debug-version" ||
    fail "the installed cvdiff does not find /usr/lib/corvane/Corvane.app"

echo "-- the package in a clean Debian 12 root"
"$(dirname "$0")/clean-install-check.sh" "$package"
