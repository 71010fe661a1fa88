#!/usr/bin/env bash
# Builds and runs all tests: on this machine, with sanitizers, and under emulation of 32-bit ARM
# (with NEON and fused multiply-add, with NEON alone, without NEON), of 64-bit ARM, and of x86-64
# without AVX (the test without_avx of the release build).
# --quick: the release build alone. The last line is the total.
set -uo pipefail
cd "$(dirname "$0")/.."
source scripts/setup.sh

runs=(release asan armv7 armv7-cortex-a9 armv7-no-neon aarch64)
packages=(cmake g++ make googletest pkgconf)
case "${1:-}" in
    "") packages+=(g++-arm-linux-gnueabihf g++-aarch64-linux-gnu qemu-user) ;;
    --quick) runs=(release) ;;
    *) echo "usage: $0 [--quick]" >&2; exit 2 ;;
esac
need "${packages[@]}" || exit 1

passed=0
failed=0
declare -A built
for run in "${runs[@]}"; do
    preset=${run%-cortex-a9}
    preset=${preset%-no-neon}
    if [ -z "${built[$preset]:-}" ]; then
        echo "== building $preset"
        built[$preset]=yes
        build "build/$preset" "$preset" || built[$preset]=failed
    fi
    if [ "${built[$preset]}" = failed ]; then
        failed=$((failed + 1))
        continue
    fi
    echo "== testing $run"
    log=build/$run.log
    ctest --preset "$run" --parallel "$(nproc)" >"$log" 2>&1
    status=$?
    # "98% tests passed, 2 tests failed out of 100"
    summary=$(grep -E 'tests? passed, [0-9]+ tests? failed out of [0-9]+' "$log" | tail -n 1)
    lost=$(sed -nE 's/.*, ([0-9]+) tests? failed out of.*/\1/p' <<<"$summary")
    all=$(sed -nE 's/.* out of ([0-9]+)$/\1/p' <<<"$summary")
    if [ -z "$all" ] || { [ "$status" -ne 0 ] && [ "$lost" -eq 0 ]; }; then
        all=1 lost=1 # it did not run to its end
    fi
    passed=$((passed + all - lost))
    failed=$((failed + lost))
    echo "   $((all - lost)) passed, $lost failed"
    [ "$lost" -eq 0 ] || cat "$log"
done
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
