#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# shellcheck disable=SC2154 # run_demo sources this file and defines the shared variables
#
# The daemon as on a product, on the emulated board only: init starts it, the clock is the board's, the log is on the
# flash and at the end on the card. It goes on with the history of the days before.

readonly log=/extlog/sensor_daemon.log
readonly newest=$now # no record is later

await_logged() { # await_logged PATTERN COUNT: waits until COUNT lines of the log match
  local seen
  seen=$(timeout 60 tail -n +1 -f "$log" | grep -c -m "$2" "$1") || true
  check "lines '$1' in the log" "$seen" "$2"
}

set_clock() {
  now=$1
  echo "  it is now $(date -u -s "@$now" '+%F %H:%M')"
}

count_records() { od -A n -t u4 -j 16 -N 4 "$data" | tr -d ' '; }

# Drops the messages of busybox's commands, whose wording varies.
board_card() { "$programs/board_card" "$@" 2>&1 | sed -E '/^(mount|umount|df): [a-z\/]/d'; }

heading 'A board starts in 1970, and init starts the daemon: no sample, and no loss, until the clock is right'
set_clock 1000
cp "$parts/../inittab" /etc/inittab
ln -s "$programs/sensor_daemon" /usr/bin/
: >"$log"
before=$(cksum <"$data")
records=$(count_records)
# init must be process 1, so it gets a PID namespace, whose processes end with it.
unshare --pid --fork --kill-child --mount-proc busybox init </dev/null >/dev/null 2>&1 3>&- 4>&- &
init=$!
await_logged '>started' 1
await_logged '>no samples' 1
ask refusals
check 'checksum of the data file' "$(cksum <"$data")" "$before"
check "the file system of log and data" "$(stat -f -c %T "$log" "$data" | xargs)" 'jffs2 jffs2'

heading 'The clock is set, and an hour passes'
set_clock $((newest + hour))
await_logged '>samples again' 1
await_logged '>hour .* stored' 1 # the first sample of a process is a record
set_clock $((now + hour))
await_logged '>hour .* stored' 2
check 'records' "$(count_records)" $((records + 2))

heading 'The daemon crashes, and init starts it again'
kill -SEGV "$(busybox pidof sensor_daemon)"
await_logged 'ZELMONITOR is terminating because of SIGSEGV' 1
await_logged '>started' 2
check 'the log has the backtrace' "$(grep -q '^[^[].*\[0x[0-9a-f]*\]$' "$log" && echo yes)" yes
await_logged '>hour .* stored' 3 # merged: the hour has its record
set_clock $((now + hour))
await_logged '>hour .* stored' 4
check 'records' "$(count_records)" $((records + 3))

heading 'Log and firmware go to the card'
check_lines 'the log' "$(board_card log "$log")" <<<'log: 0'
cp "$firmware" /tmp/image
check_lines 'an image' "$(board_card keep /tmp/image 1.0 bmc)" <<<''
echo changed >>/tmp/image
check_lines 'the next image' "$(board_card keep /tmp/image 1.1 bmc)" <<<''
check_lines 'mounted again' "$(board_card mount)" <<<'mount: 0'
check 'its file system' "$(stat -f -c %T /mnt/sdmmc0p2)" msdos
check 'images' "$(board_card list bmc)" 'list: 0, new 1.1, old 1.0'
for pair in "$log sensor_daemon.log" "$firmware bmc/1.0.old" '/tmp/image bmc/1.1.new'; do
  read -r source copy <<<"$pair"
  check "$copy" "$(cmp -n "$(stat -c %s "/mnt/sdmmc0p2/$copy")" "$source" "/mnt/sdmmc0p2/$copy" && echo 'as on the board')" \
    'as on the board'
done
board_card unmount

heading 'The power goes'
running=$(busybox pidof sensor_daemon)
kill -KILL "$init"
check 'the daemon ended with its init' "$(timeout 20 tail --pid="$running" -f /dev/null && echo yes)" yes
