#!/bin/sh
# The shell side of the virtual switch: what it says to wrong words, closed descriptors and full disks, and what it keeps.
. "$(dirname "$0")/switch.sh"
"$zelsim" create --slots sfp,copper,none

# STATUS;TEXT;COMMAND: a refusal is one line, and has the text.
while IFS=';' read -r status text command; do
  found=0
  eval "\"$zelsim\" $command" >"$work/out" 2>"$work/err" || found=$?
  if [ $found -ne "$status" ] || [ "$(wc -l <"$work/err")" -ne 1 ] || ! grep -qF -- "$text" "$work/err"; then
    fail "status $found of: zelsim $command: $(cat "$work/err")"
  fi
done <<'END'
2;COMMAND: missing;
2;'fot': not expected;fot
2;PORT: missing;plug
2;--count: needs one value;fail i2c --count
2;--json: takes no value;show --json=x
2;'a\nb\x1b';plug 3 "$(printf 'a\nb\033')"
2;NAME: '';delete ''
2;PATH: '';get ''
2;--region: 'unused';flash save - --region unused
2;REQUEST: 'read';fail gpio:read
2;'gpio:0x00' can never strike;fail gpio:0x00
2;can never strike;fail i2c:GetBusy@0x40
2;--result: '256' is not a number from 0 to 255;fail debugCmd --result 256
2;REQUEST: 'open';fail debugCmd:open
2;can never strike;fail flash@0x2000000
2;--probability: '0.5x';fail i2c --probability 0.5x
2;--region: '0' is not a number from 1;flash save - --region 0x100+0
1;FILE: cannot write '/nowhere/f': No such file;flash save /nowhere/f
1;standard output: No space;show >/dev/full
1;standard output: No space;plug --help >/dev/full
1;standard output: Bad file;get panel >&-
127;cannot run 'nonesuch';run --trace="$work/kept" -- nonesuch
0;linked statically;run -- /sbin/ldconfig --version
0;makes board 'typo';run --board typo -- true
END

# Closed descriptors become no file of the board; a file is replaced whole or stays.
for closed in '<&-' '>&-' '<&- >&-' '2>&-' '<&- >&- 2>&-'; do
  eval "\"$zelsim\" plug 24 10g-sr $closed" || fail "plug $closed"
  eval "\"$zelsim\" flash save \"$work/image\" $closed" || fail "flash save $closed"
done
[ "$(wc -c <"$work/image")" -eq 33554432 ] || fail "the image is not whole"
printf 'abc' | "$zelsim" flash load - --region 'Image 2'
[ "$("$zelsim" flash save - --region 0x1200000+3)$("$zelsim" flash save - --region 0x1200002+1)" = abcc ] ||
  fail "a region is not what was loaded"
(ulimit -f 1 && trap '' XFSZ && ! "$zelsim" flash save "$work/image" 2>/dev/null) || fail "a cut file is a success"
[ "$(wc -c <"$work/image")" -eq 33554432 ] && [ "$(find "$work" -name '.new-*')" = "" ] || fail "a failed save left its mark"

# What a killed command left goes with the next one, but not while its owner works on it.
mkdir "$work/.new-killed" "$work/.new-owned"
flock "$work/.new-owned" "$zelsim" show >/dev/null
[ ! -e "$work/.new-killed" ] && [ -e "$work/.new-owned" ] || fail "ownerless folders: $(ls -A "$work")"
"$zelsim" list >/dev/null
[ ! -e "$work/.new-owned" ] || fail "a folder without an owner stays"
cc -shared -fPIC -x c - -o "$work/slow.so" <<'END'
#include <stdio.h>
#include <stdlib.h>
int renameat(int, const char *, int, const char *);
const char *look = "LD_PRELOAD= zelsim list >&2 && ls -d $ZELSIM_HOME/.new-* >&2";
int rename(const char *from, const char *to) { return system(look) ? -1 : renameat(-100, from, -100, to); }
END
PATH="$build/bin:$PATH" LD_PRELOAD="$work/slow.so" "$zelsim" create slow 2>/dev/null || fail "a folder is taken from its owner"

mkdir -p "$work/default/states/.new-killed"
"$zelsim" states >/dev/null && [ ! -e "$work/default/states/.new-killed" ] || fail "what a killed save left stays"

# A comment of a scenario ends with its line; a # within a word begins none.
printf '# "power\n0 set temperature 30 # warm "\n' >"$work/scenario"
"$zelsim" play "$work/scenario" && [ "$("$zelsim" get i2c.temperature)" = 30.0 ] || fail "a comment behind an act"
printf '0 set busy 0#1\n' >"$work/scenario"
"$zelsim" play "$work/scenario" 2>/dev/null && fail "a # within a word begins a comment"

# A signal ends a scenario between two acts.
printf '0 set temperature 31\n0 set temperature 32\n100 set temperature 33\n' >"$work/scenario"
"$zelsim" play "$work/scenario" 2>"$work/err" &
play=$!
while [ "$("$zelsim" get i2c.temperature)" != 32.0 ]; do sleep 0.02; done
kill -TERM $play
found=0
wait $play || found=$?
[ "$found $(cat "$work/err")" = "143 zelsim: interrupted" ] || fail "interrupted play: $found $(cat "$work/err")"

# So does the end of its board.
"$zelsim" create gone
"$zelsim" play "$work/scenario" --board gone 2>"$work/err" &
play=$!
while [ "$("$zelsim" get i2c.temperature --board gone)" != 32.0 ]; do sleep 0.02; done
"$zelsim" delete gone
found=0
wait $play || found=$?
[ "$found $(cat "$work/err")" = "1 zelsim: the board was deleted" ] || fail "play without a board: $found $(cat "$work/err")"

# A wrong line of a batch is answered in words, and the batch goes on.
"$zelsim" batch >"$work/wrong" <<'END' || fail "a batch with wrong lines"
{"word":["boards"]}
{"words":[7]}
{"words":["boards"],"folder":7}
[]
not JSON
{"words":["boards"],"input":"g"}
END
sed 's/.*"error":"zelsim: \(.*\)\\n".*/\1/' "$work/wrong" >"$work/out"
diff "$work/out" - <<'END' || fail "the answers to wrong lines of a batch"
words: not a list of texts
words: not a list of texts
folder: not a text
line: not a JSON object
line: not a JSON object
input: is not hexadecimal
END

# A batch keeps nothing of a board that it has deleted; a signal ends it behind a command that holds signals.
mkfifo "$work/asked"
"$zelsim" batch >"$work/answers" <"$work/asked" &
batch=$!
exec 3>"$work/asked"
printf '{"words":["%s","%s"]}\n' create gone delete gone save kept >&3
while [ "$(wc -l <"$work/answers")" -lt 3 ]; do sleep 0.02; done
grep -q 'status":[^0]' "$work/answers" && fail "batch: $(cat "$work/answers")"
grep -q '/gone/' /proc/$batch/maps && fail "a deleted board stays mapped"
kill -TERM $batch
found=0
wait $batch || found=$?
exec 3>&-
[ $found -eq 143 ] || fail "status $found of a batch that a signal ends"

# Programming is counted, also onto cells that hold data already. A copy inside the kernel does not go past the chip.
"$zelsim" create chip
"$zelsim" run --fast --board chip -- python3 - "$work/any" <<'END' || fail "a program that writes the chip by itself"
import os, sys
chip = os.open("/dev/zel_spi_flash", os.O_RDWR)
other = os.open(sys.argv[1], os.O_RDWR | os.O_CREAT)
for text in b"abc", b"\xff\x00z":
    assert os.pwrite(chip, text, 0x100) == len(text)
assert os.pread(chip, 3, 0x100) == b"a\x00b"
blind = os.open("/dev/zel_spi_flash", os.O_WRONLY)
assert os.pwrite(blind, b"12", 0x1fffffe) == 2 and os.pread(chip, 2, 0x1fffffe) == b"12"
assert os.pwrite(blind, b"x3", 0x1ffffff) == 1 and os.pread(chip, 2, 0) == b"\xff\xff"
for one, two in ((chip, other), (other, chip)):
    try:
        sys.exit(f"{os.copy_file_range(one, two, 16)} bytes are copied")
    except OSError:
        pass
try:
    sys.exit(f"{os.dup2(9999, chip)} is a duplicate of nothing")
except OSError:
    pass
assert os.pread(chip, 2, 0) == b"\xff\xff", "a duplication that failed took the node away"
# What is written at the position moves it, also from the first byte on; what is written at an offset does not.
for at, text in ((0, b"ab"), (2, b"cd"), (0x200, b"ef"), (0x202, b"gh")):
    assert at in (2, 0x202) or os.lseek(chip, at, os.SEEK_SET) == at
    os.pwrite(chip, b"x", 0x300 + at)
    assert os.write(chip, text) == 2 and os.lseek(chip, 0, os.SEEK_CUR) == at + 2
assert os.pread(chip, 4, 0) + os.pread(chip, 4, 0x200) == b"abcdefgh"
END
found=$("$zelsim" get flash.bytes_programmed --board chip)
found="$found $("$zelsim" get flash.bytes_not_erased --board chip) $("$zelsim" get flash.programs --board chip)"
[ "$found" = "21 3 12" ] || fail "counted: $found"

# A loading that was killed is finished before the board is saved, and before the state is forgotten. A finished loading
# leaves the state's name without its first letter; the letter makes it one that was killed.
"$zelsim" create half && "$zelsim" set temperature 30 --board half
"$zelsim" save xunbroken --board half
begin_loading() {
  "$zelsim" load xunbroken --board half && "$zelsim" set temperature 40 --board half
  python3 - "$work/half/state" <<'END'
import sys
with open(sys.argv[1], "r+b") as state:
    at = state.read().index(b"\0unbroken\0")
    state.seek(at)
    state.write(b"x")
END
}
begin_loading
"$zelsim" save xunbroken-again --board half && "$zelsim" load xunbroken-again --board half
[ "$("$zelsim" get i2c.temperature --board half)" = 30.0 ] || fail "a half loaded board was saved"
begin_loading
"$zelsim" forget xunbroken --board half
[ "$("$zelsim" get i2c.temperature --board half)" = 30.0 ] || fail "a state was forgotten that the board needs"

# The image and its states take room only for what is not erased.
head -c 33554432 /dev/zero | tr '\0' '\377' >"$work/erased"
"$zelsim" flash load "$work/erased" --board chip && "$zelsim" save one --board chip && "$zelsim" save one --board chip
room=$(find "$work/chip" -name flash.inverted -exec du -k {} + | cut -f 1 | xargs)
[ "$room" = "0 0" ] || fail "an erased flash and its state, saved twice, take $room KiB"
"$zelsim" forget one --board chip

# Where the kernel cannot copy between two file systems, a state is copied all the same.
far=$(mktemp -d -p /dev/shm)
"$zelsim" create far && ln -s "$far" "$work/far/states"
seq 30000 >"$work/numbers"
"$zelsim" flash load "$work/numbers" --region 0x120fffc+168894 --board far && "$zelsim" save one --board far
"$zelsim" reset --flash --board far && "$zelsim" load one --board far
rm -r "$far"
"$zelsim" flash save - --region 0x120fffc+168894 --board far | cmp - "$work/numbers" || fail "a state on another file system"

# A fault at an address strikes a seek to it. An offset from elsewhere is no address.
"$zelsim" fail flash:lseek@0x100 --board chip
"$zelsim" run --fast --board chip -- python3 - <<'END' || fail "a fault at an address, and seeks"
import os, sys
chip = os.open("/dev/zel_spi_flash", os.O_RDONLY)
assert os.lseek(chip, 0x100, os.SEEK_CUR) == 0x100
try:
    sys.exit(f"the seek leads to {os.lseek(chip, 0x100, os.SEEK_SET)}")
except OSError:
    pass
END
[ "$("$zelsim" get faults.1.hits --board chip)" = 1 ] || fail "hits of a fault at an address"

# A write of more than a page goes on in the pages behind it.
"$zelsim" run --fast --board chip -- python3 - <<'END' || fail "a write over page ends"
import os
chip = os.open("/dev/zel_spi_flash", os.O_RDWR)
pages = bytes(range(256)) * 3
assert os.pwrite(chip, pages, 0x40f0) == len(pages) and os.pread(chip, len(pages), 0x40f0) == pages
END

# A program finds the descriptors open that it would have without a board.
[ "$(on_switch ls /proc/self/fd)" = "$(ls /proc/self/fd)" ] || fail "descriptors: $(on_switch ls -l /proc/self/fd)"

# Every call of libc that knows a node, and descriptors that stand for one; with the recorder in front of them, too.
for how in run "record -o $work/calls.rec"; do
  "$zelsim" create nodes
  "$zelsim" $how --fast --board nodes -- python3 "$(dirname "$0")/libc_calls.py" "$zelsim" || fail "calls of libc: $how"
  "$zelsim" delete nodes
done
[ "$("$zelsim" trace "$work/calls.rec" | grep -c 'flash write 0x000060..+0x3 = 3')" = 7 ] || fail "a name of open() or write() is not recorded"

# A stream can have any descriptor, also 0, if the input came closed.
"$zelsim" run --fast --board chip -- python3 - <<'END' || fail "a stream on descriptor 0"
import ctypes, os
os.close(0)
libc = ctypes.CDLL(None)
libc.fopen.restype = ctypes.c_void_p
assert libc.fopen(b"/dev/zel_spi_flash", b"r") and not libc.fopen(b"/dev/zel_none", b"r")
END

# A number as the result of a read or write is a count of bytes.
"$zelsim" heal --board chip
for call in read write; do "$zelsim" fail flash:$call --result 2 --board chip; done
"$zelsim" run --fast --board chip -- python3 - <<'END' || fail "counts of bytes as results of faults"
import os
chip = os.open("/dev/zel_spi_flash", os.O_RDWR)
assert len(os.pread(chip, 4, 0)) == 2 and os.pwrite(chip, b"xyz", 0x1000) == 2
END
"$zelsim" heal --board chip

# A trace that cannot be written changes no answer.
"$zelsim" run --fast --trace=/dev/full --board chip -- python3 - <<'END' || fail "errors of calls behind a full disk"
import errno, fcntl, os
gpio, chip = (os.open("/dev/zel_" + node, os.O_RDWR) for node in ("gpio", "spi_flash"))
for expected, call in (errno.EFAULT, lambda: fcntl.ioctl(gpio, 0x40012482, 1)), (errno.EINVAL, lambda: os.pread(chip, 1, -1)):
    try:
        call()
    except OSError as error:
        assert error.errno == expected, error
END

# The cable of an RJ45 port: what its PHY says.
"$zelsim" create rj --slots copper
"$zelsim" set link 0 100 half --board rj && "$zelsim" set link 1 down --board rj
phys=$("$zelsim" run --fast --board rj -- sh -c 'sleep 0.3
  for each in "0 1" "0 5" "1 1" "2 a"; do debugCmd phy_register_get $each; done' | sed 's/.*= //' | xargs)
[ "$phys" = "0x796d 0x4081 0x7949 0x3800" ] || fail "links of RJ45 ports: $phys"
"$zelsim" set supply 1 none --board rj
"$zelsim" panel --svg - --board rj | grep -q '>pulled<' || fail "a pulled supply in the picture"

# The shorter words stay accepted.
"$zelsim" set los 24 1 && "$zelsim" set txfault 24 1
for word in voltage tx-power rx-power; do "$zelsim" set module-$word 24 0; done
[ "$("$zelsim" get cages.24.los) $("$zelsim" get cages.24.presence) $("$zelsim" get gpio.flash-access)" = "1 0 0" ] ||
  fail "shorter words"
