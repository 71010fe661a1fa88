#!/usr/bin/env bash
# Builds the examples and takes the photographs of examples/pictures/ through the library. The
# results are written to build/demo/, with contact_sheet.png showing the tour.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/setup.sh
need cmake g++ make libstb-dev

echo "== building release"
build build/release release -DTAVO_BUILD_EXAMPLES=ON -DBUILD_TESTING=OFF
for example in camera_to_network foreign_memory picture_tour two_ways; do
    echo "== $example"
    "build/release/examples/$example" build/demo examples/pictures/*.png examples/pictures/*.jpg
done
