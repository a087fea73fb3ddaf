"""zelboard.sim: boards, what is done to them, what is seen of them, and programs on them."""
import json
import os
import sys
from pathlib import Path
from typing import Any

import pytest

from zelboard.sim import Board, SimError, modules
from zelboard.state import read_event


def names(value: Any) -> Any:
    """All names in a document of zelsim, or in the objects that are made from it. Of a table only the first row."""
    if isinstance(value, dict) and not all(isinstance(name, int) for name in value):
        return {name: names(part) for name, part in value.items()}
    if hasattr(value, "_asdict"):
        return names(value._asdict())
    rows = list(value.values()) if isinstance(value, dict) else value
    return [names(row) for row in rows[:1]] if isinstance(rows, list) else []


def test_the_state_has_everything_that_zelsim_shows(board: Board) -> None:
    board.fit(2, "sfp")
    board.plug(8, "copper")
    board.plug(24, "10g-sr")
    board.fault("i2c:BufRead@0x40-0x4c", result="busy", skip=2)
    board.run(["debugCmd", "sgpio_set", "1", "1", "2"], check=True)
    board.run(["debugCmd", "phy_register_set", "1", "2", "3"], check=True)
    assert names(board.state) == names(board.json("show"))
    assert names(modules()["10g-sr"]) == names(board.json("modules")["modules"][0])
    state = board.state
    assert (state.slots[2].board, state.cages[8].module, state.links[8].speed) == ("sfp", "copper", 1000)
    board.set("rx-power", 24, -14.25)
    optics = board.state.diagnostics[24]
    assert (optics.calibration, optics.rx_power, optics.temperature) == ("internal", -14.25, 35.0)
    assert "rx_power_low" in optics.alarms and modules()["1g-sx"].diagnostics
    assert state.serial_gpio[0] == (1, 1, 2) and state.registers[0].value == 3


EVENTS = [
    ("i2c 0xB0 BufRead addr=0x9e offset=0x00 offset_len=1 len=2 -> 19 00 = 0",
     "i2c", "BufRead", {"addr": 0x9E, "offset": 0, "offset_len": 1, "len": 2}, {"data": b"\x19\0"}, 0, None),
    ("i2c 0xB1 BufWrite addr=0x40 offset=0x02 offset_len=1 len=2 data=44 0a = 0xfffa",
     "i2c", "BufWrite", {"addr": 0x40, "offset": 2, "offset_len": 1, "len": 2, "data": b"\x44\n"}, {}, 0xFFFA, None),
    ("i2c 0xC5 SetTemperature {temperature=-1.5} -> {temperature=-1.5} = -1 EIO",
     "i2c", "SetTemperature", {"temperature": -1.5}, {"temperature": -1.5}, -1, "EIO"),
    ("flash 0xD2 GetId {00 00} -> {20 ba} = 0", "flash", "GetId", {"data": b"\0\0"}, {"data": b"\x20\xba"}, 0, None),
    ("flash 0xD1 EraseSector 0x01ff0000 = 0", "flash", "EraseSector", {"address": 0x1FF0000}, {}, 0, None),
    ("flash read 0x00100000+0x10 = 0x8", "flash", "read", {"address": 0x100000, "size": 0x10}, {}, 8, None),
    ("flash lseek end+5 = -1 EINVAL", "flash", "lseek", {"where": "end+5"}, {}, -1, "EINVAL"),
    ("debugCmd sgpio_set 1 3 1", "debugCmd", "sgpio_set", {"arguments": ["1", "3", "1"]}, {}, None, None),
    ("pause 5000us", "", "pause", {"us": 5000}, {}, None, None),
    ("open flash O_RDWR = 0", "flash", "open", {"access": "O_RDWR"}, {}, 0, None)]


def test_lines_of_a_trace() -> None:
    assert [read_event(text) for text, *_ in EVENTS] == [(*expected, text, None, None) for text, *expected in EVENTS]


def test_a_board_without_a_name_goes_away(monkeypatch: pytest.MonkeyPatch, tmp_path: Path) -> None:
    monkeypatch.setenv("ZELSIM_HOME", str(tmp_path))
    with Board() as board, board.start(["sleep", "100"]) as program:
        folder = board.state.folder
        assert str(tmp_path) not in folder and os.path.exists(folder)
    assert not os.path.exists(folder) and program.returncode == -15
    with Board("lab", slots="copper") as lab:
        lab.set_supply(1, "failed")
    with Board("lab") as lab:
        assert not lab.state.supplies[1].good and lab.state.slots[1].board == "copper"
    with pytest.raises(SimError, match="slots: the board lab exists already"):
        Board("lab", slots="sfp")


@pytest.mark.board(slots="sfp")
def test_the_world_and_faults(board: Board, tmp_path: Path) -> None:
    board.plug(0, bytes([3, 4, 7]) + bytes(125))
    board.set_light(0, False)
    board.set_temperature(-5.5)
    board.set("reset-key", True)
    assert board.state.cages[0] == (0, "page", 0, 1, 0, 1)
    assert (board.state.i2c.temperature, board.state.gpio.reset_key) == (-5.5, 1)
    board.flash["DB1"] = b"data"
    assert board.flash["DB1"][:5] == b"data\xff" and board.flash["0x00e00001+0x2"] == b"at"
    assert board.flash.regions["DB1"].start == 0xE00000
    with board.fault("i2c:BufRead", result="busy", count=1) as used, board.fault("gpio") as other:
        assert "device 0x9E: busy" in board.run(["zelctl", "i2c", "read", "0x9e", "0", "2"]).stderr
        assert board.run(["zelctl", "i2c", "read", "0x9e", "0", "2"]).returncode == 0
        assert (used.hits, other.hits) == (1, 0)
    assert used.hits == 1 and board.state.faults == {}
    for bad in ("plug", "30", "1g-sx"), ("plug", "0", "nothing"), ("set", "supply", "3", "ac"):
        with pytest.raises(SimError, match="^zelsim: (PORT|MODULE|SUPPLY):"):
            board.do(*bad)


def test_a_program_and_what_it_did(board: Board) -> None:
    script = "import sys, os; print(sys.stdin.read(), os.environ['A'], sys.argv[1]); sys.exit(3)"
    done = board.run([sys.executable, "-c", script, "b"], input="in", env={"A": "a"})
    assert (done.returncode, done.stdout, len(done.trace)) == (3, "in a b\n", 0)
    with board.start(["zelctl", "led", "set", "system", "on"]) as program:
        assert board.wait(lambda state: state.serial_gpio == [(1, 3, 1)]).panel.system == 1
        assert program.wait() == 0
    assert [event.request for event in board.trace] == ["GetSystemLed", "SetSystemLed", "sgpio_set"]
    with pytest.raises(TimeoutError):
        board.wait(lambda state: state.panel.system == 2, timeout=0)
    assert board.panel().startswith("<svg") and json.dumps(board.state)
