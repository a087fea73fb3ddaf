#!/bin/sh
# The operator's tool on the virtual switch: what an operator does in a day, and what it says when it cannot.
. "$(dirname "$0")/switch.sh"
ctl() { on_switch "$build/bin/zelctl" "$@"; }

# says STATUS TEXT COMMAND ...: exit status, and a line that has the text.
says() {
  status=$1 text=$2 found=0
  shift 2
  out=$("$@" 2>&1) || found=$?
  [ $found -eq "$status" ] || fail "status $found, not $status, of: $*: $out"
  echo "$out" | grep -q -- "$text" || fail "no '$text' from: $*: $out"
}

"$zelsim" create --slots sfp,copper,none
for plug in "3 copper" "24 10g-sr" "25 dac" "5 1g-lx"; do "$zelsim" plug ${plug% *} ${plug#* }; done
"$zelsim" set link 3 1000 full

says 0 '^3  *1000BASE-T' ctl sfp list
says 0 '^24  *10G SR  *11' ctl sfp list
says 0 '^25  *10G DAC  *7' ctl sfp list
says 0 'copper' ctl board
says 0 '25.0' ctl temperature
says 1 'FW_NOT_SFP' ctl cage 9
says 1 'FW_ABSENT' ctl cage 20
says 2 'VALUE' ctl led set system 7
says 2 'PORT' ctl cage 28
says 1 'zelsim run' env PATH=/usr/bin:/bin "$build/bin/zelctl" led get system
"$zelsim" set lm75 absent
says 1 'FW_ABSENT' ctl temperature
"$zelsim" set supply 2 failed
says 0 'yes' ctl power
ctl env set pwrmode pwr2dc >/dev/null
says 0 'two DC' ctl power
ctl clock set 2026-03-15T14:30:45 >/dev/null
ctl clock poll
says 0 '2026-03-15T14:3' ctl clock get
says 0 '[|]' ctl panel
"$zelsim" set lm75 present
"$zelsim" set supply 2 dc
says 0 '' ctl selftest
ctl selftest --json | python3 -c 'import json, sys; json.load(sys.stdin)'

# A filled flash goes out of one board and into another, bit by bit; one flipped byte is noticed.
head -c 300000 /dev/urandom >"$work/firmware"
ctl firmware write "$work/firmware" --partition 2 >/dev/null
says 0 '' ctl firmware verify "$work/firmware" --partition 2
head -c 5000 /dev/urandom >"$work/gen"
ctl db gen write "$work/gen" --partition 1 >/dev/null
ctl db gen read "$work/gen.back" --partition 1 >/dev/null
cmp "$work/gen" "$work/gen.back"
ctl backup "$work/backup" >/dev/null
"$zelsim" create second
"$zelsim" run --fast --board second -- "$build/bin/zelctl" restore "$work/backup" --yes >/dev/null
for board in default second; do "$zelsim" flash save --board $board "$work/$board.bin"; done
cmp "$work/default.bin" "$work/second.bin"
sum=$(ctl crc "$work/backup" --json | python3 -c 'import json, sys; print(json.load(sys.stdin)["sum"])')
printf '\132\245' | dd of="$work/backup" bs=1 seek=1234567 conv=notrunc 2>/dev/null
says 1 '' ctl flash restore "$work/backup" --sum "$sum" --yes

# The picture of the panel follows the board.
"$zelsim" panel --svg "$work/before.svg"
ctl led set alarm off >/dev/null
"$zelsim" unplug 24
"$zelsim" panel --svg - >"$work/after.svg"
python3 - "$work/before.svg" "$work/after.svg" <<'END' || fail "the picture does not show what changed"
import sys
import xml.etree.ElementTree as xml
before, after = ({e.get("id"): e.attrib for e in xml.parse(file).iter() if e.get("id")} for file in sys.argv[1:])
assert {name for name in before if before[name] != after[name]} == {"port24"}, before
assert before["port24"] != before["port27"] and after["port24"]["href"] == after["port27"]["href"]
END
