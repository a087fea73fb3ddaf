"""What zelboard.fw is made of: conversions between Python and C, and statuses as exceptions."""
import ctypes
import enum
import operator
import os
from contextlib import contextmanager, suppress
from datetime import datetime
from types import ModuleType
from typing import IO, TYPE_CHECKING, Any, ClassVar, Dict, Iterator, Optional, Sequence, Type, TypeVar, Union

Buffer = Union[bytes, bytearray, memoryview]
Text = Union[str, bytes, os.PathLike[str]]
File = Union[int, str, os.PathLike[str], IO[bytes], IO[str]]  # a descriptor, a path, or an open file

_libc = ctypes.CDLL(None)


class Error(Exception):
    """failed"""

    def __init__(self, function: str, status: int):
        super().__init__(function, status)
        self.function = function
        self.status = status

    def __str__(self) -> str:
        # The docstring of the class is the text of the message.
        return f"{self.function}: {self.__doc__} (0x{self.status:X})"


class Busy(Error):
    """the I2C bus is busy"""


class Absent(Error):
    """no daughter board in the slot, or a chip that is not alive"""


class NotSfp(Error):
    """the port has no SFP cage, or is above 27"""


class Refused(Error):
    """the kernel refused the request, or a copy, map query or dump failed"""


class Failed(Error):
    """failed"""


def checked(kinds: Dict[int, Type[Error]], function: str, result: int, good: range = range(1)) -> int:
    """The result if it is a good one; otherwise raises the exception for it."""
    _libc.fflush(None)  # so that the function's prints come before Python's next ones
    if result in good:
        return result
    raise kinds.get(result, Failed)(function, result)


if TYPE_CHECKING:
    class _Structure(ctypes._CData):
        """For a type checker, ctypes.Structure has every attribute, and this class only the declared ones."""
        _fields_: ClassVar[Sequence[Any]]

        def __init__(self, *values: Any, **fields: Any) -> None: ...
else:
    _Structure = ctypes.Structure


class Record(_Structure):
    """A C record that can be printed and compared. It has no attributes but its fields."""

    def __repr__(self) -> str:
        names = [row[0] for row in self._fields_]
        fields = [f"{name}={shown(getattr(self, name))}" for name in names]
        return f"{type(self).__name__}({', '.join(fields)})"

    def __eq__(self, other: object) -> bool:
        return type(other) is type(self) and bytes(other) == bytes(self)  # type: ignore[call-overload]

    def __setattr__(self, name: str, value: Any) -> None:
        fields = [row[0] for row in self._fields_]
        if name not in fields:
            raise AttributeError(f"{type(self).__name__} has no field {name!r}, but {', '.join(fields)}")
        super().__setattr__(name, value)


def shown(value: Any) -> str:
    if not isinstance(value, ctypes.Array):
        return repr(value)
    return repr(bytes(value) if issubclass(value._type_, ctypes.c_uint8) else list(value))


class ClockRecord(Record):
    """The methods of rtc_record."""
    mode24: int
    pm: int
    tm: Any

    def to_datetime(self) -> datetime:
        """The time that the record holds: the chip's time, without a time zone. Raises ValueError for a record without a
        time, as the driver has it before FW_PollRtc."""
        tm = self.tm
        afternoon = not self.mode24 and self.pm
        hour = tm.tm_hour + 12 if afternoon else tm.tm_hour
        try:
            return datetime(tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, hour, tm.tm_min, tm.tm_sec)
        except ValueError as error:
            raise ValueError(f"the record holds no time: {error}: {self!r}") from None

    def set_datetime(self, when: datetime) -> None:
        """Fills the record for FW_SetRtc. A chip in 12-hour mode loses hours above 11: call FW_SetRtc1224(1) first."""
        self.mode24 = 1
        self.pm = 0
        self.tm.tm_sec = when.second
        self.tm.tm_min = when.minute
        self.tm.tm_hour = when.hour
        self.tm.tm_mday = when.day
        self.tm.tm_mon = when.month - 1
        self.tm.tm_year = when.year - 1900
        self.tm.tm_wday = when.isoweekday() % 7


Named = TypeVar("Named", bound=enum.IntEnum)


def named(names: Type[Named], value: int) -> int:
    """The number with its name, where it has one."""
    return next((member for member in names if member == value), value)


def variable_in(region: bytes, name: str) -> Optional[str]:
    """The value of a variable in the boot environment's region; None where it is not set, as by an entry without "="."""
    for entry in region[4:].partition(b"\0\0")[0].split(b"\0"):
        key, equals, value = entry.partition(b"=")
        is_variable = bool(equals) and not entry.startswith(b"\xff")
        if is_variable and os.fsdecode(key) == name:
            return os.fsdecode(value)
    return None


class LiveModule(ModuleType):
    """zelboard.fw: its variables are the library's own, at any time. A table is set as a whole or in parts."""

    def __getattr__(self, name: str) -> Any:
        if name in self.raw.VARIABLES:
            return getattr(self.raw, name).value
        raise AttributeError(f"module {self.__name__!r} has no attribute {name!r}")

    def __setattr__(self, name: str, value: Any) -> None:
        if name in self.raw.VARIABLES:
            getattr(self.raw, name).value = value
        elif name in self.raw.TABLES:
            getattr(self.raw, name)[:] = value[:]
        else:
            super().__setattr__(name, value)


def number(name: str, value: int, low: int, high: int) -> int:
    """Checks an argument that C would cut to its width. Returns it."""
    if not low <= operator.index(value) <= high:
        raise ValueError(f"{name}: {value} is not a number from {low} to {high}")
    return value


def text(name: str, value: Optional[Text]) -> Optional[bytes]:
    if value is not None and b"\0" in os.fsencode(value):
        raise ValueError(f"{name}: {value!r} has a NUL in it")
    return None if value is None else os.fsencode(value)


def buffer(name: str, value: Optional[Buffer], size: Optional[int] = None) -> "Optional[ctypes.Array[ctypes.c_uint8]]":
    """A copy of the bytes for C. With `size` their number must be exactly that."""
    if value is None:
        return None
    given = bytes(memoryview(value))
    if size is not None and size != len(given):
        raise ValueError(f"{name}: {len(given)} bytes instead of {size}")
    return (ctypes.c_uint8 * len(given)).from_buffer_copy(given)


def taken(data: "ctypes._Pointer[ctypes.c_uint8]", size: int) -> bytes:
    """The bytes of a buffer that the library has allocated. Releases the buffer."""
    try:
        return ctypes.string_at(data, size)
    finally:
        _libc.free(ctypes.cast(data, ctypes.c_void_p))


def opened(file: File) -> int:
    """A new descriptor of the file."""
    if isinstance(file, (str, os.PathLike)):
        return os.open(file, os.O_RDONLY)
    if isinstance(file, int):
        return os.dup(file)
    return os.dup(file.fileno())


@contextmanager
def descriptor(file: File) -> Iterator[int]:
    """A descriptor for C to read and to close: never the caller's own."""
    own = opened(file)
    about = os.fstat(own)
    try:
        yield own
    finally:
        # The library's copies close the descriptor, unless they refuse the chip. Its number may then be another file's.
        with suppress(OSError):
            if os.path.samestat(os.fstat(own), about):
                os.close(own)
