#!/bin/sh
# Builds the Debian source package and the packages from the tracked files into OUTPUT_DIR, and lets lintian judge them.
# Usage: build-deb.sh OUTPUT_DIR   (needs debhelper, lintian and the build dependencies of debian/control)
set -eu
output=$(mkdir -p "$1" && cd "$1" && pwd)
cd "$(dirname "$0")/.."
version=$(dpkg-parsechangelog -l packaging/debian/changelog -S Version)
# Always in the same folder, so that a compiler cache knows the sources again. debhelper gives the build another HOME.
work=$output/work
trap 'rm -rf "$work"' EXIT
tree=$work/vxa-$version
mkdir -p "$tree"
if command -v ccache >/dev/null; then
  CCACHE_DIR=$(ccache -k cache_dir) PATH=/usr/lib/ccache:$PATH
  export CCACHE_DIR
fi
git ls-files -z | xargs -0 cp --parents -t "$tree"
mv "$tree/packaging/debian" "$tree/debian"
(cd "$tree" && dpkg-buildpackage --build=full --no-sign >"$output/build.log" 2>&1) ||
  { tail -40 "$output/build.log"; exit 1; }
cp "$work"/vxa_* "$work"/*.deb "$output/"
lintian --allow-root --fail-on error "$output"/*.changes
ls "$output"/*.deb
