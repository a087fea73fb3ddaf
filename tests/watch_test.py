#!/usr/bin/env python3
"""Monitor and metrics tell what happens on a board, and nothing else: watch_test.py BUILD."""
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
from datetime import datetime, timezone

BIN = f"{sys.argv[1]}/bin/"
SILENT, ANSWERS = ("answers", "does not answer"), ("does not answer", "answers")
BUS, SLOTS = ("10G cages", "slot 1", "temperature"), ("slot 1", "slot 2", "slot 3")
# What somebody does to the board, and the events that it makes: subject, old, new.
DEEDS = [
    # Silent at the first look: what it answers first is nothing new.
    ("heal", [("power alarm", *ANSWERS)]),
    ("set supply 2 ac", [("power alarm", "on", "off"), ("supply 2", "failed", "ac")]),
    ("unplug 3", [("port 3 module", "in", "out")]),
    ("plug 3 1g-lx", [("port 3 module", "out", "in"), ("port 3 transmitter", "absent", "off")]),
    ("set rx-power 24 -11", [("port 24 rx power", "normal", "low warning")]),
    ("set rx-power 24 2.5", [("port 24 rx power", "low warning", "high alarm")]),
    ("set module-temperature 24 76", [("port 24 temperature", "normal", "high warning")]),
    ("set rx-power 24 -3", [("port 24 rx power", "high alarm", "normal")]),
    ("set bias 24 1", []),  # the transmitter is off
    ("set los 24 1", [("port 24 light", "ok", "lost"), ("port 24 rx power", "normal", "low alarm")]),
    ("set temperature 79.5", []),
    ("set temperature 80", [("temperature", "normal", "hot")]),
    ("set temperature 75.5", []),
    ("set temperature 74.5", [("temperature", "hot", "normal")]),
    ("set supply 2 failed", [("power alarm", "off", "on"), ("supply 2", "ac", "failed")]),
    ("set los 24 0", [("port 24 light", "lost", "ok"), ("port 24 rx power", "low alarm", "normal")]),
    # The module's low warning is -9.9 dBm. The value is back only when it is back by a margin.
    ("set rx-power 24 -9.92", [("port 24 rx power", "normal", "low warning")]),
    ("set rx-power 24 -9.6", []),
    ("set rx-power 24 -9", [("port 24 rx power", "low warning", "normal")]),
    # So are a temperature by a degree, and a voltage by a hundredth.
    ("set module-temperature 24 81", [("port 24 temperature", "high warning", "high alarm")]),
    ("set module-temperature 24 79.1", []),
    ("set module-temperature 24 78.9", [("port 24 temperature", "high alarm", "high warning")]),
    ("set module-temperature 24 74.1", []),
    ("set module-temperature 24 -5.5", [("port 24 temperature", "high warning", "low warning")]),
    ("set module-temperature 24 -10.5", [("port 24 temperature", "low warning", "low alarm")]),
    ("set module-temperature 24 -9.1", []),
    ("set module-temperature 24 -8.9", [("port 24 temperature", "low alarm", "low warning")]),
    ("set module-temperature 24 -4.1", []),
    ("set module-temperature 24 -3.9", [("port 24 temperature", "low warning", "normal")]),
    ("set voltage 24 3.12", [("port 24 voltage", "normal", "low warning")]),
    ("set voltage 24 3.16", []),
    ("set voltage 24 3.48", [("port 24 voltage", "low warning", "high warning")]),
    ("set voltage 24 3.437", []),
    ("set voltage 24 3.43", [("port 24 voltage", "high warning", "normal")]),
    # The margin is at most a quarter of the distance between the thresholds, which is 2 degrees here.
    ("set module-temperature 25 31.9", [("port 25 temperature", "high warning", "low warning")]),
    ("set module-temperature 25 32.45", []),
    ("set module-temperature 25 32.6", [("port 25 temperature", "low warning", "normal")]),
    ("set tx-power 25 5", [("port 25 tx power", "low alarm", "high alarm")]),
    ("unplug 25", [("port 25 module", "in", "out")]),
    ("plug 25 narrow", [("port 25 module", "out", "in"), ("port 25 temperature", "absent", "high warning"),
                        ("port 25 bias", "absent", "low alarm"), ("port 25 tx power", "absent", "low alarm")]),
    ("fail i2c:BufRead@0xa2", [(f"port {port} diagnostics", *SILENT) for port in (24, 25, 3)]),
    ("heal", [(f"port {port} diagnostics", *ANSWERS) for port in (24, 25, 3)]),
    ("fail i2c:BufRead --result busy", [(source, *SILENT) for source in BUS]),
    ("unplug 24", []),
    ("heal", [("port 24 module", "in", "out"), *((source, *ANSWERS) for source in BUS)]),
    ("fail flash:read", [("power alarm", *SILENT)]),
    ("heal", [("power alarm", *ANSWERS)]),
    ("fail i2c:GetBoardAlive", [(slot, *SILENT) for slot in SLOTS]),
    ("heal", [(slot, *ANSWERS) for slot in SLOTS]),
]
# A fault, the driver that is down then, a sample that must be missing and one that must not.
FAULTS = [
    ("i2c:open", "i2c", "zelboard_port_module_present", "zelboard_power_alarm 0"),
    ("i2c:BufRead@0x9e --result busy", "i2c", "zelboard_temperature_celsius", 'zelboard_port_module_present{port="3"} 1'),
    ("gpio:open", "gpio", "zelboard_power_alarm", 'zelboard_up{driver="flash"} 1'),
    ("gpio:GetAlarmLed", "gpio", 'led="alarm"', 'led="system"'),
    ("gpio:GetSocRegister", "gpio", 'zelboard_port_loss_of_signal{port="24"}', 'zelboard_port_loss_of_signal{port="3"}'),
    ("gpio:SelectCage", "gpio", "zelboard_sfp_info", 'zelboard_port_module_present{port="3"} 1'),
    ("flash:read", "flash", "zelboard_power_alarm", "zelboard_led_state"),
]


def zelsim(words):
    subprocess.run([f"{BIN}zelsim", *words.split()], check=True, stdout=subprocess.DEVNULL)


def on_switch(*words, **how):
    return subprocess.Popen([f"{BIN}zelsim", "run", *words], stdout=subprocess.PIPE, text=True, **how)


def metrics(*options):
    return on_switch("--fast", *options, "--", f"{BIN}zelctl", "metrics").communicate()[0]


def next_event(watcher):
    event = json.loads(watcher.stdout.readline())
    age = datetime.now(timezone.utc) - datetime.fromisoformat(event["time"])
    assert abs(age.total_seconds()) < 3600 and event["time"][-5] == ".", event
    which = re.match("(port|slot|supply) ([0-9]+)", event["subject"])
    assert not which or event[which[1]] == int(which[2]), event
    assert event["new"] != "does not answer" or event["detail"].startswith("FW_"), event
    return event


with tempfile.TemporaryDirectory() as folder:
    os.environ["ZELSIM_HOME"] = folder
    os.chdir(folder)
    for deed in ("create --slots sfp,copper,none", "plug 3 1g-sx", "plug 24 10g-sr"):
        zelsim(deed)
    # Modules that do not answer make no fault of the bus: other chips answer there.
    zelsim("fail i2c:BufRead@0xa2")
    text = metrics()
    for line in 'up{driver="i2c"} 1', 'subsystem_success{subsystem="slot 1"} 1', 'sfp_success{port="3"} 0':
        assert f"zelboard_{line}\n" in text, (line, text)
    zelsim("heal")
    for rule, driver, missing, there in FAULTS:
        zelsim(f"fail {rule}")
        text = metrics()
        assert f'zelboard_up{{driver="{driver}"}} 0' in text and missing not in text and there in text, (rule, text)
        zelsim("heal")
    text = metrics(f"--trace={folder}/trace")
    assert len(re.findall(r"^zelboard_up.* 1$", text, re.M)) == 3 and text.endswith("# EOF\n"), text
    for line in open(f"{folder}/trace", encoding="utf-8"):
        assert re.search("^pause| Get| SelectCage | BufRead | SelectLowerSegment | read | lseek ", line), f"watching writes: {line}"
    if shutil.which("promtool"):
        check = subprocess.run(["promtool", "check", "metrics"], input=text, text=True, capture_output=True)
        assert check.returncode == 0 and not check.stderr + check.stdout, check

    # A board on which one driver answers is watched; without any there is nothing to watch.
    for rule, status in ("i2c:open", 0), ("gpio:open", 0), ("any:open", 1):
        zelsim(f"fail {rule}")
        watcher = on_switch("--fast", "--", f"{BIN}zelctl", "monitor", "--for", "1", stderr=subprocess.DEVNULL)
        watcher.communicate()
        assert watcher.returncode == status, (rule, watcher.returncode)
        zelsim("heal")

    on_switch("--fast", "--", f"{BIN}zelctl", "sfp", "dump", "24", "-o", "narrow").wait()
    with open("narrow", "r+b") as file:
        file.seek(256 + 4)  # the thresholds of the temperature's warnings
        file.write(bytes([34, 0, 32, 0]))
        file.seek(93)
        file.write(b"\x80")  # it has limits, and no bit that tells whether its laser is off
    zelsim("plug 25 narrow")
    zelsim("run --fast -- " + f"{BIN}zelctl cage 25 --tx-disable off")
    zelsim("set supply 2 failed")
    zelsim("fail flash:read")
    words = ("--fast", "--", f"{BIN}zelctl", "monitor", "--json", "--interval", "20", "--initial")
    watcher = on_switch(*words, env={**os.environ, "TZ": "UTC-5"})
    patience = threading.Timer(120, watcher.kill)  # an event that never comes ends the test
    patience.daemon = True
    patience.start()
    while next_event(watcher)["new"] != "does not answer":  # the last one of the first look
        pass
    for deed, expected in DEEDS:
        zelsim(deed)  # perhaps in the middle of a round: then this round and the next one tell what it changes
        told = []
        # A deed that makes no event needs a whole round that tells none: two more deeds are told after it.
        marks = [] if expected else ["dc", "ac"]
        for mark in marks:
            zelsim(f"set supply 1 {mark}")
            while (event := next_event(watcher))["subject"] != "supply 1":
                told.append((event["subject"], event["old"], event["new"]))
        while len(told) < len(expected):
            event = next_event(watcher)
            # If a module is pulled in the middle of a round, its lines are told before.
            is_line = deed.startswith("unplug") and event["event"] != "port-module"
            if not is_line:
                told.append((event["subject"], event["old"], event["new"]))
        assert sorted(told) == sorted(expected), (deed, told)
    patience.cancel()
    watcher.send_signal(signal.SIGTERM)
    rest = watcher.communicate()[0]
    assert rest == "" and watcher.returncode == 0, (rest, watcher.returncode)

    reader_gone = on_switch(*words)
    reader_gone.stdout.readline()
    reader_gone.stdout.close()
    assert reader_gone.wait() == 0, reader_gone.returncode
