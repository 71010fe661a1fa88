#!/usr/bin/env bash
# Runs all tests on a build that counts how often each line runs, and fails when less than 95 % of
# the lines in src/ ran. On x86-64 the tests of the kernel layer run a second time, on an emulated
# processor without AVX; neon/ is compiled on ARM alone and does not count here.
#
# The last lines name what did not run; build/coverage/report/index.html shows it in the sources.
# Apart from single lines it is the answer to memory that runs out and to a machine that is not as
# usual: an unreadable auxiliary vector, no shell.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/setup.sh

least=95
folder=build/coverage
need cmake g++ make googletest pkgconf gcovr qemu-user
echo "== building coverage"
build "$folder" coverage
find "$folder" -name '*.gcda' -delete

echo "== testing"
ctest --preset coverage --parallel "$(nproc)" >"$folder/tests.log" 2>&1 ||
    { cat "$folder/tests.log" >&2; exit 1; }
if [ "$(uname -m)" = x86_64 ]; then
    echo "== testing without AVX"
    TAVO_EXPECT_AVX2=0 qemu-x86_64 -cpu Nehalem "$folder/tests/tavo_tests" --gtest_brief=1 \
        --gtest_filter='*Simd*:*Resizer*:WarpAffine.*' >"$folder/tests.log" 2>&1 ||
        { cat "$folder/tests.log" >&2; exit 1; }
fi

echo "== counting"
mkdir -p "$folder/report"
passed=yes
gcovr --root . --filter src/ --fail-under-line "$least" --print-summary \
    --html-details "$folder/report/index.html" --txt "$folder/report/lines.txt" "$folder" \
    2>"$folder/report/gcovr.log" || passed=no
# A long path has a line of its own.
awk 'NF == 1 { path = $1 ~ "/" ? $1 " " : ""; next }
    / [0-9]+%/ && !/ 100%/ { print path $0 } { path = "" }' "$folder/report/lines.txt"
if [ "$passed" = no ]; then
    cat "$folder/report/gcovr.log" >&2
    exit 1
fi
