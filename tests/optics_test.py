#!/usr/bin/env python3
"""Digital diagnostics from the module to the tools: optics_test.py BUILD. The virtual switch writes page A2h and the tools read
it; each has its own code for SFF-8472."""
import fcntl
import json
import os
import pty
import re
import struct
import subprocess
import sys
import tarfile
import tempfile
import termios

BIN = f"{sys.argv[1]}/bin/"
INTERNAL, EXTERNAL, NONE = 24, 25, 26
# What is set, its value, where it shows in `sfp dom --json`, and by how much it may differ there.
VALUES = [
    ("module-temperature", "-3.5", "temperature_celsius", 0.01),
    ("module-temperature", "71.25", "temperature_celsius", 0.01),
    ("voltage", "3.28", "voltage_volts", 0.0002),
    ("bias", "6.1", "bias_milliamperes", 0.004),
    ("tx-power", "-4.75", "tx_power_dbm", 0.01),
    ("rx-power", "-14.25", "rx_power_dbm", 0.02),
    ("rx-power", "0.5", "rx_power_dbm", 0.01),
]
# Values beyond the limits on both sides, and one within them.
EXTREMES = [("module-temperature", -60, 40, 110, "temperature"), ("voltage", 2, 3.3, 4.5, "voltage"), ("bias", 0.2, 6, 100, "bias"),
            ("tx-power", -30, -3, 7, "tx_power"), ("rx-power", -35, -3, 7, "rx_power")]
# One line each, with the text.
REFUSALS = [
    ("rx-power 24 9", "VALUE: '9' is not from -40 to 8.16"),
    ("rx-power 24 -40.1", "VALUE: '-40.1' is not from -40"),
    ("module-temperature 24 127.997", "VALUE: '127.997' is not from -128 to 127.996"),
    ("bias 24 -1", "VALUE: '-1' is not from 0 to 131.07"),
    ("voltage 24 three", "VALUE: 'three' is not a number"),
    ("voltage 26 3.3", "PORT: the module in port 26 has no diagnostics"),
    ("voltage 27 3.3", "PORT: 27 has no module"),
]


def run(*words, status=0, data=None):
    done = subprocess.run(words, input=data, capture_output=True)
    assert done.returncode == status, (words, done)
    return done.stdout if status == 0 else done.stderr.decode()


def zelsim(words, **how):
    return run(f"{BIN}zelsim", *words.split(), **how)


def zelctl(words, **how):
    return run(f"{BIN}zelsim", "run", "--fast", "--", f"{BIN}zelctl", *words.split(), **how)


def dom(port):
    return json.loads(zelctl(f"sfp dom {port} --json"))


def measured(port, quantity):
    return next(row for row in dom(port)["measured"] if row["quantity"] == quantity)


def on_terminal(width, words, status=0):
    """What a command prints on a terminal of this width, without colours; and whether it had any."""
    master, slave = pty.openpty()
    fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 50, width, 0, 0))
    program = [f"{BIN}zelsim", "run", "--fast", "--", f"{BIN}zelctl", *words.split()]
    done = subprocess.Popen(program, stdout=slave, stderr=slave if status else None, env={**os.environ, "TERM": "xterm"})
    os.close(slave)
    text = b""
    try:
        while piece := os.read(master, 65536):
            text += piece
    except OSError:  # the terminal's other end is closed
        pass
    assert done.wait() == status, (words, text)
    plain = re.sub(r"\033\[[0-9;]*m", "", text.decode()).replace("\r", "")
    return plain, "\033[3" in text.decode()


def check_values():
    for port in INTERNAL, EXTERNAL:
        assert dom(port)["checksum"].endswith("correct"), port
        for verb, said, key, near in VALUES:
            zelsim(f"set {verb} {port} {said}")
            assert abs(dom(port)[key] - float(said)) <= near, (port, verb, said, dom(port)[key])
    assert (dom(INTERNAL)["calibration"], dom(EXTERNAL)["calibration"]) == ("internal", "external")
    for row in dom(INTERNAL)["measured"], dom(EXTERNAL)["measured"]:
        for one in row:
            assert one["low_alarm"] < one["low_warning"] < one["high_warning"] < one["high_alarm"], one
    for words, text in REFUSALS:
        status = 1 if text.startswith("PORT") else 2
        told = zelsim(f"set {words}", status=status)
        assert text in told and told.count("\n") == 1, (words, told)


def check_signals():
    """Light and transmitter of a cage, seen in the module; the module's own bit switches its laser, too."""
    for port in INTERNAL, EXTERNAL:
        zelctl(f"cage {port} --tx-disable off")
        assert dom(port)["bias_milliamperes"] > 1 and dom(port)["tx_disable"] is False
        for switch_off, key, switch_on in [
                (lambda: zelctl(f"cage {port} --tx-disable on"), "tx_disable",
                 lambda: zelctl(f"cage {port} --tx-disable off")),
                (lambda: zelctl("i2c write 0xa2 110 0x40"), "soft_tx_disable",
                 lambda: zelctl("i2c write 0xa2 110 0")),
                (lambda: zelsim(f"set txfault {port} 1"), "tx_fault", lambda: zelsim(f"set txfault {port} 0"))]:
            switch_off()
            off = dom(port)
            assert off[key] is True and off["bias_milliamperes"] < 0.01 and off["tx_power_dbm"] == -40, (port, off)
            switch_on()
            assert dom(port)[key] is False and dom(port)["tx_power_dbm"] > -10
        zelsim(f"set los {port} 1")
        assert dom(port)["rx_los"] is True and dom(port)["rx_power_dbm"] == -40
        zelsim(f"set los {port} 0")
        assert dom(port)["rx_los"] is False and dom(port)["rx_power_dbm"] > -40


def check_flags():
    """A flag stays until it is read, and comes again while its condition lasts."""
    zelsim(f"set rx-power {INTERNAL} -3")
    dom(INTERNAL)
    zelsim(f"set rx-power {INTERNAL} -30")
    for _ in range(2):
        row = measured(INTERNAL, "rx_power")
        assert (row["state"], row["flags"]) == ("low alarm", ["low alarm", "low warning"]), row
    zelsim(f"set rx-power {INTERNAL} -3")
    assert b"rx_power_low" in zelsim(f"get diagnostics.{INTERNAL}.alarms"), "a look from outside clears nothing"
    row = measured(INTERNAL, "rx_power")
    assert (row["state"], row["flags"]) == ("normal", ["low alarm", "low warning"]), row
    assert measured(INTERNAL, "rx_power")["flags"] == []
    # A value that was beyond a limit for a moment has left its flags, although nobody looked.
    for verb, low, within, high, quantity in EXTREMES:
        for side, value in ("low", low), ("high", high):
            zelsim(f"set {verb} {INTERNAL} {within}")
            dom(INTERNAL)
            zelsim(f"set {verb} {INTERNAL} {value}")
            zelsim(f"set {verb} {INTERNAL} {within}")
            row = measured(INTERNAL, quantity)
            assert (row["state"], row["flags"]) == ("normal", [f"{side} alarm", f"{side} warning"]), row


def check_memory():
    """Only the user's memory and the control bits take writes, and a write that goes beyond changes nothing."""
    zelctl(f"sfp dom {INTERNAL}")
    zelctl("i2c write 0xa2 128 1 2 3")
    zelctl("i2c write 0xa2 247 9 9", status=1)
    zelctl("i2c write 0xa2 96 1", status=1)
    page = zelctl(f"sfp dump {INTERNAL} --page a2 --raw")
    assert page[128:131] == b"\1\2\3" and page[247] == 0 and len(page) == 256


def rows_from_0(page):
    return "".join(f"{at:08x}  {page[at:at + 16].hex(' ')}\n" for at in range(0, 256, 16)) + "00000100\n"


def i2cdump(page):
    rows = "".join(f"{at:02x}: {page[at:at + 16].hex(' ')}    deadbeefdeadbeef\n" for at in range(0, 256, 16))
    return "     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f    0123456789abcdef\n" + rows


def check_dumps(folder):
    """A dump can be plugged, and the module is then the same."""
    for port in INTERNAL, EXTERNAL:
        both = zelctl(f"sfp dump {port} --raw")
        lines = zelctl(f"sfp dump {port} --hex").decode()
        assert len(both) == 512 and lines.startswith("Offset\t\tValues\n------\t\t------\n0x0000:\t\t03 04 07 ")
        assert "\n0x01f0:\t\t" in lines and bytes.fromhex("".join(re.findall(r":\t\t(.*) \n", lines))) == both
        before = dom(port)
        for name, content in ("raw", both), ("hex", lines.encode()), ("table", zelctl(f"sfp dump {port}")):
            path = f"{folder}/{name}"
            with open(path, "wb") as file:
                file.write(content)
            zelsim(f"plug {port} {path}")
            after = dom(port)
            assert {**after, "port": port} == before, (name, before, after)
    assert len(zelctl(f"sfp dump {NONE} --raw")) == 256
    assert "no digital diagnostics" in zelctl(f"sfp dump {NONE} --page a2", status=1)
    assert "no digital diagnostics" in zelctl(f"sfp dom {NONE}", status=1)
    both = zelctl(f"sfp dump {INTERNAL} --raw")
    with open(f"{folder}/page", "wb") as file:
        file.write(zelctl(f"sfp dump {INTERNAL} --page a2 --hex"))
    assert "page A2h alone" in zelsim(f"plug 27 {folder}/page", status=2)
    a0, a2 = both[:256], both[256:]
    for name, content in [("two tables", rows_from_0(a0) + rows_from_0(a2)), ("two tables of i2cdump", i2cdump(a0) + i2cdump(a2))]:
        with open(f"{folder}/page", "wb") as file:
            file.write(content.encode())
        zelsim(f"plug {INTERNAL} {folder}/page")
        assert zelctl(f"sfp dump {INTERNAL} --raw") == both, name
    equal = bytearray(a2[:2] * 4 + a2[8:])  # one limit stands for all four of the temperature
    equal[95] = sum(equal[:95]) & 0xFF
    words = "".join(f"{at:07x}" + "".join(f" {low + 256 * high:04x}" for low, high in zip(a0[at:at + 16:2], a0[at + 1:at + 16:2])) + "\n"
                    for at in range(0, 256, 16))
    for content, text in [(a2, "page A2h alone"), (equal, "page A2h alone"), (a2[:128], "page A2h alone"), (a2.hex().encode(), "page A2h alone"),
                          (words.encode(), "words instead of bytes")]:
        with open(f"{folder}/page", "wb") as file:
            file.write(content)
        assert text in zelsim(f"plug 27 {folder}/page", status=2), text
    zelsim("fail i2c:BufRead@0xa2")
    told = zelctl(f"sfp dump {INTERNAL} --raw -o {folder}/a0", status=1)
    assert "page A2h is missing" in told and open(f"{folder}/a0", "rb").read() == both[:256], told
    zelsim("heal")
    for size, status in (128, 1), (256, 1), (512, 0):
        with open(f"{folder}/page", "wb") as file:
            file.write(both[:size])
        zelsim(f"plug 27 {folder}/page")
        zelctl("sfp dom 27", status=status)


def check_unknown(path):
    """Constants that are no numbers: no tool tells a power that was computed with them."""
    pages = bytearray(zelctl(f"sfp dump {EXTERNAL} --raw"))
    pages[256 + 72:256 + 76] = b"\x7f\xc0\0\0"  # Rx_PWR(0)
    with open(path, "wb") as file:
        file.write(pages)
    zelsim(f"plug 27 {path}")
    row = measured(27, "rx_power")
    assert (row["value"], row["state"], row["low_alarm"]) == (None, "unknown", None), row
    shown = next(row for row in json.loads(zelsim("show --json"))["diagnostics"] if row["port"] == 27)
    assert (shown["rx_power"], shown["calibration"]) == (None, "external"), shown
    assert dom(27)["rx_power_dbm"] is None and "unknown" in zelctl("sfp dom 27").decode()
    text = zelctl("metrics").decode()
    assert 'zelboard_sfp_bias_amperes{port="27"}' in text and 'zelboard_sfp_rx_power_watts{port="27"}' not in text
    assert b"27 rx power" not in zelctl("monitor --initial --for 1")
    # An offset that is a little too low is no negative power.
    pages[256 + 72:256 + 76] = struct.pack(">f", -20)
    pages[256 + 104:256 + 106] = struct.pack(">H", 1)
    with open(path, "wb") as file:
        file.write(pages)
    zelsim(f"plug 27 {path}")
    assert (dom(27)["rx_power_milliwatts"], dom(27)["rx_power_dbm"]) == (0, -40), dom(27)
    assert 'zelboard_sfp_rx_power_watts{port="27"} 0\n' in zelctl("metrics").decode()
    zelsim("unplug 27")


def check_other_modules(path):
    """Constants and options that no module of the catalogue has."""
    pages = bytearray(zelctl(f"sfp dump {EXTERNAL} --raw"))
    pages[93] &= ~0x20  # no soft report of a transmit fault
    pages[256 + 84:256 + 86] = b"\0\x80"  # half a unit of temperature a count
    pages[256 + 111:256 + 120] = b"\xff" * 9  # the flags, and what is beside them
    with open(path, "wb") as file:
        file.write(pages)
    zelsim(f"plug 27 {path}")
    zelsim("set tx-fault 27 1")
    zelsim("set module-temperature 27 41.5")
    assert abs(measured(27, "temperature")["value"] - 41.5) < 0.01, dom(27)
    assert dom(27)["tx_fault"] is None, dom(27)
    told = zelctl("sfp dump 27 --page a2 --raw")
    assert (told[111], told[114:116], told[118:120]) == (0xff, b"\xff\xff", b"\xff\xff") and told[112] != 0xff, told[111:120]
    # A receiver whose power rises ever more slowly with the word, and one whose power falls again.
    for constants, values in ((1e-15, -1e-11, -1e-6, 0.25, 1), (-3, -12.5)), ((0, 0, -1e-5, 0.5, 5000), (-2.1, -12.5)):
        struct.pack_into(">5f", pages, 256 + 56, *constants)
        with open(path, "wb") as file:
            file.write(pages)
        zelsim(f"plug 27 {path}")
        for said in values:
            zelsim(f"set rx-power 27 {said}")
            assert abs(measured(27, "rx_power")["value"] - said) < 0.02, (constants, said, dom(27))
    zelsim("unplug 27")


def check_without_values(path):
    """A module that is not ready, and one that wants its address changed: all say so, and nobody tells values."""
    for at, value, said, alone in ((256 + 110, 0x01, "not ready", "the module's values are not ready yet\n"),
                                   (92, 0x6C, "address change", "need an address change")):
        pages = bytearray(zelctl(f"sfp dump {INTERNAL} --raw"))
        pages[at] = value
        with open(path, "wb") as file:
            file.write(pages)
        zelsim(f"plug 27 {path}")
        row = next(row for row in json.loads(zelctl("sfp dom --json")) if row["port"] == 27)
        assert (row["diagnostics"], row["temperature_celsius"], row["alarms"]) == (said, None, []), row
        assert 'temperature_celsius{port="27"}' not in zelctl("metrics").decode(), said
        told = zelctl("sfp dom 27", status=1 if said == "address change" else 0)
        assert alone in (told if isinstance(told, str) else told.decode()), told
        zelsim("fail debugCmd")  # which a report starts 78 times
        assert f"{path}.tgz" in on_terminal(80, f"report -o {path}.tgz")[0]
        zelsim("heal")
        with tarfile.open(f"{path}.tgz") as archive:
            name = next(name for name in archive.getnames() if name.endswith("summary.txt"))
            line = re.search(r"(?m)^27 +ZELSIM.*", archive.extractfile(name).read().decode())[0]
        assert ("not ready" if said == "not ready" else "not read") in line and "low alarm" not in line, line
    assert "nothing for a terminal" in on_terminal(80, "report -o -", status=2)[0]
    zelsim("unplug 27")


def check_pictures():
    for width in 40, 80, 200:
        for words in f"sfp dom {EXTERNAL}", "sfp dom":
            text, coloured = on_terminal(width, words)
            assert max(map(len, text.split("\n"))) <= width, (width, text)
            assert coloured == words.endswith(str(EXTERNAL)), text
        assert len(re.findall(r"\[[-=#]*O[-=#]*\]", on_terminal(width, f"sfp dom {EXTERNAL}")[0])) == 5
    for width, places in (200, 72), (76, 33), (75, 73), (21, 19), (19, 18), (10, 18):
        bars = re.findall(r"\[[-=#O]+\]", on_terminal(width, f"sfp dom {EXTERNAL}")[0])
        assert [len(each) - 2 for each in bars] == [places] * 5, (width, bars)
    for width, most in (80, 16), (79, 8), (48, 8), (47, 4):
        text = on_terminal(width, "flash read 0x200000 16")[0]
        assert text.startswith("00200000 " + " ff" * most + "  |"), (width, text)
    zelsim(f"set module-temperature {EXTERNAL} 90")
    bar = re.search(r"\[(.*)\]", on_terminal(80, f"sfp dom {EXTERNAL}")[0])[1]
    assert re.fullmatch("#+=+-+=+#*O#*", bar), bar


with tempfile.TemporaryDirectory() as home:
    os.environ["ZELSIM_HOME"] = home
    for deed in ("create", f"plug {INTERNAL} 10g-sr", f"plug {EXTERNAL} 1g-sx", f"plug {NONE} dac"):
        zelsim(deed)
    for port_on in INTERNAL, EXTERNAL:
        zelctl(f"cage {port_on} --tx-disable off")
    check_values()
    check_signals()
    check_flags()
    check_memory()
    check_dumps(home)
    check_unknown(f"{home}/unknown")
    check_other_modules(f"{home}/other")
    check_without_values(f"{home}/without")
    check_pictures()
