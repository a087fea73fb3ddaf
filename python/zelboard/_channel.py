"""A process that answers: one line of JSON asks it, one line is its answer. Threads take turns, and no answer is waited
for without an end."""
import json
import os
import selectors
import subprocess
import threading
import time
from contextlib import contextmanager
from typing import IO, Any, Callable, Dict, Iterator, Optional, cast

TIMEOUT = 60.0  # seconds


class Closed(RuntimeError):
    """The other end is there no more: it was closed, or given up after a call without an answer."""


class Timeout(TimeoutError):
    """A call has had no answer in time."""


class Channel:
    """`end` ends the process when it is given up; `what` names the channel in messages."""

    def __init__(self, process: "subprocess.Popen[Any]", what: str, end: Callable[[], object], timeout: float = TIMEOUT):
        self.process, self.what, self.timeout, self._end = process, what, timeout, end
        self.ended: Optional[str] = None  # why nobody can be asked any more
        self._lock, self._busy_with, self._rest = threading.RLock(), "", b""
        self._deadline = 0.0
        self._input, self._output = cast(IO[bytes], process.stdin), cast(IO[bytes], process.stdout)
        os.set_blocking(self._input.fileno(), False)

    @contextmanager
    def turn(self, call: str, timeout: Optional[float] = None) -> Iterator[None]:
        """The time in which this thread alone asks, for the call of this name; what it asks then has to be answered
        within the timeout, waiting for other threads included."""
        allowed = self.timeout if timeout is None else timeout
        deadline = time.monotonic() + allowed
        if not self._lock.acquire(timeout=max(0, allowed)):
            raise Timeout(f"{call}: not made, {self._busy_with} of another thread has not ended within {allowed:g} s")
        try:
            before = self._busy_with, self._deadline
            self._busy_with, self._deadline = call, deadline
            if self.ended:
                raise Closed(f"{call}: {self.ended}")
            yield
        except TimeoutError as late:
            if isinstance(late, Timeout):
                raise
            # An answer that comes later would be taken for that of another call.
            self.close(f"the {self.what} was given up: {call} had no answer within {allowed:g} s")
            raise Timeout(f"{call}: no answer within {allowed:g} s") from None
        finally:
            self._busy_with, self._deadline = before
            self._lock.release()

    def ask(self, question: Dict[str, Any]) -> Any:
        """The answer, in one's turn."""
        try:
            self._send(json.dumps(question).encode() + b"\n")
            return json.loads(self._receive())
        except (EOFError, BrokenPipeError):
            self.ended = self.ended or f"the {self.what} has ended, with status {self.process.wait()}"
            raise subprocess.CalledProcessError(self.process.wait(), self._busy_with) from None

    def _wait(self, file: IO[bytes], event: int) -> None:
        with selectors.DefaultSelector() as selector:
            selector.register(file, event)
            if not selector.select(max(0, self._deadline - time.monotonic())):
                raise TimeoutError

    def _send(self, line: bytes) -> None:
        left = memoryview(line)
        while left:
            try:
                left = left[os.write(self._input.fileno(), left):]
            except BlockingIOError:
                self._wait(self._input, selectors.EVENT_WRITE)

    def _receive(self) -> bytes:
        pieces = [self._rest]
        while b"\n" not in pieces[-1]:
            self._wait(self._output, selectors.EVENT_READ)
            piece = os.read(self._output.fileno(), 1 << 20)
            if not piece:
                raise EOFError
            pieces.append(piece)
        line, _, self._rest = b"".join(pieces).partition(b"\n")
        return line

    def close(self, why: str) -> None:
        """From now on a call is refused, for this reason. Does not wait for a call of another thread."""
        if self.ended is None:
            self.ended = why
        self._end()
