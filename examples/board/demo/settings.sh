#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# shellcheck disable=SC2154 # run_demo sources this file and defines the shared variables
#
# Configuration: settings files from the factory default to an enciphered secret, and an event pushed to a subscriber.

readonly raised=1714571107 # 2024-05-01 13:45:07 UTC, when the event happens

board_events() { "${emulator[@]}" "$programs/board_events" "$@" 2>&1; }
config() { vexora config "$@" | sed -E 's/ +$//; s/ [0-9]+\] / LINE] /'; } # a line of the library's source

# Prints texts' lengths as another JSON parser sees them. Enciphered texts aren't UTF-8.
text_lengths() { # text_lengths FILE SECTION MEMBER...
  python3 -c 'import json, sys
path, section, *members = sys.argv[1:]
with open(path, encoding="latin-1") as file:
    print(*[len(text) for text in map(json.load(file)[section].get, members)])' "$@"
}

is_as_from_the_factory() { # is_as_from_the_factory NAME...
  for file in "$@"; do
    check "$file.json" "$(cmp "/etc/defconfig/$file.json" "/conf/$file.json" && echo 'as from the factory')" \
      'as from the factory'
  done
}

heading "The factory's files: the agent's secrets are enciphered under the board's own key"
cp "$parts"/../defaults/S*Cfg.json /etc/defconfig
check agent "$(config agent import /etc/defconfig/SnmpAgentCfg.json)" 'saved /conf/SnmpAgentCfg.json'
mv /conf/SnmpAgentCfg.json /etc/defconfig

heading 'A new board: the factory default takes the place of a missing file, and a setting that is refused changes nothing'
check_failure 1 'e-mail settings' config smtp set ServerAddr=300.1.2.3 'Subject=a & b' UserName=9lives \
  dest1.EmailAddress=operators@example..com <<'LINES'
ServerAddr: takes an IPv4 or IPv6 address, or a domain name
UserName: takes a name that doesn't begin with a digit or .-@_ and has no blanks, control characters and punctuation but -_@.; the library says: The first character in the username cannot be a numeric.
Subject: takes none of the characters *()&=|
dest1.EmailAddress: takes a mail address, NAME@DOMAIN, without quotes and backslashes
vexora: nothing was changed
LINES
check_failure 1 'trap settings' config trap set 'Community=two words' HostID=SerialNumber AUTHProtocol=SHA1 \
  AUTHPwd=all-small-letters DeviceType=6 EngineID=80000000abc dest1.Destination=mail_server.example.com \
  dest2.Destination=fe80:::1 dest3.Destination=192.0.2.256 <<'LINES'
HostID: takes one of "HostName", "SerialNum", "AssetTag", letter by letter
AUTHProtocol: takes one of "SHA", "MD5", "NONE", "SHA256", "SHA384", "SHA512", letter by letter
EngineID: takes 5 to 24 octets as hexadecimal digits, or nothing; the library says: [ValidateSNMPTrapCfgEngineID LINE] Invalid Engine ID length!
DeviceType: takes the number of a sensor type whose traps can be configured, 0x before hexadecimal digits
Community: takes 1 to 16 printable ASCII characters without the blank
AUTHPwd: takes three of small letters, capitals, digits and others (the underscore is none of these), without blanks and control characters
dest1.Destination: takes an IPv4 or IPv6 address, or a domain name
dest2.Destination: takes an IPv4 or IPv6 address, or a domain name
dest3.Destination: takes an IPv4 or IPv6 address, or a domain name
vexora: nothing was changed
LINES
check_failure 1 "the agent's settings" config agent set 'ReadOnlyCommunity=two words' <<'LINES'
ReadOnlyCommunity: takes 1 to 16 printable ASCII characters without the blank
vexora: nothing was changed
LINES
while IFS='|' read -r setting status reason; do
  check_failure "$status" "$setting" config smtp set "$setting" <<<"vexora: $reason"
done <<'ROWS'
SmtpPort=70000|1|SmtpPort: not 0 to 65535; nothing was changed
SmtpPort=25x|1|SmtpPort: not 0 to 65535; nothing was changed
Subject=seventeen letters|1|Subject: 17 bytes, more than the 16 that it holds; nothing was changed
EventLevel=critical|1|EventLevel: none of its words, and not 0 to 255; nothing was changed
dest5.Enabled=Enable|2|no field dest5.Enabled: 'show' lists them
ROWS
is_as_from_the_factory SmtpCfg SnmpTrapCfg SnmpAgentCfg

heading 'Settings changed and saved'
check 'e-mail' "$(config smtp set ServerAddr=mail.example.com dest1.EmailAddress=operators@example.com \
  dest1.Enabled=Enable)" 'saved /conf/SmtpCfg.json'
check_lines 'e-mail settings' "$(config smtp show | grep -v '^dest[234]')" <<'LINES'
SmtpEnable          0 (Disable)
ServerAddr          mail.example.com
SmtpPort            25
SmtpSecurePort      465
EnableSTARTTLS      1 (Enable)
EnableSSLTLS        0 (Disable)
SMTPAUTH            1 (Enable)
UserName
PassWord
SenderAddr
Subject             Server alert
HostName            1 (Enable)
SerialNumber        1 (Enable)
AssetTag            0 (Disable)
EventLevel          2 (Critical)
dest1.Enabled       1 (Enable)
dest1.EmailAddress  operators@example.com
dest1.Description
LINES
check 'traps, secrets from standard input' "$(config trap set TrapVersion=V3 UserName=trapper AUTHPwd=- PRIVPwd=- \
  EngineID=80000000abcd dest2.Destination=192.0.2.7 dest2.port=162 <<<$'Auth-Secret-99\nPriv-Secret-is-20-by')" \
  'saved /conf/SnmpTrapCfg.json'
check_lines 'trap settings' "$(config trap show | grep -v '^dest[134]')" <<'LINES'
TrapVersion         3 (V3)
EventLevelLimit     2 (Critical)
HostID              HostName
UserName            trapper
AUTHProtocol        SHA
PrivProtocol        AES
EngineID            80000000abcd
DeviceType          255
Community           ********
AUTHPwd             ********
PRIVPwd             ********
dest2.Enabled       0 (Disable)
dest2.Destination   192.0.2.7
dest2.port          162
LINES

heading 'Secrets: enciphered in the file, plain for the daemon'
cat -v /conf/SnmpTrapCfg.json | fold -w 110 | sed 's/^/    /'
echo
check_lines 'read back' "$(config trap show --secrets | grep -E 'Community|Pwd')" <<'LINES'
Community           public
AUTHPwd             Auth-Secret-99
PRIVPwd             Priv-Secret-is-20-by
LINES
check_lines "the agent's settings" "$(config agent show --secrets)" <<'LINES'
SnmpV1Enable        0 (Disable)
SnmpV2Enable        1 (Enable)
SnmpV1V2SetEnable   0 (Disable)
SnmpV3Enable        1 (Enable)
AUTHProtocol        0 (SHA)
PrivProtocol        0 (AES)
AUTHUserName
ReadOnlyCommunity   public
ReadWriteCommunity  board-factory-rw
AUTHPwd
PRIVPwd
LINES
check 'lines of the file with a secret in plain' "$(grep -acE 'public|Secret' /conf/SnmpTrapCfg.json || true)" 0
check 'bytes of 6, 14 and 20 enciphered' \
  "$(text_lengths /conf/SnmpTrapCfg.json SnmpTrapCfg Community AUTHPwd PRIVPwd)" '16 16 32'
check "lines of the agent's file with a secret in plain" \
  "$(grep -acE 'public|board-factory' /conf/SnmpAgentCfg.json || true)" 0

heading 'A damaged file is not used; without it the factory default is back'
truncate -s 100 /conf/SnmpTrapCfg.json
check_failure 1 'damaged file' config trap check <<'LINES'
vexora: /conf/SnmpTrapCfg.json:1:101: unexpected end of data; remove the file to have its default back: the next daemon to load it, and "vexora config trap set", copy /etc/defconfig/SnmpTrapCfg.json
LINES
rm /conf/SnmpTrapCfg.json
check_failure 1 TrapVersion=V2c config trap set TrapVersion=V2c \
  <<<'vexora: TrapVersion: none of its words, and not 0 to 255; nothing was changed'
is_as_from_the_factory SnmpTrapCfg

heading 'Subscriptions: one written by hand, one added'
cp "$parts/../defaults/eventsubscriptions.conf" /conf
check 'by hand' "$(board_events list)" \
  '0: http://inventory.example:8080/added, context inventory, types ResourceUpdated ResourceAdded'
mkfifo /tmp/subscriber
"$parts/event_listener.py" >/tmp/subscriber &
subscriber=$!
exec 5</tmp/subscriber
read -r -t "$patience" greeting port <&5 || true
check subscriber "$greeting" ready
url=http://127.0.0.1:$port/redfish/events
check 'added' "$(board_events subscribe "$url" Alert,StatusChange operators a-token)" "1: $url"
check_lines 'read back' "$(board_events list)" <<LINES
0: http://inventory.example:8080/added, context inventory, types ResourceUpdated ResourceAdded
1: $url, context operators, types StatusChange Alert
LINES
check 'lines of the file' "$(wc -l </conf/eventsubscriptions.conf)" $((4 * (1 + 72 + 1)))

heading 'An event, pushed to the one subscriber who wants it'
push() { # under the simulated clock
  echo "$raised" >&3
  LD_PRELOAD=$programs/libdemo_clock.so board_events push Alert Critical Board.1.0.TemperatureHigh \
    'The inlet air is too warm: 46 degrees' /redfish/v1/Chassis/1/Sensors/Inlet
}
check 'pushed' "$(push)" '1: HTTP status 204'
check_lines 'what the subscriber found' "$(cat <&5)" <<'LINES'
/redfish/events application/json a-token
document: 7 required properties
event: 9 required properties
#Event.v1_1_0.Event 1714571107 for operators
01 May 2024 13:45:07 Alert, Critical: The inlet air is too warm: 46 degrees
Board.1.0.TemperatureHigh [{"@odata.id": "/redfish/v1/Chassis/1/Sensors/Inlet"}] [{"serverIdentity": "sample-board"}]
LINES
wait "$subscriber" || fail 'the subscriber refused the document'
check_failure 1 'pushed again' push <<<'1: HTTP status 0' # nobody listens any more
