"""What zelsim tells about a board, as typed objects: the JSON of `zelsim show`."""
import functools
from typing import Any, Callable, Dict, List, NamedTuple, Optional, get_args, get_origin, get_type_hints

from zelboard.trace import Event as Event, read_event as read_event

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
# What a module with SFF-8472 diagnostics measures, in degrees Celsius, volts, milliamperes and dBm; and its flags, such as
# "rx_power_low". `standing_alarms` and `standing_warnings` are the flags that hold now, without those that a laser that is
# off, or missing light, explains. A value with an alarm there has no warning there.
Diagnostics = NamedTuple("Diagnostics", [
    ("port", int), ("calibration", str), ("temperature", float), ("voltage", float), ("bias", float),
    ("tx_power", float), ("rx_power", float), ("soft_tx_disable", bool), ("alarms", List[str]),
    ("warnings", List[str]), ("standing_alarms", List[str]), ("standing_warnings", List[str])])
FaultRule = NamedTuple("FaultRule", [
    ("fault", int), ("target", str), ("result", Any), ("skip", int), ("count", Optional[int]), ("hits", int),
    ("probability", Optional[float]), ("seed", Optional[int])])
Module = NamedTuple("Module", [("module", str), ("part_number", str), ("rate_mbd", int), ("phy", Optional[str]),
                               ("diagnostics", bool)])
State = NamedTuple("State", [
    ("board", str), ("folder", str), ("slots", Dict[int, Slot]), ("supplies", Dict[int, Supply]), ("panel", Panel),
    ("gpio", Gpio), ("i2c", I2c), ("cages", Dict[int, Cage]), ("flash", FlashCounters), ("registers", List[Register]),
    ("serial_gpio", List[ChainBit]), ("links", Dict[int, Link]),
    ("diagnostics", Dict[int, Diagnostics]), ("faults", Dict[int, FaultRule]), ("settle_ms", int),
    ("paused_us", int)])


Reader = Callable[[Any], Any]


@functools.lru_cache(maxsize=None)
def reader_of(kind: Any) -> Optional[Reader]:
    """The function that makes an object of the type from JSON. None for a type that JSON has as it is."""
    if hasattr(kind, "_fields"):
        return record_reader(kind)
    if get_origin(kind) not in (dict, list):
        return None
    read_row = reader_of(get_args(kind)[-1])
    if read_row is None:
        return None
    row = read_row  # mypy: in the functions below it is not None
    if get_origin(kind) is list:
        return lambda rows: [row(one) for one in rows]
    return lambda rows: {made[0]: made for made in map(row, rows)}


def record_reader(kind: Any) -> Reader:
    names = kind._fields
    readers = {name: reader_of(part) for name, part in get_type_hints(kind).items()}
    further = [(names.index(name), reader) for name, reader in readers.items() if reader is not None]

    def read_record(document: Any) -> Any:
        values = [document[name] for name in names]
        for place, reader in further:
            values[place] = reader(values[place])
        return kind._make(values)

    return read_record


def read(kind: Any, document: Any) -> Any:
    """An object of the type from JSON. Members that are no fields of the type are left out."""
    reader = reader_of(kind)
    return reader(document) if reader else document
