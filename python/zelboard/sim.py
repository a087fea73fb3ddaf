"""Boards of the virtual switch: made, changed, looked at and removed by zelsim, which must be in PATH."""
import json
import os
import shutil
import subprocess
import tempfile
import time
import weakref
from contextlib import AbstractContextManager
from pathlib import Path
from typing import IO, Any, Callable, Dict, List, Optional, Sequence, Union, cast

from zelboard.state import Event, FaultRule, Module, Region, State, read, read_event

Word = Union[str, os.PathLike[str]]


class SimError(Exception):
    """zelsim refused, for the reason that it gives."""


def zelsim(*words: Word, data: Optional[bytes] = None, environment: Optional[Dict[str, str]] = None) -> bytes:
    try:
        done = subprocess.run(["zelsim", *words], input=data, capture_output=True, env=environment)
    except FileNotFoundError:
        raise SimError("zelsim is not in PATH; Debian's package is zelboard-tools") from None
    if done.returncode:
        raise SimError(done.stderr.decode("utf-8", "replace").strip())
    return done.stdout


def modules() -> Dict[str, Module]:
    """The catalogue of modules that can be plugged."""
    return dict(read(Dict[str, Module], json.loads(zelsim("modules", "--json"))["modules"]))


class Fault(AbstractContextManager["Fault"]):
    """A fault that stands from when it is made until heal() or the end of its `with` block."""

    def __init__(self, board: "Board", rule: FaultRule):
        self.board, self.rule, self.healed = board, rule, False

    @property
    def hits(self) -> int:
        """How often it has struck."""
        if not self.healed:  # one that has struck for the last time is listed no more
            self.rule = self.board.state.faults.get(self.rule.fault, self.rule._replace(hits=self.rule.count or 0))
        return self.rule.hits

    def heal(self, *_: object) -> None:
        self.healed = self.hits >= 0  # which are known from now on
        self.board.do("heal", str(self.rule.fault))

    __exit__ = heal


class Flash:
    """The board's flash: regions by name ("Image 2"), or bytes by place ("0x100000+0x10000"), read and written."""

    def __init__(self, board: "Board"):
        self.board = board

    def __getitem__(self, region: str) -> bytes:
        return self.board.do("flash", "save", "-", "--region", region)

    def __setitem__(self, region: str, data: bytes) -> None:
        self.board.do("flash", "load", "-", "--region", region, data=data)

    @property
    def regions(self) -> Dict[str, Region]:
        return dict(read(Dict[str, Region], self.board.json("flash", "stats")["regions"]))


class Program(subprocess.Popen):  # type: ignore[type-arg]
    """A program that runs on a board; the end of its `with` block ends it."""

    traced: Path
    stdout: IO[str]  # when it was started with a pipe

    @property
    def trace(self) -> List[Event]:
        """What it has done so far."""
        return list(map(read_event, self.traced.read_text("utf-8").splitlines() if self.traced.exists() else []))

    def stop(self) -> int:
        """Asks it to end (SIGTERM), kills it if it does not within five seconds, and tells how it ended."""
        self.terminate()
        try:
            return self.wait(5)
        except subprocess.TimeoutExpired:
            self.kill()
            return self.wait()

    def __exit__(self, *details: Any) -> None:
        self.stop()
        super().__exit__(*details)


class Run(subprocess.CompletedProcess):  # type: ignore[type-arg]
    """A program that has ended: its returncode, stdout, stderr (text) and trace."""
    trace: List[Event]


class Board(AbstractContextManager["Board"]):
    """A virtual switch. Without a name it is temporary: its `with` block, close() or the end of Python removes it. With
    a name it is zelsim's board of that name, which is made when missing, and stays."""

    def __init__(self, name: Optional[str] = None, slots: str = ""):
        self.name, self.flash, self.programs = name or "board", Flash(self), list[Program]()
        self._folder = Path(tempfile.mkdtemp(prefix="zelboard-"))  # of the traces, too
        self._own = {} if name else {"ZELSIM_HOME": str(self._folder / "boards")}
        self._remove = weakref.finalize(self, shutil.rmtree, self._folder, ignore_errors=True)
        known = json.loads(zelsim("list", "--json", environment=self.environment))["boards"]
        if self.name not in [board["board"] for board in known]:
            self.do("create", *(["--slots", slots] if slots else []))
        elif slots:
            raise SimError(f"slots: the board {self.name} exists already; fit() changes it")

    @property
    def environment(self) -> Dict[str, str]:
        """What zelsim needs to find the board by its name."""
        return {**os.environ, **self._own}

    def do(self, *words: Word, data: Optional[bytes] = None) -> bytes:
        """Any command of zelsim on this board: what it prints."""
        return zelsim(*words, "--board", self.name, data=data, environment=self.environment)

    def json(self, *words: Word) -> Any:
        return json.loads(self.do(*words, "--json"))

    def close(self, *_: object) -> None:
        """Ends the programs that run on the board, and removes it if it is temporary."""
        for program in self.programs:
            program.stop()
        self._remove()

    __exit__ = close

    def fit(self, slot: int, board: str) -> None:
        """Fits a daughter board, sfp or copper, or takes it out: none."""
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
        """Makes a supply an ac or dc one that is good, a failed one, or none."""
        self.set("supply", supply, state)

    def set_temperature(self, celsius: float) -> None:
        self.set("temperature", celsius)

    def set_light(self, port: int, light: bool) -> None:
        """Lets light into a module, or keeps it out."""
        self.set("loss-of-signal", port, not light)

    def fault(self, target: str, *, result: Union[str, int, None] = None, count: int = 0, skip: int = 0) -> Fault:
        """Makes requests fail from now on: with board.fault("i2c:BufRead@0x9e", result="busy", count=3): ..."""
        chosen = [] if result is None else ["--result", str(result)]
        added = self.json("fail", target, *chosen, "--count", str(count), "--skip", str(skip))
        return Fault(self, read(FaultRule, added))

    @property
    def state(self) -> State:
        return cast(State, read(State, self.json("show")))

    def wait(self, condition: Callable[[State], object], timeout: float = 60) -> State:
        """Looks at the board until the condition holds, and gives the state in which it did."""
        end = time.monotonic() + timeout
        while not condition(state := self.state):
            if time.monotonic() > end:
                raise TimeoutError(f"the board did not get there within {timeout} s")
            time.sleep(0.02)
        return state

    def panel(self) -> str:
        """The front panel as SVG."""
        return self.do("panel", "--svg", "-").decode()

    @property
    def trace(self) -> List[Event]:
        """What the programs did so far, one program after the other."""
        return [event for program in self.programs for event in program.trace]

    def start(self, arguments: Sequence[Word], *, fast: bool = True, chip_times: bool = False,
              trace_opens: bool = False, **options: Any) -> Program:
        """Starts a program; the further options are those of subprocess.Popen. fast counts its pauses, not slept."""
        trace = self._folder / f"trace-{len(self.programs)}"
        switches = ["--fast"] * fast + ["--chip-times"] * chip_times + ["--trace-opens"] * trace_opens
        command = ["zelsim", "run", "--board", self.name, f"--trace={trace}", *switches, "--", *arguments]
        options["env"] = {**self.environment, **options.get("env", {})}
        options = {"encoding": "utf-8", "errors": "surrogateescape", **options}
        program: Program = Program(command, **options)
        program.traced = trace
        self.programs.append(program)
        return program

    def run(self, arguments: Sequence[Word], *, input: Optional[str] = None, timeout: Optional[float] = None,
            check: bool = False, **options: Any) -> Run:
        """Runs a program to its end, as subprocess.run does."""
        options = {**dict.fromkeys(["stdin", "stdout", "stderr"], subprocess.PIPE), **options}
        with self.start(arguments, **options) as program:
            done = Run(arguments, 0, *program.communicate(input, timeout))
        done.returncode, done.trace = program.returncode, program.trace
        if check:
            done.check_returncode()
        return done

    def session(self, *, fast: bool = True) -> Any:
        """zelboard.fw on this board: with board.session() as fw: fw.FW_SetSystemLed(1)"""
        from zelboard.session import Session
        return Session(self, fast)
