#!/bin/sh
# Builds the Debian packages from the committed tree into OUTPUT_DIR, and lets lintian judge them.
# Usage: build-deb.sh OUTPUT_DIR   (needs debhelper, lintian and the build dependencies of debian/control)
set -eu
output=$(mkdir -p "$1" && cd "$1" && pwd)
cd "$(dirname "$0")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/vxa-1.0.0"
git archive HEAD | tar -x -C "$work/vxa-1.0.0"
cp -r packaging/debian "$work/vxa-1.0.0/debian"
(cd "$work/vxa-1.0.0" && dpkg-buildpackage --build=binary --no-sign >"$output/build.log" 2>&1) ||
  { tail -40 "$output/build.log"; exit 1; }
cp "$work"/*.deb "$work"/*.changes "$work"/*.buildinfo "$output/"
lintian --fail-on error "$output"/*.changes
ls "$output"/*.deb
