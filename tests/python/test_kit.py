"""What a large suite needs: threads and timeouts, recordings, chance, scenarios, asyncio, a switch behind a command."""
import asyncio
import os
import re
import subprocess
import threading
import time
import uuid
from contextlib import suppress
from datetime import datetime
from pathlib import Path
from typing import Any, Callable, Dict, List, Tuple, Union

import pytest

from zelboard import fw
from zelboard.session import Closed, Timeout
from zelboard.sim import Board, RunFailed, RunTimeout, SimError
from zelboard.switch import NotDone, OnlyVirtual, Switch, Unreachable
from zelboard.trace import Trace


def test_threads_share_a_session(board: Board) -> None:
    seen: List[int] = []
    with board.session() as session:
        def work() -> None:
            for _ in range(50):
                session.FW_SetAlarmLed(fw.Led.ON)
                seen.append(session.FW_GetAlarmLed())
        threads = [threading.Thread(target=work) for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(60)
    assert seen == [fw.Led.ON] * 200
    with pytest.raises(Closed, match="FW_GetAlarmLed: the session is closed"):
        session.FW_GetAlarmLed()


def test_a_call_without_an_answer(board: Board) -> None:
    with board.session(fast=False) as session:
        began = time.monotonic()
        with pytest.raises(Timeout, match="FW_SFP_mDelay: no answer within 0.3 s"):
            session.FW_SFP_mDelay(20000, timeout=0.3)
        assert time.monotonic() - began < 20  # the seconds that the call itself takes
        with pytest.raises(Closed, match="FW_GetAlarmLed: the session was given up: FW_SFP_mDelay"):
            session.FW_GetAlarmLed()


def is_alive(number: Path) -> bool:
    """The process whose number is in a file. One that nobody has waited for yet has ended."""
    state = Path("/proc", number.read_text().strip(), "stat")
    return state.exists() and ") Z " not in state.read_text()


def test_a_program_that_takes_too_long(board: Board, tmp_path: Path) -> None:
    child = tmp_path / "child"
    script = f"echo begun; sleep 300 & echo $! >{child}; wait"
    with pytest.raises(RunTimeout, match="begun") as raised:
        board.run(["sh", "-c", script], timeout=2)
    assert raised.value.stdout == "begun\n"
    assert not is_alive(child)


def running_with(text: str) -> List[str]:
    """The processes that have a text in their environment."""
    found = []
    for file in Path("/proc").glob("[0-9]*/environ"):
        with suppress(OSError):
            if text.encode() in file.read_bytes():
                found.append(file.parent.name)
    return found


def stray(folder: Path) -> str:
    """A line that leaves a process running, in a session of its own, which holds the output."""
    pipe = folder / uuid.uuid4().hex
    return f"mkfifo {pipe}; setsid sh -c 'echo up >{pipe}; sleep 300 & exec sleep 300' & read up <{pipe}; "


def test_nothing_is_left_running(board: Board, tmp_path: Path) -> None:
    far = Switch(["sh", "-c", 'eval "$1"', "sh"])  # this machine, by a plain shell
    name = f"STRAY={uuid.uuid4().hex}"
    environment = {**os.environ, "STRAY": name.partition("=")[2]}
    places: List[Union[Board, Switch]] = [board, far]
    for place in places:
        with pytest.raises(RunTimeout):
            place.run(["sh", "-c", stray(tmp_path) + "sleep 300"], timeout=1, env=environment)
        assert not running_with(name), place
    with board.fault("debugCmd", result="hangs"), board.session() as session:
        with pytest.raises(Timeout):
            session.FW_SetSystemLed(1, timeout=0.5)
    of_board = running_with(board.environment["ZELSIM_HOME"])
    assert len(of_board) == 1, of_board  # the board's helper
    for place in places:
        place.run(["sh", "-c", stray(tmp_path)], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, env=environment)
        assert running_with(name)
        place.close()
        assert not running_with(name), place


def test_a_recording(board: Board) -> None:
    board.run(["zelctl", "led", "set", "system", "on"])
    with board.recording() as trace:
        board.run(["zelctl", "led", "set", "alarm", "on"])
        assert trace.count("SetAlarmLed", led=1) == 1
        board.run(["zelctl", "led", "set", "alarm", "off"])
    board.run(["zelctl", "led", "set", "alarm", "blink"])
    assert (trace.count("SetAlarmLed"), trace.count("gpio:SetSystemLed"), trace.find("BufRead")) == (2, 0, None)
    trace.assert_order(("SetAlarmLed", {"led": 1}), ("SetAlarmLed", {"led": 0}))
    with pytest.raises(AssertionError, match=r"step 2: no SetAlarmLed led=1 behind line \d+; it is line \d+, too early"):
        trace.assert_order(("SetAlarmLed", {"led": 0}), ("SetAlarmLed", {"led": 1}))
    times = [event.time or 0 for event in board.trace]
    assert times == sorted(times) and times[0] > 0


UNKNOWN: List[Tuple[str, Dict[str, Any], str]] = [
    ("SetAlramLed", {}, "no request 'SetAlramLed'; near: SetAlarmLed"),
    ("flash:SetAlarmLed", {}, "no request 'SetAlarmLed'"),
    ("gpoi:SetAlarmLed", {}, "no node 'gpoi'; near: gpio"),
    ("SetAlarmLed", {"lde": 1}, "SetAlarmLed: no field 'lde', but error, led, node, result"),
    ("SetAlarmLed", {"led": 1, "port": 3}, "no field 'port'"),
    ("", {"lde": 1}, "any request: no field 'lde'")]


def test_words_that_no_trace_has(board: Board) -> None:
    board.run(["zelctl", "led", "set", "alarm", "on"])
    with board.recording() as trace:
        pass
    for asked in trace, board.trace:
        for request, fields, why in UNKNOWN:
            with pytest.raises(ValueError, match=re.escape(why)):
                asked.count(request, **fields)
            with pytest.raises(ValueError, match=re.escape(why)):
                asked.find(request, **fields)
            with pytest.raises(ValueError, match=re.escape(why)):
                asked.assert_order("SetAlarmLed", (request, fields))


@pytest.mark.board(slots="sfp", modules={3: "1g-sx"})
def test_words_that_a_trace_has(board: Board, tmp_path: Path) -> None:
    (tmp_path / "content").write_bytes(b"content")
    for line in (["clock", "set", "2026-03-15T14:30:45"], ["flash", "id"], ["temperature"], ["ports"], ["power"],
                 ["reg", "0x20300"], ["led", "set", "system", "on"], ["flash", "erase", "DB1", "--yes"],
                 ["flash", "write", "DB1", str(tmp_path / "content"), "--yes"]):
        board.run(["zelctl", *line], trace_opens=True)
    trace = board.trace
    requests = {event.request for event in trace}
    assert requests >= {"open", "close", "pause", "BufRead", "SetRtc", "GetFlashId", "read", "sgpio_set"}
    for event in trace:
        assert Trace([event]).all(f"{event.node}:{event.request}", **{**event.fields, **event.after}) == [event]


def strikes(board: Board, seed: int) -> List[bool]:
    failed: List[bool] = []
    with board.fault("gpio:GetAlarmLed", probability=0.3, seed=seed) as fault, board.session() as session:
        for _ in range(60):
            try:
                session.FW_GetAlarmLed()
                failed.append(False)
            except fw.Failed:
                failed.append(True)
        assert fault.hits == sum(failed)
    return failed


def test_chance_and_scenarios(board: Board, tmp_path: Path) -> None:
    first = strikes(board, 7)
    assert 5 < sum(first) < 35 and strikes(board, 7) == first and strikes(board, 8) != first
    board.play([(0, "set supply 2 failed"), (3600, "plug 24 10g-sr"), ("+0.5", "set temperature 70")], fast=True)
    state = board.state
    assert (state.supplies[2].good, state.cages[24].module, state.i2c.temperature) == (False, "10g-sr", 70)
    for bad, why in [("1 set supply 9 ac", "line 1: SUPPLY: '9'"), ("1 plug 24 'x", "a quote"), ("x reset", "not a time"),
                     ("1 delete", "'delete' is no act")]:
        with pytest.raises(SimError, match=why):
            (tmp_path / "bad").write_text(bad + "\n")
            board.play(tmp_path / "bad")
    with pytest.raises(SimError, match="SUPPLY: '9'"):
        with board.start_play([(0, "set supply 9 ac")]) as player:
            player.wait()
    with board.start_play([(0, "set supply 2 ac"), (3600, "reset")]):
        board.wait(lambda state: state.supplies[2].good)


def test_asyncio(board: Board) -> None:
    async def work() -> None:
        led, temperature = await asyncio.gather(board.arun(["zelctl", "led"]), board.arun(["zelctl", "temperature"]))
        assert led.returncode == 0 and "25.0" in temperature.stdout and len(led.trace) > 0
        with pytest.raises(RunTimeout) as raised:
            await board.arun(["sh", "-c", "echo begun; sleep 300"], timeout=2)
        assert raised.value.stdout == "begun\n"
        async with await board.astart(["sleep", "300"]) as program:
            pass
        assert program.returncode == -15
        async with await board.astart(["cat"], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as cat:
            cat.stdin.write("grün\n")
            assert await cat.stdout.readline() == "grün\n"
            cat.stdin.write("x" * 100000 + "\n")
            assert len(await cat.stdout.readline()) == 100001
            assert (await cat.communicate("und rot"))[0] == "und rot"
        assert "x\nund rot\n" in board.evidence()["output"]
    asyncio.run(work())


def test_options_of_subprocess(board: Board) -> None:
    assert board.run("echo $((1 + 1))", shell=True).stdout == "2\n"
    echoed: Any = board.run(["cat"], input=b"\xff", text=False)
    assert echoed.stdout == b"\xff"
    assert board.run("true", capture_output=True).stderr == ""
    with pytest.raises(RunFailed, match="exit status 3.\nstderr:\nno such port"):
        board.run("echo no such port >&2; exit 3", shell=True, check=True)
    assert ":/nowhere\n" in board.run(["/usr/bin/env"], env={"PATH": "/nowhere"}).stdout
    other_boards = {**os.environ, "ZELSIM_HOME": "/nowhere"}
    board.run(["zelctl", "led", "set", "alarm", "on"], env=other_boards, check=True)
    assert board.state.panel.alarm == 1


def test_a_session_of_a_closed_board() -> None:
    with Board() as board:
        session = board.session()
    with pytest.raises(Closed, match="FW_GetAlarmLed: the board is closed"):
        session.FW_GetAlarmLed()


def test_records_and_the_environment(board: Board) -> None:
    board.set("clock", "2026-03-15T14:30:45")
    with board.session() as session:
        session.FW_PollRtc()
        record = session.FW_GetRtc()
        assert record.to_datetime().replace(second=0) == datetime(2026, 3, 15, 14, 30)
        session.FW_SpiFlash_EnvAdd("pwrmode", "pwr2ac")
        assert (session.get_env("pwrmode"), session.get_env("other")) == ("pwr2ac", None)
        assert session.FW_GetPowerMode() is fw.PowerMode.TWO_AC
        region = session.FW_SpiFlashEnvRead()
        session.FW_SpiFlashEnvWrite(region.replace(b"ac" + bytes(8), b"ac\0other\0\0", 1))
        assert session.get_env("other") is None
    with pytest.raises(AttributeError, match="has no field 'hour'"):
        record.hour = 3
    with pytest.raises(ValueError, match="holds no time"):
        fw.rtc_record().to_datetime()


def command_to(board: Board, *options: str) -> List[str]:
    """A command like `ssh root@switch`: a shell in another environment, where the board is the switch."""
    there = board.environment
    return ["env", "-i", f"PATH={there['PATH']}", f"ZELSIM_HOME={there['ZELSIM_HOME']}", "zelsim", "run", *options,
            "--board", "board", "--", "sh", "-c"]


def test_a_switch_behind_a_command(board: Board) -> None:
    with Switch(command_to(board, "--fast")) as switch:
        with switch.session() as session:
            session.FW_SetAlarmLed(fw.Led.BLINK)
            assert session.FW_I2C_BufRead(0x9E, 0, 1, 2) == b"\x19\0"
        assert (switch.state.panel.alarm, board.state.panel.alarm) == (2, 2)
        assert [slot.board for slot in switch.state.slots.values()] == ["none"] * 3
        board.set_supply(2, "failed")
        assert switch.state.supplies == board.state.supplies
        assert "25.0" in switch.run(["zelctl", "temperature"]).stdout
        with pytest.raises(OnlyVirtual, match="takes hands"):
            switch.plug(24, "10g-sr")
        with pytest.raises(OnlyVirtual, match="only on a virtual board"):
            switch.fault("gpio")
    assert board.state.panel.alarm == 0  # as before


def test_a_switch_for_asyncio(board: Board, tmp_path: Path) -> None:
    child = tmp_path / "child"

    async def work(switch: Switch) -> None:
        led, temperature = await asyncio.gather(switch.arun(["zelctl", "led"]), switch.arun(["zelctl", "temperature"]))
        assert led.returncode == 0 and temperature.stdout == "temperature  25.0\n"
        with pytest.raises(RunTimeout) as raised:
            await switch.arun(["sh", "-c", f"echo begun; sleep 300 & echo $! >{child}; wait"], timeout=1)
        assert raised.value.stdout == "begun\n"
        async with await switch.astart(["sleep", "300"]) as program:
            pass
        assert program.returncode != 0

    with Switch(command_to(board, "--fast")) as switch:
        asyncio.run(work(switch))
    assert not is_alive(child)


def test_a_call_to_a_switch_without_an_answer(board: Board) -> None:
    with Switch(command_to(board)).session() as session:
        began = time.monotonic()
        with pytest.raises(Timeout, match="FW_SFP_mDelay: no answer within 0.3 s"):
            session.FW_SFP_mDelay(20000, timeout=0.3)
        assert time.monotonic() - began < 20  # the seconds that the call itself takes


UNREACHABLE: List[Tuple[List[str], str]] = [
    (["false"], "false: no switch is reached: status 1; the command must have a shell .* package zelboard-tools"),
    (["echo"], "echo: no switch is reached: status 0"),
    (["sh", "-c", "echo no route to host >&2; exit 255"], "status 255: no route to host"),
    (["sh", "-c", "echo Welcome; echo to the switch"], "no switch is reached: status 0: Welcome; the command must"),
    (["no-such-command"], "no-such-command: the command cannot be run"),
    (["env", "PATH=/nowhere", "/bin/sh", "-c"], "no zelctl in PATH; install Debian's package zelboard-tools there")]


@pytest.mark.parametrize("command, why", UNREACHABLE)
def test_a_command_that_reaches_no_switch(command: List[str], why: str) -> None:
    with pytest.raises(Unreachable, match=why):
        with Switch(command):
            pass


@pytest.mark.board(slots="copper")
def test_a_login_that_prints(board: Board) -> None:
    greeting = "for line in 1 2 3; do echo Welcome $line; done; exec "
    command = command_to(board)
    with Switch([*command[:-2], "sh", "-c", greeting + 'sh -c "$1"', "sh"]) as switch:
        assert switch.state.slots[1].board == "copper"
    with board.fault("gpio"), pytest.raises(Unreachable, match="the drivers of the switch do not answer: FW_GetSystemLed"):
        with Switch(command):
            pass


# What a person is asked, what is wrong before it is done, and what they do.
BY_HAND: List[Tuple[Callable[[Switch], None], str, str]] = [
    (lambda switch: switch.fit(1, "sfp"), "slot 1: fit a board, sfp: not done, the switch tells: none, not: sfp", "fit 1 sfp"),
    (lambda switch: switch.plug(3, "1g-sx"), "port 3: plug a module, 1g-sx: not done, the switch tells: no module", "plug 3 1g-sx"),
    (lambda switch: switch.set_light(3, False), "port 3: pull the fibre: not done, the switch tells: light", "set loss-of-signal 3 1"),
    (lambda switch: switch.unplug(3), "port 3: pull the module: not done, the switch tells: a module", "unplug 3"),
    (lambda switch: switch.set_supply(2, "dc"), "supply 2: make it dc: not done, the switch tells: ac", "set supply 2 dc"),
    (lambda switch: switch.set_supply(2, "failed"), "the switch tells: dc, not: failed", "set supply 2 failed"),
    (lambda switch: switch.set_supply(1, "none"), "the switch tells: ac, not: none", "set supply 1 none"),
    (lambda switch: switch.set_temperature(80), "tells: 25 degrees, not: about 80 degrees", "set temperature 79")]


def test_what_a_person_says_is_looked_at(board: Board, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setattr("zelboard.switch.SETTLING", 0)
    done: List[str] = []  # what the person will do

    def person(_: str) -> None:
        for line in done:
            board.do(*line.split())

    with Switch(command_to(board, "--fast"), ask=person) as switch:
        for act, why, doing in BY_HAND:
            done[:] = []
            with pytest.raises(NotDone, match=why):
                act(switch)
            done[:] = [doing]
            act(switch)
        done[:] = []
        switch.require("sfp", supplies=["none", "failed"])  # nobody needs to be asked


MISSPELT = """from zelboard.sim import Board, BoardFactory
def test(board: Board, board_factory: BoardFactory) -> None:
    with board.session() as fw:
        fw.FW_SetAlramLed(1)
        fw.FW_GetRtc().tm.seccc
        board.run(["true"]).stdot
        board_factory(slots="sfp").swich
        reveal_type(board.run(["true"]).stdout)
"""


def test_types_refuse_a_wrong_name(tmp_path: Path) -> None:
    file = tmp_path / "wrong.py"
    file.write_text(MISSPELT)
    mypy = pytest.importorskip("mypy.api")
    cache = os.environ.get("MYPY_CACHE_DIR", str(tmp_path / "cache"))
    printed, _, status = mypy.run(["--strict", "--cache-dir", cache, str(file)])
    assert status == 1 and re.findall(r'^.*:(\d+): .* has no attribute "(\w+)"', printed, re.M) == [
        ("4", "FW_SetAlramLed"), ("5", "seccc"), ("6", "stdot"), ("7", "swich")], printed
    assert 'Revealed type is "builtins.str"' in printed and len(printed.splitlines()) == 6, printed
