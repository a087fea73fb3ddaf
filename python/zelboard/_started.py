"""Finds all processes that a program has started, by a mark in their environment, also those outside its group and
session."""
import os
import re
import signal
import time
import uuid
from contextlib import suppress
from typing import Collection, List, Set


def new_mark() -> str:
    """The name of a variable for the environment of one program. What the program starts inherits it."""
    return f"ZELBOARD_STARTED_{uuid.uuid4().hex}"


def marked(marks: Collection[str]) -> List[int]:
    """The numbers of the running processes that have one of the marks."""
    marks = [mark for mark in marks if mark]  # an empty one would be in every environment
    if not marks:
        return []
    wanted = re.compile("|".join(f"{mark}=" for mark in marks).encode())
    own = str(os.getpid())
    entries = [entry for entry in os.listdir("/proc") if entry.isdigit() and entry != own]
    return [int(entry) for entry in entries if wanted.search(environment_of(entry))]


def environment_of(process: str) -> bytes:
    """Empty for a process that has ended, or is somebody else's.

    While a process is being replaced by another program it shows no environment, but has memory: it is read again.
    """
    for _ in range(5):
        environment = shown_environment(process)
        if environment or not has_memory(process):
            return environment
        time.sleep(0.002)
    return b""


def has_memory(process: str) -> bool:
    """False for a process that has ended, and for a thread of the kernel."""
    with suppress(OSError), open(f"/proc/{process}/statm", encoding="ascii") as file:
        return not file.read().startswith("0 ")
    return False


def shown_environment(process: str) -> bytes:
    try:
        file = os.open(f"/proc/{process}/environ", os.O_RDONLY | os.O_CLOEXEC)
    except OSError:
        return b""
    pieces = []
    with suppress(OSError):
        while True:
            piece = os.read(file, 1 << 16)
            if not piece:
                break
            pieces.append(piece)
    os.close(file)
    return b"".join(pieces)


def kill_marked(marks: Collection[str], seconds: float = 2) -> None:
    """Kills all processes with a mark, and those that they start meanwhile. Waits up to `seconds` for their end."""
    end = time.monotonic() + seconds
    killed: Set[int] = set()
    left = marked(marks)
    while left:
        for process in left:
            with suppress(ProcessLookupError, PermissionError):
                os.kill(process, signal.SIGKILL)
        all_known = killed.issuperset(left)
        if all_known and time.monotonic() >= end:
            return
        if all_known:
            time.sleep(0.002)
        killed.update(left)
        left = marked(marks)


def kill_line(marks: Collection[str]) -> str:
    """A shell line that does the same, also in a small shell such as a switch may have."""
    names = " ".join(f"-e {mark}=" for mark in marks)
    # grep fails for processes that end meanwhile: its status is ignored.
    find = f"f=$(grep -l {names} /proc/[0-9]*/environ 2>/dev/null)"
    # A process that is being replaced by another program shows no environment: the second look finds it.
    return (f"n=0; {find}; [ -n \"$f\" ] || {find}; while [ $n -lt 50 ] && [ -n \"$f\" ]; do n=$((n+1)); "
            f"for e in $f; do p=${{e#/proc/}}; kill -KILL ${{p%/environ}} 2>/dev/null; done; {find}; done")
