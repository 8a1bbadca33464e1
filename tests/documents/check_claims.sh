#!/usr/bin/env bash
# Checks that every test that docs/testing.md names exists: check_claims.sh PROJECT_FOLDER.
set -euo pipefail
cd "$1"
missing=0
claimed=$(grep -oE '`[A-Z][A-Za-z0-9]+\.[A-Z][A-Za-z0-9]+`' docs/testing.md | tr -d '`' | sort -u)
for test in $claimed; do
  if ! grep -rqE "TEST(_P|_F)?\(${test%.*}, ?${test#*.}\)" tests; then
    echo "docs/testing.md names $test, which does not exist" >&2
    missing=1
  fi
done
for target in $(grep -oE 'target `[a-z_]+`' docs/testing.md | tr -d '`' | cut -d' ' -f2 | sort -u); do
  if [ ! -f "tests/fuzz/${target}_fuzz.cc" ]; then
    echo "docs/testing.md names the fuzz target $target, which does not exist" >&2
    missing=1
  fi
done
echo "$(wc -w <<<"$claimed") tests named"
exit "$missing"
