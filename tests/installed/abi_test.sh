#!/bin/sh
# Holds the binary interface of the library against the dump of the last release: what built programs use is still there
# and unchanged. New names are welcome.
# Usage: abi_test.sh DUMP LIBRARY
set -eu
dump=$1 library=$(readlink -f "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
same() { # DUMP
  abidiff --exported-interfaces-only --no-added-syms --suppressions "$(dirname "$dump")/allowed.abignore" "$1" "$library"
}
same "$dump" || exit 1

# The comparison sees what it is for: a name that is gone, and a struct of another size.
sed "s/'tpcall'/'tpcalled'/g" "$dump" > "$work/name.abi"
sed "s/\(class-decl name='xa_switch_t' size-in-bits='\)[0-9]*/\18/" "$dump" > "$work/size.abi"
for changed in name size; do
  ! same "$work/$changed.abi" > "$work/said" || { echo "the changed $changed went unnoticed"; exit 1; }
done
echo "the binary interface is that of the last release"
