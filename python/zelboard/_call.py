"""What zelboard.fw is made of: conversions between Python and C, and statuses as exceptions."""
import ctypes
import operator
import os
from contextlib import contextmanager, suppress
from types import ModuleType
from typing import IO, Any, Dict, Iterator, Optional, Type, Union

Buffer = Union[bytes, bytearray, memoryview]
Text = Union[str, bytes, os.PathLike[str]]
File = Union[int, str, os.PathLike[str], IO[bytes], IO[str]]  # a descriptor, a path, or an open file

_libc = ctypes.CDLL(None)


class Error(Exception):
    """failed"""

    def __init__(self, function: str, status: int):
        super().__init__(function, status)
        self.function, self.status = function, status

    def __str__(self) -> str:
        return f"{self.function}: {self.__doc__} (0x{self.status:X})"


class Busy(Error):
    """the I2C bus is busy"""


class Absent(Error):
    """no daughter board in the slot, no such port, or a chip that is not alive"""


class NotSfp(Error):
    """the port has no SFP cage"""


class Refused(Error):
    """the kernel refused the request, or a copy, map query or dump failed"""


class Failed(Error):
    """failed"""


def checked(kinds: Dict[int, Type[Error]], function: str, result: int, good: range = range(1)) -> int:
    """The result when it is a good one; otherwise raises what it stands for."""
    _libc.fflush(None)  # what the function has printed stands before what Python prints next
    if result in good:
        return result
    raise kinds.get(result, Failed)(function, result)


class Record(ctypes.Structure):
    """A C record that can be printed and compared."""

    def __repr__(self) -> str:
        return f"{type(self).__name__}({', '.join(f'{row[0]}={getattr(self, row[0])!r}' for row in self._fields_)})"

    def __eq__(self, other: object) -> bool:
        return type(other) is type(self) and bytes(other) == bytes(self)  # type: ignore[call-overload]


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
    """An argument that C would cut to its width."""
    if not low <= operator.index(value) <= high:
        raise ValueError(f"{name}: {value} is not a number from {low} to {high}")
    return value


def text(name: str, value: Optional[Text]) -> Optional[bytes]:
    if value is not None and b"\0" in os.fsencode(value):
        raise ValueError(f"{name}: {value!r} has a NUL in it")
    return None if value is None else os.fsencode(value)


def buffer(name: str, value: Optional[Buffer], size: Optional[int] = None) -> "Optional[ctypes.Array[ctypes.c_uint8]]":
    """A copy of the bytes for C; with `size` exactly so many."""
    if value is None:
        return None
    given = bytes(memoryview(value))
    if size not in (None, len(given)):
        raise ValueError(f"{name}: {len(given)} bytes instead of {size}")
    return (ctypes.c_uint8 * len(given)).from_buffer_copy(given)


def taken(data: "ctypes._Pointer[ctypes.c_uint8]", size: int) -> bytes:
    """The bytes of a buffer that the library has allocated, which is released."""
    try:
        return ctypes.string_at(data, size)
    finally:
        _libc.free(ctypes.cast(data, ctypes.c_void_p))


@contextmanager
def descriptor(file: File) -> Iterator[int]:
    """A descriptor for C to read and to close: never the caller's own."""
    own = os.open(file, os.O_RDONLY) if isinstance(file, (str, os.PathLike)) else os.dup(
        file if isinstance(file, int) else file.fileno())
    about = os.fstat(own)
    try:
        yield own
    finally:
        with suppress(OSError):  # the copies have closed it, unless the chip was refused
            if os.path.samestat(os.fstat(own), about):
                os.close(own)
