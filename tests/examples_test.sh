#!/bin/sh
# The example programs on the virtual switch.
. "$(dirname "$0")/switch.sh"
root=$(dirname "$0")/..
indicators() { on_switch "$build/examples/indicators" "$@"; }

"$zelsim" create --slots sfp,copper,none
[ "$(indicators --once)" = "power good, temperature good" ] || fail "a healthy switch is not seen as one"
"$zelsim" set temperature 71
[ "$(indicators --once)" = "power good, temperature too high" ] || fail "heat goes unseen"
"$zelsim" set temperature 25
"$zelsim" set supply 2 failed
[ "$(indicators --once)" = "power alarm, temperature good" ] || fail "a failed supply goes unseen"
[ "$(on_switch "$build/bin/zelctl" led get alarm | grep -c on)" = 1 ] || fail "the alarm LED is off"
indicators --once --limit 20x 2>"$work/complaint" && fail "a limit that is no number is taken"
grep -q -- --limit "$work/complaint" || fail "the wrong argument is not named"

# As a daemon: it sees what happens, does not chatter around the limit, and ends when it is told to.
"$zelsim" set supply 2 ac
"$zelsim" run -- "$build/examples/indicators" --period 0.05 >"$work/lines" &
daemon=$!
has_told() { until [ "$(wc -l <"$work/lines")" -ge "$1" ]; do sleep 0.05; done; }
has_told 1
"$zelsim" set temperature 71
has_told 2
"$zelsim" set temperature 69
sleep 0.5
"$zelsim" set temperature 66
has_told 3
kill $daemon
wait $daemon || fail "the daemon did not end well"
[ "$(cut -d ' ' -f 4,5 "$work/lines" | tr '\n' ,)" = "good,too high,good," ] || fail "$(cat "$work/lines")"

head -c 300000 /dev/urandom >"$work/image"
on_switch "$build/examples/update" "$work/image" 2 2>"$work/bar" | grep -q 'Partition 2 .* 300000 bytes, verified'
grep -q '100 %' "$work/bar" || fail "no progress is shown"
on_switch dd if=/dev/zel_spi_flash bs=64k 2>/dev/null >"$work/flash"
python3 -c 'import sys; sys.exit(open(sys.argv[1], "rb").read() not in open(sys.argv[2], "rb").read())' \
  "$work/image" "$work/flash" || fail "the image is not in the flash"
"$zelsim" fail flash:write --skip 200
on_switch "$build/examples/update" "$work/image" 2 >/dev/null 2>&1 && fail "a failed update goes unseen"
"$zelsim" heal
on_switch "$build/examples/update" /dev/null 2 >/dev/null 2>&1 && fail "an empty image is taken"

"$zelsim" plug 2 copper
"$zelsim" plug 25 10g-sr
on_switch python3 "$root/examples/modules.py" "$build/lib/libzelboard.so" >"$work/modules"
python3 - "$work/modules" <<'END'
import json, sys
copper, fibre = json.load(open(sys.argv[1]))
assert (copper["port"], copper["connector"], copper["part_number"]) == (2, "RJ45", "ZL-1G-T"), copper
assert (fibre["port"], fibre["wavelength_nm"], fibre["checksums_good"], fibre["receives_light"]) == (25, 850, True, True)
END
