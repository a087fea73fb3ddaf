"""Programs on a board for asyncio."""
import asyncio
import codecs
import signal
from contextlib import suppress
from typing import Any, Callable, Dict, Optional, Sequence, Tuple, Type, TypeVar, Union

from zelboard._started import kill_marked
from zelboard._zelsim import Word
from zelboard.program import (
    OUTPUTS, PATIENCE, Command, Run, RunTimeout, in_text, shown, signal_group, wait_for_group, with_pipes,
    without_zelsim)
from zelboard.trace import Trace


class HeardStream:
    """A pipe from a program for asyncio, as text. It keeps what was read from it."""

    def __init__(self, stream: asyncio.StreamReader, encoding: str, errors: str):
        self.heard = ""
        self._stream = stream
        self._encoding = encoding
        self._decoder = codecs.getincrementaldecoder(encoding)(errors)

    async def read(self, size: int = -1) -> str:
        """All that comes until the end, or what is there, at most `size` bytes."""
        if size < 0:
            return self._hear(await self._stream.read(), True)
        while True:
            content = await self._stream.read(size)
            text = self._hear(content, not content)
            is_half_character = content and not text
            if not is_half_character:
                return text

    async def readline(self) -> str:
        line = await self._stream.readline()
        return self._hear(line, not line)

    async def readuntil(self, separator: str = "\n") -> str:
        return self._hear(await self._stream.readuntil(separator.encode(self._encoding)), False)

    def at_eof(self) -> bool:
        return self._stream.at_eof()

    def __aiter__(self) -> "HeardStream":
        return self

    async def __anext__(self) -> str:
        line = await self.readline()
        if not line:
            raise StopAsyncIteration
        return line

    def _hear(self, content: bytes, is_last: bool) -> str:
        text = self._decoder.decode(content, is_last)
        self.heard += text
        return text


class TextWriter:
    """A pipe to a program for asyncio. It takes text."""

    def __init__(self, stream: asyncio.StreamWriter, encoding: str, errors: str):
        self._stream = stream
        self._encoding = encoding
        self._errors = errors

    def write(self, text: str) -> None:
        self._stream.write(text.encode(self._encoding, self._errors))

    def write_eof(self) -> None:
        self._stream.write_eof()

    def is_closing(self) -> bool:
        return self._stream.is_closing()

    async def drain(self) -> None:
        await self._stream.drain()

    def close(self) -> None:
        self._stream.close()

    async def wait_closed(self) -> None:
        await self._stream.wait_closed()


Started = TypeVar("Started", bound="AsyncProgram")
LONGEST_LINE = 1 << 24  # bytes; asyncio's own limit is 64 KiB
TEXT_OPTIONS = "text", "universal_newlines", "encoding", "errors"  # options that asyncio does not have


class AsyncProgram:
    """What zelboard.program.Program is, for asyncio. Its streams have the methods of asyncio's streams, for text. With
    text=False they are asyncio's own."""

    stdin: TextWriter  # when it was started with a pipe
    stdout: HeardStream
    stderr: HeardStream

    @classmethod
    async def start(cls: Type[Started], command: Sequence[Word], read_trace: Callable[[], Trace], mark: str,
                    options: Dict[str, Any]) -> Started:
        """Starts it. The options are those of subprocess.Popen."""
        options = in_text(options)
        kept = {name: value for name, value in options.items() if name not in TEXT_OPTIONS}
        kept.setdefault("limit", LONGEST_LINE)
        process = await asyncio.create_subprocess_exec(*command, start_new_session=True, **kept)
        encoding = options.get("encoding") or ("utf-8" if options.get("text") else "")
        return cls(process, command, read_trace, mark, encoding, options.get("errors") or "strict")

    def __init__(self, process: asyncio.subprocess.Process, command: Sequence[Word], read_trace: Callable[[], Trace],
                 mark: str, encoding: str, errors: str):
        self.process = process
        self.args = command
        self.mark = mark  # as a Program has it
        self.read_trace = read_trace
        self.pid = process.pid
        self._encoding = encoding  # empty: bytes
        self._errors = errors
        self._communicated: Dict[str, str] = {}  # by stream: all output, when communicate() has ended
        for name in "stdin", "stdout", "stderr":
            pipe: Any = getattr(process, name)
            if pipe is not None and encoding:
                if name == "stdin":
                    pipe = TextWriter(pipe, encoding, errors)
                else:
                    pipe = HeardStream(pipe, encoding, errors)
            setattr(self, name, pipe)

    async def run_to_end(self, arguments: Command, input: Union[str, bytes, None], timeout: Optional[float],
                         check: bool) -> "Run":
        """Waits for the program's end and returns its output. Raises RunTimeout if it takes too long."""
        ended, printed = await self._output_or_kill(input, timeout)
        if not ended:
            expired = RunTimeout(without_zelsim(self.args), timeout or 0, *printed)
            expired.trace = self.trace
            raise expired
        done = Run(arguments, await self.process.wait(), *printed)
        done.trace = self.trace
        if check:
            done.check_returncode()
        return done

    async def _output_or_kill(self, given: Union[str, bytes, None], timeout: Optional[float]) -> Tuple[bool, Tuple[Any, Any]]:
        """Whether the program has ended in time, and its output. A program that has not ended is killed."""
        output = asyncio.ensure_future(self.communicate(given))
        in_time, _ = await asyncio.wait({output}, timeout=timeout)
        if not in_time:
            await asyncio.to_thread(self.signal_all, signal.SIGKILL)
            await asyncio.to_thread(self.kill_started)
            await asyncio.wait({output}, timeout=1)
            await asyncio.to_thread(wait_for_group, self.pid)
        nothing: Any = "" if self._encoding else b""
        printed = output.result() if output.done() else (nothing, nothing)
        output.cancel()
        return bool(in_time), printed

    def output(self, name: str) -> str:
        """What was read so far of its stdout or stderr. Empty if that is no pipe."""
        pipe = getattr(self, name)
        heard = pipe.heard if isinstance(pipe, HeardStream) else ""
        return self._communicated.get(name, heard)

    @property
    def trace(self) -> Trace:
        return self.read_trace()

    @property
    def returncode(self) -> Optional[int]:
        return self.process.returncode

    async def wait(self) -> int:
        return await self.process.wait()

    async def communicate(self, input: Union[str, bytes, None] = None) -> Tuple[Any, Any]:
        given = input.encode(self._encoding or "utf-8", self._errors) if isinstance(input, str) else input
        before = {name: self.output(name) for name in OUTPUTS}
        printed: Tuple[Any, Any] = await self.process.communicate(given)
        self._communicated = {name: before[name] + shown(content) for name, content in zip(OUTPUTS, printed)}
        if not self._encoding:
            return printed
        stdout, stderr = printed
        return self._as_text(stdout), self._as_text(stderr)

    def _as_text(self, content: Optional[bytes]) -> Optional[str]:
        """None for a stream that is no pipe."""
        if content is None:
            return None
        return content.decode(self._encoding, self._errors)

    def signal_all(self, number: int) -> None:
        """Sends a signal to the program and what it has started."""
        signal_group(self.pid, number)

    def kill_group(self) -> None:
        if self.process.returncode is None:
            self.signal_all(signal.SIGKILL)

    async def stop(self) -> int:
        if self.process.returncode is None:
            await asyncio.to_thread(self.signal_all, signal.SIGTERM)
            with suppress(asyncio.TimeoutError):
                await asyncio.wait_for(self.process.wait(), PATIENCE)
            self.kill_group()
        status = await self.process.wait()
        await asyncio.to_thread(self.kill_started)
        return status

    def kill_started(self) -> None:
        """Kills what it has started and is outside its group."""
        if self.mark:
            kill_marked([self.mark])

    async def __aenter__(self) -> "AsyncProgram":
        return self

    async def __aexit__(self, *_: object) -> None:
        await self.stop()


async def arun_to_end(start: Callable[..., Any], arguments: Command, input: Union[str, bytes, None],
                      timeout: Optional[float], check: bool, options: Dict[str, Any]) -> Run:
    """run_to_end() for asyncio."""
    async with await start(arguments, **with_pipes(options)) as program:
        done: Run = await program.run_to_end(arguments, input, timeout, check)
        return done
