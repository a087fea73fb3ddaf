"""What programs did on a board: the lines of a trace as events, and questions about them."""
import difflib
import functools
import json
import math
import re
import time
from typing import (
    Any, Callable, Dict, FrozenSet, Iterable, Iterator, List, NamedTuple, Optional, Sequence, Tuple, Union, overload)

from zelboard._zelsim import zelsim

# One call of a program.
#   node     gpio, i2c or flash; "debugCmd" for its lines; empty for a pause
#   request  its name in the trace
#   fields   what the program gave
#   after    what the program has afterwards
#   result   what the call returned, if anything
#   error    the error of a refused call
#   text     the line of the trace
#   time     when the call ended, in seconds of time.monotonic(); None in a trace without times
#   process  the number of the process; None in a trace without times
Event = NamedTuple("Event", [
    ("node", str), ("request", str), ("fields", Dict[str, Any]), ("after", Dict[str, Any]), ("result", Optional[int]),
    ("error", Optional[str]), ("text", str), ("time", Optional[float]), ("process", Optional[int])])

Step = Union[str, Tuple[str, Dict[str, Any]]]
AROUND = 3  # lines shown before and behind the one that matters


def fields_of(text: str) -> Dict[str, Any]:
    """The parts of a record: numbers by name, bytes as `data`, and the place of a transfer as `address` and `size`."""
    found: Dict[str, Any] = {}
    for word in text.strip("{} ").split():
        name, _, value = word.rpartition("=")
        place = re.fullmatch(r"(0x[0-9a-f]{8})(?:\+(\w+))?", word)
        if place:
            found["address"] = int(place[1], 16)
            if place[2]:
                found["size"] = int(place[2], 0)
        elif name in ("", "data") and re.fullmatch("[0-9a-f]{2}", value):
            found["data"] = found.get("data", b"") + bytes.fromhex(value)
        elif name:
            found[name] = float(value) if "." in value else int(value, 0)
        else:
            found["where"] = word  # the origin of a seek, if it is not the start
    return found


def without_stamp(line: str) -> Tuple[Optional[float], Optional[int], str]:
    """Time, process, and what stands behind them in the line."""
    stamp = re.match(r"(\d+\.\d{6}) (\d+) ", line)
    if stamp is None:
        return None, None, line
    return float(stamp[1]), int(stamp[2]), line[stamp.end():]


def read_event(line: str) -> Event:
    when, process, line = without_stamp(line)
    words, _, outcome = line.partition(" = ")
    value, _, error = outcome.partition(" ")
    # "i2c 0xB0 BufRead {addr=0x9e} -> 19 00 = 0": the request's number is left out, as its name says the same.
    kind, *rest = re.sub(" 0x[0-9A-F]{2} ", " ", words, 1).split()
    before, _, after = words.partition("->")
    result = int(value, 0) if value else None

    def event(node: str, request: str, fields: Dict[str, Any]) -> Event:
        return Event(node, request, fields, fields_of(after), result, error or None, line, when, process)

    if kind == "pause":
        return event("", "pause", {"us": int(rest[0][:-2])})
    if kind in ("open", "close"):
        return event(rest[0], kind, {"access": rest[1]} if len(rest) > 1 else {})
    if kind == "debugCmd":
        return event(kind, rest[0], {"arguments": rest[1:]})
    request = rest[0]
    return event(kind, request, fields_of(before.partition(f"{request} ")[2]))


def matches(event: Event, request: str, fields: Dict[str, Any]) -> bool:
    """Whether an event is of a kind. `request` is a name, as "SetAlarmLed", or node and name, as "flash:read"; an empty
    part matches all. A field's value is the one that the program had afterwards, otherwise the one that it gave. node,
    result and error are fields, too. Instead of a value a function can be given: it gets the field's value and decides."""
    node, _, name = request.rpartition(":")
    if name not in ("", event.request) or node not in ("", event.node):
        return False
    known = {**event.fields, **event.after, "node": event.node, "result": event.result, "error": event.error}
    for field, wanted in fields.items():
        if field not in known:
            return False
        value = known[field]
        is_wanted = wanted(value) if callable(wanted) else value == wanted
        if not is_wanted:
            return False
    return True


# Fields of an event that are not in the record of its request.
COMMON_FIELDS = frozenset({"node", "result", "error"})
PLACE_FIELDS = {"read": {"address", "size"}, "write": {"address", "size"}, "lseek": {"address", "where"},
                "EraseSector": {"address"}, "open": {"access"}, "GetFlashId": {"data"}}


class Kind(NamedTuple):
    """A request that a line of a trace can have."""
    node: str
    request: str
    fields: FrozenSet[str]


@functools.lru_cache(maxsize=None)
def known_kinds() -> Sequence[Kind]:
    """All kinds, as zelsim lists them."""
    kinds = [Kind("", "pause", frozenset({"us"}))]
    for row in json.loads(zelsim("fail", "--requests", "--json"))["requests"]:
        node = row["node"]
        request = row["request"]
        fields = PLACE_FIELDS.get(request, row["fields"])
        kinds.append(Kind(node, request, frozenset({"arguments"} if node == "debugCmd" else fields)))
        if request == "open":
            kinds.append(Kind(node, "close", frozenset()))
    for node in sorted({kind.node for kind in kinds} - {"", "debugCmd"}):
        kinds.append(Kind(node, "?", frozenset({"data"})))  # a number that the driver does not know
    return kinds


def instead(word: str, known: Iterable[str]) -> str:
    """The end of a message about an unknown word: the known words that it is near to."""
    near = difflib.get_close_matches(word, sorted(set(known)), 3)
    return f"; near: {', '.join(near)}" if near else ""


def check_kind(request: str, fields: Dict[str, Any]) -> None:
    """Raises ValueError for a node, a request or a field that no line of a trace has."""
    node, _, name = request.rpartition(":")
    kinds = [kind for kind in known_kinds() if node in ("", kind.node)]
    if not kinds:
        raise ValueError(f"{request!r}: no node {node!r}{instead(node, (kind.node for kind in known_kinds()))}")
    meant = [kind for kind in kinds if name in ("", kind.request)]
    if not meant:
        raise ValueError(f"{request!r}: no request {name!r}{instead(name, (kind.request for kind in kinds))}")
    known = COMMON_FIELDS.union(*(kind.fields for kind in meant))
    for field in fields:
        if field not in known:
            raise ValueError(f"{request or 'any request'}: no field {field!r}, but {', '.join(sorted(known))}")


def described(request: str, fields: Dict[str, Any]) -> str:
    return request + "".join(f" {name}={value!r}" for name, value in fields.items())


def lines_around(events: Sequence[Event], place: int) -> str:
    """The lines around a place. The place is marked."""
    first = max(0, place - AROUND)
    rows = []
    for number, event in enumerate(events[first:place + AROUND + 1], first):
        mark = "> " if number == place else "  "
        rows.append(mark + event.text)
    if first > 0:
        rows.insert(0, f"  ({first} lines before)")
    behind = len(events) - (place + AROUND + 1)
    if behind > 0:
        rows.append(f"  ({behind} lines behind)")
    return "\n".join(rows) if events else "  (nothing was done)"


class Trace:
    """Events in the order of time. It is a sequence of them, and answers questions: count("SetAlarmLed", led=1)."""

    def __init__(self, events: Iterable[Event] = ()):
        self._events = list(events)

    @property
    def events(self) -> List[Event]:
        return self._events

    @overload
    def __getitem__(self, place: int) -> Event: ...

    @overload
    def __getitem__(self, place: slice) -> List[Event]: ...

    def __getitem__(self, place: Union[int, slice]) -> Union[Event, List[Event]]:
        return self.events[place]

    def __len__(self) -> int:
        return len(self.events)

    def __iter__(self) -> Iterator[Event]:
        return iter(self.events)

    def __eq__(self, other: object) -> bool:
        return isinstance(other, (Trace, list)) and list(self) == list(other)

    def __repr__(self) -> str:
        return f"<{type(self).__name__} of {len(self)} lines>"

    def __str__(self) -> str:
        return "\n".join(event.text for event in self)

    def all(self, request: str = "", **fields: Any) -> "Trace":
        """The events of one kind, see matches(). A request or a field that no event can have is a ValueError."""
        events = self.events
        check_kind(request, fields)
        return Trace([event for event in events if matches(event, request, fields)])

    def count(self, request: str = "", **fields: Any) -> int:
        """How many events there are of one kind."""
        return len(self.all(request, **fields))

    def find(self, request: str = "", **fields: Any) -> Optional[Event]:
        """The first event of one kind, or None."""
        return next(iter(self.all(request, **fields)), None)

    def assert_order(self, *steps: Step) -> None:
        """The steps were done in this order; other events may stand between them. A step is a request, or a request
        with fields: "SelectCage", ("SetAlarmLed", {"led": 1})."""
        __tracebackhide__ = True  # pytest then shows the line of the test
        events = list(self)
        wanted: List[Tuple[str, Dict[str, Any]]] = [(step, {}) if isinstance(step, str) else step for step in steps]
        for request, fields in wanted:
            check_kind(request, fields)
        place = -1
        for number, (request, fields) in enumerate(wanted, 1):
            later = range(place + 1, len(events))
            found = next((line for line in later if matches(events[line], request, fields)), None)
            if found is None:
                raise AssertionError(self._out_of_order(events, place, number, request, fields))
            place = found

    @staticmethod
    def _out_of_order(events: List[Event], place: int, number: int, request: str, fields: Dict[str, Any]) -> str:
        text = f"step {number}: no {described(request, fields)}"
        if place >= 0:
            text += f" behind line {place + 1}"
        early = [line for line in range(place + 1) if matches(events[line], request, fields)]
        if early:
            text += f"; it is line {early[-1] + 1}, too early"
        here = max(place, 0)
        text += ":\n" + lines_around(events, here)
        if early and here - early[-1] > AROUND:
            text += "\n  ...\n" + lines_around(events, early[-1])
        return text


class Recording(Trace):
    """What is done on a board within a `with` block; it can be asked while the block lasts, and later."""

    def __init__(self, now: Callable[[], Iterable[Event]]):
        super().__init__()
        self._now = now
        self._start = math.floor(time.monotonic() * 1e6) / 1e6  # microseconds, like the times of the lines
        self._open = True

    @property
    def events(self) -> List[Event]:
        if self._open:
            self._events = [event for event in self._now() if (event.time or 0) >= self._start]
        return self._events

    def end(self) -> None:
        self._events = self.events
        self._open = False


def in_order(traces: Iterable[Iterable[Event]]) -> List[Event]:
    """The events of several programs as one list."""
    every = [event for trace in traces for event in trace]
    return sorted(every, key=lambda event: event.time or 0)


def text_in_order(traces: Iterable[Iterable[str]]) -> str:
    """The lines of several programs as one text, without time and process."""
    every = [without_stamp(line) for trace in traces for line in trace]
    every.sort(key=lambda parts: parts[0] or 0)
    return "".join(f"{text}\n" for _, _, text in every)
