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
  printf '%s\n' "$out" | grep -q -- "$text" || fail "no '$text' from: $*: $out"
}

"$zelsim" create --slots sfp,copper,none
for plug in "3 copper" "24 10g-sr" "25 dac" "5 1g-lx"; do "$zelsim" plug ${plug% *} ${plug#* }; done

for words in "led set power1 on;0" "led set power1 off --mirror;1"; do
  "$zelsim" run --fast --trace="$work/mirror" -- "$build/bin/zelctl" ${words%;*}
  [ "$(grep -c debugCmd "$work/mirror")" -eq ${words#*;} ] || fail "the chain after '${words%;*}': $(cat "$work/mirror")"
  rm "$work/mirror"
done
says 1 'zelsim run' env PATH=/usr/bin:/bin "$build/bin/zelctl" led get system
"$zelsim" set lm75 absent
says 1 'FW_ABSENT' ctl temperature
ctl env set pwrmode pwr2dc >/dev/null
ctl clock 12h
ctl clock set 2026-03-15T14:30:45 >/dev/null
ctl clock poll
says 0 '2026-03-15T14:3' ctl clock get
"$zelsim" set lm75 present
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

# What nobody answered is no fact about the board: the request is named, whichever way the driver fails.
for fault in "i2c --result busy" "i2c:open --result closed" "i2c --result refused"; do
  "$zelsim" fail $fault
  for words in board ports "sfp list" "sfp show 3" "cage 8" "cage 5" "identity name A" identity panel temperature "clock get"; do
    says 1 '^zelctl: FW_[A-Z0-9_]*: .*[a-z]' ctl $words
  done
  "$zelsim" heal
done
"$zelsim" fail gpio:GetSystemLed --count 9
says 1 'LED system' ctl led set system off
"$zelsim" heal
for words in power identity "watchdog flag" "env list"; do
  "$zelsim" fail flash:read --count 99
  says 1 'FW_FAIL' ctl $words
  "$zelsim" heal
done

# The library does not look at how debugCmd ends: the tool does, and waits for it no longer than a person would.
for fault in debugCmd any; do
  "$zelsim" fail $fault
  for words in "phy set 3 1 1" "phy get 3 2" "lamp-test 1" "register set 0x5000010 1" "register get 0x5000010"; do
    [ $fault = any ] || says 1 'debugCmd: ended with status 255' ctl $words
    ctl $words >/dev/null 2>&1 && fail "$words is done although $fault fails"
  done
  "$zelsim" heal
done
for words in "phy get 3 2" "phy set 3 1 1" "register get 0x5000010"; do
  "$zelsim" fail debugCmd --result nonsense
  says 1 "debugCmd printed no number: '.x02#!~ 0xZZ'" ctl $words
  "$zelsim" heal
done
"$zelsim" fail debugCmd --result nonsense --count 1
says 0 "PHY of port 3: 0x55 was written; read back: 'PHY register 0x1 = 0x0000'" ctl phy set 3 1 0x55
"$zelsim" heal
says 0 '' ctl phy set 3 1 1
"$zelsim" fail debugCmd
says 1 'the LED is set, but perhaps not the serial-GPIO chain; setting the same value again sends nothing$' ctl led set system blink
"$zelsim" heal

# A signal while debugCmd hangs: the line tells what may be set. Nothing that was not asked has failed.
while IFS=';' read -r words line; do
  "$zelsim" fail debugCmd --result hangs
  "$zelsim" run --fast -- "$build/bin/zelctl" $words 2>"$work/line" >"$work/rows" &
  command=$!
  while [ "$("$zelsim" fail --list | awk 'END { print $6 }')" != 1 ]; do sleep 0.02; done
  kill -TERM $command
  wait $command && fail "$words goes on after a signal"
  grep -q "$line" "$work/line" || fail "interrupted $words: $(cat "$work/line")"
  "$zelsim" heal
done <<'END'
phy get 3 2;debugCmd: interrupted$
phy set 3 1 2;debugCmd: interrupted; the register may be set$
register set 0x5000010 1;debugCmd: interrupted; the register may be set$
led set alarm on;debugCmd: interrupted; the LED is set, but perhaps not the serial-GPIO chain
lamp-test 1;debugCmd: interrupted; the lamps may be set in part$
selftest;interrupted: 5 of 19 subsystems were tested, 0 failed$
END
[ "$(grep -c ' ok ' "$work/rows")" -eq 5 ] || fail "rows of an interrupted selftest: $(cat "$work/rows")"
for led in system alarm; do ctl led set $led off; done

# A signal stops a change of several requests between two steps, or not at all: the line tells. On a slow machine the change
# may be over before the signal.
head -c 12000000 /dev/urandom >"$work/long"
while IFS=';' read -r words request line; do
  "$zelsim" run --chip-times --trace="$work/trace" -- "$build/bin/zelctl" $words 2>"$work/line" >/dev/null &
  command=$!
  while kill -0 $command 2>/dev/null && ! grep -qs "$request" "$work/trace"; do sleep 0.01; done
  kill -TERM $command 2>/dev/null || true
  wait $command || grep -q "^zelctl: $line$" "$work/line" || fail "interrupted $words: $(cat "$work/line")"
  rm "$work/trace"
done <<END
panel --watch;GetSystemLed;interrupted
cage init;BufWrite;interrupted too late: all was done
mac-backup set 00:11:22:33:44:55;lseek;interrupted too late: all was done
flash erase I1 --yes;EraseSector;interrupted: erase ended at 0x2[0-9A-F]0000; what follows is as it was
flash write I1 $work/long --yes;flash write;interrupted: write ended at 0x[0-9A-F]*; what follows is as it was
END

# With closed descriptors, and on a full disk, the tool gives a clean answer.
for words in "relay set 1" relay "led bogus"; do
  for closed in '<&-' '>&-' '2>&-' '<&- >&- 2>&-'; do
    found=0
    eval "ctl $words $closed" >/dev/null 2>&1 || found=$?
    [ $found -le 2 ] || fail "status $found of $words $closed"
  done
done
says 1 'standard output: Bad file' sh -c "'$zelsim' run -- '$build/bin/zelctl' relay >&-"
says 1 'standard output: No space' sh -c "'$zelsim' run -- '$build/bin/zelctl' --help >/dev/full"

# A file that cannot be written, or whose flash cannot be read, leaves the old one.
echo old >"$work/kept"
chmod 651 "$work/kept"
ln -s kept "$work/link"
"$zelsim" fail flash:read --skip 3 --count 1 --result refused
says 1 'FW_FAIL' ctl backup "$work/link"
"$zelsim" heal
[ "$(cat "$work/kept")" = old ] || fail "a failed backup destroyed the file"
says 1 'No space left' ctl db custom read /dev/full
says 1 'Is a directory' ctl flash read T -o "$work"
ctl flash read T -o "$work/link"
[ "$(stat -c '%s %a' "$work/kept")" = '65536 651' ] && [ -L "$work/link" ] || fail "link or mode changed"

# Errors are in the tool's words and on one line.
says 2 "PORT: '0x1c' is not a number from 0 to 27" ctl cage 0x1c
says 2 "PORT: 'a.nb.x1b' is not" ctl cage "$(printf 'a\nb\033')"
says 2 "FILE: '' is not a file" ctl backup ''
says 2 ' --part: 255 means the whole flash to the library: part 255 cannot be compared$' ctl flash compare "$work/kept" --part 255 --of 300
: >"$work/empty"
for words in "firmware write $work/empty --partition 1" "db gen write $work/empty" "flash write T $work/empty" \
  "flash update T $work/empty"; do
  says 2 "FILE: $work/empty is empty" ctl $words
done
ctl db shared write "$work/empty" --allow-empty
says 0 '^shared 1  *0  *0x0  *empty$' ctl db table
ctl env set name 'grün' >/dev/null
says 0 '^name=grün$' ctl env list
says 0 '"grün"' ctl env list --json
ctl env unset name
says 1 "no variable 'name'" ctl env get name
says 1 "no variable ''" ctl env unset ''
says 0 '^pwrmode=' ctl env list

# What would be lost is asked for; an update writes only what differs.
says 2 'yes: .*Replaces the image' ctl firmware write "$work/firmware" --partition 2
says 2 'yes: .*Erases 1 sector(s) from 0x1200000' ctl flash erase 0x1200000
says 0 'Image 2 *erase and write' ctl firmware write "$work/firmware" --partition 2 --dry-run
printf "other bytes" | dd of="$work/firmware" bs=1 seek=70000 conv=notrunc 2>/dev/null
says 2 'yes: .*Erases 1 of the [0-9]* sectors of Image 2' ctl flash update 'image 2' "$work/firmware"
says 0 '^written *1$' ctl flash update 'image 2' "$work/firmware" --yes
says 0 '^written *0$' ctl flash update 'image 2' "$work/firmware"  # nothing is erased: nothing is asked
says 0 '' ctl firmware verify "$work/firmware" --partition 2

# A signal ends a copy between two pieces: the line tells what the partition holds, and the flag is down.
"$zelsim" run -- "$build/bin/zelctl" firmware write "$work/long" --partition 1 --yes 2>"$work/line" >/dev/null &
copy=$!
while kill -0 $copy 2>/dev/null && ctl flags | grep -q 'access_flag *no'; do sleep 0.02; done
kill -TERM $copy 2>/dev/null || true
if ! wait $copy; then  # else the copy was over before the signal
  size=$(sed -n 's/^.*interrupted: .* holds the first \(0x[0-9A-F]*\) of .*, verified; the rest is as it was$/\1/p' "$work/line")
  [ "$((size))" -gt 0 ] || fail "not told what the partition holds: $(cat "$work/line")"
  ctl flash read I1 $((size)) -o "$work/part"
  cmp -n $((size)) "$work/part" "$work/long"
fi
says 0 'access_flag *no' ctl flags
ctl flags set flash-access off

# A question that is answered otherwise than by yes, or by a signal, changes nothing, and the tool says so.
python3 - "$zelsim" "$build/bin/zelctl" "$work/default.bin" <<'END' || fail "an answer is not taken for what it is"
import os
import pty
import sys
import termios
for answer, told in (b"\x03", b"nothing was changed"), (b"no\n", b"nothing was done"), (b"yes\n", b"sum "):
    pid, terminal = pty.fork()
    if pid == 0:
        # The terminal throws its output away after it has sent the signal: sometimes the line with it.
        attributes = termios.tcgetattr(0)
        attributes[3] |= termios.NOFLSH
        termios.tcsetattr(0, termios.TCSANOW, attributes)
        os.execv(sys.argv[1], ["zelsim", "run", "--fast", "--", sys.argv[2], "restore", sys.argv[3]])
    text = b""
    while b" Type yes to go on: " not in text:
        text += os.read(terminal, 100)
    os.write(terminal, answer)
    while told not in text:
        text += os.read(terminal, 100)
END

# Help folds.
for words in zelctl "zelctl flash update" "zelctl sfp" "zelsim fail" "zelsim serve"; do
  [ "$(COLUMNS=40 "$build/bin/"$words --help | wc -L)" -le 40 ] || fail "help of $words is wider than 40 columns"
done
says 0 '^  firmware   *Firmware images$' env COLUMNS=200 "$build/bin/zelctl" --help

# Completion of a word that is begun, or of the next one: values and codes; nothing where a file comes next.
completing() {
  PATH="$build/bin:$PATH" bash -c '. "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _zelboard "$1"
                                   echo "[${COMPREPLY[*]}]"' "$(dirname "$0")/../completion/zelboard.bash" "$@"
}
completed() { completing "$@" ''; }
says 0 '^.off on.$' completed zelctl cage 5 --tx-disable
says 0 '^.off on blink.$' completed zelctl led set alarm
says 0 '^.I1 I2 P1 ' completed zelctl flash update
says 0 '^.default second.$' completed zelsim serve
says 0 '10g-sr .*not-sfp' completed zelsim plug 3
says 0 '^.1 2.$' completed zelctl firmware write file --partition
says 0 '^.BufRead BufWrite.$' completing zelsim fail i2c : Buf
says 0 '^.panel.system panel.speed_24 ' completing zelsim get panel.s
says 0 '^.panel.alarm.$' completing zelsim get --board second panel.a
says 0 '^.GetPowerStatus.$' completing zelsim fail --board second gpio : GetPowerS
says 0 '^.any: gpio: i2c: flash: debugCmd:.$' completed zelsim fail --count 3
says 0 '^.Image..1 Image..2.$' completing zelsim flash load file --region Im
says 0 '^.I1 I2.$' completing zelctl flash read I
says 0 '^.true.*$' completing zelctl monitor --exec true
says 0 '^.diagnostics.5 diagnostics.24.$' completing zelsim get diagnostics.
says 0 '^.rx-power.$' completing zelsim set rx-
says 0 '^.module-rx-power.$' completing zelsim set module-rx
says 0 '^.0 1 2 ' completed zelsim set los
says 0 '^.refused busy killed.$' completed zelsim fail i2c : BufRead --result
says 0 'hangs nonsense.$' completed zelsim fail debugCmd --result
says 0 '^.led.$' completing zelsim run -- zelctl le
says 0 '^..$' completed zelctl flash update I2
says 0 '^..$' completed zelctl flash read T -o

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

# A module's name can have any characters: it is cut between two of them. Its page tells the rate in units of 250 MBd, and
# then one margin in both directions.
python3 - "$work/R&D<>ééééééé" <<'END'
import sys
page = bytearray(256)
page[0], page[12], page[66], page[67] = 3, 255, 112, 20
page[14:20] = 1, 2, 3, 4, 5, 6  # lengths, each in its unit
open(sys.argv[1], "wb").write(page)
END
"$zelsim" plug 26 "$work/R&D<>ééééééé"
"$zelsim" panel --svg - | python3 -c '
import sys, xml.etree.ElementTree as xml
texts = {e.text for e in xml.parse(sys.stdin).iter()}
assert "R&D<>éééé…" in texts, texts' || fail "the picture does not show the name of a module"
says 0 '"rate_margin_percent": "+20 -20"' ctl --json sfp show 26
says 0 '"rate_mbd": 28000' ctl --json sfp show 26
lengths=$(ctl sfp show 26 | sed -n 's/^length_[a-z0-9_]* *//p' | xargs)
[ "$lengths" = "1000 200 30 40 5 60" ] || fail "lengths of a module: $lengths"

# A request that is refused leaves no file open behind.
(
  ulimit -n 32
  for _ in $(seq 40); do echo '{"call":"FW_GetSystemLed","arguments":[{"file":"00"},{"bytes":"zz"}]}'; done
  echo '{"call":"FW_GetSystemLed","arguments":[{"bytes":"00","returned":true}]}'
) | (ulimit -n 32; ctl -v session) >"$work/answers"
[ "$(grep -c 'not hexadecimal' "$work/answers")" -eq 40 ] || fail "session: $(cat "$work/answers")"
for i in $(seq 40); do
  printf '{"call":"FW_%s","arguments":[%s]}\n' PollRtc '{"file":"00"}' SetSystemLed $((i % 2))
done | (ulimit -n 32; ctl session) >"$work/answers"
[ "$(grep -c '"result": *0' "$work/answers")" -eq 80 ] || fail "session with files and debugCmd: $(tail -n 1 "$work/answers")"
