#!/bin/sh
# The reference, as installed: every exported name that a public header declares has an entry with a description, and
# nothing in it tells where it was made.
# Usage: reference_test.sh SOURCE_DIR TREE
set -eu
export LC_ALL=C
source=$1 tree=$2
. "$source/tests/installed/use.sh"
pages=$(dirname "$(find "$tree/usr/share/doc" -name group__service__calls.html)")

for header in "$tree"/usr/include/vxa/*.h; do cc -w -fpreprocessed -E -P "$header"; done | tr -c 'A-Za-z_0-9' '\n' |
  sort -u | comm -12 - "$source/cmake/exports.txt" > "$work/declared"

# A row with a name, and behind it one with the description.
undescribed() { # PAGES...
  awk '/memItemRight/ { name = $0; sub(/.*memItemRight[^>]*><[^>]*>/, "", name); sub(/<.*/, "", name) }
       /mdescRight">[^ ]/ { print name }' "$@" | sort -u | comm -23 "$work/declared" -
}
missing=$(undescribed "$pages"/group__*.html)
[ -z "$missing" ] || fail "not in the reference, or without a description:" $missing

# The comparison sees what it is for.
cp "$pages"/group__*.html "$work"
sed -i '/class="memdesc:/d' "$work/group__service__calls.html"
missing=$(echo $(undescribed "$work"/group__*.html))
[ "$missing" = "tpacall tpcall tpgetrply" ] || fail "of three missing descriptions it noticed: $missing"

! grep -rlF "$source" "$pages" || fail "these pages tell where they were made"
echo "the reference describes $(wc -l < "$work/declared") exported names"
