#!/usr/bin/env python3
"""Eight processes at a time give one board random commands, and once a second one of them is killed: soak_test.py BUILD.

None may hang or crash, and the board must be sound in the end. A process that is killed just when it is woken takes the
wake-up of the others along: they must go on all the same. Takes SOAK_SECONDS (10); SOAK_SEED repeats a run.
"""
import atexit, fcntl, json, os, random, shutil, signal, subprocess, sys, tempfile, threading, time

build = os.path.abspath(sys.argv[1])
seed = int(os.environ.get("SOAK_SEED", time.time_ns()))
seconds = float(os.environ.get("SOAK_SECONDS", 10))
work = tempfile.mkdtemp()
atexit.register(shutil.rmtree, work, True)
os.environ["ZELSIM_HOME"] = work
zelsim, zelctl = build + "/bin/zelsim", build + "/bin/zelctl"
on_switch = [zelsim, "run", "--fast", "--"]
file = work + "/file"
with open(file, "wb") as image:
    image.write(random.Random(seed).randbytes(150000))

library_calls = """
import ctypes, random, sys
zel, chance, page = ctypes.CDLL(sys.argv[1]), random.Random(int(sys.argv[2])), bytes(65536)
byte, buffer = ctypes.c_uint8(), ctypes.create_string_buffer(65536)
for turn in range(chance.randrange(2000)):
    sector = 0x10000 * chance.randrange(512)
    chance.choice([
        lambda: zel.FW_SetRingFailLed(chance.randrange(3), 0), lambda: zel.FW_SetPortSfpTxDisable(25, chance.randrange(2)),
        lambda: zel.FW_ReadFlash(sector, 65536, buffer), lambda: zel.FW_WriteFlash(sector, 65536, page),
        lambda: zel.FW_SpiFlash_SectorErase(sector), lambda: zel.FW_PollRtc(), lambda: zel.FW_InitOnBoardExpender(),
        lambda: zel.FW_SetSpecialRegister(0x20300 + 4 * chance.randrange(64), turn), lambda: zel.FW_HwReset()])()
"""
commands = """
ctl led set system blink|ctl led list|ctl ports|ctl panel|ctl sfp list|ctl flash map|ctl env set name value|ctl env list
ctl firmware write FILE --partition 1 --yes|ctl db shared write FILE|ctl identity name SOAK|ctl power|ctl selftest
sim fit 1 sfp|sim fit 1 copper|sim fit 1 none|sim plug 25 copper|sim plug 5 10g-sr|sim unplug 25|sim show|sim show --json
sim set supply 1 failed|sim set supply 1 ac|sim set busy 1|sim set busy 0|sim fail i2c:BufRead --count 3|sim fail --list
sim fail flash:write --result killed --count 1|sim heal|sim reset|sim flash stats|sim flash save SAVED|sim flash erase
library|library|library|library
""".strip().replace("\n", "|").split("|")


def command_line(chance):
    words = chance.choice(commands).replace("FILE", file).replace("SAVED", f"{work}/saved{chance.random()}").split()
    if words[0] == "library":
        return on_switch + ["python3", "-c", library_calls, build + "/lib/libzelboard.so", str(chance.random())[2:]]
    return on_switch + [zelctl] + words[1:] if words[0] == "ctl" else [zelsim] + words[1:]


lock, running, faults, counts = threading.Lock(), set(), [], {}


def work_on(number, end):
    chance = random.Random(seed + number)
    while time.monotonic() < end and not faults:
        line = command_line(chance)
        process = subprocess.Popen(line, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, stdin=subprocess.DEVNULL)
        with lock:
            running.add(process)
        try:
            _, said = process.communicate(timeout=30)
        except subprocess.TimeoutExpired:
            process.kill()
            faults.append(("hangs", line, ""))
        with lock:
            running.discard(process)
        counts[process.returncode] = counts.get(process.returncode, 0) + 1
        if process.returncode not in (0, 1, -signal.SIGKILL):
            faults.append((process.returncode, line, said.decode()))


subprocess.run([zelsim, "create"], check=True)
end = time.monotonic() + seconds
threads = [threading.Thread(target=work_on, args=(number, end)) for number in range(8)]
for thread in threads:
    thread.start()
while time.monotonic() < end and not faults:
    time.sleep(1)
    with lock:
        if running:
            random.choice(sorted(running, key=lambda process: process.pid)).kill()
for thread in threads:
    thread.join()

print(f"seed {seed}, exit statuses {counts}", *faults, sep="\n")
if faults:
    sys.exit(1)
for line in (["heal"], ["reset"], ["flash", "erase"], ["show", "--json"]):
    shown = subprocess.run([zelsim] + line, check=True, timeout=30, capture_output=True).stdout
json.loads(shown)
for line in (["led", "set", "alarm", "on"], ["selftest"], ["firmware", "write", file, "--partition", "2", "--yes"]):
    subprocess.run(on_switch + [zelctl] + line, check=True, timeout=30, stdout=subprocess.DEVNULL)

# The board's lock stands behind the head of the state file. Here it is let go without a wake-up.
LOCK, HAS_WAITERS, OWNER_DIED = 16, 0x80000000, 0x40000000
with open(work + "/default/state", "r+b") as state:
    fcntl.flock(state, fcntl.LOCK_SH)  # a process that is alone on a board makes the lock anew
    os.pwrite(state.fileno(), os.getpid().to_bytes(4, sys.byteorder), LOCK)
    waiting = subprocess.Popen([zelsim, "set", "busy", "1"])
    while not int.from_bytes(os.pread(state.fileno(), 4, LOCK), sys.byteorder) & HAS_WAITERS:
        assert waiting.poll() is None, "did not wait for the lock"
        time.sleep(0.05)
    time.sleep(0.1)  # now it sleeps
    os.pwrite(state.fileno(), bytes(4), LOCK)
    try:
        waiting.wait(timeout=30)
    finally:
        waiting.kill()
    assert waiting.returncode == 0, waiting.returncode
    # A state is saved behind a process that died with the lock.
    os.pwrite(state.fileno(), OWNER_DIED.to_bytes(4, sys.byteorder), LOCK)
    subprocess.run([zelsim, "save", "one"], check=True, timeout=30)
