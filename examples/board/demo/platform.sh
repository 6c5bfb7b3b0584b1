#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# shellcheck disable=SC2154 # run_demo sources this file and defines the shared variables
#
# Platform data: board_platform reads on the board what sample_maker has made elsewhere.

readonly desk=/tmp/desk
readonly firmware=$parts/../../../LICENSE # any file will do

board_platform() { (cd "$desk" && "${emulator[@]}" "$programs/board_platform" "$@" 2>&1); }
sample_maker() { (cd "$desk" && "${emulator[@]}" "$programs/sample_maker" "$@"); }

spoil() { # spoil FILE OFFSET: makes FILE.spoilt, a copy with the byte at OFFSET inverted
  local byte
  byte=$(od -A n -t u1 -j "$2" -N 1 "$desk/$1")
  cp "$desk/$1" "$desk/$1.spoilt"
  printf %b "\\x$(printf %x $((255 - byte)))" | dd of="$desk/$1.spoilt" bs=1 seek="$2" conv=notrunc status=none
}

mkdir "$desk"

heading 'An inventory image, field by field'
sample_maker fru inventory
od -A d -t x1z "$desk/inventory" | sed 's/^/    /'
check_lines inventory "$(board_platform fru inventory)" <<'LINES'
chassis type: 17
chassis part number: CH-2U-100
chassis serial number: 20260302
chassis custom field: cafe
board made: 2026-03-18 18:32
board manufacturer: Example Boards
board product name: Sample Board
board serial number: SB-000042
board part number: SB-1
product manufacturer: Example Servers
product name: SERVER 2U
product part number: SRV-2U
product version: A1
product serial number: 0042-?[31m
LINES
spoil inventory 50
check 'a byte of the board area spoilt' "$(board_platform fru inventory.spoilt || true)" \
  'board_platform: inventory.spoilt: no sound inventory image'
spoil inventory 3
check_lines 'a byte of the header spoilt' "$(board_platform fru inventory.spoilt | sed 's/ *$//')" <<'LINES'
[Warning]: FRU common header checksum mis-match! 0xf8 vs 0xef
FRU Data:0x01, 0x00, 0x01, 0xfb, 0x0b, 0x00, 0x00, 0xef
board_platform: inventory.spoilt: no sound inventory image
LINES

heading 'A compressed firmware image, in both forms'
for form in uefi tiano; do
  sample_maker pack $form "$firmware" $form.image
  echo "    $(stat -c %s "$firmware") bytes in $(stat -c %s "$desk/$form.image")"
  board_platform unpack $form $form.image $form.plain | sed 's/^/    /'
  check "$form form unpacked" "$(cmp "$firmware" "$desk/$form.plain" && echo 'as it was')" 'as it was'
done
truncate -s -1 "$desk/uefi.image"
check_failure 'without its last byte' 'board_platform: uefi.image: is no whole image' \
  board_platform unpack uefi uefi.image nothing

heading 'A signed firmware image, and what others would put in its place'
sample_maker sign tiano.image key signature
sample_maker sign tiano.image other-key other-signature
verify() { board_platform verify "$@" | grep -v -e '^Init ECDSA$' -e '^Key length: 91 \.$'; }
check 'as signed' "$(verify key tiano.image signature)" genuine
spoil tiano.image 1000
check_failure 'a byte changed' "board_platform: tiano.image.spoilt: not what its maker signed" \
  verify key tiano.image.spoilt signature
spoil signature 20
check_failure 'a byte of the signature changed' 'board_platform: tiano.image: not what its maker signed' \
  verify key tiano.image signature.spoilt
check_failure 'signed by somebody else' 'board_platform: tiano.image: not what its maker signed' \
  verify key tiano.image other-signature
spoil key 60
check_lines 'a damaged key' "$(verify key.spoilt tiano.image signature)" <<'LINES'
Key check failed.
board_platform: tiano.image: not what its maker signed
LINES

heading 'Advice about events'
check_lines 'fan 10 pulled out' "$(board_platform advice 04 10 a0)" <<'LINES'
level 01
Step1:Check whether any fan module is pulled out.
Step2:Reset the related fan module, check whether the alarm disappears.
Step3:Please contact FAE.
LINES
check_lines 'any fan is there' "$(board_platform advice 04 20 01 | sed 's/ *$//')" <<'LINES'
level 02
Step1:If the log is asserted, it is a Normal system information, do not need to deal with.
Step2:If it is de-asserted, replace or reload the fan and check whether the alarm disappears.
Step3:Please contact FAE.
LINES
check_failure 'an event that nobody knows' 'board_platform: advice: none for such an event' board_platform advice 04 20 7f
