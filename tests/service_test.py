#!/usr/bin/env python3
"""The monitor as a service: entries of the journal, a command for each event, and the unit: service_test.py BUILD."""
import itertools
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

BUILD = sys.argv[1]
ZELSIM, ZELCTL = f"{BUILD}/bin/zelsim", f"{BUILD}/bin/zelctl"
UNIT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../cmake/zelboard-monitor.service.in")
# What somebody does to the board, and fields of the entry that it makes.
DEEDS = [
    ("set supply 2 failed", "ZELBOARD_EVENT=power-alarm|ZELBOARD_NEW=on|PRIORITY=4"),
    ("set supply 2 none", "ZELBOARD_EVENT=supply|ZELBOARD_SUBJECT=supply 2|ZELBOARD_SUPPLY=2|ZELBOARD_OLD=failed|ZELBOARD_NEW=none|"
                          "MESSAGE=supply 2: failed -> none|PRIORITY=4|SYSLOG_IDENTIFIER=zelctl"),
    ("set supply 2 ac", "ZELBOARD_NEW=ac|MESSAGE=supply 2: none -> ac|PRIORITY=5"),
    ("set supply 2 failed", "ZELBOARD_NEW=failed|PRIORITY=4"),
    ("set rx-power 24 -30", "ZELBOARD_NEW=low alarm|PRIORITY=4"),
    ("set los 24 1", "ZELBOARD_EVENT=port-light|ZELBOARD_NEW=lost|PRIORITY=4"),
    ("run --fast -- " + ZELCTL + " relay set 1", "ZELBOARD_EVENT=relay|MESSAGE=relay: open -> closed|PRIORITY=5"),
    ("set reset-key 1", "ZELBOARD_EVENT=reset-key|MESSAGE=reset key: released -> pressed"),
    ("unplug 3", "ZELBOARD_EVENT=port-module|ZELBOARD_SUBJECT=port 3 module|ZELBOARD_PORT=3|ZELBOARD_NEW=out"),
    ("set temperature 81.5", "ZELBOARD_EVENT=temperature|ZELBOARD_NEW=hot|ZELBOARD_DETAIL=81.5 degrees|PRIORITY=4"),
    ("set rtc absent", "ZELBOARD_EVENT=clock|ZELBOARD_NEW=lost|PRIORITY=4"),
    ("set tx-fault 24 1", "ZELBOARD_EVENT=port-fault|ZELBOARD_NEW=yes|PRIORITY=4"),
    ("fail gpio:open", "ZELBOARD_EVENT=answer|ZELBOARD_NEW=does not answer|PRIORITY=4"),
]


def zelsim(words):
    subprocess.run([ZELSIM, *words.split()], check=True, stdout=subprocess.DEVNULL)


def monitor(*options, **how):
    return subprocess.Popen([ZELSIM, "run", "--fast", "--", ZELCTL, "monitor", "--interval", "20", *options],
                            **{"stderr": subprocess.PIPE, "text": True, **how})


def wait_for(what, condition):
    for _ in range(3000):
        if found := condition():
            return found
        time.sleep(0.02)
    sys.exit(f"no {what}")


def journal(folder):
    path = f"{folder}/journal"
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as listener:
        listener.bind(path)
        listener.settimeout(30)
        over, writer = os.pipe()
        os.close(writer)
        watcher = monitor("--journal", "--journal-socket", path, "--initial", stdin=over)  # an input at its end ends nothing
        os.close(over)
        while b"ZELBOARD_SUBJECT=port 24 rx power\n" not in listener.recv(4096):
            pass
        for deed, fields in DEEDS:
            zelsim(deed)
            wanted = set(fields.encode().split(b"|"))
            # More may be told: with a module its light goes, with a driver all that it was asked for.
            entry = set()
            while not wanted <= entry:
                entry = set(listener.recv(4096).split(b"\n"))
        zelsim("heal")
    zelsim("set supply 2 none")  # no journal takes this event
    line = watcher.stderr.readline()
    assert re.fullmatch(f"zelctl: --journal: {path}: Connection refused: [^:]+: .+ -> .+\n", line), line
    zelsim("set supply 2 ac")
    watcher.send_signal(signal.SIGTERM)
    watcher.communicate()
    assert watcher.returncode == 0, watcher.returncode
    os.unlink(path)
    refused = monitor("--journal", "--journal-socket", path)
    assert "--journal: " in refused.communicate()[1] and refused.returncode == 1


def commands(folder):
    script = f'env | grep ^ZELBOARD >>{folder}/env; echo "$ZELBOARD_MESSAGE" >>{folder}/done; test "$ZELBOARD_NEW" != ac || sleep 99'
    watcher = monitor("--exec", script, "--exec-limit", "1", "--initial", stdout=subprocess.PIPE,
                      env={**os.environ, "ZELBOARD_DETAIL": "of another event"})
    while "port 24 rx power" not in watcher.stdout.readline():
        pass
    open(f"{folder}/done", "w", encoding="utf-8").close()

    def lines():
        return open(f"{folder}/done", encoding="utf-8").read().splitlines()

    # Each supply's first event hangs, and is ended; what follows is run all the same.
    wait_for("event behind a command that hangs", lambda: any(line.startswith("port 24 transmitter") for line in lines()))
    zelsim("set supply 1 none")
    wait_for("event", lambda: "supply 1: ac -> none" in lines())
    environment = open(f"{folder}/env", encoding="utf-8").read()
    assert "another" not in environment, environment
    for field in "OLD=ac", "TROUBLE=yes", "TROUBLE=no":
        assert f"ZELBOARD_{field}\n" in environment, environment
    children = open(f"/proc/{watcher.pid}/task/{watcher.pid}/children", encoding="utf-8").read()
    assert len(children.split()) <= 1, children
    zelsim("set supply 1 ac")  # this one hangs while the monitor is told to end
    wait_for("event", lambda: "supply 1: none -> ac" in lines())
    watcher.send_signal(signal.SIGTERM)
    complaints = watcher.communicate(timeout=60)[1]
    assert watcher.returncode == 0 and "takes longer than 1 seconds" in complaints, (watcher.returncode, complaints)
    assert "ended on: supply 1: none -> ac" in complaints, complaints


def more_events_than_may_wait(folder):
    zelsim("save few")
    for port in range(8):
        zelsim(f"plug {port} 1g-sx")
    zelsim("save many")
    with open(f"{folder}/complaints", "w", encoding="utf-8") as complaints:
        watcher = monitor("--exec", "sleep 99", "--exec-limit", "86400", stdout=subprocess.DEVNULL, stderr=complaints)

    states = itertools.cycle(("few", "many"))

    # Opened anew each time: a position that the monitor shares would move where it writes.
    def said():
        return open(f"{folder}/complaints", encoding="utf-8").read()

    def too_many():
        # A load is refused if a request of the monitor takes long, as it may on a busy machine.
        subprocess.run([ZELSIM, "load", next(states)], stderr=subprocess.DEVNULL, check=False)
        return "zelctl: --exec: too many events wait: nothing is run on: " in said()

    wait_for("event too many", too_many)
    # The first signal waits for the command, another one ends it.
    wait_for("end", lambda: watcher.poll() is not None or watcher.send_signal(signal.SIGTERM))
    waited = said().count("zelctl: --exec: the monitor ends: nothing is run on: ")
    assert waited == 1000, waited


def rounds_that_outlast_their_interval():
    watcher = subprocess.Popen([ZELSIM, "run", "--", ZELCTL, "monitor", "--interval", "10", "--initial"],
                               stdout=subprocess.PIPE, text=True)
    watcher.stdout.readline()
    watcher.send_signal(signal.SIGTERM)
    watcher.communicate(timeout=60)
    assert watcher.returncode == 0, watcher.returncode


def unit(folder):
    if not shutil.which("systemd-analyze"):
        print("systemd-analyze is missing: the unit is not verified")
        return
    text = re.sub("@bin@", f"{BUILD}/bin", open(UNIT, encoding="utf-8").read())
    open(f"{folder}/zelboard-monitor.service", "w", encoding="utf-8").write(text)
    check = subprocess.run(["systemd-analyze", "verify", "--man=no", f"{folder}/zelboard-monitor.service"],
                           capture_output=True, text=True)
    about_it = [line for line in check.stderr.splitlines() if "zelboard" in line]
    assert not about_it and check.returncode == 0, check


with tempfile.TemporaryDirectory() as work:
    os.environ["ZELSIM_HOME"] = work
    for step in ("create --slots sfp,copper,none", "plug 3 1g-sx", "plug 24 10g-sr"):
        zelsim(step)
    for number in (1, 2):
        zelsim(f"set supply {number} ac")
    journal(work)
    commands(work)
    more_events_than_may_wait(work)
    rounds_that_outlast_their_interval()
    unit(work)
