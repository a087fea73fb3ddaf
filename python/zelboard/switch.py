"""A real switch for tests: reached by any command that has a shell there do its last argument, as `ssh root@switch` does.
The switch needs zelctl. What takes a virtual board, or hands, is refused with its reason; a person may be asked."""
import contextlib
import fcntl
import hashlib
import os
import shlex
import signal
import subprocess
import tempfile
import time
import uuid
from pathlib import Path
from typing import TYPE_CHECKING, Any, Callable, Dict, Iterator, List, Mapping, NoReturn, Optional, Sequence, Union, cast
from urllib.parse import urlsplit

from zelboard._channel import TIMEOUT
from zelboard.program import Program, Run, outputs, signal_group
from zelboard.session import Session, far_end
from zelboard.state import Cage, Panel, Slot
from zelboard.trace import Event, Recording, Trace

if TYPE_CHECKING:
    from zelboard.fw.calls import Calls

Word = Union[str, os.PathLike[str]]


class OnlyVirtual(Exception):
    """A real switch cannot do that by itself."""


def channel_of(target: Optional[str], run: Optional[str]) -> Optional[List[str]]:
    """The command that gets to a switch, from ssh://USER@HOST[:PORT] or as it is given."""
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
def one_at_a_time(channel: Sequence[str]) -> Iterator[None]:
    """A switch is one: tests of several processes take turns."""
    name = hashlib.sha256("\0".join(channel).encode()).hexdigest()[:16]
    with open(Path(tempfile.gettempdir(), f"zelboard-{os.getuid()}-{name}.lock"), "w") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        yield


class FarProgram(Program):
    """A program on the switch: signals go to it there, and to the command that holds the line to it."""

    far_signal: Callable[[int], None]

    def signal_all(self, number: int) -> None:
        self.far_signal(number)
        signal_group(self.pid, number)


class NoTrace(Trace):
    """Refuses to be looked at."""

    def __init__(self, refuse: Callable[[str], NoReturn]):
        super().__init__()
        self._refuse = refuse

    @property
    def events(self) -> List[Event]:
        self._refuse("a trace")


class Seen:
    """A part of a switch's state; each value is read when it is asked for."""

    def __init__(self, what: str, readers: Mapping[str, Callable[[], Any]], refuse: Callable[[str], NoReturn]):
        self._what, self._readers, self._refuse = what, readers, refuse

    def __getattr__(self, name: str) -> Any:
        if name.startswith("_"):
            raise AttributeError(name)
        if name not in self._readers:
            self._refuse(f"state: a real switch does not tell its {self._what}{name}")
        return self._readers[name]()


class SwitchState(Seen):
    """What a real switch tells of itself by its library, with the names of a virtual board's state."""

    def __init__(self, fw: "Calls", refuse: Callable[[str], NoReturn]):
        self.__dict__["fw"] = fw
        super().__init__("", {
            "panel": self._read_panel, "slots": self._read_slots, "cages": self._read_cages,
            "gpio": lambda: Seen("gpio.", self._gpio_readers(), refuse),
            "i2c": lambda: Seen("i2c.", self._i2c_readers(), refuse)}, refuse)

    def _read_panel(self) -> Panel:
        fw: "Calls" = self.fw
        speeds = [fw.FW_GetSfp10gSpeedLed(port) for port in range(24, 28)]
        return Panel(fw.FW_GetSystemLed(), fw.FW_GetAlarmLed(), fw.FW_GetAlarmRelay(), fw.FW_GetRingMasterLed(),
                     fw.FW_GetRingFailLed(), fw.FW_GetPowerLed(1), fw.FW_GetPowerLed(2), *speeds)

    def _read_slots(self) -> Dict[int, Slot]:
        fw: "Calls" = self.fw
        slots = {}
        for slot in range(1, 4):
            try:
                kind = fw.FW_GetDauBoard(slot)
                slots[slot] = Slot(slot, "copper" if kind == fw.FW_BOARD_COPPER else "sfp", fw.FW_GetDau_Alive(slot))
            except fw.Absent:
                slots[slot] = Slot(slot, "none", 0)
        return slots

    def _read_cages(self) -> Dict[int, Cage]:
        fw: "Calls" = self.fw
        cages = {}
        for port in range(28):
            with contextlib.suppress(fw.Absent, fw.NotSfp):
                presence = fw.FW_GetPortSfpPresnt(port)
                cages[port] = Cage(port, None if presence else self._module_in(port), presence, fw.FW_GetPortSfpTxDisable(port),
                                   fw.FW_GetPortSfpTxFault(port), fw.FW_GetPortSfpLos(port))
        return cages

    def _module_in(self, port: int) -> str:
        """The part number that the module has in it: what was plugged is known by nothing else."""
        fw: "Calls" = self.fw
        fw.FW_SfpSel(port)
        return fw.FW_I2C_BufRead(fw.FW_SFP_MEMORY, 40, 1, 16).decode("latin-1").strip()

    def _gpio_readers(self) -> Dict[str, Callable[[], Any]]:
        fw: "Calls" = self.fw
        return {"reset_process": fw.FW_RstProcGet, "reset_key": fw.FW_GetRstKey, "diag_flag": fw.FW_GetSystemDiagFlag,
                "flash_access_flag": fw.FW_GetFlashAccessFlag,
                "watchdog_enabled": lambda: bool((fw.FW_GetSpecialRegister(0x20300) or 0) & 0x100)}

    def _i2c_readers(self) -> Dict[str, Callable[[], Any]]:
        fw: "Calls" = self.fw

        def temperature() -> float:
            fw.FW_PollTemperature()
            return float(fw.FW_GetTemperature().temperature)

        def clock() -> str:
            fw.FW_PollRtc()
            return fw.FW_GetRtc().to_datetime().isoformat()

        return {"busy": fw.FW_Get_I2C_Busy, "clock_present": fw.FW_GetRTC_Alive, "sensor_present": fw.FW_GetLM75_Alive,
                "temperature": temperature, "clock": clock, "clock_mode": lambda: 24 if fw.FW_GetRtc1224() else 12}


class SwitchFlash:
    """The flash of a real switch, which is only read here."""

    def __init__(self, switch: "Switch"):
        self._switch = switch

    def __getitem__(self, region: str) -> bytes:
        start, _, size = region.partition("+")
        place = [start, size] if size else [region]
        return self._switch.output_of(["zelctl", "flash", "read", *place, "-o", "-"])

    def __setitem__(self, region: str, data: bytes) -> None:
        self._switch.only_virtual(f"flash[{region!r}] = ...: writes the flash behind the library's back")


class Switch(contextlib.AbstractContextManager["Switch"]):
    """A real switch, with the methods of zelboard.sim.Board. `channel` is the command that has a shell there do its last
    argument. `refuse` is called with the reason when something takes a virtual board, and raises; `ask` has a person do
    what takes hands."""

    virtual = False

    def __init__(self, channel: Sequence[str], *, folder: str = "", refuse: Optional[Callable[[str], Any]] = None,
                 ask: Optional[Callable[[str], None]] = None):
        self.channel, self.folder, self.programs = list(channel), folder, list[Program]()
        self.flash = SwitchFlash(self)
        self._refuse, self._ask = refuse, ask
        self._calls: Optional["Calls"] = None
        self._before: Optional[Panel] = None
        self._sent: List[str] = []
        self._numbers: List[str] = []  # files with the programs' numbers there
        self.closed = False

    # How programs get there.

    def _line(self, arguments: Sequence[Word], environment: Mapping[str, str], folder: str, numbered: str = "") -> List[str]:
        words = [os.fspath(word) for word in arguments]
        given = [f"{name}={value}" for name, value in environment.items()]
        line = "exec " + shlex.join([*(["env", *given] if given else []), *words])
        if numbered:
            line = f"echo $$ >{numbered} && {line}"
        if folder:
            line = f"cd {shlex.quote(folder)} && {line}"
        return [*self.channel, line]

    def output_of(self, arguments: Sequence[Word]) -> bytes:
        """What a program there prints; a status other than 0 is an error with its message."""
        done = subprocess.run(self._line(arguments, {}, self.folder), stdin=subprocess.DEVNULL, capture_output=True)
        if done.returncode:
            raise RuntimeError(done.stderr.decode("utf-8", "replace").strip() or f"{arguments[0]}: status {done.returncode}")
        return done.stdout

    def send(self, file: Word) -> str:
        """Brings a file, a program for instance, to the switch, until the board is closed: its name there."""
        name = f"./{Path(file).name}" if self.folder else f"/tmp/zelboard-{uuid.uuid4().hex[:8]}-{Path(file).name}"
        mode = f"{os.stat(file).st_mode & 0o777:o}"
        script = f"cat >{shlex.quote(name)} && chmod {mode} {shlex.quote(name)}"
        place = f"cd {shlex.quote(self.folder)} && " if self.folder else ""
        subprocess.run([*self.channel, place + script], input=Path(file).read_bytes(), check=True, capture_output=True)
        self._sent.append(name)
        return name

    def start(self, arguments: Sequence[Word], *, fast: bool = True, chip_times: bool = False,
              trace_opens: bool = False, **options: Any) -> Program:
        """As on a virtual board; pauses are slept here, and nothing is traced. Of the environment only what is given by
        env goes along."""
        environment = {name: value for name, value in (options.pop("env", None) or {}).items() if os.environ.get(name) != value}
        folder = options.pop("cwd", None) or self.folder
        number = f"/tmp/zelboard-{uuid.uuid4().hex}.pid"
        command = self._line(arguments, environment, os.fspath(folder), number)
        options = {"encoding": "utf-8", "errors": "surrogateescape", **options}
        self._numbers.append(number)
        program = FarProgram(command, lambda: self.trace, **options)
        program.far_signal = lambda signalled: self._signal(number, signalled)
        self.programs.append(program)
        return program

    def _signal(self, number: str, signalled: int) -> None:
        name = signal.Signals(signalled).name[3:]
        # The program may be one that leads a group, else it is told alone.
        line = f"p=$(cat {number} 2>/dev/null) && {{ kill -{name} -$p || kill -{name} $p; }} 2>/dev/null"
        subprocess.run([*self.channel, line], stdin=subprocess.DEVNULL, capture_output=True, timeout=TIMEOUT)

    def run(self, arguments: Sequence[Word], *, input: Optional[str] = None, timeout: Optional[float] = None,
            check: bool = False, **options: Any) -> Run:
        options = {**dict.fromkeys(["stdin", "stdout", "stderr"], subprocess.PIPE), **options}
        with self.start(arguments, **options) as program:
            done = Run(arguments, 0, *program.communicate_or_kill(input, timeout))
        done.returncode, done.trace = program.returncode, program.trace
        if check:
            done.check_returncode()
        return done

    def session(self, *, fast: bool = True, timeout: float = TIMEOUT) -> "Calls":
        """zelboard.fw on the switch."""
        return cast("Calls", Session(far_end(self.start), timeout))

    def close(self, *_: object) -> None:
        """Ends the programs that were started, and gives LEDs and relay back what they showed."""
        if self.closed:
            return
        self.closed = True
        for program in self.programs:
            if program.poll() is None and (self._calls is None or program is not self._calls.process):
                program.stop()
        if self._before is not None:
            self._restore(self._before)
        if self._calls is not None:
            self._calls.close()
        place = f"cd {shlex.quote(self.folder)} && " if self.folder else ""
        left = shlex.join([*self._sent, *self._numbers])
        if left:
            subprocess.run([*self.channel, f"{place}rm -f {left}"], stdin=subprocess.DEVNULL, capture_output=True)

    __exit__ = close

    def __enter__(self) -> "Switch":
        self._before = self.state.panel
        return self

    def _restore(self, panel: Panel) -> None:
        fw = self.own_calls()
        if self.state.panel == panel:
            return
        fw.FW_SetSystemLed(panel.system)
        fw.FW_SetAlarmLed(panel.alarm)
        fw.FW_SetAlarmRelay(panel.relay)
        fw.FW_SetRingMasterLed(panel.ring_master, fw.FW_MIRROR)
        fw.FW_SetRingFailLed(panel.ring_fail, fw.FW_MIRROR)
        for supply, led in (1, panel.power_1), (2, panel.power_2):
            fw.FW_SetPowerLed(supply, led, fw.FW_MIRROR)
        for port, led in enumerate((panel.speed_24, panel.speed_25, panel.speed_26, panel.speed_27), 24):
            fw.FW_SetSfp10gSpeedLed(port, led, fw.FW_MIRROR)

    # What is seen of it.

    def own_calls(self) -> "Calls":
        if self._calls is None:
            self._calls = self.session()
        return self._calls

    @property
    def state(self) -> SwitchState:
        return SwitchState(self.own_calls(), self._never)

    def wait(self, condition: Callable[[Any], object], timeout: float = 60) -> SwitchState:
        end = time.monotonic() + timeout
        while not condition(state := self.state):
            if time.monotonic() > end:
                raise TimeoutError(f"the switch did not get there within {timeout} s")
            time.sleep(0.05)
        return state

    def evidence(self) -> Dict[str, str]:
        """What is left for the report of a failed test."""
        printed = outputs(self.programs)
        return {"output": printed} if printed else {}

    # What takes a virtual board, or hands.

    def _never(self, reason: str) -> NoReturn:
        if self._refuse is not None:
            self._refuse(reason)
        raise OnlyVirtual(reason)

    def only_virtual(self, what: str) -> NoReturn:
        self._never(f"{what} (only on a virtual board)")

    def by_hand(self, what: str) -> None:
        if self._ask is None:
            self._never(f"{what}: takes hands, or a virtual board")
        self._ask(what)

    def require(self, slots: str = "", *, supplies: Sequence[str] = (), modules: Optional[Mapping[int, Any]] = None) -> None:
        """What the test's board has to have; hands are asked for the rest."""
        fitted = self.state.slots if slots else {}
        for number, wanted in enumerate(slots.split(",") if slots else (), 1):
            if fitted[number].board != wanted:
                self.fit(number, wanted)
        for number, supply in enumerate(supplies, 1):
            self.set_supply(number, supply)
        cages = self.state.cages if modules else {}
        for port, module in (modules or {}).items():
            if port not in cages or cages[port].presence:
                self.plug(port, module)

    def fit(self, slot: int, board: str) -> None:
        self.by_hand(f"slot {slot}: take the board out" if board == "none" else f"slot {slot}: fit a board, {board}")

    def plug(self, port: int, module: Union[Word, bytes]) -> None:
        self.by_hand(f"port {port}: plug a module, {'any' if isinstance(module, bytes) else os.fspath(module)}")

    def unplug(self, port: int) -> None:
        self.by_hand(f"port {port}: pull the module")

    def set_supply(self, supply: int, state: str) -> None:
        self.by_hand(f"supply {supply}: make it {state}")

    def set_light(self, port: int, light: bool) -> None:
        self.by_hand(f"port {port}: {'plug the fibre' if light else 'pull the fibre'}")

    def set_temperature(self, celsius: float) -> None:
        self.by_hand(f"bring the board to {celsius:g} degrees")

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
