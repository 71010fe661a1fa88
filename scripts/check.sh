#!/usr/bin/env bash
# Analyses the sources and fails on any finding: with clang-tidy, which also shows Clang's warnings,
# as compiled for this machine and, where only ARM has them, for 32-bit ARM; and with cppcheck.
#
#   scripts/check.sh            everything; takes a quarter of an hour
#   scripts/check.sh FILE...    clang-tidy on these sources, cppcheck on everything
#
# .clang-tidy and scripts/cppcheck-suppressions.txt tell what is switched off, and why. A finding
# that holds is repaired; one that doesn't gets a NOLINT with its reason.
set -uo pipefail
cd "$(dirname "$0")/.."
source scripts/setup.sh

folder=build/check
need cmake g++ make clang clang-tidy cppcheck python3 g++-arm-linux-gnueabihf googletest \
    libclang-rt-dev libstb-dev libbenchmark-dev libopencv-imgproc-dev libyuv-dev || exit 1

# configure FOLDER PRESET [OPTION...]
configure() {
    cmake -B "$1" --preset "${@:2}" >"$folder/configure.log" 2>&1 ||
        { cat "$folder/configure.log" >&2; exit 1; }
}

# sources FOLDER PATTERN: those of our own that are compiled there.
sources() {
    python3 - "$1/compile_commands.json" "$2" <<'END'
import json, os, re, sys
paths = {os.path.relpath(entry["file"]) for entry in json.load(open(sys.argv[1]))}
print(*sorted(path for path in paths if re.match(sys.argv[2], path)), sep="\n")
END
}

# tidy FOLDER < SOURCES
tidy() {
    xargs --no-run-if-empty --max-args 1 --max-procs "$(nproc)" clang-tidy --quiet -p "$1" 2>/dev/null
}

check() {
    cppcheck --enable=warning,style,performance,portability --inline-suppr --error-exitcode=1 \
        --suppressions-list=scripts/cppcheck-suppressions.txt --library=posix --quiet \
        --std=c++17 --language=c++ -I include -I src -I tests -I examples -I bench \
        -DTAVO_FMA '-DTAVO_SOURCE=""' "$@" 2>&1
}

failed=0
mkdir -p "$folder"
configure "$folder/host" release -DCMAKE_CXX_COMPILER=clang++ -DTAVO_BUILD_EXAMPLES=ON \
    -DTAVO_BUILD_BENCH=ON -DTAVO_BUILD_FUZZ=ON
configure "$folder/armv7" armv7 -DBUILD_TESTING=OFF

echo "== clang-tidy"
if [ $# -gt 0 ]; then
    chosen=$(realpath --relative-to=. "$@" | paste -s -d '|')
else
    chosen='.*'
fi
sources "$folder/host" "(src|examples|bench|fuzz|tests)/" | grep -xE "$chosen" | tidy "$folder/host" ||
    failed=1
sources "$folder/armv7" "src/simd/(neon|fma)/" | grep -xE "$chosen" | tidy "$folder/armv7" || failed=1

echo "== cppcheck"
check --platform=unix64 -DTAVO_AVX2 -D__x86_64__ -D__SSE4_1__ -isrc/simd/neon \
    src include examples bench fuzz || failed=1
check --platform=unix32 -DTAVO_NEON -D__arm__ -D__ARM_NEON -isrc/simd/avx2 src/simd || failed=1

[ "$failed" -eq 0 ] && echo "== nothing found"
exit "$failed"
