#!/usr/bin/env bash
# Sets up what is missing, builds the viewer and launches it.
#   scripts/run.sh [FILE]
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset default >/dev/null
cmake --build --preset default --target vellumfox

exec build/default/src/app/vellumfox "$@"
