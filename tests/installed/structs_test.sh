#!/bin/sh
# The header of vxa sdl: compilers of C and C++ take it, twice too, and one that lays structs out otherwise does not.
# Usage: structs_test.sh SOURCE_DIR TREE
set -eu
source=$1 tree=$2
. "$source/tests/installed/use.sh"
cd "$work"
cat > account.txt <<'END'
struct account
  char   kind    67108865
  double amount  402653186 3
  string name    469762051 2 5
  short  branch  134217732
  long   number  268435461
end
struct flag
  carray bits    536870918 1 3
end
END
vxa sdl account.txt --header account.h > said
grep -qF "account: 56 bytes in memory, 45 on the wire; flag: 3 bytes in memory, 3 on the wire" said || fail "$(cat said)"
printf '#include "account.h"\n#include "account.h"\nstruct account a = {0};\n' > use.c
cc -std=c99 -pedantic -Wall -Wextra -Werror -c use.c
c++ -std=c++11 -pedantic -Wall -Werror -x c++ -c use.c
! cc -std=c99 -fpack-struct -c use.c 2>/dev/null || fail "a packed struct went unnoticed"
vxa sdl --dump account.sdl > dumped.txt
vxa sdl dumped.txt > said
cmp account.sdl dumped.sdl || fail "what was dumped compiles to something else"
echo "structs are as the compilers lay them out"
