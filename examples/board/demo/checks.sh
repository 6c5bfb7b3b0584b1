#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Output of the demo's parts: headings, and checks. The first failed check ends the demo.

readonly answers=/tmp/answers

heading() { printf '\n== %s\n' "$*"; }

fail() {
  echo "✗ $*"
  exit 1
}

check() { # check WHAT ACTUAL EXPECTED
  [[ $2 == "$3" ]] || fail "$1: $2 instead of $3"
  echo "✓ $1: $2" | tee -a "$answers"
}

check_lines() { # check_lines WHAT ACTUAL, the expected lines on standard input
  local actual expected i
  mapfile -t actual <<<"$2"
  mapfile -t expected
  for i in "${!expected[@]}"; do
    check "$1" "${actual[i]-nothing}" "${expected[i]}"
  done
  ((${#actual[@]} <= ${#expected[@]})) || fail "$1: unexpected ${actual[${#expected[@]}]}"
}

check_failure() { # check_failure STATUS WHAT COMMAND..., the expected lines on standard input
  local status=0 printed
  printed=$("${@:3}" </dev/null) || status=$?
  check_lines "$2" "$printed"
  [[ $status == "$1" ]] || fail "$2: exit status $status instead of $1"
}

close_story() { # close_story NAME
  printf '\n%s: all %d answers were right\n' "$1" "$(grep -c '^✓' "$answers")"
}
