#!/bin/sh
# Compiles the program that README.md shows, as pasted, against the build and runs it against a gateway.
# Usage: readme_test.sh SOURCE_DIR BUILD_DIR
set -eu
source=$1 build=$2
work=$(mktemp -d)
gateway=
trap 'kill $gateway 2>/dev/null; rm -rf "$work"' EXIT
sed -n '/<!-- program: begin -->/,/<!-- program: end -->/p' "$source/README.md" | grep -v '^```\|^<!--' > "$work/program.c"
cc -std=c99 -Wall -Wextra -Werror -D_DEFAULT_SOURCE -I"$source/include/vxa" "$work/program.c" -L"$build" -lvxa -o "$work/program"
"$build/tools/vxa" gateway --port 0 > "$work/log" 2>&1 &
gateway=$!
for _ in $(seq 100); do
  port=$(sed -n 's/.*listening on 127\.0\.0\.1:\([0-9]*\).*/\1/p' "$work/log")
  [ -n "$port" ] && break
  sleep 0.1
done
said=$(LD_LIBRARY_PATH=$build "$work/program" "127.0.0.1:$port")
[ "$said" = "HELLO FROM OUTSIDE (19 bytes, tperrno 0)" ] || { echo "it said: $said"; exit 1; }
echo "the program of README.md compiles as pasted and runs"
