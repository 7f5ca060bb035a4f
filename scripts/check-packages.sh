#!/usr/bin/env bash
# Holds a configured build against scripts/packages.txt, so that the set-up
# cannot drift from what the build really uses.
#   scripts/check-packages.sh [BUILD_DIR...]     (default: build/default)
#
# Every system file the build uses is mapped to its Debian package with
# dpkg -S: the libraries it links (build.ninja), the include directories its
# compiler is given (compile_commands.json), and the packages, libraries and
# programs CMake found (CMakeCache.txt). A development package (-dev) must be
# named in the list itself; any other package (a runtime library, a tool)
# may also come in as a dependency of a listed one. Exit status 1 names
# every package scripts/setup.sh would not install.
set -euo pipefail
cd "$(dirname "$0")/.."

[ $# -gt 0 ] || set -- build/default
list=scripts/packages.txt

listed=$(grep -Ev '^[[:space:]]*(#|$)' "$list" | awk '{print $2}' | tr '|' '\n' | sort -u)
# Names apt does not know (the other distribution's alternatives) are skipped.
closure=$(apt-cache depends --recurse --no-recommends --no-suggests --no-conflicts --no-breaks \
  --no-replaces --no-enhances $listed 2>/dev/null | grep -v '^[[:space:]<]' | sed 's/:.*//' | sort -u)

# System paths one build directory uses, one a line.
used_paths() {
  local dir=$1
  [ -f "$dir/CMakeCache.txt" ] || { echo "check-packages: $dir is not configured" >&2; exit 2; }
  # Package configurations, pkg-config libraries and programs; libraries a
  # find module merely came across (unlinked GL flavours) are left out.
  grep -E '^([A-Za-z0-9_.+-]+_DIR:PATH|pkgcfg_lib_[^:]+:FILEPATH|[A-Za-z0-9_]+:FILEPATH)=/usr/' "$dir/CMakeCache.txt" \
    | grep -E '_DIR:PATH=|^pkgcfg_lib_|=/usr/bin/' | sed 's/^[^=]*=//' | tr ';' '\n'
  if [ -f "$dir/build.ninja" ]; then
    grep -E '^[[:space:]]+LINK_(LIBRARIES|FLAGS) = ' "$dir/build.ninja" | sed 's/^[^=]*= //' | tr ' ' '\n' \
      | while read -r token; do
          case "$token" in
            /usr/*) echo "$token" ;;
            -l*) gcc -print-file-name="lib${token#-l}.so" ;;
          esac
        done
  fi
  if [ -f "$dir/compile_commands.json" ]; then
    grep -oE '(-isystem |-I)/usr/[^ "]+' "$dir/compile_commands.json" | sed -E 's/^(-isystem |-I)//'
  fi
}

# "path<TAB>pkg pkg..." for every path that a package owns, in one dpkg call
# (a directory may belong to several packages; symlinks are followed when
# the link itself belongs to none).
owners() {
  local paths=("$@") resolved=() p
  for p in "${paths[@]}"; do resolved+=("$(readlink -f "$p")"); done
  dpkg -S "${paths[@]}" "${resolved[@]}" 2>/dev/null | grep -v '^diversion' \
    | sed -E 's/^(.*): (\/[^ ]*)$/\2\t\1/' | sed -E 's/:[a-z0-9]+(,|$)/\1/g; s/, / /g' || true
}

mapfile -t paths < <(for dir in "$@"; do used_paths "$dir"; done | sort -u | while read -r p; do
  case "$p" in /usr/include|/usr/lib|/usr/lib/*-linux-gnu|/usr/bin|/usr) continue ;; esac
  [ -e "$p" ] && echo "$p"
done)
owned=$(owners "${paths[@]}")

missing=""
checked=0
for path in "${paths[@]}"; do
  pkgs=$(awk -F'\t' -v p="$path" '$1 == p {print $2; exit}' <<<"$owned")
  [ -n "$pkgs" ] || pkgs=$(awk -F'\t' -v p="$(readlink -f "$path")" '$1 == p {print $2; exit}' <<<"$owned")
  [ -n "$pkgs" ] || continue  # not from a package (a local install): not ours to check
  checked=$((checked + 1))
  ok=""
  for p in $pkgs; do
    if grep -qx -- "$p" <<<"$listed"; then ok=1; break; fi
    case "$p" in *-dev) ;; *) if grep -qx -- "$p" <<<"$closure"; then ok=1; break; fi ;; esac
  done
  [ -n "$ok" ] || missing="$missing"$'\n'"  $(echo $pkgs | tr ' ' '|')  (for $path)"
done

# Development packages of the build group that nothing in these builds uses
# any more: a hint, not a failure (a build without tests or benchmarks
# leaves some of them out).
used=$(cut -f2 <<<"$owned" | tr ' ' '\n' | sort -u)
for entry in $(awk '$1 == "build" && $2 ~ /-dev($|[|])/ {print $2}' "$list"); do
  hit=""
  for p in ${entry//|/ }; do grep -qx -- "$p" <<<"$used" && hit=1; done
  [ -n "$hit" ] || echo "check-packages: note: $entry is listed, but these builds use nothing of it."
done

if [ -n "$missing" ]; then
  echo "check-packages: the build uses these packages, but $list does not install them:$missing" >&2
  exit 1
fi
echo "check-packages: ok, $checked system paths of the build come from packages the set-up installs."
