#!/usr/bin/env bash
# check.sh STEP: what a stranger does with the library.
#
#   install         installs the build, and moves the installation
#   find_package    builds the program of README.md with CMake, and runs it
#   pkg_config      the same, with one command
#
# tests/CMakeLists.txt names the build and its tools in the environment.
set -euo pipefail
source=$(cd "$(dirname "$0")/../.." && pwd)
folder=$BUILD/package
prefix=$folder/prefix
libraries=$prefix/$LIBDIR

# What an installation consists of: nothing is missing, and nothing else is there.
expected_files() {
    (cd "$source" && find include -name '*.h')
    for name in core cv; do
        printf "$LIBDIR/libtavo_$name.so%s\n" "" ".${VERSION%%.*}" ".$VERSION"
    done
    printf "$LIBDIR/cmake/tavo_cv/tavo_cv-%s.cmake\n" \
        config config-version targets "targets-${CONFIG,,}"
    echo "$LIBDIR/pkgconfig/tavo_cv.pc"
    echo share/doc/tavo_cv/LICENSE
}

install_and_move() {
    rm -rf "$folder"
    "$CMAKE" --install "$BUILD" --prefix "$folder/first" >/dev/null
    mv "$folder/first" "$prefix"
    diff <(expected_files | sort) <(cd "$prefix" && find . -not -type d -printf '%P\n' | sort)
}

# Writes the listing of README.md to FOLDER/program.cpp.
extract_program() {
    rm -rf "$1"
    mkdir -p "$1"
    awk '/^```cpp$/ { inside = 1; next } /^```$/ && inside { exit } inside' \
        "$source/README.md" >"$1/program.cpp"
    grep -q '^int main' "$1/program.cpp"
}

# A program that runs on the installed libraries, by the names that stay when they are updated.
run_program() {
    local name
    for name in core cv; do
        readelf --dynamic "$1" | grep -qF "[libtavo_$name.so.${VERSION%%.*}]"
    done
    # Unquoted: an emulator comes with its options, and there may be none.
    $EMULATOR "$1"
}

by_find_package() {
    local work=$folder/by_find_package options=(-DCMAKE_CXX_COMPILER="$CXX")
    extract_program "$work"
    if [ -n "$TOOLCHAIN" ]; then
        # It searches nowhere but in the other machine's own folders.
        options=(-DCMAKE_TOOLCHAIN_FILE="$TOOLCHAIN" -Dtavo_cv_DIR="$libraries/cmake/tavo_cv")
    fi
    "$CMAKE" -S "$source/tests/package" -B "$work" "${options[@]}" -DCMAKE_PREFIX_PATH="$prefix" \
        -DVERSION="$VERSION" -DPROGRAM="$work/program.cpp" >/dev/null
    "$CMAKE" --build "$work" >/dev/null
    run_program "$work/program"
}

by_pkg_config() {
    local work=$folder/by_pkg_config flags
    extract_program "$work"
    read -ra flags < <(PKG_CONFIG_LIBDIR=$libraries/pkgconfig \
        pkg-config --cflags --libs "tavo_cv = $VERSION")
    "$CXX" -std=c++17 -Wall -Wextra -Werror "$work/program.cpp" "${flags[@]}" \
        -Wl,-rpath,"$libraries" -o "$work/program"
    run_program "$work/program"
}

case "$1" in
    install) install_and_move ;;
    find_package) by_find_package ;;
    pkg_config) by_pkg_config ;;
esac
