"""zelboard.fw on a virtual board, for a Python that does not run on it: a process on the board makes the calls."""
import functools
import inspect
import os
import subprocess
import sys
from contextlib import AbstractContextManager
from multiprocessing import Pipe, reduction
from multiprocessing.connection import Connection
from typing import Any, Optional

from zelboard import fw


class Session(AbstractContextManager["Session"]):
    """Has the functions, variables and constants of zelboard.fw. When the process has died, as by a fault that kills it,
    a call raises CalledProcessError."""

    def __init__(self, board: Any, fast: bool):
        ours, theirs = Pipe()
        with theirs:
            command = [sys.executable, "-m", __name__, str(theirs.fileno())]
            process = board.start(command, fast=fast, stdin=subprocess.DEVNULL, pass_fds=[theirs.fileno()],
                                  env={"PYTHONPATH": os.pathsep.join(sys.path)})
        self.__dict__.update(process=process, _channel=ours)

    def _ask(self, name: str, *given: Any, descriptor: Optional[int] = None) -> Any:
        try:
            self._channel.send((name, given, descriptor is not None))
            if descriptor is not None:
                reduction.send_handle(self._channel, descriptor, self.process.pid)
            good, answer = self._channel.recv()
        except (EOFError, ConnectionError):
            raise subprocess.CalledProcessError(self.process.wait(), name) from None
        if not good:
            raise answer
        return answer

    def __getattr__(self, name: str) -> Any:
        known = getattr(fw, name)
        if name not in fw.raw.EXPORTS:
            return known
        if not callable(known):
            return self._ask(name)

        @functools.wraps(known)
        def call(*arguments: Any, **named: Any) -> Any:
            given = inspect.signature(known).bind(*arguments, **named)
            file, descriptor = given.arguments.get("fd", ""), None  # what stands for it in the message is None
            if not isinstance(file, (str, os.PathLike)):
                given.arguments["fd"], descriptor = None, file if isinstance(file, int) else file.fileno()
                os.fstat(descriptor)  # raises for a wrong one, which could not be sent
            return self._ask(name, *given.args, descriptor=descriptor)

        return call

    def __setattr__(self, name: str, value: Any) -> None:
        self._ask("__setattr__", name, value)

    def close(self, *_: object) -> None:
        self._channel.close()
        self.process.wait()

    __exit__ = close


def answer(channel: Connection) -> Any:
    name, given, descriptor = channel.recv()
    known = getattr(fw, name)
    if not callable(known):
        return list(known) if name in fw.raw.TABLES else known
    if not descriptor:
        return known(*given)
    with open(reduction.recv_handle(channel), "rb", buffering=0) as file:
        return known(*[file if value is None else value for value in given])


if __name__ == "__main__":
    questions = Connection(int(sys.argv[1]))
    while True:
        try:
            reply: Any = (True, answer(questions))
        except EOFError:
            break
        except Exception as error:
            reply = (False, error)
        questions.send(reply)
