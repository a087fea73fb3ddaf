"""The library in another process, which may be on another machine: `zelctl session` there makes the calls. FarLibrary takes
the place of zelboard.fw.raw; its taken(), and descriptor(), take the places of those in zelboard._call."""
import ctypes
import os
from contextlib import contextmanager
from typing import Any, Callable, Dict, Iterator, Optional, Tuple

from zelboard import _call
from zelboard._dialog import Dialog
from zelboard.fw import raw


class Descriptor(int):
    """A file of this process that a function of the far end is to read."""


@contextmanager
def descriptor(file: _call.File) -> Iterator[Descriptor]:
    with _call.descriptor(file) as own:
        yield Descriptor(own)


class FarError(RuntimeError):
    """The far end does not know what it is asked for."""


def content_of(descriptor: int) -> bytes:
    """What is left to read of a file. Its position does not change, if it has one."""
    with open(os.dup(descriptor), "rb", buffering=0) as file:
        if not file.seekable():
            return file.read()
        position = file.tell()
        try:
            return file.read()
        finally:
            file.seek(position)


def advance(descriptor: int, read: int) -> None:
    """Moves the position of a file by the bytes that the far end has read of it."""
    with open(os.dup(descriptor), "rb", buffering=0) as file:
        if file.seekable():
            file.seek(read, os.SEEK_CUR)


def pointed_to(value: Any) -> Any:
    """The object behind byref() or a buffer."""
    return getattr(value, "_obj", value)


def is_pointer(value: Any) -> bool:
    return isinstance(value, ctypes._Pointer)


def question_of(value: Any) -> Any:
    """An argument as the far end takes it."""
    if isinstance(value, Descriptor):
        return {"file": content_of(value).hex()}
    if value is None:
        return 0
    if isinstance(value, int):
        return value
    if isinstance(value, bytes):
        return {"bytes": (value + b"\0").hex()}
    target = pointed_to(value)
    if is_pointer(target):
        return {"allocates": True}
    return {"bytes": bytes(target).hex(), "returned": True}


def keep_answer(value: Any, answer: Any) -> None:
    """Puts what the function has written where the caller looks for it."""
    target = pointed_to(value)
    if is_pointer(target):
        target.far = answer
    elif isinstance(target, Descriptor):
        advance(target, answer)
    elif answer is not None:
        content = bytes.fromhex(answer)
        place: Any = target if isinstance(target, ctypes.Array) else ctypes.byref(target)
        ctypes.memmove(place, content, len(content))


class FarLibrary:
    """Has the names of zelboard.fw.raw. Functions are called at the far end; records and constants are the ones here."""

    def __init__(self, dialog: Dialog):
        self._dialog = dialog

    def __getattr__(self, name: str) -> Any:
        known = getattr(raw, name)
        if name not in raw.EXPORTS or isinstance(known, (ctypes._SimpleCData, ctypes.Array)):
            return known
        return self._function(name, known)

    def _ask(self, **question: Any) -> Dict[str, Any]:
        answer: Dict[str, Any] = self._dialog.ask(question)
        if "error" in answer:
            raise FarError(f"zelctl session: {answer['error']}")
        return answer

    def _function(self, name: str, known: Any) -> Callable[..., Any]:
        result = known.restype

        def call(*given: Any) -> Any:
            asked = [question_of(value) for value in given]
            answer = self._ask(call=name, arguments=asked, text=result is ctypes.c_char_p)
            for value, written in zip(given, answer["arguments"]):
                keep_answer(value, written)
            if result is ctypes.c_char_p:
                return os.fsencode(answer["result"])
            return None if result is None else result(answer["result"]).value

        return call

    def taken(self, data: Any, size: int) -> bytes:
        """The bytes of a buffer that the library has allocated at the far end. Releases the buffer."""
        return bytes.fromhex(self._ask(take=data.far, size=size)["bytes"])

    def gpio_request(self, number: int, record: bytes) -> Tuple[int, bytes]:
        """The request's result, and the record as the driver leaves it."""
        answer = self._ask(gpio=number, bytes=record.hex())
        return answer["result"], bytes.fromhex(answer["bytes"])

    def variable(self, name: str) -> Any:
        known = getattr(raw, name)
        if isinstance(known, ctypes.c_void_p):
            pointer: Optional[int] = self._ask(get=name, pointer=True)["pointer"]
            return pointer or None
        answer = self._ask(get=name, size=ctypes.sizeof(known))
        value = type(known).from_buffer_copy(bytes.fromhex(answer["bytes"]))
        return list(value) if name in raw.TABLES else value.value

    def set_variable(self, name: str, value: Any) -> None:
        kind = type(getattr(raw, name))
        made = kind(*value) if name in raw.TABLES else kind(value)
        self._ask(set=name, bytes=bytes(made).hex())
