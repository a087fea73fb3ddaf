"""A process that answers: one line of JSON asks it, one line is its answer. Threads take turns. No call waits for ever."""
import json
import math
import os
import select
import subprocess
import threading
import time
from contextlib import contextmanager
from typing import IO, Any, Callable, Dict, Iterator, Optional, cast

TIMEOUT = 60.0  # seconds
GREETING = 100  # lines that may come before the first answer, as a login prints them


class Closed(RuntimeError):
    """There is no other end any more: it was closed, or given up after a call without an answer."""


class Timeout(TimeoutError):
    """A call has had no answer in time."""


class Dialog:
    """`what` names the dialog in messages. `end` is called to end the process when it is given up; it does not wait for
    the process's end."""

    def __init__(self, process: "subprocess.Popen[Any]", what: str, end: Callable[[], object], timeout: float = TIMEOUT):
        self.process = process
        self.what = what
        self.timeout = timeout
        self.ended: Optional[str] = None  # why nobody can be asked any more
        self._end = end
        self._lock = threading.RLock()
        self._busy_with = ""  # the name of the present call
        self._deadline = 0.0  # of the present call
        self._rest = b""  # what was read behind the last answer
        self._greeting = 0  # number of lines before the first answer
        self._has_answered = False
        self._input = cast(IO[bytes], process.stdin)
        self._output = cast(IO[bytes], process.stdout)
        os.set_blocking(self._input.fileno(), False)

    @contextmanager
    def turn(self, call: str, timeout: Optional[float] = None) -> Iterator[None]:
        """In this `with` block only this thread asks. `call` names its call in messages. The timeout is for the whole
        block, and for the wait until other threads have ended their calls."""
        allowed = self.timeout if timeout is None else timeout
        deadline = time.monotonic() + allowed
        if not self._lock.acquire(timeout=max(0, allowed)):
            other = self._busy_with or "a call"  # it may just begin, or end
            raise Timeout(f"{call}: not made, {other} of another thread has not ended within {allowed:g} s")
        call_before = self._busy_with
        deadline_before = self._deadline
        try:
            self._busy_with = call
            self._deadline = deadline
            if self.ended:
                raise Closed(f"{call}: {self.ended}")
            yield
        except TimeoutError as late:
            if isinstance(late, Timeout):
                raise  # from a turn within this one, which has closed the dialog
            # If the answer comes later, the next call would take it for its own.
            self.close(f"the {self.what} was given up: {call} had no answer within {allowed:g} s")
            raise Timeout(f"{call}: no answer within {allowed:g} s") from None
        finally:
            self._busy_with = call_before
            self._deadline = deadline_before
            self._lock.release()

    def ask(self, question: Dict[str, Any]) -> Any:
        """The answer to a question. Call it within turn()."""
        try:
            self._send(json.dumps(question).encode() + b"\n")
            return self._answer()
        except (EOFError, BrokenPipeError):
            self.ended = self.ended or f"the {self.what} has ended, with status {self.process.wait()}"
            raise subprocess.CalledProcessError(self.process.wait(), self._busy_with) from None

    def _answer(self) -> Any:
        """The next line. Before the first answer a login may print lines."""
        while True:
            line = self._receive()
            try:
                answer = json.loads(line)
            except ValueError:
                answer = None
            if self._has_answered or isinstance(answer, dict):
                break
            self._greeting += 1
            if self._greeting > GREETING:
                shown = line.decode("utf-8", "replace")[:200]
                raise ValueError(f"{GREETING} lines and no answer, the last one: {shown}")
        if not isinstance(answer, dict):
            raise ValueError(f"the {self.what} printed, instead of an answer: {line.decode('utf-8', 'replace')[:200]}")
        self._has_answered = True
        return answer

    def _wait(self, file: IO[bytes], event: int) -> None:
        poll = select.poll()
        poll.register(file, event)
        left = max(0.0, self._deadline - time.monotonic())
        if not poll.poll(math.ceil(left * 1000)):
            raise TimeoutError

    def _send(self, line: bytes) -> None:
        left = memoryview(line)
        while left:
            try:
                left = left[os.write(self._input.fileno(), left):]
            except BlockingIOError:
                self._wait(self._input, select.POLLOUT)

    def _receive(self) -> bytes:
        pieces = [self._rest]
        while b"\n" not in pieces[-1]:
            self._wait(self._output, select.POLLIN)
            piece = os.read(self._output.fileno(), 1 << 20)
            if not piece:
                raise EOFError
            pieces.append(piece)
        line, _, self._rest = b"".join(pieces).partition(b"\n")
        return line

    def close(self, why: str) -> None:
        """Ends the process, at once. From now on calls are refused for this reason. Does not wait for a call of another
        thread."""
        if self.ended is None:
            self.ended = why
        self._end()
