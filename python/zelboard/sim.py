"""Boards of the virtual switch: made, changed, looked at and removed by zelsim, which must be in PATH."""
import json
import os
import shutil
import subprocess
import sys
import tempfile
import weakref
from contextlib import AbstractContextManager, contextmanager, suppress
from pathlib import Path
from typing import TYPE_CHECKING, Any, Callable, Dict, Iterator, List, Mapping, Optional, Protocol, Sequence, Tuple, Union, cast

from zelboard._dialog import TIMEOUT, Dialog
from zelboard._started import kill_marked, new_mark
from zelboard._wait import look_until
from zelboard._zelsim import SimError as SimError, Word, zelsim as zelsim, zelsim_file
from zelboard.async_program import AsyncProgram as AsyncProgram, arun_to_end
from zelboard.program import (
    Command, Player, Program as Program, Run as Run, RunFailed as RunFailed, RunTimeout as RunTimeout, in_text, lines_of,
    outputs, run_to_end, trace_of, words_of)
from zelboard.state import FaultRule, Module, Region, State, read
from zelboard.trace import Recording, Trace, in_order, text_in_order

if TYPE_CHECKING:
    from zelboard.fw.calls import Calls
    from zelboard.session import Session

Act = Tuple[Union[float, str], str]  # seconds from the start, or "+0.5" from the act before; a command line of zelsim


def modules() -> Dict[str, Module]:
    """The catalogue of modules that can be plugged."""
    return dict(read(Dict[str, Module], json.loads(zelsim("modules", "--json"))["modules"]))


class Batch:
    """`zelsim batch`: one process does many commands."""

    def __init__(self, environment: Dict[str, str]):
        self.process = subprocess.Popen([zelsim_file(), "batch"], env=environment, stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, start_new_session=True)
        self.dialog = Dialog(self.process, "zelsim batch", self.process.kill)

    def do(self, words: Sequence[Word], data: Optional[bytes] = None) -> bytes:
        texts = [os.fspath(word) for word in words]
        question = {"words": texts, "folder": os.getcwd(), "input": bytes(memoryview(data or b"")).hex()}
        with self.dialog.turn("zelsim " + " ".join(texts)):
            answer = self.dialog.ask(question)
        if answer["status"]:
            raise SimError(answer["error"].strip())
        return bytes.fromhex(answer["bytes"]) if "bytes" in answer else cast(bytes, answer["output"].encode())

    def close(self) -> None:
        for pipe in self.process.stdin, self.process.stdout:
            with suppress(OSError):
                cast(Any, pipe).close()  # the end of its input ends it
        self.process.wait()


def remove(batch: Batch, folder: Path) -> None:
    batch.close()
    shutil.rmtree(folder, ignore_errors=True)


class Fault(AbstractContextManager["Fault"]):
    """A fault. It stands until heal() or the end of its `with` block."""

    def __init__(self, board: "Board", rule: FaultRule):
        self.board = board
        self.rule = rule
        self.healed = False

    @property
    def hits(self) -> int:
        """How often it has struck."""
        if not self.healed:
            self._look()
        return self.rule.hits

    def _look(self) -> None:
        """Reads the rule as it is now. A rule that has struck for the last time is not in the state any more."""
        used_up = self.rule._replace(hits=self.rule.count or 0)
        self.rule = self.board.state.faults.get(self.rule.fault, used_up)

    def heal(self, *_: object) -> None:
        if not self.healed:
            self._look()
        self.healed = True
        self.board.do("heal", str(self.rule.fault))

    __exit__ = heal


class Flash:
    """The board's flash: regions by name ("Image 2"), or bytes by place ("0x100000+0x10000"), read and written."""

    def __init__(self, board: "Board"):
        self.board = board

    def __getitem__(self, region: str) -> bytes:
        # Megabytes take much longer in an answer than in a file.
        with tempfile.TemporaryDirectory() as folder:
            file = Path(folder, "region")
            self.board.do("flash", "save", file, "--region", region)
            return file.read_bytes()

    def __setitem__(self, region: str, data: bytes) -> None:
        self.board.do("flash", "load", "-", "--region", region, data=data)

    @property
    def regions(self) -> Dict[str, Region]:
        return dict(read(Dict[str, Region], self.board.json("flash", "stats")["regions"]))


class Witness:
    """Is told which boards are used and closed. A test plugin may set its own with set_witness()."""

    def used(self, board: "Board") -> None:
        pass

    def not_made(self, board: "Board") -> None:
        """The board was refused while it was made."""

    def closing(self, board: "Board") -> None:
        pass


witness = Witness()


def set_witness(other: Witness) -> Witness:
    """Sets the witness. Returns the one before."""
    global witness
    before = witness
    witness = other
    return before


def place_of_caller() -> str:
    """The nearest calling function outside of this package, and its line."""
    frame = sys._getframe(1)
    here = os.path.dirname(__file__)
    while frame.f_back is not None and os.path.dirname(frame.f_code.co_filename) == here:
        frame = frame.f_back
    return f"{frame.f_code.co_name} ({os.path.basename(frame.f_code.co_filename)}:{frame.f_lineno})"


class Board(AbstractContextManager["Board"]):
    """A virtual switch. Without a name it is temporary: the end of its `with` block, close() or the end of Python removes
    it. With a name it is zelsim's board of that name. It is made if it does not exist, and stays."""

    virtual = True

    def __init__(self, name: Optional[str] = None, slots: str = "", *, supplies: Sequence[str] = (),
                 modules: Optional[Mapping[int, Union[Word, bytes]]] = None):
        self.name = name or "board"
        self.label = name or place_of_caller()  # which board it is, for the report of a failed test
        self.flash = Flash(self)
        self.programs: List[Program] = []
        self.closed = False
        self._folder = Path(tempfile.mkdtemp(prefix="zelboard-"))  # for traces, and for a temporary board
        self._temporary = not name
        self._own = {} if name else {"ZELSIM_HOME": str(self._folder / "boards")}
        self._traces: List[Path] = []
        self._batch = Batch(self.environment)
        self._async_programs: List[AsyncProgram] = []
        self._sessions: "List[Session]" = []
        self._remove = weakref.finalize(self, remove, self._batch, self._folder)
        try:
            self._make(slots)
            for number, supply in enumerate(supplies, 1):
                self.set_supply(number, supply)
            for port, module in (modules or {}).items():
                self.plug(port, module)
        except BaseException:
            witness.not_made(self)
            self._remove()
            raise

    def _make(self, slots: str) -> None:
        listed: Dict[str, Any] = {"boards": []}
        if not self._temporary:
            listed = json.loads(self._batch.do(["list", "--json"]))
            self._own = {"ZELSIM_HOME": listed["root"]}
        if self.name in [board["board"] for board in listed["boards"]]:
            if slots:
                raise SimError(f"slots: the board {self.name} exists already: a board with a name stays. Board(slots=...) without "
                               f"a name is a fresh one, fit() changes this one, 'zelsim delete {self.name}' removes it")
        else:
            self.do("create", *(["--slots", slots] if slots else []))

    @property
    def environment(self) -> Dict[str, str]:
        """What zelsim needs to find the board by its name."""
        return {**os.environ, **self._own}

    def _check_open(self, what: str) -> None:
        witness.used(self)
        if self.closed:
            raise SimError(f"{what}: the board is closed")

    def do(self, *words: Word, data: Optional[bytes] = None) -> bytes:
        """Does any command of zelsim on this board. Returns what it prints."""
        self._check_open(" ".join(map(str, words)))
        return self._batch.do([*words, "--board", self.name], data)

    def json(self, *words: Word) -> Any:
        return json.loads(self.do(*words, "--json"))

    def close(self, *_: object) -> None:
        """Ends the programs that run on the board, with all that they have started, and removes it if it is temporary."""
        if self.closed:
            return
        for session in self._sessions:
            session.end_with("the board is closed")
        for program in self.programs:
            program.stop()
        for running in self._async_programs:
            running.kill_group()
        kill_marked([program.mark for program in self.programs] + [running.mark for running in self._async_programs])
        witness.closing(self)
        self.closed = True
        self._remove()

    __exit__ = close

    def send(self, file: Word) -> str:
        """Copies a file to where the board's programs run, and returns its name there. The programs of a virtual switch
        run here, so nothing is copied."""
        return os.path.abspath(file)

    def fit(self, slot: int, board: str) -> None:
        """Fits a daughter board: sfp or copper. none takes the board out."""
        self.do("fit", str(slot), board)

    def plug(self, port: int, module: Union[Word, bytes]) -> None:
        """Plugs a module: a name of modules(), a file with its page A0h, or the page's bytes."""
        if isinstance(module, bytes):
            page = self._folder / "page"
            page.write_bytes(module)
            module = page
        self.do("plug", str(port), module)

    def unplug(self, port: int) -> None:
        self.do("unplug", str(port))

    def set(self, name: str, *values: object) -> None:
        """What `zelsim set` can: set("clock", "2026-03-15T14:30:45"), set("link", 3, 100, "half")."""
        self.do("set", name, *(str(int(value) if isinstance(value, bool) else value) for value in values))

    def set_supply(self, supply: int, state: str) -> None:
        """Sets a power supply: ac or dc (a good one), failed, or none."""
        self.set("supply", supply, state)

    def set_temperature(self, celsius: float) -> None:
        self.set("temperature", celsius)

    def set_light(self, port: int, light: bool) -> None:
        """Lets light into a module, or keeps it out."""
        self.set("loss-of-signal", port, not light)

    def fault(self, target: str, *, result: Union[str, int, None] = None, count: int = 0, skip: int = 0,
              probability: Optional[float] = None, seed: int = 0) -> Fault:
        """Makes requests fail from now on: with board.fault("i2c:BufRead@0x9e", result="busy", count=3): ...
        With a probability they fail by chance, and with the same seed at the same calls again."""
        options = [] if result is None else ["--result", str(result)]
        if count:
            options += ["--count", str(count)]
        if probability is not None:
            options += ["--probability", repr(float(probability)), "--seed", str(seed)]
        added = self.json("fail", target, *options, "--skip", str(skip))
        return Fault(self, read(FaultRule, added))

    def play(self, scenario: Union[Word, Sequence[Act]], *, fast: bool = False) -> None:
        """Plays a scenario to its end. It is a file of `zelsim play`, or a list of acts, as
        [(0, "set supply 2 failed"), (1.5, "set supply 2 ac")]. With fast it does not wait between the acts; on the board
        the time passes."""
        with self.start_play(scenario, fast=fast) as player:
            _, errors = player.communicate()
            if player.returncode:
                raise SimError(errors.strip())

    def start_play(self, scenario: Union[Word, Sequence[Act]], *, fast: bool = False) -> Player:
        """Plays a scenario while the test goes on. The end of the result's `with` block stops it."""
        self._check_open("play")
        if not isinstance(scenario, (str, os.PathLike)):
            times = [at if isinstance(at, str) else f"{at:.6f}" for at, _ in scenario]
            with tempfile.NamedTemporaryFile("w", encoding="utf-8", dir=self._folder, suffix=".scenario", delete=False) as file:
                file.writelines(f"{at} {act}\n" for at, (_, act) in zip(times, scenario))
            scenario = file.name
        command = [zelsim_file(), "play", scenario, "--board", self.name]
        if fast:
            command.append("--fast")
        return Player(command, Trace, env=self.environment, encoding="utf-8", stderr=subprocess.PIPE)

    @property
    def state(self) -> State:
        return cast(State, read(State, self.json("show")))

    def wait(self, condition: Callable[[State], object], timeout: float = 60) -> State:
        """Reads the board's state until the condition holds for it. Returns that state."""
        holds, state = look_until(lambda: self.state, condition, timeout, pause=0.005)
        if not holds:
            raise TimeoutError(f"the board did not get there within {timeout} s")
        return state

    def panel(self) -> str:
        """The front panel as SVG."""
        return self.do("panel", "--svg", "-").decode()

    @property
    def trace(self) -> Trace:
        """What all programs did so far, in the order of time."""
        return Trace(in_order([trace_of(file) for file in self._traces]))

    @contextmanager
    def recording(self) -> Iterator[Recording]:
        """What is done in a `with` block: with board.recording() as trace: ...; trace.count("SetAlarmLed", led=1)"""
        recording = Recording(lambda: self.trace)
        try:
            yield recording
        finally:
            recording.end()

    def _command(self, words: Sequence[Word], fast: bool, chip_times: bool, trace_opens: bool) -> List[Word]:
        self._check_open(str(words[0]) if words else "PROGRAM")
        trace = self._folder / f"trace-{len(self._traces)}"
        self._traces.append(trace)
        command: List[Word] = [zelsim_file(), "run", "--board", self.name, f"--trace={trace}", "--trace-times"]
        if fast:
            command.append("--fast")
        if chip_times:
            command.append("--chip-times")
        if trace_opens:
            command.append("--trace-opens")
        return [*command, "--", *words]

    def _add_mark(self, options: Dict[str, Any]) -> str:
        """Completes the environment that a program gets. Returns the program's mark. A copy of os.environ may name
        other boards: this one stays this one."""
        mark = new_mark()
        options["env"] = {**os.environ, **(options.get("env") or {}), **self._own, mark: "1"}
        return mark

    def start(self, arguments: Command, *, fast: bool = True, chip_times: bool = False,
              trace_opens: bool = False, **options: Any) -> Program:
        """Starts a program. Further options are for subprocess.Popen. With fast its pauses are counted, but not slept."""
        command = self._command(words_of(arguments, options), fast, chip_times, trace_opens)
        file = self._traces[-1]
        mark = self._add_mark(options)
        program = Program(command, lambda: trace_of(file), mark, **in_text(options))
        self.programs.append(program)
        return program

    def run(self, arguments: Command, *, input: Union[str, bytes, None] = None, timeout: Optional[float] = None,
            check: bool = False, **options: Any) -> Run:
        """Runs a program to its end, as subprocess.run does. If it takes longer than the timeout, it is killed together
        with all that it has started, and RunTimeout is raised, with the output so far."""
        return run_to_end(self.start, arguments, input, timeout, check, options)

    async def astart(self, arguments: Command, *, fast: bool = True, chip_times: bool = False,
                     trace_opens: bool = False, **options: Any) -> AsyncProgram:
        """start() for asyncio."""
        command = self._command(words_of(arguments, options), fast, chip_times, trace_opens)
        file = self._traces[-1]
        mark = self._add_mark(options)
        program = await AsyncProgram.start(command, lambda: trace_of(file), mark, options)
        self._async_programs.append(program)
        return program

    async def arun(self, arguments: Command, *, input: Union[str, bytes, None] = None, timeout: Optional[float] = None,
                   check: bool = False, **options: Any) -> Run:
        """run() for asyncio; a task that is cancelled ends its program."""
        return await arun_to_end(self.astart, arguments, input, timeout, check, options)

    def evidence(self) -> Dict[str, str]:
        """What is kept for the report of a failed test: texts by the names of their files."""
        kept = {"trace": text_in_order([lines_of(file) for file in self._traces])}
        with suppress(SimError):  # the test may have removed the board
            own_name = self.label if self._temporary else self.name  # all temporary boards have the same name
            kept["state.json"] = json.dumps({**self.json("show"), "board": own_name}, indent=2) + "\n"
            kept["panel.svg"] = self.panel()
        printed = outputs([*self.programs, *self._async_programs])
        return {**kept, "output": printed} if printed else kept

    def session(self, *, fast: bool = True, timeout: float = TIMEOUT) -> "Calls":
        """zelboard.fw on this board: with board.session() as fw: fw.FW_SetSystemLed(1). A call that has no answer within
        the timeout, in seconds, ends the session."""
        from zelboard.session import Session, far_end
        session = Session(far_end(self.start, fast=fast), timeout, lambda: witness.used(self))
        self._sessions.append(session)
        return cast("Calls", session)


class BoardFactory(Protocol):
    """The fixture board_factory: makes boards."""

    def __call__(self, slots: str = "", *, supplies: Sequence[str] = (),
                 modules: Optional[Mapping[int, Union[Word, bytes]]] = None) -> Board: ...
