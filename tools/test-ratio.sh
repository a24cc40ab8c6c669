#!/usr/bin/env bash
# Prints the non-blank lines of the tests (tests/, .cpp and .h files) against those of the code
# they test (src/, heap/ and platform/), and the ratio of the two.
set -euo pipefail
cd "$(dirname "$0")/.."
count() {  # folder...
    find "$@" -type f \( -name '*.cpp' -o -name '*.h' \) -print0 | xargs -0 cat | grep -cv '^[[:space:]]*$'
}
tests=$(count tests)
code=$(count src heap platform)
awk -v t="$tests" -v c="$code" 'BEGIN {
    printf "test ratio: %.2f (%d non-blank lines in tests/, %d in src/, heap/ and platform/)\n", t / c, t, c }'
