#!/bin/sh
# Builds the outside example against the installed tree both ways, and runs it; then sees that each public header stands
# alone.
# Usage: outside_test.sh SOURCE_DIR TREE
set -eu
source=$1 tree=$2
. "$source/tests/installed/use.sh"
build_outside
run_outside

# The command preloads the libvxahost that was installed with it.
if [ -x "$tree/usr/bin/vxa" ]; then
  shown=$(vxa trace -- "$work/outside" 2>&1 >/dev/null)
  echo "$shown" | grep -q 'tpalloc(.*) = 0x' || fail "vxa trace showed: $shown"
fi

# In C99 and in C++.
for header in "$tree"/usr/include/vxa/*.h; do
  printf '#include <vxa/%s>\nextern int unit_is_not_empty;\n' "$(basename "$header")" > "$work/alone.c"
  cc -std=c99 -pedantic -Wall -Wextra -Werror -fsyntax-only -I"$tree/usr/include" "$work/alone.c"
  c++ -std=c++11 -Wall -Wextra -Werror -fsyntax-only -x c++ -I"$tree/usr/include" "$work/alone.c"
done
echo "found by pkg-config and by CMake, headers stand alone"
