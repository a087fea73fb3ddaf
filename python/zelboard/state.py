"""What zelsim tells about a board, as typed objects: the JSON of `zelsim show`."""
from typing import Any, Dict, List, NamedTuple, Optional, get_args, get_origin, get_type_hints

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
# What a module with SFF-8472 diagnostics measures: degrees Celsius, volts, milliamperes, dBm; and its flags, as
# "rx_power_low".
Diagnostics = NamedTuple("Diagnostics", [
    ("port", int), ("calibration", str), ("temperature", float), ("voltage", float), ("bias", float),
    ("tx_power", float), ("rx_power", float), ("soft_tx_disable", bool), ("alarms", List[str]),
    ("warnings", List[str])])
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


def read(kind: Any, document: Any) -> Any:
    """An object of the type from JSON. What zelsim tells beyond its fields is left out."""
    if hasattr(kind, "_fields"):
        return kind(**{name: read(part, document[name]) for name, part in get_type_hints(kind).items()})
    if get_origin(kind) not in (dict, list):
        return document
    rows = [read(get_args(kind)[-1], row) for row in document]
    return rows if get_origin(kind) is list else {row[0]: row for row in rows}
