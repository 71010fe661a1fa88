#!/usr/bin/env bash
# scripts/bench.sh --arm: counts the instructions that the kernels take on 32-bit ARM, under
# emulation, and writes them to docs/performance.md.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/setup.sh
[ "${1:-}" = --arm ] || { echo "usage: $0 --arm" >&2; exit 2; }
need cmake g++ make g++-arm-linux-gnueabihf qemu-user

echo "== building armv7"
build build/bench-armv7 armv7 -DTAVO_BUILD_BENCH=ON -DBUILD_TESTING=OFF
gcc -O2 -shared -fPIC bench/count_instructions.c -o build/bench-armv7/count_instructions.so

# Instructions of one run of the program: NAME VARIANT TIMES. The portable variant runs on a
# processor without NEON, for what asks the processor by itself.
count() {
    local cpu=cortex-a15
    [ "$2" = neon ] || cpu=cortex-a15,neon=off
    qemu-arm -cpu "$cpu" -L /usr/arm-linux-gnueabihf \
        -plugin build/bench-armv7/count_instructions.so -d plugin \
        build/bench-armv7/bench/kernel_instructions "$@" 2>&1 >/dev/null |
        sed -n 's/^instructions //p'
}

# Instructions per pixel: by difference, so that starting the program does not count.
per_pixel() {
    local name=$1 variant=$2 pixels=$3
    awk -v one="$(count "$name" "$variant" 1)" -v four="$(count "$name" "$variant" 4)" \
        -v pixels="$pixels" 'BEGIN { printf "%.3g", (four - one) / 3 / pixels }'
}

page=docs/performance.md
echo "== counting"
rows=$(mktemp)
while IFS=, read -r family name pixels variants; do
    base=$(per_pixel "$name" base "$pixels")
    neon=-
    ratio=-
    if [ "$variants" = neon ]; then
        neon=$(per_pixel "$name" neon "$pixels")
        ratio=$(awk -v n="$neon" -v b="$base" 'BEGIN { printf "%.0f %%", 100 * n / b }')
    fi
    echo "| $family | $name | $base | $neon | $ratio |" | tee -a "$rows"
done < <(qemu-arm -cpu cortex-a15 -L /usr/arm-linux-gnueabihf \
    build/bench-armv7/bench/kernel_instructions)

begin='<!-- counted: written by scripts/bench.sh --arm -->'
end='<!-- end of counted -->'
awk -v begin="$begin" -v end="$end" -v rows="$rows" '
    $0 == begin {
        print; print ""
        print "| family | kernel | Base | Neon | Neon / Base |"
        print "|---|---|---:|---:|---:|"
        while ((getline line < rows) > 0) print line
        print ""
        skipping = 1
    }
    $0 == end { skipping = 0 }
    !skipping' "$page" >"$rows.page"
mv "$rows.page" "$page"
rm -f "$rows"
