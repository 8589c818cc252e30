#!/bin/bash
# Follows docs/tutorial.md by its own commands and checks where it ends.
# Usage: tutorial_test.sh SOURCE_DIR TREE
set -eum
source=$1 tree=$2
. "$source/tests/installed/use.sh"
trap 'kill %1 2>/dev/null || true; clean_up' EXIT
cd "$work"

# Another port than the page's, should that be taken here.
port=$((20000 + $$ % 10000))
sed -n '/^```sh$/,/^```$/p' "$source/docs/tutorial.md" | grep -v '^```' | sed "s/7100/$port/g" > commands
. ./commands > said 2>&1 || fail "$(cat said gateway.log)"
for line in "ORDER answered, committed" "value = 7.500000" "ordered for 36.00, committed" "refused, as it should be" \
  "ordered for 7.50, committed"; do
  grep -qF "$line" said || fail "missing: $line" "$(cat said gateway.log)"
done
echo "the tutorial ends where it says"
