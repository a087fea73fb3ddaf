"""What a large suite needs: threads and timeouts, recordings, chance, scenarios, asyncio, a switch behind a command."""
import asyncio
import shlex
import threading
from datetime import datetime
from pathlib import Path
from typing import List

import pytest

from zelboard import fw
from zelboard.session import Closed, Timeout
from zelboard.sim import Board, RunTimeout, SimError
from zelboard.switch import OnlyVirtual, Switch


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
        with pytest.raises(Timeout, match="FW_SFP_mDelay: no answer within 0.3 s"):
            session.FW_SFP_mDelay(20000, timeout=0.3)
        with pytest.raises(Closed, match="FW_GetAlarmLed: the session was given up: FW_SFP_mDelay"):
            session.FW_GetAlarmLed()


def test_a_program_that_takes_too_long(board: Board, tmp_path: Path) -> None:
    child = tmp_path / "child"
    script = f"echo begun; sleep 300 & echo $! >{child}; wait"
    with pytest.raises(RunTimeout, match="begun") as raised:
        board.run(["sh", "-c", script], timeout=2)
    assert raised.value.stdout == "begun\n"
    state = Path("/proc", child.read_text().strip(), "stat")
    assert not state.exists() or ") Z " in state.read_text()  # nobody may have waited for it yet


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
    board.play([(0, "set supply 2 failed"), (3600, "plug 24 10g-sr"), (3600.5, "set temperature 70")], fast=True)
    state = board.state
    assert (state.supplies[2].good, state.cages[24].module, state.i2c.temperature) == (False, "10g-sr", 70)
    for bad, why in ("1 set supply 9 ac", "line 1: SUPPLY: '9'"), ("1 plug 24 'x", "a quote"), ("x reset", "not a time"):
        with pytest.raises(SimError, match=why):
            (tmp_path / "bad").write_text(bad + "\n")
            board.play(tmp_path / "bad")


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
    asyncio.run(work())


def test_records_and_the_environment(board: Board) -> None:
    board.set("clock", "2026-03-15T14:30:45")
    with board.session() as session:
        session.FW_PollRtc()
        record = session.FW_GetRtc()
        assert record.to_datetime().replace(second=0) == datetime(2026, 3, 15, 14, 30)
        session.FW_SpiFlash_EnvAdd("pwrmode", "pwr2ac")
        assert (session.get_env("pwrmode"), session.get_env("other")) == ("pwr2ac", None)
        assert session.FW_GetPowerMode() is fw.PowerMode.TWO_AC
    with pytest.raises(AttributeError, match="has no field 'hour'"):
        record.hour = 3
    with pytest.raises(ValueError, match="holds no time"):
        fw.rtc_record().to_datetime()


def test_a_switch_behind_a_command(board: Board) -> None:
    there = board.environment
    run = shlex.join(["env", "-i", f"PATH={there['PATH']}", f"ZELSIM_HOME={there['ZELSIM_HOME']}", "zelsim", "run", "--fast",
                      "--board", "board", "--", "sh", "-c"])
    with Switch(shlex.split(run)) as switch:
        with switch.session() as session:
            session.FW_SetAlarmLed(fw.Led.BLINK)
            assert session.FW_I2C_BufRead(0x9E, 0, 1, 2) == b"\x19\0"
        assert (switch.state.panel.alarm, board.state.panel.alarm) == (2, 2)
        assert [slot.board for slot in switch.state.slots.values()] == ["none"] * 3
        assert "25.0" in switch.run(["zelctl", "temperature"]).stdout
        with pytest.raises(OnlyVirtual, match="takes hands"):
            switch.plug(24, "10g-sr")
        with pytest.raises(OnlyVirtual, match="only on a virtual board"):
            switch.fault("gpio")
    assert board.state.panel.alarm == 0  # as before


def test_types_refuse_a_wrong_name(tmp_path: Path) -> None:
    file = tmp_path / "wrong.py"
    file.write_text("from zelboard.sim import Board\nBoard().session().FW_SetAlramLed(1)\n")
    mypy = pytest.importorskip("mypy.api")
    printed, _, status = mypy.run(["--strict", "--cache-dir", str(tmp_path / "cache"), str(file)])
    assert status == 1 and '"Calls" has no attribute "FW_SetAlramLed"' in printed
