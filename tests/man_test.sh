#!/bin/sh
# The manual pages: each is shown without a warning, names only calls that the library exports, and together they name
# every environment variable that the library and its host read.
# Usage: man_test.sh SOURCE_DIR PAGES_DIR
set -eu
source=$1 pages=$2
status=0
complain() {
  echo "$1"
  status=1
}

export LC_ALL=C.UTF-8 MANWIDTH=100
for page in "$pages"/*; do
  said=$(man --warnings -l "$page" 2>&1 >/dev/null) || complain "$page: not shown"
  [ -z "$said" ] || complain "$page: $said"
done

host="_vesk_check_loglvl _real_errwork vesk_errwork"
for name in $(sed -n '/^```/,/^```/p' "$source"/docs/man/*.3.scd | grep -oE '^[a-z][a-z0-9_ ]* \**[A-Za-z_0-9]+\(' |
  grep -oE '[A-Za-z_0-9]+\($' | tr -d '(' | sort -u); do
  grep -qx "$name" "$source/cmake/exports.txt" || echo " $host " | grep -q " $name " || complain "$name is not exported"
done

for variable in $(cat "$source"/*/*.cpp "$source"/*/*.h | grep -oE '(getenv|setting|setting_is)\("[A-Z_0-9]+"' |
  grep -oE '[A-Z_0-9]{4,}' | grep -v LD_PRELOAD | sort -u); do
  grep -q "^\*.*$variable\*" "$source/docs/man/vxa.7.scd" || complain "$variable is in no list of vxa(7)"
done
exit $status
