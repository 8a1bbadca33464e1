#!/usr/bin/env bash
# Reads the help of zel-frames as somebody does who knows nothing else: help_test.sh.
set -euo pipefail
fail() { echo "$*" >&2; exit 1; }

help=$(zel-frames --help)
mapfile -t commands < <(sed -n '/^Commands:/,/^$/s/^  \([a-z]\+\) .*/\1/p' <<<"$help")
[ ${#commands[@]} -ge 2 ] || fail "the help lists ${#commands[@]} commands"
[[ $help == "Usage: zel-frames COMMAND [OPTIONS] CAPTURE"* ]] || fail "the help begins otherwise"

# Each command has an example that begins with its name, here and in its own help, and nothing is wider than a terminal.
for command in "${commands[@]}"; do
  own=$(zel-frames "$command" --help)
  [[ $own == "Usage: zel-frames $command "* ]] || fail "the help of $command begins otherwise"
  example=$(tail -n 1 <<<"$own")
  [[ $example == "  "*"zel-frames $command"* ]] || fail "the help of $command ends without an example"
  [[ $help == *"  $example"* ]] || fail "the help lacks the example of $command"
  if grep -E '.{81}' <<<"$own"; then fail "the help of $command has these long lines"; fi
done
if grep -E '.{81}' <<<"$help"; then fail "the help has these long lines"; fi

# What is missing is said with the next step.
for arguments in "" "stat" "--what"; do
  status=0
  # shellcheck disable=SC2086 # no argument at all, too
  said=$(zel-frames $arguments 2>&1) || status=$?
  [ $status -eq 2 ] || fail "status $status of zel-frames $arguments"
  [[ $said == "zel-frames: "*": zel-frames --help lists them" ]] || fail "zel-frames $arguments says: $said"
done
