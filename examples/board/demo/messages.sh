#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# shellcheck disable=SC2154 # run_demo sources this file and defines the shared variables
#
# Messaging: one process for each receiving daemon, one sender for all. docs/wire-records.md has the records.

readonly sent=1714571107 # 2024-05-01 13:45:07 UTC, the sender's time
readonly patience=60     # seconds

declare -A receiver_id receiver_output

# Starts a receiver and returns when it can receive: "ready" is then the first line on the FIFO of its output.
start_receiver() { # start_receiver NAME ARGUMENT...
  local fifo=/tmp/$1.fifo greeting='' fd
  mkfifo "$fifo"
  "${emulator[@]}" "$programs/message_receiver" "${@:2}" >"$fifo" &
  receiver_id[$1]=$!
  exec {fd}<"$fifo"
  receiver_output[$1]=$fd
  read -r -t "$patience" greeting <&"$fd" || true
  check "$1" "$greeting" ready
}

# Waits for a receiver to end and checks its output.
check_receiver() { # check_receiver NAME, the expected lines on standard input
  local printed status=0 fd=${receiver_output[$1]}
  printed=$(cat <&"$fd")
  check_lines "$1" "$printed"
  wait "${receiver_id[$1]}" || status=$?
  [[ $status == 0 ]] || fail "$1 ended with status $status"
  exec {fd}<&-
}

heading 'Receiving daemons, each a process with its queue or pipe'
start_receiver MCA mca 1
start_receiver IDL idl 2
start_receiver IPMIMain ipmimain 2
start_receiver OneKeyLog onekeylog 1
start_receiver MUPR mupr 1
start_receiver 'component 3.1' component 2 3 1
start_receiver 'component 3' component 1 3 0
start_receiver RAID raid 1

# The sender's time zone is two hours east of UTC. The line numbers in the library's messages may change, so sed drops
# them.
heading 'One sender, every request'
echo "$sent" >&3
results=$(TZ=EET-2 LD_PRELOAD=$programs/libdemo_clock.so "${emulator[@]}" "$programs/message_sender" 2>&1 |
  sed -E 's/(libvexora_basefunction[:(])[0-9]+/\1N/g')
check_lines sender "$results" <<'LINES'
MCA: 0
IDL, log type 0: 0
the IDL Log Type(2) is Error
IDL, log type 2: 1
IDL, log type 1: 0
OneKeyLog: 0
SEL: 0
SEL, task failure: 0
MUPR: 0
MUPR, a byte too many: -1
component 3.1: 0
component 3.1, no data: 0
all components 3: 0
[dbg 130] [libvexora_basefunction:N]libvexora_basefunction(N)Input parameters error!
all components 3, a byte too many: -1
[dbg 130] [libvexora_basefunction:N]libvexora_basefunction(N)Pipe /var/compmonreq0401 is not exsist!
component 4.1, which nobody watches: -1
health level 2: critical
RAID: 0
LINES

heading 'What arrived: fields, then all bytes (00*12 are twelve zeros)'
check_receiver MCA <<'LINES'
260 bytes, head 1, request 10 20 30 40 00*251 ff
  01 00 00 00 10 20 30 40 00*251 ff
LINES
check_receiver IDL <<'LINES'
260 bytes, log type 0, time 2023-11-14 22:13:20, record 00 a1 00*7 f1 53 65 00*207 ee
  00*5 a1 00*7 f1 53 65 00*207 ee 00*36
260 bytes, log type 1, time 2024-05-01 15:45:07, record 01 a1 00*6 83 63 32 66 00*207 ee
  00*4 01 a1 00*6 83 63 32 66 00*207 ee 00*36
LINES
check_receiver IPMIMain <<'LINES'
12 bytes, SEL request 21 43 65 04 30 00 51 6f 52 53, event data 81, second 82, third 83
  00 00 21 43 65 04 30 00 51 6f 52 53
12 bytes, SEL request 20 00 00 18 02 00 05 01 06 07, event data 5, second 6, third 7
  00 00 20 00 00 18 02 00 05 01 06 07
LINES
check_receiver OneKeyLog <<'LINES'
260 bytes, request 3
  03 00*259
LINES
check_receiver MUPR <<'LINES'
1025 bytes
  4d 55 50 52 5a*1021
LINES
check_receiver 'component 3.1' <<'LINES'
524 bytes, command 258, instance 1, response flag 1, length 2, data aa bb 00*510
  02 01 01 00 01 00 00 00 02 00 00 00 aa bb 00*510
524 bytes, command 259, instance 1, response flag 0, length 0, data 00*512
  03 01 01 00*521
LINES
check_receiver 'component 3' <<'LINES'
524 bytes, command 516, instance 2, response flag 1, length 512, data cc*512
  04 02 02 00 01 00*4 02 00 00 cc*512
LINES
check_receiver RAID <<'LINES'
2 bytes, first 9, second 2
  09 02
LINES
