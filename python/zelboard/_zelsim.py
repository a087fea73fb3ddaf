"""zelsim, run for one answer."""
import os
import shutil
import subprocess
from typing import Union

Word = Union[str, "os.PathLike[str]"]


class SimError(Exception):
    """zelsim refused, for the reason that it gives."""


SimError.__module__ = "zelboard.sim"


def zelsim_file() -> str:
    """The program. The environment that a test gives to its own programs need not have it in PATH."""
    found = shutil.which("zelsim")
    if found is None:
        raise SimError("zelsim is not in PATH; Debian's package is zelboard-tools")
    return found


def zelsim(*words: Word) -> bytes:
    done = subprocess.run([zelsim_file(), *words], capture_output=True)
    if done.returncode:
        raise SimError(done.stderr.decode("utf-8", "replace").strip())
    return done.stdout
