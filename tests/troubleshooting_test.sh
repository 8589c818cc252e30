#!/bin/sh
# docs/troubleshooting.md against the sources: it has each console line, each log text, each log code, each code with the
# text that stands beside it in the code, and each sentence with which the vxa command gives up.
# Usage: troubleshooting_test.sh SOURCE_DIR
set -eu
cd "$1"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
grep '^|' docs/troubleshooting.md > "$work/rows"
cat base/*.h host/*.cpp env/*.cpp fb/*.cpp sdl/*.cpp tbuffer/*.cpp trace/*.cpp trace/*.h wire/*.cpp wire/*.h > "$work/library"
status=0
missing() {
  printf 'not in the page: %s\n' "$1"
  status=1
}

# String literals as patterns: anything stands for a value, all else is as printed.
patterns() {
  sed -E 's/^"//; s/"$//; s/\\n$//; s/\\\\/\\/g; s/%[-#.0-9]*[a-z]/\a/g; s/[][\.*^$]/\\&/g; s/\a/[^`]*/g' | sort -u
}
literals() { grep -oE '"[^"]*"'; }

{
  grep -h 'console(' xa/*.cpp | literals
  cat xa/*.cpp "$work/library" | grep -oE '"[0-9]{4} [^"]*"'
} | patterns > "$work/texts"
while IFS= read -r text; do grep -q "\`$text\`" "$work/rows" || missing "$text"; done < "$work/texts"

for code in $(cat xa/*.cpp "$work/library" | grep -oE '"[A-Z]{3}[0-9]{4}"' | tr -d '"' | sort -u); do
  grep -q "$code" "$work/rows" || missing "$code"
done

cat xa/*.cpp "$work/library" | grep -oE '"[A-Z]{3}[0-9]{4}", "[^"]*[^"0-9]"' > "$work/pairs"
while IFS= read -r pair; do
  text=$(printf '%s' "$pair" | cut -c12- | patterns)
  grep "$(printf '%s' "$pair" | cut -c2-8)" "$work/rows" | grep -q "$text" || missing "$pair in one row"
done < "$work/pairs"

grep -h 'throw .*[({]' tools/*.cpp gateway/assignment_text.cpp gateway/faults.cpp gateway/message.cpp | literals |
  grep -E '[a-z]+ [a-z]+ [a-z]+' | sed -E 's/^"[;:, ]+/"/; s/[:, ]+"$/"/' | patterns > "$work/sentences"
while IFS= read -r text; do grep -q "$text" "$work/rows" || missing "$text"; done < "$work/sentences"

# The sources are read as meant: there are at least so many of each.
for least in 50:texts 20:pairs 30:sentences; do
  [ "$(wc -l < "$work/${least#*:}")" -ge "${least%:*}" ] || missing "enough ${least#*:}"
done
exit $status
