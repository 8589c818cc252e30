#!/bin/sh
# The manual pages, as installed: each is shown without a warning, names only calls that the library exports, every call
# of the public headers is found by its name, and together they name every environment variable that the library and its
# host read.
# Usage: man_test.sh SOURCE_DIR TREE
set -eu
source=$1 tree=$2
pages=$tree/usr/share/man
status=0
complain() {
  echo "$1"
  status=1
}

export LC_ALL=C.UTF-8 MANWIDTH=100
for page in "$pages"/man*/vxa*; do
  said=$(man --warnings -l "$page" 2>&1 >/dev/null) || complain "$page: not shown"
  [ -z "$said" ] || complain "$page: $said"
done

host="_vesk_check_loglvl _real_errwork vesk_errwork"
for name in $(sed -n '/^```/,/^```/p' "$source"/docs/man/*.3.scd | grep -oE '^[A-Za-z][A-Za-z0-9_ ]* \**[A-Za-z_0-9]+\(' |
  grep -oE '[A-Za-z_0-9]+\($' | tr -d '(' | sort -u); do
  grep -qx "$name" "$source/cmake/exports.txt" || echo " $host " | grep -q " $name " || complain "$name is not exported"
done

for name in $(for header in "$source"/include/vxa/*.h; do cc -w -fpreprocessed -E -P "$header"; done | tr '\n;' ' \n' |
  grep -oE '[A-Za-z_0-9]+\([^*]' | tr -d '(' | sed 's/.$//' | sort -u); do
  page=$(sed -n 's/^\.so //p' "$pages/man3/$name.3") && [ -f "$pages/$page" ] || complain "$name has no page"
done
shown=$(MANPATH=$pages man -w tpcall)
[ "$shown" = "$pages/man3/vxa-xatmi.3" ] || complain "man tpcall shows $shown"

for variable in $(cat "$source"/*/*.cpp "$source"/*/*.h | grep -oE '(getenv|setting|setting_is)\("[A-Z_0-9]+"' |
  grep -oE '[A-Z_0-9]{4,}' | grep -v LD_PRELOAD | sort -u); do
  grep -q "^\*.*$variable\*" "$source/docs/man/vxa.7.scd" || complain "$variable is in no list of vxa(7)"
done
exit $status
