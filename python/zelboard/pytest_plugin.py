"""For pytest: a fixture `board`, the virtual switch that a test has for itself. What is left of it when the test fails,
its trace and the picture of its front panel, is kept and named in the report."""
import re
from contextlib import suppress
from pathlib import Path
from typing import Any, Generator, Iterator

import pytest

from zelboard.sim import Board, SimError


def pytest_addoption(parser: pytest.Parser) -> None:
    parser.getgroup("zelboard").addoption(
        "--zelboard-keep", metavar="FOLDER", default="zelboard-failed", help="for trace and panel picture of a failed test")


def pytest_configure(config: pytest.Config) -> None:
    config.addinivalue_line("markers", "board(slots='sfp,copper,none'): what is fitted in the slots of the test's board")


@pytest.fixture
def board(request: pytest.FixtureRequest) -> Iterator[Board]:
    """A fresh virtual switch, removed after the test. Marker: board(slots="sfp,copper,none")."""
    marker = request.node.get_closest_marker("board")
    with Board(None, *(marker.args if marker else ()), **(marker.kwargs if marker else {})) as fresh:
        yield fresh


def keep(board: Board, folder: Path) -> str:
    """Writes what is kept, and tells where it is."""
    folder.mkdir(parents=True, exist_ok=True)
    trace, panel = folder / "trace", folder / "panel.svg"
    trace.write_text("".join(event.text + "\n" for event in board.trace), encoding="utf-8")
    with suppress(SimError):  # of a board that the test has removed
        panel.write_text(board.panel(), encoding="utf-8")
    return f"trace: {trace}\npanel: {panel}"


def report_board(item: pytest.Item, call: Any) -> Generator[None, Any, None]:
    report = (yield).get_result()
    used = getattr(item, "funcargs", {}).get("board")
    if report.failed and report.when != "teardown" and isinstance(used, Board):
        folder = item.config.rootpath / item.config.getoption("--zelboard-keep")
        report.sections.append(("virtual switch", keep(used, folder / re.sub(r"[^\w.-]+", "-", item.nodeid))))


pytest_runtest_makereport = pytest.hookimpl(hookwrapper=True)(report_board)
