"""Programs that run on a board, with all that they start: each is a process group of its own."""
import io
import os
import signal
import subprocess
import time
from contextlib import suppress
from pathlib import Path
from typing import IO, Any, Callable, Dict, List, Optional, Sequence, Tuple, Union

from zelboard._started import kill_marked
from zelboard._zelsim import SimError, Word
from zelboard.trace import Trace, read_event

PATIENCE = 5  # seconds from SIGTERM to SIGKILL
OUTPUTS = "stdout", "stderr"
Command = Union[Word, Sequence[Word]]  # a program and its arguments; with shell=True a line for a shell


def words_of(command: Command, options: Dict[str, Any]) -> List[Word]:
    """The words of a command, as subprocess understands it. Takes `shell` from the options."""
    words = [command] if isinstance(command, (str, os.PathLike)) else list(command)
    return ["sh", "-c", *words] if options.pop("shell", False) else words


def in_text(options: Dict[str, Any]) -> Dict[str, Any]:
    """The options for a program whose output is text. With text=False it is bytes, as with subprocess."""
    wants_bytes = False in (options.get("text"), options.get("universal_newlines"))
    return options if wants_bytes else {"encoding": "utf-8", "errors": "surrogateescape", **options}


def with_pipes(options: Dict[str, Any]) -> Dict[str, Any]:
    """The options for a program that is run to its end, as subprocess.run takes them."""
    options.pop("capture_output", None)  # it always is
    return {**dict.fromkeys(["stdin", "stdout", "stderr"], subprocess.PIPE), **options}


def without_zelsim(command: Any) -> List[Any]:
    """The words of a program, without zelsim and its options before them."""
    words = list(command)
    return words[words.index("--") + 1:] if "--" in words else words


def shown(content: Any) -> str:
    """Output for a report."""
    if isinstance(content, bytes):
        return content.decode("utf-8", "surrogateescape")
    return content or ""


class RunTimeout(subprocess.TimeoutExpired):
    """A program did not end in time; it was killed. stdout (also called output) and stderr have what it printed until
    then, and trace what it did."""
    stdout: Any
    trace: Trace

    def __str__(self) -> str:
        return super().__str__() + printed_text(self.stdout, self.stderr, " so far")


class RunFailed(subprocess.CalledProcessError):
    """A program of run(check=True) did not end with status 0. stdout (also called output) and stderr have what it printed."""

    def __str__(self) -> str:
        return super().__str__() + printed_text(self.stdout, self.stderr)


def printed_text(stdout: Any, stderr: Any, when: str = "") -> str:
    """What a program has printed, for a message about it."""
    text = ""
    for name, content in ("stdout", stdout), ("stderr", stderr):
        if content:
            printed = content if isinstance(content, str) else repr(content)
            text += f"\n{name}{when}:\n{printed}"
    return text


def signal_group(leader: int, number: int) -> None:
    """Sends a signal to a program and what it started. Must not be called after a wait for the leader: from then on another
    process can have its number."""
    with suppress(ProcessLookupError, PermissionError):
        os.killpg(leader, number)


def ended_within(process: int, seconds: float) -> bool:
    """Whether a child has ended. It is not reaped, so that no other process gets its number."""
    end = time.monotonic() + seconds
    pause = 0.0005
    while True:
        ended = os.waitid(os.P_PID, process, os.WEXITED | os.WNOHANG | os.WNOWAIT)
        if ended is not None:
            return True
        if time.monotonic() >= end:
            return False
        time.sleep(pause)
        pause = min(2 * pause, 0.02)


def lives(stat: Path, group: int) -> bool:
    """Whether a process, by its file /proc/NUMBER/stat, is in a group and has not ended."""
    try:
        state, _, of_group = stat.read_text("utf-8", "replace").rpartition(")")[2].split()[:3]
    except (OSError, ValueError):  # it has ended just now
        return False
    return int(of_group) == group and state not in "ZX"


def wait_for_group(leader: int, seconds: float = 2) -> None:
    """Waits until nothing of a killed group runs any more. SIGKILL needs a moment to take effect."""
    end = time.monotonic() + seconds
    while True:
        still_runs = any(lives(stat, leader) for stat in Path("/proc").glob("[0-9]*/stat"))
        if not still_runs or time.monotonic() >= end:
            return
        time.sleep(0.002)


class Heard(io.TextIOWrapper):
    """A pipe from a program, which keeps what was read from it."""

    def __init__(self, pipe: Any, encoding: str, errors: Optional[str]):
        super().__init__(pipe, encoding=encoding, errors=errors)
        self.heard = ""

    def read(self, size: Optional[int] = -1) -> str:
        text = super().read(size)
        self.heard += text
        return text

    def readline(self, size: int = -1) -> str:  # type: ignore[override]
        text = super().readline(size)
        self.heard += text
        return text


class Program(subprocess.Popen):  # type: ignore[type-arg]
    """A program that runs on a board; the end of its `with` block ends it and what it started."""

    read_trace: Callable[[], Trace]
    stdout: IO[str]  # when it was started with a pipe

    def __init__(self, command: List[Any], read_trace: Callable[[], Trace], mark: str = "", **options: Any):
        self.read_trace = read_trace
        self.mark = mark  # a variable in the environment of all that it starts
        self._communicated: Dict[str, str] = {}  # by stream: all output, when communicate() has ended
        self._encoding = options.get("encoding") or ("utf-8" if options.get("text") else "")
        super().__init__(command, start_new_session=True, **options)
        for name in OUTPUTS:
            pipe = getattr(self, name)
            if isinstance(pipe, io.TextIOWrapper):
                encoding = pipe.encoding
                errors = pipe.errors
                setattr(self, name, Heard(pipe.detach(), encoding, errors))

    @property
    def trace(self) -> Trace:
        """What it has done so far."""
        return self.read_trace()

    def signal_all(self, number: int) -> None:
        """Sends a signal to the program and what it has started. Nothing happens if they have ended."""
        signal_group(self.pid, number)

    def finish(self, seconds: float = PATIENCE) -> int:
        """Waits until it ends, and stops it if it does not."""
        if self.returncode is None and not ended_within(self.pid, seconds):
            return self.stop()
        return self._reaped()

    def stop(self) -> int:
        """Asks it to end (SIGTERM), and kills it if it does not end within five seconds. Returns its status."""
        if self.returncode is not None:
            return self.wait()
        self.signal_all(signal.SIGTERM)
        if not ended_within(self.pid, PATIENCE):
            self.signal_all(signal.SIGKILL)
        status = self._reaped()
        self.kill_started()
        return status

    def kill_group(self) -> None:
        if self.returncode is None:
            self.signal_all(signal.SIGKILL)

    def abandon(self) -> None:
        """Kills it and what it has started. Does not wait for their end."""
        self.kill_group()
        self.kill_started(0)

    def kill_started(self, seconds: float = 2) -> None:
        """Kills what it has started and is outside its group. Waits up to `seconds` for their end."""
        if self.mark:
            kill_marked([self.mark], seconds)

    def _reaped(self) -> int:
        if self.returncode is None:
            ended_within(self.pid, float("inf"))
            signal_group(self.pid, signal.SIGKILL)  # what it has left behind
        return self.wait()

    def communicate(self, input: Any = None, timeout: Optional[float] = None) -> Any:
        before = {name: self.output(name) for name in OUTPUTS}
        printed = super().communicate(input, timeout)
        self._communicated = {name: before[name] + shown(content) for name, content in zip(OUTPUTS, printed)}
        return printed

    def output(self, name: str) -> str:
        """What was read so far of its stdout or stderr. Empty if that is no pipe."""
        pipe = getattr(self, name)
        heard = pipe.heard if isinstance(pipe, Heard) else ""
        return self._communicated.get(name, heard)

    def read_rest(self) -> None:
        """Reads what an ended program has left in its pipes."""
        for pipe in self.stdout, self.stderr:
            if isinstance(pipe, Heard) and not pipe.closed:
                os.set_blocking(pipe.fileno(), False)
                with suppress(OSError, ValueError):
                    pipe.read()

    def communicate_or_kill(self, input: Any, timeout: Optional[float]) -> Tuple[Any, Any]:
        """The output. If the program does not end in time, kills the group and raises RunTimeout with the output so far."""
        try:
            output: Tuple[Any, Any] = self.communicate(input, timeout)
            return output
        except subprocess.TimeoutExpired as late:
            self.kill_group()
            self.kill_started()
            left = self._output_of_the_dead(late)
            wait_for_group(self.pid)
            expired = RunTimeout(without_zelsim(self.args), late.timeout, *left)
            expired.trace = self.trace
            raise expired from None

    def _output_of_the_dead(self, late: subprocess.TimeoutExpired) -> Tuple[Any, Any]:
        with suppress(subprocess.TimeoutExpired):
            output: Tuple[Any, Any] = self.communicate(timeout=1)
            return output
        # Something without the mark still holds the pipe.
        return self._text(late.output), self._text(late.stderr)

    def _text(self, content: Any) -> Any:
        if self._encoding and isinstance(content, bytes):
            return content.decode(self._encoding, "surrogateescape")
        return content

    def __exit__(self, *details: Any) -> None:
        self.stop()
        super().__exit__(*details)


class Player(Program):
    """A scenario that is played. The end of its `with` block stops it. It raises SimError if the scenario was refused or an act
    has failed before."""

    def __exit__(self, *details: Any) -> None:
        block_is_good = details[0] is None  # it has raised nothing
        has_failed = bool(self.poll()) and block_is_good
        complaint = self.stderr.read() if has_failed and self.stderr else ""
        super().__exit__(*details)
        if has_failed:
            raise SimError(complaint.strip())


class Run(subprocess.CompletedProcess):  # type: ignore[type-arg]
    """A program that has ended: its returncode, stdout, stderr (text; bytes with text=False) and trace."""
    stdout: str
    stderr: str
    returncode: int
    trace: Trace

    def check_returncode(self) -> None:
        if self.returncode:
            raise RunFailed(self.returncode, self.args, self.stdout, self.stderr)


def run_to_end(start: Callable[..., Program], arguments: Command, input: Union[str, bytes, None], timeout: Optional[float],
               check: bool, options: Dict[str, Any]) -> Run:
    """Runs a program to its end, as subprocess.run does. `start` starts it with the options."""
    with start(arguments, **with_pipes(options)) as program:
        done = Run(arguments, 0, *program.communicate_or_kill(input, timeout))
    done.returncode = program.returncode
    done.trace = program.trace
    if check:
        done.check_returncode()
    return done


def outputs(programs: Sequence[Any]) -> str:
    """What was read of programs so far, with headings."""
    text = ""
    for program in programs:
        name = " ".join(map(str, without_zelsim(program.args)))
        for stream in OUTPUTS:
            printed = program.output(stream)
            if not printed:
                continue
            text += f"== {stream} of {name}\n{printed}"
            if not printed.endswith("\n"):
                text += "\n"
    return text


def lines_of(file: Path) -> List[str]:
    """The lines of a program's trace so far."""
    text = file.read_text("utf-8") if file.exists() else ""
    whole = text[:text.rfind("\n") + 1]  # the last line may not be complete yet
    return whole.splitlines()


def trace_of(file: Path) -> Trace:
    return Trace([read_event(line) for line in lines_of(file)])
