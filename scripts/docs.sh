#!/usr/bin/env bash
# Builds the reference of the public headers, and the pages of docs/, as build/docs/html/index.html.
# Fails on every warning: all that is public is documented, with all parameters and results.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/setup.sh
need doxygen

rm -rf build/docs
mkdir -p build/docs
if ! doxygen docs/Doxyfile >build/docs/doxygen.log 2>&1 || [ -s build/docs/doxygen.log ]; then
    cat build/docs/doxygen.log >&2
    exit 1
fi
# A link that Doxygen did not understand stands in the page as text.
if grep --recursive --include='*.html' '@ref' build/docs/html >&2; then
    exit 1
fi
echo "== written: build/docs/html/index.html"
