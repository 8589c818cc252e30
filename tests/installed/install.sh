#!/bin/sh
# Installs a build into an emptied folder that stands for the root of a machine.
# Usage: install.sh BUILD_DIR TREE
set -eu
rm -rf "$2"
cmake --install "$1" --prefix "$2/usr" >/dev/null
