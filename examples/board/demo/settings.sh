#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# shellcheck disable=SC2154 # run_demo sources this file and defines the shared variables
#
# Configuration: settings files from the factory default to an enciphered secret, and an event pushed to a subscriber.

readonly raised=1714571107 # 2024-05-01 13:45:07 UTC, when the event happens

board_settings() { "${emulator[@]}" "$programs/board_settings" "$@" 2>&1; }
board_events() { "${emulator[@]}" "$programs/board_events" "$@" 2>&1; }

# Prints a text's length as another JSON parser sees it. Enciphered texts aren't UTF-8.
text_length() { # text_length FILE SECTION MEMBER
  python3 -c 'import json, sys
path, section, member = sys.argv[1:]
with open(path, encoding="latin-1") as file:
    print(len(json.load(file)[section][member]))' "$@"
}

check_failure() { # check_failure WHAT PRINTED COMMAND...
  local status=0 printed
  printed=$("${@:3}") || status=$?
  check "$1" "$printed" "$2"
  [[ $status == 1 ]] || fail "$1: exit status $status"
}

cp "$parts"/../defaults/{SmtpCfg,SnmpTrapCfg}.json "$programs/SnmpAgentCfg.json" /etc/defconfig

heading 'A new board: the factory default takes the place of a missing settings file'
check_lines 'e-mail settings' "$(board_settings show smtp)" <<'LINES'
=====11111
=====Smtpjsonfilepath:/conf/SmtpCfg.json
SmtpEnable=Disable
ServerAddr=
SmtpPort=25
SmtpSecurePort=465
EnableSTARTTLS=Enable
EnableSSLTLS=Disable
SMTPAUTH=Enable
UserName=
PassWord=
SenderAddr=
Subject=Server alert
HostName=Enable
SerialNumber=Enable
AssetTag=Disable
EventLevel=Critical
LINES
check "the traps' community" "$(board_settings show trap Community)" public
check "the agent's community" "$(board_settings show agent ReadWriteCommunity)" board-factory-rw
for file in SmtpCfg SnmpTrapCfg SnmpAgentCfg; do
  check "$file.json" "$(cmp "/etc/defconfig/$file.json" "/conf/$file.json" && echo 'as from the factory')" \
    'as from the factory'
done

heading 'Settings changed and saved, one at a time'
board_settings set smtp ServerAddr mail.example.com
board_settings set smtp dest1.EmailAddress operators@example.com
board_settings set smtp dest1.Enabled Enable
check_lines 'e-mail settings' "$(board_settings show smtp | grep -E 'ServerAddr|SmtpPort|dest')" <<'LINES'
ServerAddr=mail.example.com
SmtpPort=25
dest1.Enabled=Enable
dest1.EmailAddress=operators@example.com
dest1.Description=
LINES
board_settings set trap TrapVersion V3
board_settings set trap UserName trapper
board_settings set trap AUTHPwd - <<<'Auth-Secret-99'
board_settings set trap PRIVPwd - <<<'Priv-Secret-is-20-by'
board_settings set trap dest2.Destination 192.0.2.7
board_settings set trap dest2.port 162
check_lines 'trap settings' "$(board_settings show trap)" <<'LINES'
TrapVersion=V3
EventLevelLimit=Critical
Community=(secret)
HostID=HostName
UserName=trapper
AUTHProtocol=SHA
AUTHPwd=(secret)
PrivProtocol=AES
PRIVPwd=(secret)
EngineID=
DeviceType=255
dest2.Enabled=Disable
dest2.Destination=192.0.2.7
dest2.port=162
LINES

heading 'Secrets: enciphered in the file, plain for the daemon'
cat -v /conf/SnmpTrapCfg.json | fold -w 110 | sed 's/^/    /'
echo
check 'community read back' "$(board_settings show trap Community)" public
check 'authentication password read back' "$(board_settings show trap AUTHPwd)" Auth-Secret-99
check 'privacy password read back' "$(board_settings show trap PRIVPwd)" Priv-Secret-is-20-by
check 'lines of the file with a secret in plain' "$(grep -acE 'public|Secret' /conf/SnmpTrapCfg.json || true)" 0
check 'bytes of 6, 14 and 20 enciphered' \
  "$(for name in Community AUTHPwd PRIVPwd; do text_length /conf/SnmpTrapCfg.json SnmpTrapCfg $name; done | xargs)" \
  '16 16 32'
check "lines of the agent's file with a secret in plain" \
  "$(grep -acE 'public|board-factory' /conf/SnmpAgentCfg.json || true)" 0

heading 'Settings that are refused, and why'
before=$(board_settings show smtp && board_settings show trap)
while IFS='|' read -r setting value reason; do
  # shellcheck disable=SC2086 # store and field
  check_failure "$setting '$value'" "board_settings: ${setting#* }: $reason" board_settings set $setting "$value"
done <<'ROWS'
smtp ServerAddr|300.1.2.3|neither an address nor a domain name
smtp ServerAddr|mail_server.example.com|neither an address nor a domain name
smtp ServerAddr|fe80:::1|neither an address nor a domain name
smtp SmtpPort|70000|not a port from 1 to 65535
smtp SmtpPort|25x|not a port from 1 to 65535
smtp Subject|seventeen letters|too long
smtp Subject|a & b|holds one of |*()&=
smtp EventLevel|critical|not one of Info, Warning, Critical
smtp dest1.EmailAddress|operators@example..com|not a mail address
smtp dest5.Enabled|Enable|no such field
trap TrapVersion|V2c|not one of Disable, V1, V2C, V3
trap Community|two words|holds a blank
trap HostID|SerialNumber|not one of HostName, SerialNum, AssetTag
trap AUTHProtocol|SHA1|not one of SHA, MD5, NONE, SHA256, SHA384, SHA512
trap AUTHPwd|all-small-letters|does not mix three of small letters, capitals, digits and others, or holds a blank
trap DeviceType|6|not a sensor type that has traps
trap dest2.Destination|192.0.2.256|neither an address nor a domain name
ROWS
check_lines 'a name that the library refuses in words of its own' "$(board_settings set smtp UserName '9lives')" <<'LINES'
The first character in the username cannot be a numeric.
board_settings: UserName: not a user name
LINES
check_lines 'half an octet too many' \
  "$(board_settings set trap EngineID 80000000abc | sed -E 's/ [0-9]+\]/ LINE]/')" <<'LINES'
[ValidateSNMPTrapCfgEngineID LINE] Invalid Engine ID length!
board_settings: EngineID: not 5 to 24 octets of two digits
LINES
check 'settings after all that' \
  "$([[ $(board_settings show smtp && board_settings show trap) == "$before" ]] && echo 'as before')" 'as before'
board_settings set trap EngineID 80000000abcd
check 'a good engine identifier' "$(board_settings show trap EngineID)" 80000000abcd

heading 'A damaged file is logged and not used; without it the factory default is back'
touch "$settings"/{LEVEL_ERROR,PATH_SERIAL,ENABLE_IPMI}
truncate -s 100 /conf/SnmpTrapCfg.json
check_lines 'damaged file' "$(board_settings show trap | grep . | sed -E 's/<[^>]*>/<TIME>/')" <<'LINES'
[Error]:<TIME>Get the total SnmpTrap configure struct from Json failed.
board_settings: trap: the settings could not be loaded
LINES
rm /conf/SnmpTrapCfg.json
check 'trap version' "$(board_settings show trap TrapVersion)" Disable

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
check_failure 'pushed again' '1: HTTP status 0' push # nobody listens any more
