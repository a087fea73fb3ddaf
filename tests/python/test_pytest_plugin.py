"""The pytest plugin, as it registers itself: a run of pytest within the run, in two processes."""
import pytest

TESTS = """
import pytest

@pytest.mark.parametrize("number", range(4))
@pytest.mark.board("sfp,copper,none")
def test_board(board, number):
    print("folder", board.state.folder)
    assert [slot.board for slot in board.state.slots.values()] == ["sfp", "copper", "none"]
    board.run(["zelctl", "led", "set", "alarm", "on"], check=True)
    assert number != 2

@pytest.mark.board(slot="sfp")
def test_a_wrong_marker(board):
    pass
"""


def test_board_fixture(pytester: pytest.Pytester) -> None:
    pytester.makepyfile(TESTS)
    result = pytester.runpytest_subprocess("-n", "2", "-rA", "--zelboard-keep", "kept", "--strict-markers")
    result.assert_outcomes(passed=3, failed=1, errors=1)
    kept = pytester.path / "kept" / "test_board_fixture.py-test_board-2-"
    result.stdout.fnmatch_lines(["*unexpected keyword argument 'slot'", f"trace: {kept}/trace", f"panel: {kept}/panel.svg"])
    assert [folder.name for folder in kept.parent.iterdir()] == [kept.name]
    assert "gpio 0x82 SetAlarmLed {led=1} -> {led=1} = 0\n" in (kept / "trace").read_text()
    assert (kept / "panel.svg").read_text().startswith("<svg")
    folders = [line for line in result.outlines if line.startswith("folder ")]
    assert len(set(folders)) == 4
