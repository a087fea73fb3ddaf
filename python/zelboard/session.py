"""zelboard.fw on a board, for a Python that does not run there: `zelctl session` on the board makes the calls."""
import functools
import subprocess
import types
from contextlib import AbstractContextManager
from typing import TYPE_CHECKING, Any, Callable, Optional, Tuple

from zelboard import _call, fw
from zelboard._dialog import TIMEOUT, Closed, Dialog, Timeout
from zelboard._far import FarLibrary, descriptor

if TYPE_CHECKING:
    from zelboard.program import Program

__all__ = ["Closed", "Session", "Timeout"]


def far_end(start: Callable[..., "Program"], **options: Any) -> "Program":
    """The process that makes a session's calls. What the library prints goes to where Python prints."""
    return start(["zelctl", "--json", "-v", "session"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=1,
                 encoding=None, errors=None, **options)


class Session(AbstractContextManager["Session"]):
    """Has the functions, variables and constants of zelboard.fw; zelboard.fw.calls.Calls tells their types. Threads may
    share it. When the process has died, for instance by a fault that kills it, a call raises CalledProcessError.

    `used` is called before each call. `starting` is how many seconds the first answer may take."""

    def __init__(self, process: "Program", timeout: float = TIMEOUT, used: Callable[[], None] = lambda: None,
                 starting: Optional[float] = None):
        dialog = Dialog(process, "session", process.abandon, timeout)
        library = FarLibrary(dialog)
        # The functions of zelboard.fw run unchanged, but with other globals: _raw calls the far end, _call uses its memory.
        call = types.SimpleNamespace(**{**vars(_call), "taken": library.taken, "descriptor": descriptor})
        names = {**vars(fw), "_raw": library, "_call": call}
        with dialog.turn("session", starting):
            library.variable("debug_mode")  # the far end is there, or raises
        self.__dict__.update(process=process, _dialog=dialog, _library=library, _names=names, _used=used)

    def __getattr__(self, name: str) -> Any:
        known = getattr(fw, name)
        if name not in fw.raw.EXPORTS:
            return known
        if not callable(known):
            with self._dialog.turn(name):
                return self._library.variable(name)
        function = self._function(name, known)
        self.__dict__[name] = function
        return function

    def _function(self, name: str, known: Any) -> Callable[..., Any]:
        far = types.FunctionType(known.__code__, self._names, name, known.__defaults__)

        @functools.wraps(known)
        def call(*arguments: Any, timeout: Optional[float] = None, **named: Any) -> Any:
            self._used()
            with self._dialog.turn(name, timeout):
                return far(*arguments, **named)

        return call

    def __setattr__(self, name: str, value: Any) -> None:
        if name not in [*fw.raw.VARIABLES, *fw.raw.TABLES]:
            raise AttributeError(f"zelboard.fw has no variable {name!r} that can be set")
        with self._dialog.turn(name):
            self._library.set_variable(name, value)

    def get_env(self, name: str) -> Optional[str]:
        return _call.variable_in(self.FW_SpiFlashEnvRead(), name)

    def gpio_request(self, number: int, record: bytes) -> Tuple[int, bytes]:
        """Makes a request to the GPIO driver of the board. Returns its result, and the record as the driver leaves it."""
        library: FarLibrary = self._library
        with self._dialog.turn(f"GPIO request 0x{number:X}"):
            return library.gpio_request(number, record)

    def end_with(self, why: str) -> None:
        """To be called when somebody else ends the process. From now on calls are refused for this reason."""
        dialog: Dialog = self._dialog
        dialog.ended = dialog.ended or why

    def close(self, *_: object) -> None:
        dialog: Dialog = self._dialog
        if dialog.ended is None:
            dialog.ended = "the session is closed"
            dialog.process.stdin.close()  # type: ignore[union-attr]
        self.process.finish()

    __exit__ = close
