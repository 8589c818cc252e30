#!/bin/sh
# Installs the build into an empty folder, builds the outside example against it both ways, and runs it; then checks
# that nothing but the public headers was installed as headers.
# Usage: install_test.sh SOURCE_DIR BUILD_DIR
set -eu
source=$1 build=$2
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix/usr" >/dev/null
library_dir=$(dirname "$(find "$prefix" -name libvxa.so)")

PKG_CONFIG_PATH=$library_dir/pkgconfig; export PKG_CONFIG_PATH
cc -std=c99 -Wall -Wextra -Werror "$source/examples/outside/outside.c" $(pkg-config --cflags --libs vxa) \
  -o "$prefix/by-pkg-config"
cmake -S "$source/examples/outside" -B "$prefix/build" -DCMAKE_PREFIX_PATH="$prefix/usr" >/dev/null
cmake --build "$prefix/build" >/dev/null

expected="hello from outside, in a typed buffer of 1024 bytes"
for program in "$prefix/by-pkg-config" "$prefix/build/outside"; do
  said=$(LD_LIBRARY_PATH=$library_dir "$program")
  [ "$said" = "$expected" ] || { echo "$program said: $said"; exit 1; }
done

# Linked with libvxahost, which shows the calls, found both ways.
cc -std=c99 "$source/examples/outside/outside.c" $(pkg-config --cflags --libs vxahost) -o "$prefix/by-pkg-config-host"
for program in "$prefix/by-pkg-config-host" "$prefix/build/outside_with_host"; do
  shown=$(VESK_TRACE=on LD_LIBRARY_PATH=$library_dir "$program" 2>&1 >/dev/null)
  echo "$shown" | grep -q 'tpalloc(.*) = 0x' || { echo "$program showed: $shown"; exit 1; }
done

# The command preloads the libvxahost that was installed with it.
if [ -x "$prefix/usr/bin/vxa" ]; then
  shown=$(LD_LIBRARY_PATH=$library_dir "$prefix/usr/bin/vxa" trace -- "$prefix/by-pkg-config" 2>&1 >/dev/null)
  echo "$shown" | grep -q 'tpalloc(.*) = 0x' || { echo "vxa trace showed: $shown"; exit 1; }
fi

# Each public header stands alone, in C99 and in C++.
for header in "$prefix"/usr/include/vxa/*.h; do
  printf '#include <vxa/%s>\nextern int unit_is_not_empty;\n' "$(basename "$header")" > "$prefix/alone.c"
  cc -std=c99 -pedantic -Wall -Wextra -Werror -fsyntax-only -I"$prefix/usr/include" "$prefix/alone.c"
  c++ -std=c++11 -Wall -Wextra -Werror -fsyntax-only -x c++ -I"$prefix/usr/include" "$prefix/alone.c"
done
echo "installed, found by pkg-config and by CMake, headers stand alone"
