#!/usr/bin/env bash
# Installs what building, running and testing Vellumfox need, when it is
# missing. Idempotent: with everything present it only checks and returns.
set -euo pipefail

# Each entry is a package, or alternatives separated by "|" (Debian | Ubuntu names).
PACKAGES=(
  build-essential cmake ninja-build pkg-config git
  qt6-base-dev qt6-base-dev-tools "qt6-svg-dev|libqt6svg6-dev" libgl-dev
  libspdlog-dev libfmt-dev "libplist-dev|libplist-2.0-dev" libpcre2-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  adb xvfb xauth fonts-dejavu-core
)
# Fuzzing (scripts/fuzz): clang and its libFuzzer runtime.
PACKAGES+=(clang "libclang-rt-dev|libclang-rt-14-dev")

installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"; }

if ! command -v apt-get >/dev/null 2>&1 || ! command -v dpkg-query >/dev/null 2>&1; then
  echo "vellumfox setup: this system has no apt; install these packages (or your system's" >&2
  echo "equivalents) yourself, then run this command again:" >&2
  printf '  %s\n' "${PACKAGES[@]}" >&2
  if command -v cmake >/dev/null 2>&1 && command -v ninja >/dev/null 2>&1; then
    echo "vellumfox setup: cmake and ninja are present; trying the build anyway." >&2
    exit 0
  fi
  exit 1
fi

missing=()
for entry in "${PACKAGES[@]}"; do
  IFS='|' read -r -a alternatives <<<"$entry"
  found=""
  for p in "${alternatives[@]}"; do
    if installed "$p"; then found=1; break; fi
  done
  [ -n "$found" ] || missing+=("$entry")
done

[ ${#missing[@]} -eq 0 ] && exit 0

SUDO=""
if [ "$(id -u)" -ne 0 ]; then
  if command -v sudo >/dev/null 2>&1; then SUDO="sudo"; else
    echo "vellumfox setup: missing packages and no root rights; please install: ${missing[*]}" >&2
    exit 1
  fi
fi

echo "vellumfox setup: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
to_install=()
for entry in "${missing[@]}"; do
  IFS='|' read -r -a alternatives <<<"$entry"
  chosen=""
  for p in "${alternatives[@]}"; do
    if apt-cache show "$p" >/dev/null 2>&1; then chosen="$p"; break; fi
  done
  if [ -z "$chosen" ]; then
    echo "vellumfox setup: no package found for $entry" >&2
    exit 1
  fi
  to_install+=("$chosen")
done
$SUDO apt-get install -y -qq --no-install-recommends "${to_install[@]}"
