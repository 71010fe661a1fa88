#!/usr/bin/env bash
# Builds the Debian packages for this machine, or for 32-bit or 64-bit ARM, and lists them:
#
#   scripts/package.sh [armv7 | aarch64]
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/setup.sh

preset=${1:-release}
case "$preset" in
    release) packages=(g++) compiler=g++ ;;
    armv7) packages=(g++-arm-linux-gnueabihf) compiler=arm-linux-gnueabihf-g++ ;;
    aarch64) packages=(g++-aarch64-linux-gnu) compiler=aarch64-linux-gnu-g++ ;;
    *) echo "usage: $0 [armv7 | aarch64]" >&2; exit 2 ;;
esac
need cmake make file dpkg-dev "${packages[@]}"

folder=build/package-$preset
# As Debian does: libraries of several processors side by side, and no search paths within.
build "$folder" "$preset" -DBUILD_TESTING=OFF -DCMAKE_INSTALL_PREFIX=/usr \
    -DCMAKE_INSTALL_LIBDIR="lib/$("$compiler" -print-multiarch)" -DCMAKE_SKIP_INSTALL_RPATH=ON
rm -f "$folder"/*.deb
(cd "$folder" && cpack) >"$folder/cpack.log" 2>&1 || { cat "$folder/cpack.log" >&2; exit 1; }
ls "$folder"/*.deb
