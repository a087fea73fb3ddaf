"""Waiting for something by looking again and again."""
import time
from typing import Callable, Tuple, TypeVar

Seen = TypeVar("Seen")


def look_until(look: Callable[[], Seen], condition: Callable[[Seen], object], timeout: float, pause: float) -> Tuple[bool, Seen]:
    """Looks again and again until the condition holds for what is seen, or the time is over. Returns whether it holds, and
    what was seen last."""
    end = time.monotonic() + timeout
    while True:
        seen = look()
        if condition(seen):
            return True, seen
        if time.monotonic() > end:
            return False, seen
        time.sleep(pause)
