#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
#
# What the tests of the tool are told in. Sourced, with the program's command line as arguments:
#   run 1 check ipv4 x     runs the program and expects exit code 1; its output is in $out and $err
#   says "refused"         expects a text in the standard output
#   complains "no such"    expects a text in the standard error
set -euo pipefail
program=("$@")
work=$(mktemp -d)
cd "$work"
out='' err=''

fail() {
  printf 'line %s: %s\nstandard output:\n%s\nstandard error:\n%s\n' "${BASH_LINENO[1]}" "$1" "$out" "$err" >&2
  exit 1
}

run() {
  local expected=$1 status=0
  shift
  "${program[@]}" "$@" >"$work/.out" 2>"$work/.err" || status=$?
  out=$(tr '\0' '@' <"$work/.out") err=$(tr '\0' '@' <"$work/.err")
  ((status == expected)) || fail "$* ended with $status, not $expected"
}

says() { [[ $out == *"$1"* ]] || fail "not said: $1"; }
complains() { [[ $err == *"$1"* ]] || fail "no complaint: $1"; }
same() { cmp -s "$1" "$2" || fail "$1 and $2 differ"; }
