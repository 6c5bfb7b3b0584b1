#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# shellcheck disable=SC2154 # run_demo sources this file and defines the shared variables
#
# History: the sensor daemon runs through several days and answers queries on the way.

readonly monday=1772409600 # 2026-03-02 00:00 UTC, seconds since the epoch: the first reading
readonly hour=3600 day=86400
readonly begin=$((monday + 2 * day)) # the first sample
readonly period=120                  # seconds from sample to sample
readonly data=/extlog/syslog/history_data.dat
readonly output=/var/sensor_daemon.out # the daemon's standard output: its debug log
readonly story=/var/demo_story         # the events from which board_client computes the right answers

now=$begin
daemon=

ask() { "${emulator[@]}" "$programs/board_client" "$@" | tee -a "$answers"; }

count_lines() { grep -c "$1" "$output" || true; }

# Writes readings of an inlet temperature and a power for eight days, one every ten minutes: warmest in the afternoon,
# busiest in office hours, with noise that is the same in every run.
plan_readings() {
  awk -v begin="$monday" '
    function noise(spread) {
      seed = (seed * 16807) % 2147483647
      return (seed / 2147483647 - 0.5) * spread
    }
    BEGIN {
      seed = 42
      for (minute = 0; minute < 8 * 1440; minute += 10) {
        hour = minute / 60 % 24
        warmth = cos((hour - 15) * 3.14159265 / 12)
        load = hour >= 8 && hour < 18 ? 140 : hour >= 22 ? 70 : 0
        printf "0x3009 %.1f %d\n", 24 + 3.5 * warmth + load / 70 + noise(2.5), begin + minute * 60
        printf "0x7000 %.2f %d\n", 260 + 15 * warmth + load + noise(60), begin + minute * 60
      }
    }' >/var/ipmipdk_readings
}

# Waits until the daemon has done all work that is due at $now. Fails if the daemon has ended.
await_clock() {
  local arrived='' part
  until read -r -t 1 part <&4; do
    arrived+=$part # a time-out may leave a part of the line here
    kill -0 "$daemon" 2>/dev/null || fail 'the daemon has ended'
  done
  arrived+=$part
  [[ $arrived == "$now" ]] || fail "the clock stopped at $arrived instead of $now"
}

start_daemon() {
  echo "start $now $period" >>"$story"
  echo "$now" >&3
  LD_PRELOAD=$programs/libdemo_clock.so \
    "${emulator[@]}" "$programs/sensor_daemon" "$period" >>"$output" 3>&- 4>&- &
  daemon=$!
  await_clock
}

stop_daemon() {
  local status=0
  kill -TERM "$daemon"
  wait "$daemon" || status=$?
  daemon=
  check 'exit status of the daemon' "$status" 0
}

advance() { # advance SECONDS
  now=$((now + $1))
  echo "until $now" >>"$story"
  echo "$now" >&3
  await_clock
  echo "  it is now $(date -u -d "@$now" '+%F %H:%M')"
}

cp "$build/firmware/libipmipdk.so" /usr/local/lib/
plan_readings

heading 'Two days of samples, one every two minutes'
start_daemon
advance $((2 * day))

heading 'The history command: count, ranges and layouts'
ask count
from=$((begin + day + 6 * hour + hour / 2))
for type in 0 1 4; do
  ask range "$type" "$from" $((from + 5 * hour))
done
for type in 0 1 4; do
  ask range "$type" 0 4294967295
done
ask range 4 1 "$begin"
ask range 4 $((now + 1)) $((now + day))

heading 'Requests that are refused'
ask refusals

heading 'Hourly averages, minima and maxima'
chart=$(COLUMNS=100 vexora history plot)
echo "    ${chart//$'\n'/$'\n    '}"
check 'range of the chart' "$(sed -n 2p <<<"$chart")" \
  "2026-03-04 00:00 to 2026-03-06 00:00, the board's hour, 49 records"

heading 'The debug log, switched while the daemon runs'
check 'lines in two days without switches' "$(count_lines .)" 0
touch "$settings"/{LEVEL_INFO,PATH_SERIAL,ENABLE_ZELMONITOR}
advance $((3 * hour))
check 'lines in 3 hours with switches that were not read yet' "$(count_lines .)" 0
touch "$reload"
advance $((4 * hour))
ask count
check 'stored hours logged in 4 hours with the reload marker' "$(count_lines '^\[Info\]:<.*>hour .* stored')" 4
check 'commands logged' "$(count_lines '^\[Info\]:<.*>command')" 1
rm "$settings/ENABLE_ZELMONITOR"
advance $((3 * hour))
check 'lines after 3 more hours, the module switched off' "$(count_lines '^\[')" 5
rm "$reload"
grep . "$output" | sed 's/^/    /'

heading 'A restart within the hour: its record merges into the newest'
touch "$settings/ENABLE_ZELMONITOR"
advance $((20 * 60))
ask count
stop_daemon
start_daemon
check 'start logged: a new process reads the switches' "$(count_lines '>started')" 1
ask count
ask range 4 $((now - 2 * hour - hour / 2)) $((now + 1))
advance $((2 * hour))
ask range 4 0 4294967295

heading 'Clear, and begin anew'
ask clear
echo clear >>"$story"
ask count
ask range 4 0 4294967295
ask clear
advance $((2 * hour))
ask count
ask range 4 0 4294967295

heading 'What is left'
stop_daemon
check 'stop logged' "$(count_lines '>stopped')" 1
check 'bytes of the data file' "$(stat -c %s "$data")" 245300
read -ra header < <(od -A n -t u4 -w20 -N 20 "$data")
check 'head, tail, record size, capacity, count of the data file' "${header[*]}" '0 1 28 8760 2'
od -A d -t x1 -N 76 "$data"
ls -lR /conf /extlog /var/ipmipdk_readings "$output"

heading 'A start with the clock set back: no sample, and no loss, until it is right'
touch "$settings/LEVEL_WARNING"
before=$(cksum <"$data")
now=$((now - 3 * hour))
start_daemon
check 'checksum of the data file' "$(cksum <"$data")" "$before"
check 'waiting logged' "$(count_lines '>no samples')" 1
advance $((2 * day))
check 'end of waiting logged' "$(count_lines '>samples again')" 1
stop_daemon
read -ra header < <(od -A n -t u4 -w20 -N 20 "$data")
check 'head, tail, record size, capacity, count of the data file' "${header[*]}" '0 46 28 8760 47'
