#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# shellcheck disable=SC2154 # run_demo sources this file and defines the shared variables
#
# A daemon crashes with the debug log on. Its report has the frames first, then thread and signal, printed and logged.

readonly report=/var/crashing_daemon.out # its standard output
readonly frame='\[0x[0-9a-f]+\]$' # how a frame's line ends

heading 'A daemon crashes on purpose'
touch "$settings"/{LEVEL_INFO,PATH_SERIAL,ENABLE_ZELDIAG}
status=0
"${emulator[@]}" "$programs/crashing_daemon" >"$report" || status=$?
grep . "$report" | sed 's/^/    /'
check 'exit status of the crashed daemon' "$status" 255

printed=$(grep -E "$frame" "$report" | grep -v '^\[Critical\]' || true)
logged=$(sed -nE "s/^\[Critical\]:<[^>]*>(.*$frame)/\1/p" "$report")
[[ $printed == "$logged" ]] || fail 'the frames in the debug log are others than those printed'
check 'frames that name the daemon, printed and logged' "$(grep -c 'crashing_daemon(' <<<"$printed" || true)" 1

# The output that the daemon had buffered comes before the report. All lines must name the same thread id.
thread=$(sed -nE 's/^  Thread ([0-9]+) .*/\1/p' "$report")
check_lines report "$(grep -vE "$frame|^$" "$report" | sed -E "s/Thread $thread /Thread ID /; s/<[^>]*>/<TIME>/")" <<'LINES'
crashing_daemon: started
  Thread ID (worker) received SIGSEGV
  ZELDIAG is terminating because of SIGSEGV !!!!!
[Critical]:<TIME>  Thread ID (worker) received SIGSEGV
[Critical]:<TIME>  is terminating because of SIGSEGV !!!!!
LINES
