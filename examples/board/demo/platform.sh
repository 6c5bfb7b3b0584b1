#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# shellcheck disable=SC2154 # run_demo sources this file and defines the shared variables
#
# Platform data, read by the tool: inventory and firmware images, signatures, advice. Bytes, key and signatures below are
# a second opinion: neither the tool nor the library made them.

readonly desk=/tmp/desk
readonly firmware=$parts/../../../LICENSE # any file will do

on_desk() { (cd "$desk" && vexora "$@"); }

spoil() { # spoil FILE OFFSET COPY: inverts the byte at OFFSET of COPY
  local byte
  byte=$(od -A n -t u1 -j "$2" -N 1 "$desk/$1")
  cp "$desk/$1" "$desk/$3"
  printf %b "\\x$(printf %x $((255 - byte)))" | dd of="$desk/$3" bs=1 seek="$2" conv=notrunc status=none
}

mkdir "$desk"
cp "$firmware" "$desk/firmware"

heading 'An inventory image, from its description to its bytes and back'
cat >"$desk/parts.json" <<'JSON'
{"areas": [
  {"area": "chassis", "type": 23,
    "fields": {"part-number": "CH-2U-100", "serial-number": {"encoding": "bcd-plus", "text": "20260302"}},
    "custom": [{"encoding": "binary", "bytes": "cafe"}]},
  {"area": "board", "date": "2026-03-18T18:32Z",
    "fields": {"manufacturer": "Example Boards", "product-name": "Sample Board", "serial-number": "SB-000042",
      "part-number": "SB-1"}},
  {"area": "product",
    "fields": {"manufacturer": "Example Servers", "product-name": {"encoding": "six-bit", "text": "SERVER 2U"},
      "part-number": "SRV-2U", "version": "A1", "serial-number": "0042-\u001b[31m"}}]}
JSON
check inventory "$(on_desk fru build parts.json -o inventory)" '144 bytes written to inventory'
check_lines 'its bytes' "$(od -A d -t x1 "$desk/inventory")" <<'LINES'
0000000 01 00 01 04 0b 00 00 ef 01 03 17 c9 43 48 2d 32
0000016 55 2d 31 30 30 44 20 26 03 02 02 ca fe c1 00 05
0000032 01 07 19 98 76 f2 ce 45 78 61 6d 70 6c 65 20 42
0000048 6f 61 72 64 73 cc 53 61 6d 70 6c 65 20 42 6f 61
0000064 72 64 c9 53 42 2d 30 30 30 30 34 32 c4 53 42 2d
0000080 31 c0 c1 00 00 00 00 ab 01 07 19 cf 45 78 61 6d
0000096 70 6c 65 20 53 65 72 76 65 72 73 87 73 29 db a5
0000112 0c 48 35 c6 53 52 56 2d 32 55 c2 41 31 ca 30 30
0000128 34 32 2d 1b 5b 33 31 6d c0 c0 c1 00 00 00 00 20
0000144
LINES
check_lines 'read back' "$(on_desk fru show inventory --as-of 2026-04-01 | grep .)" <<'LINES'
FRU image, 144 bytes
Chassis area, 24 bytes at 8
  Type                        23 (Rack Mount Chassis)
  Part number                 "CH-2U-100"  latin-1
  Serial number               "20260302"  bcd-plus
  Custom 1                    cafe  binary
Board area, 56 bytes at 32
  Language                    25 (en)
  Date                        2026-03-18T18:32Z (the latest that its 24 bits can mean and is not in the future)
  Manufacturer                "Example Boards"  latin-1
  Product name                "Sample Board"  latin-1
  Serial number               "SB-000042"  latin-1
  Part number                 "SB-1"  latin-1
  FRU file ID                 (empty)
Product area, 56 bytes at 88
  Language                    25 (en)
  Manufacturer                "Example Servers"  latin-1
  Product name                "SERVER 2U"  six-bit
  Part or model number        "SRV-2U"  latin-1
  Version                     "A1"  latin-1
  Serial number               "0042-\x1b[31m"  latin-1
  Asset tag                   (empty)
  FRU file ID                 (empty)
LINES
spoil inventory 50 area # the board's
spoil inventory 3 header
check_failure 1 'two of three spoilt' on_desk fru verify inventory area header <<'LINES'
inventory: no faults in 3 areas, 144 bytes
area-checksum: area: board at 87: checksum is 0xab, its bytes give 0x90
area-bounds: header: board at 3: begins at 2008, after the image's end
header-checksum: header: header at 7: checksum is 0xef, its bytes give 0xf8
unused-space: header: image at 32: holds something where no area is: 0x01
LINES

heading 'A compressed firmware image, in both forms'
for form in uefi tiano; do
  on_desk uefi pack firmware $form --form $form | sed 's/^/    /'
  on_desk uefi unpack $form plain --form $form
  check "$form form unpacked" "$(cmp "$firmware" "$desk/plain" && echo 'as it was')" 'as it was'
done
size=$(stat -c %s "$desk/uefi")
truncate -s -1 "$desk/uefi"
check_failure 1 'without its last byte' on_desk uefi unpack uefi nothing \
  <<<"vexora: uefi: has $((size - 1)) bytes, and its header says $size"

# By openssl: ecparam -name prime256v1 -genkey, ec -pubout -outform DER, dgst -sha256 -sign. Nobody has the private keys.
heading 'A signed firmware image, and what others would put in its place'
base64 -d >"$desk/key" <<'END'
MFkwEwYHKoZIzj0CAQYIKoZIzj0DAQcDQgAEJd9u4dD8vzl0naCI2qYNrS9eH4TevaEsn4mbagLXvVIIXVgU7XUkAWWg1I2fbxD85iNxUH9mnlzVK2Z0
/WITmQ==
END
base64 -d >"$desk/firmware.sig" <<'END'
MEQCIASMQwwMvLdMdyXlWgzw003up+Wqym6YuxqQKQha50d3AiAYnuej12/CXvhnrUbQrl6YAAxOzLVGnzK23V6N4ZT4sA==
END
base64 -d >"$desk/foreign.sig" <<'END'
MEUCIH1SVpvxgntBpMqDZSgBgEDGCtY/KOb9lZ4oEPcRvgsyAiEAlDPZhvjKfBviCPetH/6ifQEn88qYKNa0fxLoN8EfL7Q=
END
spoil firmware 1000 changed
cp "$desk/firmware.sig" "$desk/changed.sig"
spoil firmware.sig 20 forged.sig
cp "$firmware" "$desk/forged"
cp "$firmware" "$desk/foreign"
check_failure 1 'one of four genuine' on_desk signature verify --key key firmware changed forged foreign <<'LINES'
firmware: valid
changed: not valid
forged: not valid
foreign: not valid
LINES
spoil key 60 damaged
check_failure 1 'a damaged key' on_desk signature verify --key damaged firmware <<<'vexora: damaged: no valid EC public key'

heading 'Advice about events'
check_lines 'fan 10 pulled out' "$(vexora advice fan 0xA0 --number 0x10)" <<'LINES'
type 0x04 (fan), code 0xA0, sensor 0x10, level 1
  Step1:Check whether any fan module is pulled out.
  Step2:Reset the related fan module, check whether the alarm disappears.
  Step3:Please contact FAE.
LINES
check_lines 'any fan is there' "$(vexora advice fan 1 --number 0x20 | sed 's/ *$//')" <<'LINES'
type 0x04 (fan), code 0x01, sensor any, level 2
  Step1:If the log is asserted, it is a Normal system information, do not need to deal with.
  Step2:If it is de-asserted, replace or reload the fan and check whether the alarm disappears.
  Step3:Please contact FAE.
LINES
check_failure 1 'an event that nobody knows' vexora advice fan 0x7f --number 0x20 <<<'no advice'
