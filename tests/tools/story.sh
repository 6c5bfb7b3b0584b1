#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
#
# The commands of the tool's tests. Sourced, with the program's command line as arguments:
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

history_file() { # history_file FILE: one record, of 10 May 2024
  mkdir -p "${1%/*}"
  printf '%b' '\0\0\0\0' '\0\0\0\0' '\x1c\0\0\0' '\x38\x22\0\0' '\x1\0\0\0' \
    '\x9a\x1\xc7\x1\x7c\x1\x18\0\x1a\0\x17\0' '\xe\0\xa\0\x5\0\xe8\x7' '\x60\x28\x3e\x66' '\x60\x28\x3e\x66' >"$1"
  truncate -s 245300 "$1"
}
