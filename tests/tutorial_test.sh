#!/bin/bash
# Follows docs/tutorial.md by its own commands, against the installed tree, and checks where it ends.
# Usage: tutorial_test.sh SOURCE_DIR BUILD_DIR
set -eum
source=$1 build=$2
work=$(mktemp -d)
trap 'kill %1 2>/dev/null || true; rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/usr" >/dev/null
library_dir=$(dirname "$(find "$work/usr" -name libvxa.so)")
export PATH=$work/usr/bin:$PATH LD_LIBRARY_PATH=$library_dir PKG_CONFIG_PATH=$library_dir/pkgconfig
mkdir "$work/empty"
cd "$work/empty"

# Another port than the page's, should that be taken here.
port=$((20000 + $$ % 10000))
sed -n '/^```sh$/,/^```$/p' "$source/docs/tutorial.md" | grep -v '^```' | sed "s/7100/$port/g" > commands
. ./commands > said 2>&1 || { cat said gateway.log; exit 1; }
for line in "ORDER answered, committed" "value = 7.500000" "ordered for 36.00, committed" "refused, as it should be" \
  "ordered for 7.50, committed"; do
  grep -qF "$line" said || { echo "missing: $line"; cat said gateway.log; exit 1; }
done
echo "the tutorial ends where it says"
