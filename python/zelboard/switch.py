"""A real switch for tests. A command reaches it: a shell there runs the command's last argument, as with `ssh root@switch`.
The switch needs zelctl. Acts that need a virtual board are refused with a reason. So are acts that need hands, unless a
person is there to be asked."""
import contextlib
import fcntl
import functools
import hashlib
import json
import os
import shlex
import signal
import subprocess
import tempfile
import uuid
from pathlib import Path
from typing import IO, TYPE_CHECKING, Any, Callable, Dict, Iterator, List, Mapping, NoReturn, Optional, Sequence, Tuple, Union, cast
from urllib.parse import urlsplit

from zelboard._dialog import TIMEOUT, Timeout
from zelboard._started import kill_line, new_mark
from zelboard._switch_state import SwitchState
from zelboard._wait import look_until
from zelboard._zelsim import Word
from zelboard.async_program import AsyncProgram, arun_to_end
from zelboard.program import Command, Program, Run, in_text, outputs, run_to_end, signal_group, words_of
from zelboard.session import Session, far_end
from zelboard.state import Panel, Slot, Supply
from zelboard.trace import Event, Recording, Trace

if TYPE_CHECKING:
    from zelboard.fw.calls import Calls

SETTLING = 3.0  # seconds from an act of hands until the switch must tell of it
NEAR_ENOUGH = 5.0  # degrees
STARTING = 10.0  # seconds in which a session must have begun


class OnlyVirtual(Exception):
    """A real switch cannot do that by itself."""


class NotDone(AssertionError):
    """A person was asked for something, and the switch tells that it is not done."""


class Unreachable(RuntimeError):
    """The command does not reach a switch, or the switch has no zelctl."""


def channel_of(target: Optional[str], run: Optional[str]) -> Optional[List[str]]:
    """The command that reaches a switch: `run` itself, or made from a target like ssh://USER@HOST[:PORT]."""
    if run and target:
        raise ValueError("target and run: a switch is reached by one of them, not by both")
    if run:
        return shlex.split(run)
    if not target:
        return None
    place = urlsplit(target)
    if place.scheme != "ssh" or not place.hostname or place.path not in ("", "/"):
        raise ValueError(f"target: {target!r} is not like ssh://root@switch")
    port = ["-p", str(place.port)] if place.port else []
    host = f"{place.username}@{place.hostname}" if place.username else place.hostname
    return ["ssh", "-o", "BatchMode=yes", *port, host]


@contextlib.contextmanager
def one_at_a_time(channel: Sequence[str]) -> Iterator[IO[str]]:
    """There is only one such switch: tests in several processes take turns. A process may leave a text in the file for the
    next one."""
    name = hashlib.sha256("\0".join(channel).encode()).hexdigest()[:16]
    with open(Path(tempfile.gettempdir(), f"zelboard-{os.getuid()}-{name}.lock"), "a+", encoding="utf-8") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        yield lock


class FarProgram(Program):
    """A program on the switch. Signals go to the program there, and to the command that is connected to it."""

    far_signal: Callable[[int], "subprocess.Popen[bytes]"]  # begins to send a signal

    def signal_all(self, number: int) -> None:
        with contextlib.suppress(subprocess.TimeoutExpired):
            self.far_signal(number).wait(STARTING)
        signal_group(self.pid, number)

    def abandon(self) -> None:
        if self.returncode is None:
            self.far_signal(signal.SIGKILL)
            signal_group(self.pid, signal.SIGKILL)

    def kill_started(self, seconds: float = 2) -> None:
        """What it has started there is killed together with it, or by the switch's close()."""


class FarAsyncProgram(AsyncProgram):
    """What FarProgram is, for asyncio."""

    far_signal: Callable[[int], "subprocess.Popen[bytes]"]

    def signal_all(self, number: int) -> None:
        with contextlib.suppress(subprocess.TimeoutExpired):
            self.far_signal(number).wait(STARTING)
        signal_group(self.pid, number)


def said_by(answer: "subprocess.CompletedProcess[str]") -> str:
    """The first line that a program has printed, as the end of a message: of its complaint, if it has one."""
    lines = answer.stderr.strip().splitlines() or answer.stdout.strip().splitlines()
    return f": {lines[0][:200]}" if lines else ""


class NoTrace(Trace):
    """Refuses to be looked at."""

    def __init__(self, refuse: Callable[[str], NoReturn]):
        super().__init__()
        self._refuse = refuse

    @property
    def events(self) -> List[Event]:
        self._refuse("a trace")


class SwitchFlash:
    """The flash of a real switch. It can only be read here."""

    def __init__(self, switch: "Switch"):
        self._switch = switch

    def __getitem__(self, region: str) -> bytes:
        start, _, size = region.partition("+")
        place = [start, size] if size else [region]
        return self._switch.output_of(["zelctl", "flash", "read", *place, "-o", "-"])

    def __setitem__(self, region: str, data: bytes) -> None:
        self._switch.only_virtual(f"flash[{region!r}] = ...: writes the flash behind the library's back")


class Switch(contextlib.AbstractContextManager["Switch"]):
    """A real switch, with the methods of zelboard.sim.Board. `channel` is the command that reaches it: a shell there runs
    the command's last argument. `refuse` is called with the reason if something needs a virtual board; it raises an
    exception. `ask` asks a person to do what needs hands."""

    virtual = False

    def __init__(self, channel: Sequence[str], *, folder: str = "", refuse: Optional[Callable[[str], Any]] = None,
                 ask: Optional[Callable[[str], None]] = None):
        self.channel = list(channel)
        self.label = shlex.join(channel)
        self.folder = folder
        self.programs: List[Program] = []
        self.flash = SwitchFlash(self)
        self._refuse = refuse
        self._ask = ask
        self._calls: Optional["Calls"] = None
        self._before: Optional[Panel] = None
        self._sent: List[str] = []
        self._async_programs: List[AsyncProgram] = []
        self._sessions: List[Session] = []
        self._senders: List["subprocess.Popen[bytes]"] = []  # of signals
        self._pid_files: List[str] = []  # of the programs there
        self._marks: List[str] = []  # of the programs there
        self._reached = True
        self.closed = False

    # How programs get there.

    def _line(self, arguments: Sequence[Word], environment: Mapping[str, str], folder: str, pid_file: str = "") -> List[str]:
        """The command that runs a program there. If a `pid_file` is given, the program's number is written into it."""
        words = [os.fspath(word) for word in arguments]
        if environment:
            words = ["env", *(f"{name}={value}" for name, value in environment.items()), *words]
        line = "exec " + shlex.join(words)
        if pid_file:
            line = f"echo $$ >{pid_file} && {line}"
        return self._shell(line, folder)

    def _shell(self, line: str, folder: str) -> List[str]:
        """The command that runs a line of a shell there, in the folder if one is given."""
        if folder:
            line = f"cd {shlex.quote(folder)} && {line}"
        return [*self.channel, line]

    def output_of(self, arguments: Sequence[Word]) -> bytes:
        """What a program there prints. Raises RuntimeError with the program's message if its status is not 0."""
        done = subprocess.run(self._line(arguments, {}, self.folder), stdin=subprocess.DEVNULL, capture_output=True)
        if done.returncode:
            raise RuntimeError(done.stderr.decode("utf-8", "replace").strip() or f"{arguments[0]}: status {done.returncode}")
        return done.stdout

    def send(self, file: Word) -> str:
        """Copies a file to the switch, where it stays until close(), and returns its name there."""
        name = f"./{Path(file).name}" if self.folder else f"/tmp/zelboard-{uuid.uuid4().hex[:8]}-{Path(file).name}"
        mode = f"{os.stat(file).st_mode & 0o777:o}"
        command = self._shell(f"cat >{shlex.quote(name)} && chmod {mode} {shlex.quote(name)}", self.folder)
        subprocess.run(command, input=Path(file).read_bytes(), check=True, capture_output=True)
        self._sent.append(name)
        return name

    def _start_command(self, arguments: Command, options: Dict[str, Any]) -> Tuple[List[str], Callable[[int], Any]]:
        """The command that starts a program there, and a function that begins to send a signal to it. Takes from the
        options what is meant for there."""
        given = options.pop("env", None) or {}
        environment = {name: value for name, value in given.items() if os.environ.get(name) != value}
        folder = options.pop("cwd", None) or self.folder
        pid_file = f"/tmp/zelboard-{uuid.uuid4().hex}.pid"
        self._pid_files.append(pid_file)
        mark = new_mark()
        self._marks.append(mark)
        line = self._line(words_of(arguments, options), {**environment, mark: "1"}, os.fspath(folder), pid_file)
        return line, functools.partial(self._signal, pid_file, mark)

    def start(self, arguments: Command, *, fast: bool = True, chip_times: bool = False,
              trace_opens: bool = False, **options: Any) -> Program:
        """As on a virtual board, but pauses are slept, and nothing is traced. Of the environment, the program gets only
        the variables of `env` that differ from the ones here."""
        command, send_signal = self._start_command(arguments, options)
        program = FarProgram(command, lambda: self.trace, **in_text(options))
        program.far_signal = send_signal
        self.programs.append(program)
        return program

    def _signal(self, pid_file: str, mark: str, number: int) -> "subprocess.Popen[bytes]":
        """Begins to send a signal to a program there."""
        name = signal.Signals(number).name[3:]
        # The program may lead a group. If it does not, only the program itself gets the signal.
        line = f"p=$(cat {pid_file} 2>/dev/null) && {{ kill -{name} -$p || kill -{name} $p; }} 2>/dev/null"
        if number == signal.SIGKILL:
            line += "; " + kill_line([mark])
        command = [*self.channel, line] if self._reached else ["true"]
        sender = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.DEVNULL, start_new_session=True)
        self._senders.append(sender)
        return sender

    def run(self, arguments: Command, *, input: Union[str, bytes, None] = None, timeout: Optional[float] = None,
            check: bool = False, **options: Any) -> Run:
        return run_to_end(self.start, arguments, input, timeout, check, options)

    async def astart(self, arguments: Command, *, fast: bool = True, chip_times: bool = False,
                     trace_opens: bool = False, **options: Any) -> AsyncProgram:
        """start() for asyncio."""
        command, send_signal = self._start_command(arguments, options)
        program = await FarAsyncProgram.start(command, lambda: self.trace, "", options)
        program.far_signal = send_signal
        self._async_programs.append(program)
        return program

    async def arun(self, arguments: Command, *, input: Union[str, bytes, None] = None, timeout: Optional[float] = None,
                   check: bool = False, **options: Any) -> Run:
        """run() for asyncio; a task that is cancelled ends its program."""
        return await arun_to_end(self.astart, arguments, input, timeout, check, options)

    def session(self, *, fast: bool = True, timeout: float = TIMEOUT) -> "Calls":
        """zelboard.fw on the switch."""
        try:
            session = Session(far_end(self.start), timeout, starting=STARTING)
        except (OSError, subprocess.CalledProcessError, ValueError, Timeout) as error:
            trouble = self._trouble(error)
            self._reached = False
            raise Unreachable(f"{shlex.join(self.channel)}: {trouble}") from None
        self._sessions.append(session)
        return cast("Calls", session)

    def _trouble(self, error: Exception) -> str:
        """Why no session was possible. Also removes the files of the programs' numbers: close() no longer asks the switch."""
        if isinstance(error, Timeout):
            return f"no answer within {STARTING:g} s"
        try:
            answer = self._answer(f"rm -f {shlex.join(self._pid_files)}; echo reached-$((1 + 1)); command -v zelctl")
            if "reached-2" not in answer.stdout:
                return (f"no switch is reached: status {answer.returncode}{said_by(answer)}; the command must have a shell on the "
                        "switch do its last argument, as 'ssh root@switch' does, and the switch needs zelctl (Debian's package "
                        "zelboard-tools)")
            if "zelctl" not in answer.stdout:
                return "the switch has no zelctl in PATH; install Debian's package zelboard-tools there"
            answer = self._answer("zelctl --json -v session </dev/null")
            return f"zelctl session does not answer there: status {answer.returncode}{said_by(answer)}"
        except subprocess.TimeoutExpired as late:
            return f"no answer within {late.timeout:g} s"
        except OSError:
            return f"the command cannot be run: {error}"

    def _answer(self, line: str) -> "subprocess.CompletedProcess[str]":
        """What a line of a shell there prints, to find out what is wrong."""
        return subprocess.run(self._shell(line, self.folder), stdin=subprocess.DEVNULL, capture_output=True,
                              encoding="utf-8", errors="replace", timeout=10)

    def close(self, *_: object) -> None:
        """Ends the programs that were started, restores LEDs and relay, and removes the files that were sent."""
        if self.closed:
            return
        self.closed = True
        own = self._calls.process if self._calls is not None else None
        for session in self._sessions:
            if session.process is not own:
                session.end_with("the switch is closed")
        for program in self.programs:
            if program is not own and program.poll() is None:
                program.stop()
        for running in self._async_programs:
            running.kill_group()
        if self._before is not None:
            self._restore(self._before)
        if self._calls is not None:
            self._calls.close()
        if self._marks and self._reached:
            self._clean_up()
        for sender in self._senders:
            with contextlib.suppress(subprocess.TimeoutExpired):
                sender.wait(SETTLING)
            if sender.returncode is None:
                signal_group(sender.pid, signal.SIGKILL)
                sender.wait()

    def _clean_up(self) -> None:
        """Kills what the programs have left running there, and removes files."""
        line = kill_line(self._marks) + "; rm -f " + shlex.join([*self._sent, *self._pid_files])
        with contextlib.suppress(OSError, subprocess.TimeoutExpired):
            subprocess.run(self._shell(line, self.folder), stdin=subprocess.DEVNULL, capture_output=True, timeout=TIMEOUT)

    __exit__ = close

    def __enter__(self) -> "Switch":
        from zelboard.fw import Error
        try:
            self._before = self.state.panel
        except Error as error:
            self.close()
            raise Unreachable(f"{shlex.join(self.channel)}: the drivers of the switch do not answer: {error}") from None
        except BaseException:
            self.close()
            raise
        return self

    def _restore(self, panel: Panel) -> None:
        fw = self.own_calls()
        if self._look().panel == panel:
            return
        fw.FW_SetSystemLed(panel.system)
        fw.FW_SetAlarmLed(panel.alarm)
        fw.FW_SetAlarmRelay(panel.relay)
        fw.FW_SetRingMasterLed(panel.ring_master, fw.FW_MIRROR)
        fw.FW_SetRingFailLed(panel.ring_fail, fw.FW_MIRROR)
        fw.FW_SetPowerLed(1, panel.power_1, fw.FW_MIRROR)
        fw.FW_SetPowerLed(2, panel.power_2, fw.FW_MIRROR)
        fw.FW_SetSfp10gSpeedLed(24, panel.speed_24, fw.FW_MIRROR)
        fw.FW_SetSfp10gSpeedLed(25, panel.speed_25, fw.FW_MIRROR)
        fw.FW_SetSfp10gSpeedLed(26, panel.speed_26, fw.FW_MIRROR)
        fw.FW_SetSfp10gSpeedLed(27, panel.speed_27, fw.FW_MIRROR)

    # What can be seen.

    def own_calls(self) -> "Calls":
        if self._calls is None:
            self._calls = self.session()
        return self._calls

    @property
    def state(self) -> SwitchState:
        if self.closed:
            raise RuntimeError("state: the switch is closed")
        return self._look()

    def _look(self) -> SwitchState:
        return SwitchState(self.own_calls(), self._never)

    def wait(self, condition: Callable[[Any], object], timeout: float = 60) -> SwitchState:
        state: SwitchState
        holds, state = look_until(lambda: self.state, condition, timeout, pause=0.05)
        if not holds:
            raise TimeoutError(f"the switch did not get there within {timeout} s")
        return state

    def evidence(self) -> Dict[str, str]:
        """What is kept for the report of a failed test: the state as the library tells it, and what programs printed."""
        kept = {}
        if not self.closed:
            kept["state.json"] = json.dumps(self.state.as_told(), indent=2) + "\n"
        printed = outputs([*self.programs, *self._async_programs])
        return {**kept, "output": printed} if printed else kept

    # Acts that need a virtual board, or hands.

    def _never(self, reason: str) -> NoReturn:
        if self._refuse is not None:
            self._refuse(reason)
        raise OnlyVirtual(reason)

    def only_virtual(self, what: str) -> NoReturn:
        self._never(f"{what} (only on a virtual board)")

    def by_hand(self, what: str, wanted: str = "", look: Optional[Callable[[], str]] = None) -> None:
        """Asks a person for an act. If `look` is given, the switch must then report the state `wanted`."""
        if self._ask is None:
            self._never(f"{what}: takes hands, or a virtual board")
        self._ask(what)
        if look is None:
            return
        is_done, seen = look_until(look, lambda seen: seen == wanted, SETTLING, pause=0.1)
        if not is_done:
            raise NotDone(f"{what}: not done, the switch tells: {seen}, not: {wanted}")

    def require(self, slots: str = "", *, supplies: Sequence[str] = (), modules: Optional[Mapping[int, Any]] = None) -> None:
        """Makes sure that the switch has what the test wants. A person is asked to change the rest. Any module in a port
        will do: a switch does not tell by which name a module is plugged on a virtual board."""
        for number, wanted in enumerate(slots.split(",") if slots else (), 1):
            if self._board_seen(number) != wanted:
                self.fit(number, wanted)
        for number, supply in enumerate(supplies, 1):
            if self._supply_seen(number) != supply:
                self.set_supply(number, supply)
        for port, module in (modules or {}).items():
            if self._module_seen(port) != "a module":
                self.plug(port, module)

    # What the switch tells, in the words of by_hand.

    def _board_seen(self, slot: int) -> str:
        slots: Dict[int, Slot] = self.state.slots
        return slots[slot].board

    def _supply_seen(self, number: int) -> str:
        supply: Supply = self.state.supplies[number]
        return supply.type if supply.good or supply.type == "none" else "failed"

    def _module_seen(self, port: int) -> str:
        calls = self.own_calls()
        try:
            return "no module" if calls.FW_GetPortSfpPresnt(port) else "a module"
        except (calls.Absent, calls.NotSfp):
            return "no cage"

    def _light_seen(self, port: int) -> str:
        calls = self.own_calls()
        try:
            return "no light" if calls.FW_GetPortSfpLos(port) else "light"
        except (calls.Absent, calls.NotSfp):
            return "no cage"

    def fit(self, slot: int, board: str) -> None:
        what = f"slot {slot}: take the board out" if board == "none" else f"slot {slot}: fit a board, {board}"
        self.by_hand(what, board, lambda: self._board_seen(slot))

    def plug(self, port: int, module: Union[Word, bytes]) -> None:
        name = "any" if isinstance(module, bytes) else os.fspath(module)
        self.by_hand(f"port {port}: plug a module, {name}", "a module", lambda: self._module_seen(port))

    def unplug(self, port: int) -> None:
        self.by_hand(f"port {port}: pull the module", "no module", lambda: self._module_seen(port))

    def set_supply(self, supply: int, state: str) -> None:
        self.by_hand(f"supply {supply}: make it {state}", state, lambda: self._supply_seen(supply))

    def set_light(self, port: int, light: bool) -> None:
        what = f"port {port}: {'plug the fibre' if light else 'pull the fibre'}"
        self.by_hand(what, "light" if light else "no light", lambda: self._light_seen(port))

    def set_temperature(self, celsius: float) -> None:
        wanted = f"about {celsius:g} degrees"

        def look() -> str:
            seen = float(self.state.i2c.temperature)
            return wanted if abs(seen - celsius) <= NEAR_ENOUGH else f"{seen:g} degrees"

        self.by_hand(f"bring the board to {celsius:g} degrees", wanted, look)

    def set(self, name: str, *values: object) -> None:
        self.by_hand(f"set {' '.join(map(str, (name, *values)))}")

    def fault(self, target: str, **_: Any) -> NoReturn:
        self.only_virtual(f"fault {target}")

    def do(self, *words: Word, **_: Any) -> NoReturn:
        self.only_virtual(f"zelsim {' '.join(os.fspath(word) for word in words)}")

    json = do

    def play(self, *_: Any, **__: Any) -> NoReturn:
        self.only_virtual("a scenario")

    start_play = play

    def panel(self) -> NoReturn:
        self.only_virtual("the panel's picture")

    @property
    def trace(self) -> Trace:
        return NoTrace(self.only_virtual)

    def recording(self) -> "contextlib.AbstractContextManager[Recording]":
        self.only_virtual("a recording")
