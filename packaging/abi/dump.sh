#!/bin/sh
# Writes down the binary interface of the library: what a release is held against until the next one.
# Run it when a release is made, and commit the dump. A dump that changes within one SONAME breaks built programs.
# Usage: dump.sh   (needs abigail-tools and what the library needs)
set -eu
cd "$(dirname "$0")/../.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake -S . -B "$work" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF "-DCMAKE_CXX_FLAGS=-ffile-prefix-map=$PWD/=" >/dev/null
cmake --build "$work" --target vxa --parallel >/dev/null
library=$(readlink -f "$work/libvxa.so")
soname=$(readelf -d "$library" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')
abidw --headers-dir include --exported-interfaces-only --drop-private-types --drop-undefined-syms --no-show-locs \
  --no-corpus-path --no-comp-dir-path --type-id-style hash "$library" > "packaging/abi/$soname-$(uname -m).abi"
