#!/usr/bin/env bash
# Installs the Debian packages that building and testing cvdiff need; only the missing ones.
set -euo pipefail

packages=(
    build-essential cmake ninja-build pkg-config clang clang-format lld
    libsystemd-dev libplist-dev libmimalloc-dev libgit2-dev
    libgtkmm-4.0-dev libgtksourceview-5-dev nlohmann-json3-dev xvfb xauth
    googletest libgtest-dev libgmock-dev libbenchmark-dev
    dbus-daemon dbus-bin
    git subversion mercurial brz
    scdoc dpkg-dev lintian appstream mmdebstrap
)

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$package")
    fi
done

if ((${#missing[@]} == 0)); then
    exit 0
fi

echo "Installing: ${missing[*]}"
if [[ $(id -u) -ne 0 ]]; then
    sudo=sudo
else
    sudo=
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update
$sudo apt-get install -y --no-install-recommends "${missing[@]}"
