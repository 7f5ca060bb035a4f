#!/usr/bin/env bash
# Checks that a built tree installs like a Linux desktop program and packs
# into a Debian package that installs and starts. For CI, after a build;
# needs the ci packages (scripts/setup.sh --ci).
#   scripts/check-install.sh [BUILD_DIR]     (default: build/default)
#
# 1. cmake --install into a scratch folder: both programs, the desktop entry
#    (desktop-file-validate), the metainfo (appstreamcli validate), the icon,
#    the MIME types, the query language's page and the man pages.
# 2. cpack -G DEB; then, with root rights, the package is installed with
#    apt-get (which also brings its dependencies), both programs must answer
#    --version from /usr/bin, and the package is removed again.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/default}
app_id=io.github.vellumfox.vellumfox

stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
cmake --install "$build" --prefix "$stage/usr" >/dev/null

for f in bin/vellumfox bin/vellumfox-cli share/man/man1/vellumfox-cli.1 share/man/man1/vellumfox.1 \
         "share/applications/$app_id.desktop" "share/metainfo/$app_id.metainfo.xml" \
         "share/mime/packages/$app_id.xml" "share/icons/hicolor/scalable/apps/$app_id.svg" \
         share/doc/vellumfox/query-language.md; do
  [ -s "$stage/usr/$f" ] || { echo "check-install: not installed: $f" >&2; exit 1; }
done
desktop-file-validate "$stage/usr/share/applications/$app_id.desktop"
appstreamcli validate --no-net --pedantic "$stage/usr/share/metainfo/$app_id.metainfo.xml"
if command -v man >/dev/null 2>&1; then
  for page in "$stage"/usr/share/man/man1/*.1; do
    man --warnings -l "$page" 2>&1 >/dev/null | { ! grep .; } || { echo "check-install: $page has roff warnings" >&2; exit 1; }
  done
fi
"$stage/usr/bin/vellumfox" --version
"$stage/usr/bin/vellumfox-cli" --version
echo "check-install: the install tree is complete and valid"

rm -f "$build"/vellumfox_*.deb
(cd "$build" && cpack -G DEB >/dev/null)
deb=$(ls "$build"/vellumfox_*.deb)
dpkg-deb -f "$deb" Depends
if [ "$(id -u)" -ne 0 ]; then
  echo "check-install: $deb built; not root, so it is not installed here"
  exit 0
fi
if dpkg-query -W -f='${Status}' vellumfox 2>/dev/null | grep -q "install ok installed"; then
  echo "check-install: a vellumfox package is installed already; leaving it alone" >&2
  exit 0
fi
export DEBIAN_FRONTEND=noninteractive
apt-get install -y -qq "$(realpath "$deb")" >/dev/null
status=0
/usr/bin/vellumfox --version && /usr/bin/vellumfox-cli --version || status=1
apt-get remove -y -qq vellumfox >/dev/null
[ $status -eq 0 ] || { echo "check-install: the installed programs do not start" >&2; exit 1; }
echo "check-install: $deb installs, and both programs start from /usr/bin"
