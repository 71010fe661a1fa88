#!/usr/bin/env bash
# compare.sh NM LIBRARY LIST: fails and shows the difference when the dynamic symbols that LIBRARY
# defines are not those of LIST. To accept a change, write the left side to LIST.
set -euo pipefail
export LC_ALL=C
# The name ends before the type letter; constructors and destructors come more than once.
diff <("$1" --dynamic --defined-only --demangle --format=posix "$2" |
    sed -E 's/ [A-Za-z]( [0-9a-f]+)*$//' | sort -u) "$3"
