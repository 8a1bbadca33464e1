#!/usr/bin/env bash
# Fails when a page links to a file that is not there: check_links.sh SOURCE_FOLDER.
set -euo pipefail
cd "$1"
broken=0
for page in *.md docs/*.md; do
  while read -r target; do
    if [ ! -e "$(dirname "$page")/${target%%#*}" ]; then
      echo "$page links to $target, which is not there" >&2
      broken=1
    fi
  done < <(grep -o '](\([^)]*\))' "$page" | sed 's/^](//; s/)$//' | grep -v -e '^https\?:' -e '^#')
done
exit $broken
