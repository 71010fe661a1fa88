#!/usr/bin/env bash
# Fuzzes with address and undefined behaviour sanitizers: frames, both backends and the free
# functions, chains of row stages, the convolutional scaler, and the kernels, whose vectors are
# compared with the portable code.
#
#   scripts/fuzz.sh [SECONDS]           all programs one after another, each its share of the time
#                                       (300 in all when not told)
#   scripts/fuzz.sh SECONDS PROGRAM...  some of: frames, backends, stages, convolution,
#                                       kernel_objects, kernels
#
# Each starts with the inputs in fuzz/corpus/PROGRAM, among them those of past findings, and gathers
# new ones in build/fuzz/corpus. An input that finds something is kept in build/fuzz/findings; to
# see it again: build/fuzz/fuzz/fuzz_PROGRAM INPUT. Once repaired, it belongs into fuzz/corpus under
# a name that tells what it was.
set -uo pipefail
cd "$(dirname "$0")/.."
source scripts/setup.sh

total=${1:-300}
[[ $total =~ ^[1-9][0-9]*$ ]] || { echo "usage: $0 [SECONDS [PROGRAM...]]" >&2; exit 2; }
[ $# -eq 0 ] || shift
programs=("$@")
[ $# -gt 0 ] || programs=(frames backends stages convolution kernel_objects kernels)
share=$(((total + ${#programs[@]} - 1) / ${#programs[@]}))

need cmake make clang libclang-rt-dev || exit 1
echo "== building fuzz"
build build/fuzz fuzz || exit 1

found=()
for program in "${programs[@]}"; do
    echo "== fuzzing $program, $share seconds"
    gathered=build/fuzz/corpus/$program
    log=build/fuzz/$program.log
    mkdir -p "$gathered" build/fuzz/findings "fuzz/corpus/$program"
    if build/fuzz/fuzz/fuzz_"$program" -max_total_time="$share" -max_len=256 -timeout=20 \
        -rss_limit_mb=4096 -artifact_prefix="build/fuzz/findings/$program-" \
        "$gathered" "fuzz/corpus/$program" >"$log" 2>&1; then
        tail -n 1 "$log"
    else
        found+=("$program")
        # The finding itself stands between the progress and the list of useful words.
        sed -n '/runtime error\|^==[0-9]*==\|\.\(cpp\|h\):[0-9]*: /,$p' "$log" | head -n 40
        grep 'Test unit written' "$log"
    fi
done
echo "${#programs[@]} programs, ${#found[@]} found something${found[*]:+: ${found[*]}}"
[ ${#found[@]} -eq 0 ]
