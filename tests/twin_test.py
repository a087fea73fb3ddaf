#!/usr/bin/env python3
"""Recordings, what is made of them, and boards made of reports: twin_test.py BUILD."""
import gzip
import io
import json
import os
import re
import shutil
import signal
import struct
import subprocess
import sys
import tarfile
import tempfile
import time

BUILD, HERE = os.path.abspath(sys.argv[1]), os.path.dirname(os.path.abspath(__file__))
ZELSIM, ZELCTL = f"{BUILD}/bin/zelsim", f"{BUILD}/bin/zelctl"
SETUP = ["plug 3 1g-sx", "plug 5 copper", "plug 24 10g-sr", "set supply 2 dc", "set temperature 41.5", "set loss-of-signal 24 1"]


def run(*words, status=0, **how):
    done = subprocess.run(words, capture_output=True, text=True, **how)
    assert done.returncode == status, (words, done.returncode, done.stdout[-2000:], done.stderr[-2000:])
    return done


def zelsim(*words, **how):
    return run(ZELSIM, *words, **how)


def make(board, steps=SETUP):
    zelsim("create", board, "--slots", "sfp,copper,sfp")
    for step in steps:
        zelsim(*step.split(), "--board", board)


def record(board, file, *words, **how):
    return zelsim("record", "--fast", "--board", board, "-o", file, "--", *words, **how)


def calls_in(file):
    text = (gzip.open(file, "rt") if file.endswith(".gz") else open(file, encoding="utf-8")).read()
    assert text.startswith("zelsim recording 2 ") and text.endswith("\nend\n"), text[:100]
    lines = [line for line in text.splitlines()[1:-1] if not line.startswith("#")]
    assert all(int(line.split()[1]) >= 0 for line in lines), lines
    return lines


def what_is_recorded():
    """A recording as text is the trace of the same run; it is whole however the program ends."""
    make("a")
    make("b")
    for mode, count in ("ask", 20), ("flash", 20):
        record("a", "a.rec", "./caller", mode, str(count))
        zelsim("run", "--fast", "--trace-opens", "--trace=b.trace", "--board", "b", "--", "./caller", mode, str(count))
        assert zelsim("trace", "a.rec").stdout == open("b.trace", encoding="utf-8").read(), mode
    record("a", "a.rec.gz", "./caller", "threads", "20")
    lines = calls_in("a.rec.gz")
    assert len(lines) == 4 * (20 * 5 + 4) and len({line.split()[2] for line in lines}) == 4, len(lines)
    assert not os.path.exists("a.rec.gz.part") and os.path.getsize("a.rec.gz") * 4 < sum(map(len, lines))
    record("a", "forked.rec", "./caller", "processes", "2")
    assert len({line.split()[2].split("/")[0] for line in calls_in("forked.rec")}) == 3
    done = subprocess.run([ZELSIM, "record", "--board", "a", "-o", "killed.rec", "--", "./caller", "killed", "3"])
    assert done.returncode == -signal.SIGKILL and len(calls_in("killed.rec")) == 3 * 5 + 4
    zelsim("fail", "gpio:SetAlarmLed", "--skip", "40", "--result", "killed", "--board", "a")
    subprocess.run([ZELSIM, "record", "--board", "a", "-o", "killed.rec", "--", "./caller", "ask", "60"], check=False)
    zelsim("heal", "--board", "a")
    text = open("killed.rec", encoding="utf-8").read()
    assert re.search(r"\n# no answer: \d\.\d{6} (\d+)/\1 gpio 0x82 SetAlarmLed \{led=\d\}\nend\n$", text), text
    record("a", "x.rec", "./caller", "status", status=7)
    zelsim("create", "backend")  # the line of the board ends like the last line
    record("backend", "x.rec", "./caller", "ask", "3")
    assert len(calls_in("x.rec")) == 3 * 5 + 4
    for end in "TERM", "HUP", "INT", "QUIT", "SEGV":
        for file in "x.rec", "x.rec.gz":
            done = subprocess.run([ZELSIM, "record", "-o", file, "--", "sh", "-c", f"kill -{end} $$"], check=False)
            assert done.returncode == -getattr(signal, f"SIG{end}"), (file, end, done.returncode)
    # A signal to the recorder is the program's. After it the recorder waits for nothing that the program has left.
    for end in "TERM", "HUP":
        signals = f"sleep 60 >&- 2>&- & trap 'echo $!; exit 3' {end}; kill -{end} $PPID; wait"
        told = record("a", "x.rec", "sh", "-c", signals, status=3)
        os.kill(int(told.stdout), signal.SIGKILL)
        assert "further calls are not recorded" in told.stderr and "goes on" not in told.stderr, told.stderr
    os.mkdir("full.rec.gz")  # a recording that cannot be compressed
    told = zelsim("record", "-o", "full.rec.gz", "--", "sh", "-c", "exit 3", status=3).stderr
    assert "--output: " in told and told.endswith(f"; the recording is in '{os.getcwd()}/full.rec.gz.part'\n"), told
    assert calls_in("full.rec.gz.part") == []
    assert record("a", "x.rec", "./nonesuch", status=127).stderr.count("\n") == 1
    # Without the recorder's buffer each line is written at once. The file stays open at one number.
    opened = "import os; [os.open('/dev/zel_gpio', 0) for _ in 'abc']; print([fd for fd in map(int, os.listdir('/proc/self/fd')) if fd > 2])"
    assert record("a", "x.rec", "env", "-u", "ZELSIM_RECORD_BUFFER", "python3", "-c", opened).stdout == "[3, 4, 5, 6, 900]\n" and len(calls_in("x.rec")) == 3
    # Under a shell, on the board of the enclosing run.
    zelsim("run", "--fast", "--board", "a", "--", "sh", "-c", f"{ZELSIM} record -o s.rec -- sh -c './caller ask 2; ./caller ask 2'")
    assert len({line.split()[2] for line in calls_in("s.rec")}) == 2
    # And the other way round.
    zelsim("record", "-o", "n.rec", "--", ZELSIM, "run", "--fast", "--board", "a", "--", ZELCTL, "led", "set", "system", "on")
    assert {line.split()[3] for line in calls_in("n.rec")} >= {"gpio", "debugCmd"}
    done = zelsim("record", "-o", "n.rec", "--", "env", "-i", "/bin/true")
    assert done.stderr == "zelsim: record: no call was recorded: the program made none, or its environment was cleared\n", done.stderr


def what_is_left_running():
    """What a program leaves running is recorded until it ends, or until the recorder is ended. It does not notice."""
    make("left")
    for file in "left.rec", "left.rec.gz":
        done = record("left", file, "sh", "-c", "(sleep 0.3; ./caller ask 3; ./caller ask 3) 2>&1 & exit 4", status=4)
        assert len(calls_in(file)) == 2 * (3 * 5 + 4) and "still run" in done.stderr and done.stdout.count("\n") == 2, done
        # A signal that is ignored does not end the wait.
        ignoring = f"trap '' HUP; exec {ZELSIM} record --fast -o {file} -- sh -c 'kill -HUP $PPID; (sleep 0.3; ./caller ask 3) 2>&1 &'"
        zelsim("run", "--board", "left", "--", "sh", "-c", ignoring)
        assert len(calls_in(file)) == 3 * 5 + 4
        there = "(read word <go; ./caller ask 3; ./caller ask 3) 2>&1 & echo ready; exec >&-; exit 4"
        os.mkfifo("go")
        recorder = subprocess.Popen([ZELSIM, "record", "--fast", "--board", "left", "-o", file, "--", "sh", "-c", there],
                                    stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        assert recorder.stdout.readline() == "ready\n" and " still runs, and the recording goes on until its end or Ctrl-C\n" in recorder.stderr.readline()
        other = zelsim("record", "-o", file, "--", "true", status=1)
        assert other.stderr.startswith("zelsim: --output: another zelsim record writes into '"), other.stderr
        recorder.send_signal(signal.SIGINT)
        assert recorder.wait() == 4 and "further calls are not recorded" in recorder.stderr.read()
        open("go", "w").write("go\n")
        os.remove("go")
        assert recorder.stdout.read().count("\n") == 2 and calls_in(file) == []
        recorder.stdout.close()
        recorder.stderr.close()


def what_is_refused():
    open("bad.rec", "w").write("zelsim recording 1 0.000000\n0.000000 1 2/3 gpio 0x81 X = 0 | fd=z\n")
    open("binary.rec", "w").write("zelsim recording 2 0.000000\n" + 500 * "\x01" + "\n")
    open("long.rec", "w").write("zelsim recording 2 0.000000\n0.000000 1 2/3 flash read 0x0+0x2 = 4 | fd=3 taken=00*4\nend\n")
    open("empty.rec", "w").write("zelsim recording 2 0.000000\nend\n")
    for status, text, words in [
            (2, "FILE: 'bad.rec', line 2: fd 'z' is no number", "trace bad.rec"),
            (2, "line 2: time '" + r"\x01" * 24 + "...' is no number", "trace binary.rec"),
            (2, "line 2: it has more bytes than the read asked for", "run --replay long.rec -- true"),
            (1, "--output: cannot write", "record -o /nowhere/x -- true"),
            (2, "--format: 'pcap' is not one of", "trace --format pcap empty.rec"),
            (2, "--from: 'bad.rec' is no report", "create c --from bad.rec"), (1, "no board no", "verify empty.rec --board no")]:
        done = zelsim(*words.split(), status=status)
        assert text in done.stderr and done.stderr.count("\n") == 1, (words, done.stderr)
    assert not os.path.exists(f"{os.environ['ZELSIM_HOME']}/c")


def what_is_cut_off():
    """A recording without its end is told; a line that is cut itself is never read."""
    make("cut")
    record("cut", "whole.rec", "./caller", "ask", "3")
    text = open("whole.rec", encoding="utf-8").read()
    lines = text.splitlines(True)
    told = f"zelsim: FILE: 'cut.rec' was cut off after line {len(lines) - 2}\n"
    for missing in 1, 4, *range(5, len(lines[-2]) + 4, 17):  # within the closing line and the last call
        open("cut.rec", "w").write(text[:-missing])
        done = zelsim("verify", "cut.rec", "--board", "cut")
        assert done.stderr == (told if missing > 4 else told.replace(str(len(lines) - 2), str(len(lines) - 1))), (missing, done)
    packed = gzip.compress(text.encode())
    open("cut.rec.gz", "wb").write(packed[:len(packed) // 2])
    assert "was cut off after line" in zelsim("verify", "cut.rec.gz", "--board", "cut").stderr
    done = replay("cut.rec", "./caller", "ask", "3", status=125)
    assert told in done.stderr and "the recording was cut off after line" in done.stderr.split("got")[1], done.stderr
    open("old.rec", "w").write(text.replace("recording 2", "recording 1").removesuffix("end\n"))
    told = "zelsim: FILE: 'old.rec' is of an older version, which does not tell whether a recording is whole\n"
    assert replay("old.rec", "./caller", "ask", "3").stderr == told
    # When the program has ended, all its lines are there, although the recorder was killed before.
    there = "./caller ask 3; echo ready; read word; ./caller ask 3"
    command = [ZELSIM, "record", "--board", "cut", "-o", "dead.rec", "--", "sh", "-c", there]
    with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as recorder:
        while recorder.stdout.readline() != "ready\n":
            pass
        recorder.kill()
        recorder.stdin.write("go\n")
        recorder.stdin.close()
        recorder.stdout.read()
    assert "was cut off after line" in zelsim("verify", "dead.rec", "--board", "cut").stderr
    assert open("dead.rec", encoding="utf-8").read().count(" SetAlarmLed ") == 2 * 3


def differences(file, board, status):
    done = zelsim("verify", file, "--board", board, "--json", status=status)
    data = json.loads(done.stdout)
    assert done.stderr.count("\n") == status, done.stderr
    assert data["compared"] > 0 and {row["field"] for row in data["tolerances"]} >= {"clock", "temperature"}
    return {(row["node"], row["request"], row["field"]): (row["recorded"], row["model"], row["count"])
            for row in data["differences"]}, data


# What is altered on a copy of the board, and everything that verify then names.
ALTERED = [
    ("set temperature 60", {("i2c", "BufRead", "addr=0x9e temperature"): ("41.5", "60.0")}),
    ("set temperature 42.5", {}),  # within the tolerance
    ("set clock {hours_ago}", {("i2c", "BufRead", "addr=0x64 clock"): None}),
    ("set supply 2 failed", {("gpio", "GetPowerStatus", "status"): ("0xe8, supply 2 good", "0x68, supply 2 not good")}),
    ("set reset-key 1", {("gpio", "GetResetKey", "key"): ("0", "1")}),
    ("set loss-of-signal 24 0", {("i2c", "BufRead", "addr=0x7a port=24 loss_of_signal"): ("1", "0"),
                                 ("gpio", "GetSocRegister", "address=0x18110 port=24 loss_of_signal"): ("1", "0")}),
    ("set tx-fault 3 1", {("i2c", "BufRead", "addr=0x40 port=3 tx_fault"): ("0", "1")}),
    ("plug 3 1g-lx", {("i2c", "BufRead", f"addr=0xa0 port=3 byte=0x{byte:02x}"): None
                      for byte in (6, 46, 60, 61, 63, 92, 95)}),
    ("set lm75 absent", {("i2c", "GetSensorAlive", "alive"): ("1", "0"), ("i2c", "BufRead", "addr=0x9e result"): ("0", "0xffff")}),
    ("run --fast -- zelctl phy set 3 1 0x55", {("-", "debugCmd", "phy_register_get 3 1 value"): ("0x0000", "0x0055")}),
    ("fail debugCmd:phy_register_get --result refused", {("-", "debugCmd", "result"): ("exit status 0", "exit status 1")}),
    ("fail flash:read --result refused", {("flash", "read", "result"): None}),
    ("fail any --result killed", {}),  # verify is not the program that is to be killed
    ("flash load -", {("flash", "read", "sector=0x00120000"): tuple(
        f"{byte}{byte} at 0x00123456, 2 bytes differ up to 0x00123457" for byte in ("ff", "5a"))}),
]


def what_the_model_answers():
    """A recording agrees with a board like the recorded one; of an altered board exactly the alterations are named."""
    session = ("zelctl sfp show 3; zelctl temperature; zelctl power; zelctl reset-key; zelctl ports; zelctl led set alarm blink;"
               "zelctl phy get 3 1; zelctl clock; zelctl clock set 2031-02-03T04:05:06; ./caller flash 3; ./caller flash 1;"
               "python3 -c 'import ctypes; ctypes.CDLL(None).usleep(1000000000)'; zelctl clock; zelctl flash read 0x1ff0100 1")
    make("real")
    record("real", "real.rec", "sh", "-c", session)
    make("model")
    found, data = differences("real.rec", "model", 0)
    assert found == {} and data["differing"] == 0 and data["compared"] > 150, data
    image = b"\xff" * 0x123456 + b"\x5a\x5a"
    hours_ago = time.strftime("%Y-%m-%dT%H:%M:%S", time.gmtime(time.time() - 3 * 3600))
    for step, expected in ALTERED:
        make("altered")
        words = step.format(hours_ago=hours_ago).split()
        place = 1 if words[0] == "run" else len(words)
        words[place:place] = ["--board", "altered"]
        subprocess.run([ZELSIM, *words], input=image, check=True, stdout=subprocess.DEVNULL)
        found, data = differences("real.rec", "altered", 1 if expected else 0)
        assert set(found) == set(expected), (step, found)
        for key, values in expected.items():
            assert values is None or found[key][:2] == values, (step, found[key])
        zelsim("delete", "altered")
    # A PHY's register of which only one byte was read.
    zelsim("run", "--fast", "--board", "real", "--", ZELCTL, "cage", "5", "--tx-disable", "off")
    record("real", "half.rec", "sh", "-c", "zelctl sfp show 5 >/dev/null; zelctl i2c read 0xAC 2 1")
    text = open("half.rec", encoding="utf-8").read()
    open("half.rec", "w").write(text.replace("len=1 -> 01 = 0", "len=1 -> 55 = 0").replace("taken=01,00*127,01ac", "taken=55,00*127,01ac"))
    found, _ = differences("half.rec", "real", 1)
    assert found == {("i2c", "BufRead", "addr=0xac port=5 register=2"): ("0x5500", "0x0100", 1)}, found
    # Lines of debugCmd, however they are started. In a pipe or behind another command each run is compared.
    lines = "debugCmd sgpio_set 1 3 1 >/dev/null; debugCmd phy_register_set 3 1 55 && debugCmd phy_register_get 3 1 | cat"
    printed = record("real", "tool.rec", "sh", "-c", f"python3 -c 'import os; os.system(\"debugCmd sgpio_set 1 3 1\\n\")'; {lines}").stdout
    assert [line.split("|")[0].split(" ", 3)[3] for line in calls_in("tool.rec")] == [
        "debugCmd sgpio_set 1 3 1 ", "debugCmd sgpio_set 1 3 1 ", "debugCmd phy_register_set 3 1 55 ", "debugCmd phy_register_get 3 1 "]
    assert differences("tool.rec", "real", 0)[1]["compared"] == 4 and "0x0055" in printed
    assert replay("tool.rec", "sh", "-c", f"debugCmd sgpio_set 1 3 1; {lines}").stdout == printed
    complaint = record("real", "usage.rec", "debugCmd", "what", status=2).stderr
    assert complaint.startswith("usage: ") and replay("usage.rec", "debugCmd", "what", status=2).stderr == complaint
    # A tool that complains at length, makes calls and is killed; and one found before the recorder's: the line is the call.
    os.mkdir("tools")
    pause = "python3 -c 'import ctypes; ctypes.CDLL(None).usleep(1)'"
    open("tools/debugCmd", "w").write(f"#!/bin/sh\nseq 2000 >&2; cat /dev/zel_gpio; {pause}; kill $$\n")
    os.chmod("tools/debugCmd", 0o755)
    path = f"{os.getcwd()}/tools:{os.environ['PATH']}"
    complaint = zelsim("record", "-o", "long.rec", "--", "debugCmd", status=-15, env={**os.environ, "PATH": path}).stderr
    assert len(complaint) > 8000 and replay("long.rec", "debugCmd", status=-15).stderr == complaint
    assert len(calls_in("long.rec")) == 1
    zelsim("record", "-o", "own.rec", "--", "python3", "-c", "import os; os.environ['PATH'] = 'tools:' + os.environ['PATH']; os.system('debugCmd x')")
    assert sum(" debugCmd x " in line for line in calls_in("own.rec")) == 1
    assert "got      debugCmd sgpio_set 9 9 9" in replay("tool.rec", "debugCmd", "sgpio_set", "9", "9", "9", status=125).stderr
    text = "zelsim recording 2 0.000000\n0.000000 1 2/2 system a; debugCmd b | result=0 given=" + b"a; debugCmd b".hex() + "\n"
    open("shell.rec", "w").write(text + text.splitlines()[1].replace("2/2", "2/3") + "\nend\n")
    data = json.loads(zelsim("verify", "shell.rec", "--board", "real", "--json").stdout)
    assert data["compared"] == 0 and [row["line"] for row in data["skipped"]] == [2, 3], data
    # A node that does not open is a difference, or none if it did not open before.
    zelsim("create", "closed")
    zelsim("fail", "gpio:open", "--result", "closed", "--board", "closed")
    record("closed", "closed.rec", "sh", "-c", "zelctl relay 2>/dev/null || true")
    assert differences("closed.rec", "closed", 0)[0] == {}
    assert {key[1] for key in differences("closed.rec", "model", 1)[0]} == {"open"}
    # The recorded program itself has changed this board: verify says to save the state before.
    assert "'zelsim save' its state before" in zelsim("verify", "real.rec", "--board", "real", status=1).stderr
    # The board itself has not been touched.
    assert json.loads(zelsim("show", "--board", "model", "--json").stdout)["gpio"]["watchdog_toggles"] == 0
    assert json.loads(zelsim("show", "--board", "model", "--json").stdout)["panel"]["alarm"] == 0


def replay(file, *words, status=0, fast=("--fast",)):
    return zelsim("run", *fast, "--replay", file, "--", *words, status=status)


def what_a_recording_answers():
    for mode, count in ("ask", 2000), ("flash", 40), ("threads", 50), ("processes", 30):
        printed = record("a", "r.rec.gz", "./caller", mode, str(count)).stdout
        again = replay("r.rec.gz", "./caller", mode, str(count))
        assert sorted(again.stdout.split("\n")) == sorted(printed.split("\n")) and not again.stderr, (mode, again)
    assert len(calls_in("r.rec.gz")) >= 400
    record("a", "ask.rec", "./caller", "ask", "2500")
    assert len(calls_in("ask.rec")) > 10000 + 2000
    began = time.monotonic()
    replay("ask.rec", "./caller", "ask", "2500")
    print(f"10,000 calls replayed in {time.monotonic() - began:.2f} s")
    # A tool of many calls answers alike, and leaves nothing.
    printed = record("a", "tool.rec", ZELCTL, "sfp", "show", "3").stdout
    assert "ZL-1G-SX" in printed and replay("tool.rec", ZELCTL, "sfp", "show", "3").stdout == printed
    assert not [name for name in os.listdir(tempfile.gettempdir()) if name.startswith("zelsim-")]

    done = replay("tool.rec", ZELCTL, "sfp", "show", "5", status=125)
    assert re.search(r"replay: the recording does not have this call\n  expected i2c 0xB0 BufRead addr=0x40 .* = 0\n"
                     r"  got      i2c 0xB0 BufRead addr=0x42 [^>]*\n  around it:\n(    +\d+ .*\n){3}  > +\d+ .* addr=0x40 .*\n(    +\d+ .*\n){3}\Z",
                     done.stderr), done.stderr
    done = replay("ask.rec", "./caller", "ask", "2501", status=125)
    assert "expected close gpio\n  got      gpio 0x82 SetAlarmLed {led=1}" in done.stderr, done.stderr
    assert re.search(r"\n  > +\d+  close gpio\n +\d+  close i2c\n\Z", done.stderr), done.stderr  # the recording ends there
    done = replay("ask.rec", "./caller", "flash", "1", status=125)
    assert "got      open flash O_RDWR" in done.stderr, done.stderr
    # A write is the recorded one only with all of its bytes.
    record("a", "write.rec", ZELCTL, "i2c", "write", "0x9e", "2", "0x50", "0x00")
    for first, last, status in ("0x50", "0x00", 0), ("0x51", "0x00", 125), ("0x50", "0x01", 125):
        replay("write.rec", ZELCTL, "i2c", "write", "0x9e", "2", first, last, status=status)
    # What the driver fills does not depend on what was in the buffer before.
    fills = "import fcntl, os, sys; byte = bytearray([int(sys.argv[1])]); fcntl.ioctl(os.open('/dev/zel_gpio', 2), 0x40012481, byte); print(*byte)"
    make("fills")
    assert record("fills", "fills.rec", "python3", "-c", fills, "0").stdout == replay("fills.rec", "python3", "-c", fills, "7").stdout == "0\n"
    # If there is no room for a recording's tape, or for the copy of a board, nothing of it is left.
    for words, told in ("run --replay ask.rec -- true", "cannot write"), ("verify ask.rec --board a", "cannot copy the board to"):
        crowded = f"ulimit -f 1; trap '' XFSZ; exec {ZELSIM} {words}"
        assert told in run("sh", "-c", crowded, status=1).stderr
    assert not [name for name in os.listdir(tempfile.gettempdir()) if name.startswith("zelsim-")]
    # A write may be longer than the recorder's buffer. A read into several pieces begins with the first piece that has room.
    # A read of a duplicate begins where its original stands. An offset may be negative.
    pieces = ("import os; chip = os.open('/dev/zel_spi_flash', os.O_RDWR); room = bytearray(4); os.pwrite(chip, bytes(range(256)) * 200, 0x1800000); "
              "print(os.readv(chip, [bytearray(0), room]), room, os.read(os.dup(chip), 1))\ntry: os.pread(chip, 2, -1)\nexcept OSError: pass")
    printed = record("a", "pieces.rec", "python3", "-c", pieces).stdout
    assert re.findall(r"read 0x(\w+\+0x\w) = (\S+)", zelsim("trace", "pieces.rec").stdout) == [
        ("00000000+0x4", "4"), ("00000004+0x1", "1"), ("ffffffffffffffff+0x2", "-1")]
    assert printed.startswith("4 ") and replay("pieces.rec", "python3", "-c", pieces).stdout == printed
    # What a program leaves running is answered; without zelsim its calls reach nothing.
    record("a", "left.rec", "sh", "-c", "(sleep 0.3; ./caller ask 3) &")
    done = replay("left.rec", "sh", "-c", "(sleep 0.3; ./caller ask 3; echo $?) &")
    left = "zelsim: replay: (1 process|2 processes) of the program still runs?, and the recording answers until its end or Ctrl-C\n"
    assert done.stdout.endswith("\n0\n") and re.search(left, done.stderr), done
    assert not re.search(left, replay("left.rec", "sh", "-c", "sleep 1 >&- 2>&- & kill -KILL $$", status=-signal.SIGKILL).stderr)
    os.mkfifo("go")
    there = "(read word <go; ./caller ask 3; echo $?) 2>&1 & echo ready; exec >&-"
    with subprocess.Popen([ZELSIM, "run", "--replay", "left.rec", "--", "sh", "-c", there], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          text=True) as answering:
        assert answering.stdout.readline() == "ready\n" and answering.stderr.readline()
        answering.send_signal(signal.SIGINT)
        assert " still runs: a further call ends it\n" in answering.stderr.read()
        open("go", "w").write("go\n")
        assert answering.stdout.read() == "125\n"
    os.remove("go")
    # Two threads that begin alike, and no others, may take each other's calls. The second one goes on first.
    threads = ("import fcntl, os, sys; from concurrent.futures import ThreadPoolExecutor; pools = [ThreadPoolExecutor(1) for _ in 'ab']\n"
               "nodes = [pool.submit(os.open, '/dev/zel_gpio', os.O_RDWR).result() for pool in pools]\n"
               "for i, led in (1, 4), (1, 2), (0, 3), (0, 1):\n"
               "    pools[i].submit(fcntl.ioctl, nodes[i], 0x40012482, bytes([int(sys.argv[led])])).result()")
    for first, status in ("0", 0), ("1", 125):
        record("a", "alike.rec", "python3", "-c", threads, "1", "2", "0", first)
        replay("alike.rec", "python3", "-c", threads, "2", "1", first, first, status=status)
    assert run("./caller", "ask", "3", status=125, env={**os.environ, "ZELSIM_REPLAY": "/nowhere",
                                                      "LD_PRELOAD": f"{BUILD}/lib/zelboard/libzelrecord.so"}).stdout == ""
    done = replay("s.rec", "./caller", "ask", "2")
    assert "calls of the recording were not made" in done.stderr, done.stderr


# Requests: node, number, the first bytes of the record, places where another byte makes another request, and places where it
# does not.
SENT = [
    ("gpio", 0x82, "01", (0,), ()), ("gpio", 0x81, "00", (), (0,)),
    ("gpio", 0x86, "0101", (0, 1), ()), ("gpio", 0x87, "0100", (0,), (1,)),
    ("gpio", 0xe1, "0003020007000000", (0, 7), ()), ("gpio", 0xe0, "0003020000000000", (3,), (4,)),
    ("i2c", 0xb1, "5001" + 126 * "00" + "029e00000200000001000000", (0, 1, 128, 129, 132, 135, 136), (2, 127)),
    ("i2c", 0xb0, 128 * "00" + "029e00000200000001000000", (128, 129, 135, 136), (0, 1)),
    ("i2c", 0xb0, 128 * "00" + "076400000000000000000000", (128,), (132,)),
    ("i2c", 0xc4, "0101" + 46 * "00", (0, 1, 4, 31), (2, 32)), ("i2c", 0xba, 48 * "00", (), (0, 47)),
    ("i2c", 0xc5, "0000c841", (0, 3), ()), ("i2c", 0xc6, "00000000", (), (0,)), ("spi_flash", 0xd2, "000000", (), (0,)),
]


def what_is_the_same_request():
    def sent(changed):
        words = []
        for node, number, text, *_ in SENT:
            record_sent = bytearray.fromhex(text)
            for place in changed.get((node, number, text), ()):
                record_sent[place] ^= 1
            words += [f"/dev/zel_{node}", f"{number:x}", record_sent.hex()]
        return "./caller", "send", *words

    make("asked")
    printed = record("asked", "sent.rec", *sent({})).stdout
    assert printed.count("\n") == len(SENT) and replay("sent.rec", *sent({})).stdout == printed
    assert replay("sent.rec", *sent({row[:3]: row[4] for row in SENT})).stdout == printed
    for *row, others, _ in SENT:
        for place in others:
            done = replay("sent.rec", *sent({tuple(row): (place,)}), status=125)
            assert "the recording does not have this call" in done.stderr, (row, place, done)


def other_drivers():
    """Drivers that are not ours can be recorded and replayed, and verify tells exactly where a board differs from them."""
    real = {**os.environ, "LD_PRELOAD": f"{os.getcwd()}/other_drivers.so"}
    for mode, *words in ("ask", "16"), ("flash", "16"), ("send", "/dev/zel_gpio", "55", "01"):
        alone = run("./caller", mode, *words, env=real).stdout
        recorded = zelsim("record", "-o", f"other-{mode}.rec", "--", "./caller", mode, *words, env=real).stdout
        assert recorded == alone != run("./caller", mode, *words).stdout
        assert replay(f"other-{mode}.rec", "./caller", mode, *words, fast=()).stdout == alone
    assert "gpio 0x55 ? = -1 ?\n" in zelsim("trace", "other-send.rec").stdout
    make("other", ["set supply 2 dc", "set temperature 26.5", "plug 3 1g-sx"])
    image = b"\xff" * 0x123456 + b"\x5a"  # as those drivers have it
    subprocess.run([ZELSIM, "flash", "load", "-", "--board", "other"], input=image, check=True)
    found, _ = differences("other-ask.rec", "other", 1)
    # No cage is selected: an empty module path is silent, where those drivers say that the bus is busy.
    assert found == {("i2c", "BufRead", "addr=0xa0 result"): ("0xfffa", "0xffff", 16)}, found
    found, _ = differences("other-flash.rec", "other", 1)
    assert found == {("-", "debugCmd", "result"): ("exit status 3", "exit status 0", 1)}, found
    zelsim("set", "temperature", "20", "--board", "other")
    found, _ = differences("other-ask.rec", "other", 1)
    assert found[("i2c", "BufRead", "addr=0x9e temperature")] == ("26.5", "20.0", 16) and len(found) == 2, found


def packets_of(data):
    """Blocks of a pcapng file: link type, and packets as (time, bytes, comment)."""
    at, link, packets = 0, None, []
    while at < len(data):
        kind, length = struct.unpack_from("<II", data, at)
        body = data[at + 8:at + length - 4]
        assert struct.unpack_from("<I", data, at + length - 4)[0] == length
        if kind == 1:
            link = struct.unpack_from("<H", body)[0]
        if kind == 6:
            _, high, low, size, _ = struct.unpack_from("<IIIII", body)
            options = 20 + (size + 3) // 4 * 4
            code, length_of_text = struct.unpack_from("<HH", body, options)
            assert code == 1
            packets.append((high << 32 | low, body[20:20 + size], body[options + 4:options + 4 + length_of_text].decode()))
        at += length
    return link, packets


def what_others_read():
    record("a", "x.rec", ZELCTL, "sfp", "show", "3")
    data = subprocess.run([ZELSIM, "trace", "--format", "pcapng", "x.rec"], check=True, capture_output=True).stdout
    link, packets = packets_of(data)
    transfers = [line for line in calls_in("x.rec") if " BufRead " in line or " BufWrite " in line]
    assert link == 209 and len(transfers) < len(packets) <= 2 * len(transfers)
    reads = [packet for _, packet, _ in packets if packet[5] == 0xa1]
    assert b"ZL-1G-SX" in b"".join(packet[6:] for packet in reads) and all(packet[:5] == b"\0\0\0\0\1" for packet in reads)
    times = [at / 1e6 for at, _, _ in packets]
    assert times == sorted(times) and abs(times[0] - time.time()) < 600
    if shutil.which("tshark"):
        open("x.pcapng", "wb").write(data)
        shown = run("tshark", "-r", "x.pcapng", "-T", "fields", "-e", "frame.protocols", "-e", "i2c.addr", "-e", "i2c.flags").stdout
        rows = shown.splitlines()
        assert len(rows) == len(packets) and all(row.startswith("i2c") for row in rows), shown
    timeline = json.loads(zelsim("trace", "--format", "perfetto", "a.rec.gz").stdout)
    events = [event for event in timeline["traceEvents"] if event["ph"] == "X"]
    assert len(events) == len(calls_in("a.rec.gz")) and {event["name"] for event in events} >= {"open", "BufRead", "pause"}
    assert {event["args"]["name"] for event in timeline["traceEvents"] if event["ph"] == "M"} == {"caller"}
    assert all(event["dur"] >= 0 and event["ts"] >= 0 and event["pid"] and event["tid"] for event in events)


def report_of(board, *options):
    if not options:
        zelsim("fail", "debugCmd", "--board", board)  # it starts anew for each of 78 registers, which only whole reports need
    done = subprocess.run([ZELSIM, "run", "--fast", "--board", board, "--", ZELCTL, "report", *options, "-o", "-"], capture_output=True, check=True)
    with tarfile.open(fileobj=io.BytesIO(gzip.decompress(done.stdout)), mode="r:") as archive:
        files = {name.split("/", 1)[1]: archive.extractfile(name).read() for name in archive.getnames()}
    return done.stdout, json.loads(files.pop("report.json")), files


def twin_of_a_report():
    make("site", [*SETUP, "plug 16 copper", "plug 17 copper-other-phy", "plug 18 copper", "plug 27 dac", "plug 0 1g-lx", "set link 16 100 half", "set link 17 10 full", "set tx-fault 3 1", "set reset-key 1", "set reset-process 3",
                  "set supply 1 failed", "set clock 2031-02-03T12:05:06", "set link 18 down", "set io 0x5a 0xf0", "set busy 0"])
    for step in ("led set alarm blink", "led set speed25 on", "relay set 1", "flags set diagnostic on", "cage 16 --tx-disable off", "cage 17 --tx-disable off", "cage 18 --tx-disable off",
                 "clock poll", "temperature", "register set 0x20300 0x100", "env set pwrmode pwr2ac", "identity name EDGE-1", "identity describe at-the-gate", "identity power-byte 3",
                 "mac-backup set 00:11:22:33:44:55", "flash write I1 caller --yes", "i2c write 0x4c 3 21", "i2c write 0x4c 5 15"):
        zelsim("run", "--fast", "--board", "site", "--", ZELCTL, *step.split())
    for words in "7 2 f141", "7 3 ffff":
        zelsim("run", "--fast", "--board", "site", "--", "debugCmd", "phy_register_set", *words.split())
    archive, original, files = report_of("site", "--flash")
    open("site.tar.gz", "wb").write(archive)
    data = json.loads(zelsim("create", "twin", "--from", "site.tar.gz", "--json").stdout)
    assert (data["board"], data["modules"], data["flash"]) == ("twin", 8, True), data
    named = {row["what"] for row in data["not_held"]}
    assert named >= {"serial-GPIO chain", "wear of the flash"} and not [what for what in named if "expander" in what or "PHY register" in what], named
    _, twin, files_of_twin = report_of("twin", "--flash")
    clocks = [time.mktime(time.strptime(report["clock"]["chip"]["time"], "%Y-%m-%dT%H:%M:%S")) for report in (original, twin)]
    assert 0 <= clocks[1] - clocks[0] < 120, clocks
    for report in original, twin:
        for key in "time", "registers", "host_time":
            report["clock"]["chip"][key] = None
        report["created"] = None
    for key in original:
        unnamed = original[key] == twin[key] or (key == "modules" and "PHY of the module" in str(named))
        assert unnamed, (key, original[key], twin[key])
    rows = [[row for row in report["modules"] if row["port"] in (16, 17, 18)] for report in (original, twin)]
    assert rows[0] == rows[1], rows
    assert zelsim("get", "links.17.phy", "--board", "twin").stdout == "other\n"
    del files["summary.txt"], files_of_twin["summary.txt"]
    assert files == files_of_twin
    assert os.stat(f"{os.environ['ZELSIM_HOME']}/twin/flash.inverted").st_blocks * 512 < 0x200000  # erased sectors take no room
    # Modules that were dark have usual values with light; the twin's own names are those of the catalogue.
    def optics(board):
        return {row["port"]: (row["bias"], row["tx_power"], row["rx_power"]) for row in json.loads(
            zelsim("show", "--board", board, "--json").stdout)["diagnostics"]}
    assert "port 0: bias of the laser that is on" in named and any("settle" in what for what in named), named
    assert {"what": "port 24: received power", "why": "there was no light; it gets a usual value"} in data["not_held"]
    assert optics("twin") == optics("site") and optics("twin")[3][0] == 0
    for board in "site", "twin":
        zelsim("run", "--fast", "--board", board, "--", ZELCTL, "cage", "3", "--tx-disable", "off")
        for step in "set tx-fault 3 0", "set loss-of-signal 24 0":
            zelsim(*step.split(), "--board", board)
    lit = optics("twin")
    assert lit == optics("site") and lit[3][:2] == (5.4, -5.2) and lit[24][2] == -3.1, lit
    assert [zelsim("get", f"cages.{port}.module", "--board", "twin").stdout.strip() for port in (3, 16, 27)] == ["1g-sx", "copper", "dac"]
    # Without the flash its regions are named; the environment is there. An existing board stays.
    small = subprocess.run([ZELSIM, "run", "--fast", "--board", "site", "--", ZELCTL, "report", "-o", "small.tar.gz"], capture_output=True)
    assert small.returncode == 0
    data = json.loads(zelsim("create", "twin2", "--from", "small.tar.gz", "--json").stdout)
    named = {row["what"] for row in data["not_held"]}
    assert data["flash"] is False
    assert "flash region Image 1" in named and not {"flash region Custom info", "flash region Mac Address Backup"} & named, named
    twin = report_of("twin2")[1]
    assert all(twin[part] == original[part] for part in ("identity", "mac_backup"))
    assert zelsim("run", "--fast", "--board", "twin2", "--", ZELCTL, "env", "get", "pwrmode").stdout.strip().endswith("pwr2ac")
    assert "exists already" in zelsim("create", "twin2", "--from", "small.tar.gz", status=1).stderr
    open("cut.tar.gz", "wb").write(archive[:5000])
    assert "compressed file is cut off" in zelsim("create", "cut", "--from", "cut.tar.gz", status=2).stderr
    # What no board can have, or what the virtual switch cannot hold, is left out, and the rest is built.
    modules = {row["port"]: row for row in original["modules"]}
    modules[27]["a2"] = modules[24]["a2"]  # of a module that has no diagnostics
    for old, new in (3, 28), (5, 9), (24, -1):
        modules[old]["port"] = new
    files[modules[27]["a0"]] = files[modules[27]["a0"]][:20] + b"OTHER".ljust(16) + files[modules[27]["a0"]][36:]
    original |= {"power_status": 256, "relay": 256, "slots": [{"slot": 0, "type": 2}, {}, *original["slots"]]}
    original["flash"]["content"] = None  # its file is there, but nothing says what it is
    original["flash"]["jedec_id"] = "20ba20"
    original["identity"]["power_byte"] = 256
    original["switch_phys"][0] |= {"port": 8, "register": 2, "debugCmd": "no answer"}
    original["supplies"][0]["conf"] = 3
    original["leds"][1]["value"] = 256
    original["leds"] += [{"led": "none", "value": 1}, {"value": 1}]
    original["mac_backup"]["bytes"] += "00"
    original["modules"].append({**modules[16], "port": 28})
    modules[16]["phy"].append({"register": 2, "value": 65536})
    next(row for row in original["expanders"] if row["address"] == 0x4c)["registers"][1:] = [None] * 7
    next(row for row in modules[16]["phy"] if row["register"] == 5)["value"] ^= 1
    next(row for row in original["expanders"] if row["address"] == 0x40)["registers"][0] = 256

    def board_of(name):
        with tarfile.open(f"{name}.tar.gz", "w:gz") as made:
            for file, content in [*files.items(), ("report.json", json.dumps(original).encode())]:
                member = tarfile.TarInfo(f"zelboard-report/{file}")
                member.size = len(content)
                made.addfile(member, io.BytesIO(content))
        data = json.loads(zelsim("create", name, "--from", f"{name}.tar.gz", "--json").stdout)
        return data, {row["what"] for row in data["not_held"]}

    data, named = board_of("wrong")
    assert (data["modules"], data["flash"]) == (5, False)
    assert named >= {"supply 1", "port 27: page A2h", "flash chip 20ba20", "PHY of switch port 8, register 2", "port 16: PHY register 5"} and not {"power status", "expander 0x40, register 0", "port 16: PHY register 2"} & named, data
    report = report_of("wrong")[1]
    assert report["identity"]["power_byte"] == 255 and not report["mac_backup"]["stored"]
    shown = json.loads(zelsim("show", "--board", "wrong", "--json").stdout)
    assert [(cage["port"], cage["module"]) for cage in shown["cages"] if cage["module"]] == [
        (0, "1g-lx"), (16, "copper"), (17, "copper-other-phy"), (18, "copper"), (27, "ZL-10G-DAC-1M")], shown["cages"]
    assert (shown["panel"]["alarm"], shown["panel"]["speed_25"], shown["panel"]["relay"]) == (0, 1, 0), shown["panel"]
    assert (shown["gpio"]["selected_cage"], shown["i2c"]["io"]) == (27, [0x5a, 0xff]), shown
    assert [(supply["type"], supply["good"]) for supply in shown["supplies"]] == [("ac", True), ("dc", True)], shown["supplies"]
    # A chip that nobody could ask is no other one.
    original["flash"]["jedec_id"] = None
    named = board_of("unread")[1]
    assert not any("flash chip" in what for what in named), named


with tempfile.TemporaryDirectory() as home, tempfile.TemporaryDirectory() as work, tempfile.TemporaryDirectory() as temporary:
    os.environ |= {"ZELSIM_HOME": home, "TMPDIR": temporary, "PATH": f"{BUILD}/bin:{os.environ['PATH']}"}
    tempfile.tempdir = temporary
    os.chdir(work)
    run("cc", "-O1", "-Wall", "-Werror", "-pthread", f"{HERE}/twin/caller.c", "-o", "caller")
    run("cc", "-O1", "-shared", "-fPIC", f"{HERE}/twin/other_drivers.c", "-o", "other_drivers.so", "-ldl")
    for part in sys.argv[2:] or ("what_is_recorded", "what_is_left_running", "what_is_refused", "what_is_cut_off", "what_the_model_answers", "what_a_recording_answers", "what_is_the_same_request",
                                 "other_drivers", "what_others_read", "twin_of_a_report"):
        globals()[part]()
