#!/bin/sh
# Compares what a shared library exports with the committed list, and what it needs at run time with libc alone.
# A third argument bounds the bytes of the stripped library.
# Usage: check_exports.sh LIBRARY LIST [BYTES]
set -eu
export LC_ALL=C
library=$1 list=$2
sort -u -c "$list"
nm -D --defined-only "$library" | awk '{print $3}' | sort | diff -u "$list" - ||
  { echo "exports differ from $list"; exit 1; }
needed=$(readelf -d "$library" | awk '/NEEDED/ {print $NF}')
[ "$needed" = "[libc.so.6]" ] || { echo "needs more than libc: $needed"; exit 1; }
if [ -n "${3:-}" ]; then
  stripped=$(mktemp)
  trap 'rm -f "$stripped"' EXIT
  strip -o "$stripped" "$library"
  bytes=$(wc -c < "$stripped")
  [ "$bytes" -lt "$3" ] || { echo "stripped it has $bytes bytes, not below $3"; exit 1; }
fi
echo "$(wc -l < "$list") exported names, as listed; needs libc.so.6 alone"
