#!/bin/sh
# Builds the Debian packages, installs them into an empty root, builds the outside example against them both ways, and
# removes them: nothing is left behind. lintian finds no error. No machine is touched: the root has a package database
# of its own, which knows the packages of this machine, so that dependencies are held against real ones.
# Usage: packages_test.sh SOURCE_DIR PACKAGES
set -eu
source=$1 packages=$2 tree=$2/root
rm -rf "$packages"
mkdir -p "$packages"
DEB_BUILD_OPTIONS=noautodbgsym "$source/packaging/build-deb.sh" "$packages" >"$packages/said" 2>&1 ||
  { cat "$packages/said"; exit 1; }

database=$tree/var/lib/dpkg
mkdir -p "$database/info" "$database/updates"
dpkg-query -W -f 'Package: ${Package}\nStatus: ${Status}\nArchitecture: ${Architecture}\nMulti-Arch: ${Multi-Arch}
Version: ${Version}\nProvides: ${Provides}\nMaintainer: nobody\nDescription: of this machine\n\n' |
  sed -E '/^(Multi-Arch|Provides): $/d' > "$database/status"
dpkg_there() {
  fakeroot dpkg --root="$tree" --log=/dev/null "$@" > "$packages/said" 2>&1 || { cat "$packages/said"; exit 1; }
}
files_there() { find "$tree" -mindepth 1 -path "$tree/var" -prune -o -print; }

dpkg_there --install "$packages"/libvxa1_*.deb "$packages"/libvxa-dev_*.deb "$packages"/vxa-tools_*.deb
. "$source/tests/installed/use.sh"
build_outside
run_outside
vxa --help | grep -q gateway || fail "the vxa command does not run"
[ "$(files_there | wc -l)" -gt 20 ] || fail "hardly anything was installed: $(files_there)"

dpkg_there --purge libvxa1 libvxa-dev vxa-tools
left=$(files_there)
[ -z "$left" ] || fail "left behind: $left"
echo "packaged, installed, built against both ways, removed"
