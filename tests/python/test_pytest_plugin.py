"""The pytest plugin, as it registers itself: runs of pytest within the run."""
import json
import shlex
from typing import List, Tuple

import pytest

from zelboard.sim import Board

TESTS = """
import pytest

@pytest.mark.parametrize("number", range(4))
@pytest.mark.board("sfp,copper,none")
def test_board(board, number):
    print("folder", board.state.folder)
    assert [slot.board for slot in board.state.slots.values()] == ["sfp", "copper", "none"]
    board.run(["zelctl", "led", "set", "alarm", "on"], check=True)
    assert number != 2

def test_two_boards(board_factory):
    first, second = board_factory("sfp", modules={3: "1g-sx"}), board_factory(supplies=["ac", "failed"])
    assert first.state.cages[3].module == "1g-sx" and first.state.folder != second.state.folder
    assert [board.state.supplies[2].good for board in (first, second)] == [True, False]
    second.run(["zelctl", "temperature"], check=True)
    assert False

@pytest.mark.board(slot="sfp")
def test_a_wrong_marker(board):
    pass
"""


def test_board_fixture(pytester: pytest.Pytester) -> None:
    pytester.makepyfile(TESTS)
    result = pytester.runpytest("-n", "2", "-rA", "--zelboard-keep", "kept", "--strict-markers")
    result.assert_outcomes(passed=3, failed=2, errors=1)
    kept = next((pytester.path / "kept").glob("test_board_fixture.py-test_board-2-*"))
    result.stdout.fnmatch_lines(["fixture board(slot='sfp') of *: *unexpected keyword argument 'slot'",
                                 "board 1: fixture board('sfp,copper,none') of *::test_board?2?", f"trace: {kept}/trace", f"panel: {kept}/panel.svg"])
    second = pytester.path / "kept" / "test_board_fixture.py-test_two_boards" / "board-2"
    assert {folder.name for folder in kept.parent.iterdir()} == {kept.name, second.parent.name, ".zelboard"}
    assert "temperature" in (second / "trace").read_text()
    assert "gpio 0x82 SetAlarmLed {led=1} -> {led=1} = 0\n" in (kept / "trace").read_text()
    assert (kept / "panel.svg").read_text().startswith("<svg")
    assert json.loads((second / "state.json").read_text())["board"].startswith("fixture board_factory(supplies=")
    folders = [line for line in result.outlines if line.startswith("folder ")]
    assert len(set(folders)) == 4


FAILING = """
import pytest

@pytest.mark.parametrize("text", ["x" * 300, "a/b", "a b"])
def test_id(board, text):
    assert False

@pytest.fixture
def led(board):
    yield board.run(["zelctl", "led", "set", "alarm", "on"])
    assert False, "in the teardown"

def test_teardown(led):
    pass

@pytest.mark.board(modules={3: "nonesuch"})
def test_not_made(board):
    pass

@pytest.mark.board(slots="sfp,sfp", modules={3: "1g-sx"})
class TestMarkers:
    @pytest.mark.board(supplies=["ac", "failed"], modules={11: "1g-lx"})
    def test_they_add_up(self, board):
        state = board.state
        assert (state.cages[3].module, state.cages[11].module, state.supplies[2].good) == ("1g-sx", "1g-lx", False)
"""


def test_what_is_kept(pytester: pytest.Pytester) -> None:
    pytester.makepyfile(FAILING)
    folder = pytester.path / "kept"
    result = pytester.runpytest("--zelboard-keep=kept")
    result.assert_outcomes(failed=3, passed=2, errors=2)
    result.stdout.fnmatch_lines(["fixture board(modules={3: 'nonesuch'}) of *::test_not_made: zelsim: MODULE: 'nonesuch' is neither *"])
    assert len([trace for trace in folder.glob("*/trace") if "test_id" in str(trace)]) == 3
    assert "SetAlarmLed" in (folder / "test_what_is_kept.py-test_teardown" / "trace").read_text()
    # The next run removes what this one has kept, and nothing else.
    (folder / "mine").mkdir()
    pytester.runpytest("--zelboard-keep=kept", "-k", "test_teardown")
    assert {path.name for path in folder.iterdir()} == {"mine", ".zelboard", "test_what_is_kept.py-test_teardown"}
    (pytester.path / "plain").touch()
    result = pytester.runpytest("--zelboard-keep=plain/folder")
    assert result.ret == pytest.ExitCode.USAGE_ERROR
    result.stderr.fnmatch_lines([f"ERROR: --zelboard-keep: {pytester.path}/plain is a file, no folder"])


ON_A_SWITCH = """
import pytest

@pytest.mark.board("sfp", supplies=["ac", "ac"], modules={3: "1g-sx"})
def test_as_it_is(board):
    assert not board.virtual and board.state.cages[3].module == "ZL-1G-SX"
    assert board.run(["sh", "-c", "pwd"]).stdout == "@FOLDER@\\n"
    with board.session() as fw:
        fw.FW_SetAlarmLed(1)

@pytest.mark.board(modules={5: "1g-sx"})
def test_a_module_is_plugged(board):
    assert board.state.cages[5].presence_line == 0

@pytest.mark.board(supplies=["ac", "failed"])
def test_a_supply_fails(board):
    assert False, "the supply is good"

def test_faults(board):
    board.fault("gpio")

def test_two_boards(board_factory):
    assert board_factory("sfp").state.slots[1].board == "sfp"
    board_factory()

def test_one_more(board, board_factory):
    board_factory()
"""
FOR_A_MODULE = """
import pytest
from zelboard.sim import Board, SimError

@pytest.fixture(scope="module")
def shared(module_board_factory):
    return module_board_factory("sfp")

def test_first(shared):
    shared.run(["zelctl", "led", "set", "alarm", "on"], check=True)

def test_second(shared):
    assert shared.state.panel.alarm == 0, "for its evidence"

def test_virtual():
    with Board() as board:
        assert board.virtual and board.state.panel.alarm == 0

@pytest.mark.board("sfp")
def test_no_board():
    pass

def test_wrong_slots(board_factory):
    with pytest.raises(SimError, match="spf"):
        board_factory("spf")
    with pytest.raises(TypeError):
        board_factory(slot="sfp")
"""
PERSON = """
import builtins, os, subprocess

def person(question):
    print(question)
    if "port 5" in question:
        subprocess.run(["zelsim", "plug", "5", "1g-sx", "--board", "board"], env={**os.environ, "ZELSIM_HOME": "@HOME@"}, check=True)
    return "s" if "port 7" in question else ""

builtins.input = person
"""


@pytest.mark.board("sfp", modules={3: "1g-sx"})
def test_a_real_switch(board: Board, pytester: pytest.Pytester) -> None:
    there, folder = board.environment, pytester.mkdir("there")
    command = shlex.join(["env", "-i", f"PATH={there['PATH']}", f"ZELSIM_HOME={there['ZELSIM_HOME']}", "zelsim", "run",
                          "--fast", "--board", "board", "--", "sh", "-c"])
    pytester.makepyfile(ON_A_SWITCH.replace("@FOLDER@", str(folder)))
    options = [f"--zelboard-run={command}", f"--zelboard-folder={folder}", "-rsA"]
    result = pytester.runpytest(*options)
    result.assert_outcomes(passed=1, skipped=5)
    result.stdout.fnmatch_lines_random(["*port 5: plug a module, 1g-sx: takes hands, or a virtual board",
                                        "*fault gpio (only on a virtual board)", "*needs more than one switch",
                                        "SKIPPED * test_a_real_switch.py:*fault gpio*"])
    assert board.state.panel.alarm == 0
    result = pytester.runpytest(*options, "--zelboard-manual")
    result.stdout.fnmatch_lines(["supply 2: make it failed: --zelboard-manual has no terminal to ask at"])
    pytester.makeconftest(PERSON.replace("@HOME@", there["ZELSIM_HOME"]))
    result = pytester.runpytest(*options, "--zelboard-manual")
    result.assert_outcomes(passed=2, skipped=3, errors=1)
    result.stdout.fnmatch_lines(["supply 2: make it failed: not done, the switch tells: ac, not: failed"])
    result = pytester.runpytest("--zelboard-run=false", "-k", "as_it_is")
    result.assert_outcomes(errors=1)
    result.stdout.fnmatch_lines(["false: no switch is reached: status 1; *Debian's package zelboard-tools*"])


def test_boards_of_a_module(board: Board, pytester: pytest.Pytester) -> None:
    there = board.environment
    command = shlex.join(["env", f"ZELSIM_HOME={there['ZELSIM_HOME']}", "zelsim", "run", "--fast", "--board", "board", "--", "sh", "-c"])
    board.fit(1, "sfp")
    pytester.makepyfile(FOR_A_MODULE)
    lost = "*the marker board has no effect*"
    runs: List[Tuple[List[str], int, List[str]]] = [
        ([], 4, [lost]),
        ([f"--zelboard-run={command}", "-k", "not wrong_slots"], 3, [lost, "*Board() is a virtual switch on every*"])]
    for options, passed, warned in runs:
        result = pytester.runpytest(*options)
        result.assert_outcomes(passed=passed, failed=1, warnings=len(warned))
        result.stdout.fnmatch_lines_random(warned)
        kept = pytester.path / "zelboard-failed" / "test_boards_of_a_module.py-test_second" / "state.json"
        assert json.loads(kept.read_text())["panel"]["alarm"] == 1


def test_a_switch_that_is_not_reached(pytester: pytest.Pytester) -> None:
    count = pytester.path / "count"
    pytester.makepyfile("import pytest\n@pytest.mark.parametrize('number', range(20))\ndef test(board, number): pass\n")
    result = pytester.runpytest(f"--zelboard-run=sh -c 'echo >>{count}; exit 255'")
    result.assert_outcomes(errors=20)
    assert len(count.read_text()) < 6  # only the first test has tried
    for options, message in [(["--zelboard-target=telnet://x"], "--zelboard-target: 'telnet://x' is not like ssh://root@switch"),
                             (["--zelboard-target=ssh://x", "--zelboard-run=ssh x"], "--zelboard-target and run: *")]:
        result = pytester.runpytest(*options)
        assert result.ret == pytest.ExitCode.USAGE_ERROR
        result.stderr.fnmatch_lines([f"ERROR: {message}"])
