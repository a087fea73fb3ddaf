"""What zelsim tells about a board, as typed objects: the JSON of `zelsim show`, and the lines of a trace."""
import re
from typing import Any, Dict, List, NamedTuple, Optional, get_args, get_origin, get_type_hints

# The fields and their values are those of zelsim (docs/virtual-switch.md). A table is a dictionary by its first column.
Slot = NamedTuple("Slot", [("slot", int), ("board", str), ("alive", int)])
Supply = NamedTuple("Supply", [("supply", int), ("type", str), ("good", bool)])
Panel = NamedTuple("Panel", [
    ("system", int), ("alarm", int), ("relay", int), ("ring_master", int), ("ring_fail", int), ("power_1", int),
    ("power_2", int), ("speed_24", int), ("speed_25", int), ("speed_26", int), ("speed_27", int)])
Gpio = NamedTuple("Gpio", [
    ("reset_process", int), ("reset_flag", int), ("io_value", int), ("reset_key", int), ("watchdog_toggling", int),
    ("diag_flag", int), ("flash_access_flag", int), ("debug", int), ("power_status", int),
    ("selected_cage", Optional[int]), ("watchdog_enabled", bool), ("watchdog_toggles", int), ("hardware_resets", int)])
I2c = NamedTuple("I2c", [
    ("busy", int), ("debug", int), ("clock_fail", int), ("temperature_fail", int), ("clock_present", int),
    ("sensor_present", int), ("clock", str), ("clock_mode", int), ("temperature", float), ("io", List[int]),
    ("refreshes", int)])
Cage = NamedTuple("Cage", [
    ("port", int), ("module", Optional[str]), ("presence_line", int), ("tx_disable", int), ("tx_fault", int),
    ("loss_of_signal", int)])
FlashCounters = NamedTuple("FlashCounters", [
    ("chip_index", int), ("debug", int), ("extended_address", int), ("erases", int), ("programs", int),
    ("bytes_programmed", int), ("bytes_not_erased", int), ("worst_sector", int), ("worst_erases", int)])
Region = NamedTuple("Region", [("region", str), ("start", int), ("size", int), ("erases", int), ("programs", int)])
Register = NamedTuple("Register", [("address", int), ("value", int), ("space", str), ("port", Optional[int])])
ChainBit = NamedTuple("ChainBit", [("group", int), ("bit", int), ("value", int)])
Link = NamedTuple("Link", [("port", int), ("phy", str), ("speed", int), ("full_duplex", bool)])
FaultRule = NamedTuple("FaultRule", [
    ("fault", int), ("target", str), ("result", Any), ("skip", int), ("count", Optional[int]), ("hits", int)])
Module = NamedTuple("Module", [("module", str), ("part_number", str), ("rate_mbd", int), ("phy", Optional[str])])
State = NamedTuple("State", [
    ("board", str), ("folder", str), ("slots", Dict[int, Slot]), ("supplies", Dict[int, Supply]), ("panel", Panel),
    ("gpio", Gpio), ("i2c", I2c), ("cages", Dict[int, Cage]), ("flash", FlashCounters), ("registers", List[Register]),
    ("serial_gpio", List[ChainBit]), ("links", Dict[int, Link]), ("faults", Dict[int, FaultRule]), ("settle_ms", int),
    ("paused_us", int)])

# What the program gave, and what it has afterwards; what the call gave, if anything, and the error of a refused one.
# A node is gpio, i2c or flash; a pause and debugCmd are theirs. A request is named as in the trace.
Event = NamedTuple("Event", [
    ("node", str), ("request", str), ("fields", Dict[str, Any]), ("after", Dict[str, Any]), ("result", Optional[int]),
    ("error", Optional[str]), ("text", str)])


def read(kind: Any, document: Any) -> Any:
    """An object of the type from JSON. What zelsim tells beyond its fields is left out."""
    if hasattr(kind, "_fields"):
        return kind(**{name: read(part, document[name]) for name, part in get_type_hints(kind).items()})
    if get_origin(kind) not in (dict, list):
        return document
    rows = [read(get_args(kind)[-1], row) for row in document]
    return rows if get_origin(kind) is list else {row[0]: row for row in rows}


def fields_of(text: str) -> Dict[str, Any]:
    """The parts of a record: numbers by name, and bytes as `data`; an address, and the size behind it."""
    found: Dict[str, Any] = {}
    for word in text.strip("{} ").split():
        name, _, value = word.rpartition("=")
        place = re.fullmatch(r"(0x[0-9a-f]{8})(?:\+(\w+))?", word)
        if place:
            found.update({"address": int(place[1], 16)}, **({"size": int(place[2], 0)} if place[2] else {}))
        elif name in ("", "data") and re.fullmatch("[0-9a-f]{2}", value):
            found["data"] = found.get("data", b"") + bytes.fromhex(value)
        elif name:
            found[name] = float(value) if "." in value else int(value, 0)
        else:
            found["where"] = word  # of a seek that counts from elsewhere
    return found


def read_event(line: str) -> Event:
    words, _, outcome = line.partition(" = ")
    value, _, error = outcome.partition(" ")
    kind, *rest = re.sub(" 0x[0-9A-F]{2} ", " ", words, 1).split()
    before, _, after = words.partition("->")
    node, request, fields = kind, rest[0], fields_of(before.partition(f"{rest[0]} ")[2])
    if kind == "pause":
        node, request, fields = "", kind, {"us": int(rest[0][:-2])}
    elif kind in ("open", "close"):
        node, request, fields = rest[0], kind, {"access": access for access in rest[1:]}
    elif kind == "debugCmd":
        fields = {"arguments": rest[1:]}
    return Event(node, request, fields, fields_of(after), int(value, 0) if value else None, error or None, line)
