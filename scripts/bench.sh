#!/usr/bin/env bash
# Measures, and writes the tables and pictures of docs/performance.md.
#
#   scripts/bench.sh            time on x86-64, beside OpenCV and libyuv
#   scripts/bench.sh --quick    the same, too short for figures: shows that everything runs
#   scripts/bench.sh --arm      instructions on 32-bit ARM, under emulation
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/setup.sh

# A pass measures each row once, one contestant after the other. So a disturbance, which on shared
# machines lasts for seconds, hits all contestants of a row alike.
measure_time() {
    local passes=$1 seconds=$2 folder=build/bench last_cpu pass
    need cmake g++ make python3 libbenchmark-dev libopencv-imgproc-dev libyuv-dev
    echo "== building release"
    build "$folder" release -DTAVO_BUILD_BENCH=ON -DBUILD_TESTING=OFF
    rm -f "$folder"/results*.json
    last_cpu=$(($(nproc) - 1))
    for pass in $(seq "$passes"); do
        echo "== measuring, pass $pass of $passes"
        taskset -c "$last_cpu" "$folder/bench/peer_bench" --benchmark_min_time="$seconds" \
            --benchmark_out="$folder/results$pass.json" --benchmark_out_format=json \
            >"$folder/results.log" 2>&1 || { cat "$folder/results.log" >&2; return 1; }
    done
    python3 bench/report.py x86 "$folder"/results*.json
}

# Instructions of one run of the program: NAME VARIANT TIMES. The portable variant runs on a
# processor without NEON, for what asks the processor by itself.
count() {
    local cpu=cortex-a15
    [ "$2" = neon ] || cpu=cortex-a15,neon=off
    qemu-arm -cpu "$cpu" -L /usr/arm-linux-gnueabihf \
        -plugin "$ARM_BUILD/count_instructions.so" -d plugin \
        "$ARM_BUILD/bench/kernel_instructions" "$@" 2>&1 >/dev/null |
        sed -n 's/^instructions //p'
}

# Instructions per pixel: by difference, so that starting the program does not count.
per_pixel() {
    local name=$1 variant=$2 pixels=$3
    awk -v one="$(count "$name" "$variant" 1)" -v four="$(count "$name" "$variant" 4)" \
        -v pixels="$pixels" 'BEGIN { printf "%.4g", (four - one) / 3 / pixels }'
}

# LINE,FAMILY,NAME,PIXELS,VARIANTS to LINE,FAMILY,NAME,PIXELS,BASE,NEON
count_kernel() {
    local line family name pixels variants neon=
    IFS=, read -r line family name pixels variants <<<"$1"
    [ "$variants" != neon ] || neon=$(per_pixel "$name" neon "$pixels")
    echo "$line,$family,$name,$pixels,$(per_pixel "$name" base "$pixels"),$neon"
}

count_instructions() {
    export ARM_BUILD=build/bench-armv7
    export -f count per_pixel count_kernel
    need cmake g++ make python3 g++-arm-linux-gnueabihf qemu-user
    echo "== building armv7"
    build "$ARM_BUILD" armv7 -DTAVO_BUILD_BENCH=ON -DBUILD_TESTING=OFF
    gcc -O2 -shared -fPIC bench/count_instructions.c -o "$ARM_BUILD/count_instructions.so"
    echo "== counting"
    {
        echo family,kernel,pixels,base,neon
        qemu-arm -cpu cortex-a15 -L /usr/arm-linux-gnueabihf "$ARM_BUILD/bench/kernel_instructions" |
            nl -w 1 -s , |
            xargs -d '\n' -P "$(nproc)" -n 1 bash -c 'count_kernel "$1"' _ |
            sort -n | cut -d , -f 2-
    } >"$ARM_BUILD/counts.csv"
    python3 bench/report.py arm "$ARM_BUILD/counts.csv"
}

case "${1:-}" in
    "") measure_time 9 0.03 ;;
    --quick) measure_time 2 0.001 ;;
    --arm) count_instructions ;;
    *) echo "usage: $0 [--quick | --arm]" >&2; exit 2 ;;
esac
echo "== written: docs/performance.md"
