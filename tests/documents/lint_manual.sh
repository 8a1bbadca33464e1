#!/usr/bin/env bash
# Fails when a manual page is not clean: lint_manual.sh PAGE...
set -euo pipefail
complaints=$(for page in "$@"; do
  mandoc -T lint -W warning "$page" || true
  groff -ww -K utf8 -T utf8 -man "$page" 2>&1 >/dev/null || true
done)
if [ -n "$complaints" ]; then
  printf '%s\n' "$complaints"
  exit 1
fi
