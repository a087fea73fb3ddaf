#!/bin/sh
# Unmodified programs on the virtual switch: python3, dd and a shell; and eight processes at once, one of them killed.
. "$(dirname "$0")/switch.sh"

# dd works on the flash node as on a file, also on an inherited descriptor and through streams of libc.
head -c 70000 /dev/urandom >"$work/image"
on_switch dd if="$work/image" of=/dev/zel_spi_flash bs=64k seek=32 conv=notrunc 2>/dev/null
on_switch dd if=/dev/zel_spi_flash of="$work/back" bs=4096 skip=512 count=18 2>/dev/null
head -c 70000 "$work/back" | cmp - "$work/image"
on_switch bash -c 'exec 12</dev/zel_spi_flash; exec python3 -c "import os; os.write(1, os.pread(12, 65536, 0x200000))"' |
  cmp -n 65536 - "$work/image"
on_switch sh -c 'od -An -tx1 -j 2097152 -N 4096 </dev/zel_spi_flash' >"$work/shown"
od -An -tx1 -N 4096 "$work/image" | cmp - "$work/shown"
# A child that closes the node before its exec, as Python's children do, leaves its parent's node open.
on_switch python3 -c 'import os, subprocess
node = os.open("/dev/zel_spi_flash", os.O_RDONLY)
subprocess.run(["true"], check=True)
assert os.read(node, 2) == b"\xff\xff"' || fail "a child closes its parent's node"
# NOR: what was programmed is not overwritten, bits are only cleared.
printf '\252' | on_switch dd of=/dev/zel_spi_flash bs=1 seek=33488896 conv=notrunc 2>/dev/null
printf '\125' | on_switch dd of=/dev/zel_spi_flash bs=1 seek=33488896 conv=notrunc 2>/dev/null
[ "$(on_switch dd if=/dev/zel_spi_flash bs=1 skip=33488896 count=1 2>/dev/null | od -An -tx1)" = " 00" ] ||
  fail "programming did more than clear bits"

cat >"$work/worker.py" <<'END'
import ctypes, os, sys
zel = ctypes.CDLL(sys.argv[1])
kind, image = int(sys.argv[2]), sys.argv[3]
led, buffer = ctypes.c_uint8(), ctypes.create_string_buffer(0x10000)
for turn in range(200 if kind != 7 else 1):
    if kind == 7:
        assert zel.FW_FlashCopy(os.open(image, os.O_RDONLY), 1) == 0
    elif kind % 2:
        assert zel.FW_ReadFlash(0x10000 * turn, 0x10000, buffer) == 0
    else:
        assert zel.FW_SetSystemLed(1 + (turn + kind) % 2) == 0 and zel.FW_GetSystemLed(ctypes.byref(led)) == 0
        assert led.value in (1, 2)
END
cat >"$work/victim.py" <<'END'
import ctypes, sys
zel = ctypes.CDLL(sys.argv[1])
page = bytes(65536)
print("running", flush=True)
while True:
    zel.FW_SpiFlash_SectorErase(0x1FF0000)
    zel.FW_WriteFlash(0x1FF0000, 65536, page)
    zel.FW_SetFlashAccessFlag(1)
END
head -c 400000 /dev/urandom >"$work/firmware"
mkfifo "$work/started"
on_switch python3 "$work/victim.py" "$build/lib/libzelboard.so" >"$work/started" &
victim=$!
read -r _ <"$work/started"
workers=
for kind in 1 2 3 4 5 6 7; do
  on_switch python3 "$work/worker.py" "$build/lib/libzelboard.so" $kind "$work/firmware" >"$work/out.$kind" 2>&1 &
  workers="$workers $!"
done
sleep 0.3
kill -KILL $victim
for worker in $workers; do wait "$worker" || { cat "$work"/out.*; fail "a process did not finish beside a killed one"; }; done
on_switch dd if=/dev/zel_spi_flash bs=64k skip=32 count=7 2>/dev/null | head -c 400000 | cmp - "$work/firmware"
"$zelsim" show --json | python3 -c 'import json, sys; json.load(sys.stdin)'

# A state file that is not one: a clear line, and the node does not open.
printf 'not a state' >"$work/default/state"
message=$(on_switch dd if=/dev/zel_gpio count=0 2>&1) && fail "a foreign state file was accepted"
echo "$message" | grep -q state || fail "a foreign state file is not named: $message"
