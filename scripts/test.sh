#!/usr/bin/env bash
# Sets up what is missing, builds everything and runs the whole test suite.
#   scripts/test.sh           the default build (unit and end-to-end tests)
#   scripts/test.sh --asan    the same under AddressSanitizer + UBSan
set -euo pipefail
cd "$(dirname "$0")/.."

preset=default
if [ "${1:-}" = "--asan" ]; then preset=asan; fi

scripts/setup.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset"
