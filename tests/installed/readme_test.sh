#!/bin/sh
# Compiles the program that README.md shows, as pasted and by the command that stands there, and runs it.
# Usage: readme_test.sh SOURCE_DIR TREE
set -eu
source=$1 tree=$2
. "$source/tests/installed/use.sh"
sed -n '/<!-- program: begin -->/,/<!-- program: end -->/p' "$source/README.md" | grep -v '^```\|^<!--' > "$work/program.c"
compile=$(sed -n 's/^    \(cc program.c .*\) && .*/\1/p' "$source/README.md")
cd "$work"
eval "$compile"
start_gateway
said=$(./program "$address")
[ "$said" = "HELLO FROM OUTSIDE (19 bytes, tperrno 0)" ] || fail "it said: $said"
echo "the program of README.md compiles as pasted and runs"
