# Sourced by the scripts beside it: makes libvxa in $tree found as if it were installed on this machine, and makes the
# emptied folder $work, which goes when the script ends.
library_dir=$(dirname "$(find "$tree/usr/lib" -name libvxa.so)")
export PATH="$tree/usr/bin:$PATH" LD_LIBRARY_PATH="$library_dir" PKG_CONFIG_PATH="$library_dir/pkgconfig" \
  CMAKE_PREFIX_PATH="$tree/usr"
work=$(mktemp -d)
gateway=
clean_up() {
  [ -z "$gateway" ] || kill "$gateway" 2>/dev/null || true
  rm -rf "$work"
}
trap clean_up EXIT

fail() {
  echo "$*" >&2
  exit 1
}

# Builds examples/outside by pkg-config and by the CMake package: $work/outside, $work/build/outside, and the same with
# libvxahost, which shows the calls, $work/outside_with_host and $work/build/outside_with_host.
build_outside() {
  for package in vxa vxahost; do
    cc -std=c99 -Wall -Wextra -Werror "$source/examples/outside/outside.c" $(pkg-config --cflags --libs "$package") \
      -o "$work/by-$package"
  done
  mv "$work/by-vxa" "$work/outside" && mv "$work/by-vxahost" "$work/outside_with_host"
  cmake -S "$source/examples/outside" -B "$work/build" >/dev/null
  cmake --build "$work/build" >/dev/null
}

run_outside() {
  for folder in "$work" "$work/build"; do
    said=$("$folder/outside")
    [ "$said" = "hello from outside, in a typed buffer of 1024 bytes" ] || fail "$folder/outside said: $said"
    shown=$(VESK_TRACE=on "$folder/outside_with_host" 2>&1 >/dev/null)
    echo "$shown" | grep -q 'tpalloc(.*) = 0x' || fail "$folder/outside_with_host showed: $shown"
  done
}

# Starts the installed gateway on a free port; $address is then where it listens.
start_gateway() {
  vxa gateway --port 0 "$@" > "$work/log" 2>&1 &
  gateway=$!
  for _ in $(seq 100); do
    address=$(sed -n 's/^listening on //p' "$work/log")
    [ -z "$address" ] || return 0
    sleep 0.1
  done
  fail "the gateway does not start: $(cat "$work/log")"
}
