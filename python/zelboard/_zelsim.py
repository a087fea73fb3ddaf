"""zelsim, run for one answer."""
import os
import subprocess
from typing import Dict, Optional, Union

Word = Union[str, "os.PathLike[str]"]
MISSING = "zelsim is not in PATH; Debian's package is zelboard-tools"


class SimError(Exception):
    """zelsim refused, for the reason that it gives."""


SimError.__module__ = "zelboard.sim"


def zelsim(*words: Word, environment: Optional[Dict[str, str]] = None) -> bytes:
    try:
        done = subprocess.run(["zelsim", *words], capture_output=True, env=environment)
    except FileNotFoundError:
        raise SimError(MISSING) from None
    if done.returncode:
        raise SimError(done.stderr.decode("utf-8", "replace").strip())
    return done.stdout
