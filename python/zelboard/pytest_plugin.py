"""For pytest: a fixture `board`, the switch that a test has for itself, and `board_factory` for more of them. What is left
of the boards that a test has used is kept when it fails, and named in the report: what was done on each, its state, the
picture of its front panel, and what its programs printed. With --zelboard-target or --zelboard-run the tests run on a
real switch."""
import uuid
from contextlib import ExitStack
from pathlib import Path
from typing import IO, Any, Callable, Dict, Generator, Iterator, List, Optional, Tuple

import pytest

from zelboard import sim
from zelboard._evidence import Evidence, name_of_folder, remove_kept
from zelboard.sim import Board, BoardFactory
from zelboard.switch import NotDone, Switch, Unreachable, channel_of, one_at_a_time


def pytest_addoption(parser: pytest.Parser) -> None:
    group = parser.getgroup("zelboard")
    group.addoption("--zelboard-keep", metavar="FOLDER", default="zelboard-failed",
                    help="for what is left of the boards of a failed test")
    group.addoption("--zelboard-target", metavar="ssh://USER@HOST[:PORT]", help="run the tests on this real switch")
    group.addoption("--zelboard-run", metavar="COMMAND",
                    help="the same, by a command whose last argument a shell on the switch runs: 'ssh root@switch'")
    group.addoption("--zelboard-folder", metavar="FOLDER", default="",
                    help="folder on the switch for tests and for the programs sent there; default: the folder in which the command "
                         "starts")
    group.addoption("--zelboard-manual", action="store_true",
                    help="ask a person at the terminal for what only hands can do to a real switch")


def pytest_configure(config: pytest.Config) -> None:
    config.addinivalue_line(
        "markers", "board(slots='sfp,copper,none', supplies=['ac', 'failed'], modules={3: '1g-sx'}): what the test's board has")
    option = config.getoption
    try:
        channel_of(option("--zelboard-target"), option("--zelboard-run"))
    except ValueError as error:
        raise pytest.UsageError(f"--zelboard-{error}") from None
    folder = folder_of(config)
    first_there = next(place for place in (folder, *folder.parents) if place.exists())
    if not first_there.is_dir():
        raise pytest.UsageError(f"--zelboard-keep: {first_there} is a file, no folder")
    config.stash[EVIDENCE] = Evidence()
    config.stash[WITNESS_BEFORE] = sim.set_witness(config.stash[EVIDENCE])


def pytest_unconfigure(config: pytest.Config) -> None:
    # A run of pytest within a test hands the boards back to the run around it.
    if WITNESS_BEFORE in config.stash:
        sim.set_witness(config.stash[WITNESS_BEFORE])


def pytest_sessionstart(session: pytest.Session) -> None:
    is_worker = hasattr(session.config, "workerinput")
    if not is_worker and not session.config.option.collectonly:
        remove_kept(folder_of(session.config))


def folder_of(config: pytest.Config) -> Path:
    """The folder for what is left of failed tests' boards."""
    return Path(config.rootpath / config.getoption("--zelboard-keep"))


EVIDENCE = pytest.StashKey[Evidence]()
WITNESS_BEFORE = pytest.StashKey[sim.Witness]()
SWITCH_IN_USE = pytest.StashKey[bool]()


@pytest.fixture(scope="session")
def zelboard_channel(request: pytest.FixtureRequest) -> Optional[List[str]]:
    """How a command gets to the real switch; None for virtual ones."""
    option = request.config.getoption
    return channel_of(option("--zelboard-target"), option("--zelboard-run"))


def answer_of_person(config: pytest.Config, question: str) -> Optional[str]:
    """None if nobody can be asked."""
    capture = config.pluginmanager.getplugin("capturemanager")
    capture.suspend(in_=True)
    try:
        return input(question)
    except (EOFError, OSError):
        return None
    finally:
        capture.resume()


def ask_person(config: pytest.Config) -> Callable[[str], None]:
    """Asks a person to do something by hand. Meanwhile the terminal is the person's."""
    def ask(what: str) -> None:
        answer = answer_of_person(config, f"\n{what}. Enter when it is done, s to skip the test: ")
        if answer is None:
            pytest.fail(f"{what}: --zelboard-manual has no terminal to ask at", pytrace=False)
        if answer.strip().lower().startswith("s"):
            pytest.skip(f"not done by hand: {what}")
    return ask


def described(request: pytest.FixtureRequest, arguments: Any, options: Any) -> str:
    """Which fixture has made a board, and how."""
    given = [repr(value) for value in arguments] + [f"{name}={value!r}" for name, value in options.items()]
    return f"fixture {request.fixturename}({', '.join(given)}) of {request.node.nodeid}"


RUN = pytest.StashKey[str]()


def run_of(config: pytest.Config) -> str:
    """The number of this run of pytest. All workers of it have the same one."""
    of_worker: Dict[str, str] = getattr(config, "workerinput", {})
    return of_worker.get("testrunuid") or config.stash.setdefault(RUN, uuid.uuid4().hex)


def make_virtual(stack: ExitStack, label: str, arguments: Any, options: Any) -> Board:
    board = stack.enter_context(Board(None, *arguments, **options))
    board.label = label
    return board


def take_switch(config: pytest.Config, channel: List[str], stack: ExitStack) -> IO[str]:
    """Waits for the turn of this process. Returns the file in which it may leave a text for the next process. Skips a test that
    has the switch already: it would wait for ever."""
    if config.stash.get(SWITCH_IN_USE, False):
        pytest.skip("needs more than one switch")
    shared_file = stack.enter_context(one_at_a_time(channel))
    config.stash[SWITCH_IN_USE] = True

    def give_back() -> None:
        config.stash[SWITCH_IN_USE] = False

    stack.callback(give_back)
    return shared_file


def make_board(request: pytest.FixtureRequest, channel: Optional[List[str]], stack: ExitStack, arguments: Any, options: Any) -> Any:
    if channel is None:
        return make_virtual(stack, described(request, arguments, options), arguments, options)
    config = request.config
    shared_file = take_switch(config, channel, stack)
    shared_file.seek(0)
    run, _, trouble_before = shared_file.read().partition("\n")
    if run == run_of(config):  # a switch that was not reached is not tried again
        pytest.fail(trouble_before, pytrace=False)
    by_hand = ask_person(config) if config.getoption("--zelboard-manual") else None
    switch = Switch(channel, folder=config.getoption("--zelboard-folder"), refuse=pytest.skip, ask=by_hand)
    trouble = ""
    try:
        stack.enter_context(switch)
        switch.require(*arguments, **options)
    except NotDone as error:
        trouble = str(error)
    except Unreachable as error:
        trouble = str(error)
        shared_file.truncate(0)
        shared_file.write(f"{run_of(config)}\n{trouble}")
        shared_file.flush()
    if trouble:
        pytest.fail(trouble, pytrace=False)
    return switch


def marker_arguments(node: Any) -> Tuple[Tuple[Any, ...], Dict[str, Any]]:
    """What the markers of a test, its class and its module say together. If two set the same, the nearer one counts."""
    arguments: Tuple[Any, ...] = ()
    options: Dict[str, Any] = {}
    for marker in reversed(list(node.iter_markers("board"))):
        names_slots = bool(marker.args) or "slots" in marker.kwargs
        if names_slots:
            arguments = marker.args
            options.pop("slots", None)
        modules = {**options.get("modules", {}), **marker.kwargs.get("modules", {})}
        options.update(marker.kwargs)
        if modules:
            options["modules"] = modules
    return arguments, options


@pytest.fixture
def board(request: pytest.FixtureRequest, zelboard_channel: Optional[List[str]]) -> Iterator[Any]:
    """A fresh virtual switch, removed after the test, or the real one. Marker: board(slots="sfp,copper,none",
    supplies=["ac", "failed"], modules={3: "1g-sx"})."""
    arguments, options = marker_arguments(request.node)
    trouble = ""
    with ExitStack() as stack:
        try:
            made = make_board(request, zelboard_channel, stack, arguments, options)
        except (sim.SimError, TypeError) as error:
            trouble = f"{described(request, arguments, options)}: {error}"
        if trouble:
            pytest.fail(trouble, pytrace=False)
        yield made


def factory(request: pytest.FixtureRequest, channel: Optional[List[str]]) -> Iterator[BoardFactory]:
    with ExitStack() as stack:
        def make(*arguments: Any, **options: Any) -> Any:
            return make_board(request, channel, stack, arguments, options)

        yield make


@pytest.fixture
def board_factory(request: pytest.FixtureRequest, zelboard_channel: Optional[List[str]]) -> Iterator[BoardFactory]:
    """Makes boards, as many as the test needs, with the arguments of the marker; all are removed after the test. On a real
    switch there is one; a test that asks for a second one is skipped."""
    yield from factory(request, zelboard_channel)


@pytest.fixture(scope="module")
def module_board_factory(request: pytest.FixtureRequest, zelboard_channel: Optional[List[str]]) -> Iterator[BoardFactory]:
    """The same for a fixture of a module: its boards live until the module's last test has ended."""
    yield from factory(request, zelboard_channel)


def start_test(item: pytest.Item) -> None:
    item.config.stash[EVIDENCE].start_test()
    fixtures = getattr(item, "fixturenames", ())
    is_lost = item.get_closest_marker("board") is not None and "board" not in fixtures
    makes_boards = "board_factory" in fixtures or "module_board_factory" in fixtures
    if is_lost and not makes_boards:
        item.warn(pytest.PytestWarning("the marker board has no effect: the test does not use the fixture board"))


def place_of_skip(item: pytest.Item, excinfo: Any, place: Any) -> Tuple[str, int]:
    """Where the test has been skipped: its own line, if the reason comes from this package."""
    here = Path(__file__).parent
    if Path(place[0]).parent != here:
        return str(place[0]), int(place[1])
    for entry in reversed(excinfo.traceback):
        path = Path(entry.path)
        if path.parent != here and path == item.path:
            return str(path), entry.lineno + 1
    file, line, _ = item.reportinfo()
    return str(file), (line or 0) + 1


def report_boards(item: pytest.Item, call: Any) -> Generator[None, Any, None]:
    report = (yield).get_result()
    if report.skipped and call.excinfo is not None and isinstance(report.longrepr, tuple):
        report.longrepr = (*place_of_skip(item, call.excinfo, report.longrepr[:2]), report.longrepr[2])
    evidence = item.config.stash[EVIDENCE]
    for name, given in getattr(item, "funcargs", {}).items():
        if isinstance(given, (Board, Switch)):
            evidence.used(given)
            if not given.label.startswith("fixture "):
                given.label = f"fixture {name}, {given.label}"
    has_target = any(item.config.getoption(option) for option in ("--zelboard-target", "--zelboard-run"))
    if has_target and call.when == "call" and any(isinstance(board, Board) for board in evidence.boards):
        item.warn(pytest.PytestWarning("Board() is a virtual switch on every target: take board_factory or module_board_factory"))
    if report.failed and evidence.boards:
        try:
            kept = evidence.keep(folder_of(item.config) / name_of_folder(item.nodeid))
        except OSError as error:
            kept = f"--zelboard-keep: nothing is kept: {error}"
        report.sections.append(("virtual switch", kept))


pytest_runtest_setup = pytest.hookimpl(tryfirst=True)(start_test)
pytest_runtest_makereport = pytest.hookimpl(hookwrapper=True)(report_boards)
