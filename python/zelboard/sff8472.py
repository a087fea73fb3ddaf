"""The memory of an SFP module by SFF-8472: where things stand on page A0h, and what page A2h measures."""
import math
import struct
from typing import List, NamedTuple, Optional, Tuple

DIAGNOSTICS = 0xA2  # 8-bit address of page A2h
PAGE_SIZE = 256
DEFINED_SIZE = 128  # the defined half of a page

# Page A0h.
IDENTIFIER = 0
CONNECTOR = 2
NOMINAL_RATE = 12
COPPER_LENGTH = 18
VENDOR_NAME = slice(20, 36)
VENDOR_OUI = slice(37, 40)
PART_NUMBER = slice(40, 56)
REVISION = slice(56, 60)
SERIAL_NUMBER = slice(68, 84)
DATE_CODE = slice(84, 92)
MONITORING_TYPE = 92
SFP_IDENTIFIER = 3
CONNECTORS = {0x01: "SC", 0x07: "LC", 0x0B: "Optical Pigtail", 0x21: "Copper pigtail", 0x22: "RJ45"}

# Bits of the monitoring type.
IMPLEMENTED = 0x40  # there is a page A2h
EXTERNALLY_CALIBRATED = 0x10
ADDRESS_CHANGE = 0x04  # page A2h only answers after a sequence on the bus that no driver here sends

# What page A2h measures. Words have their high byte first.
#   word        place of the measured word
#   signed      whether the word has a sign
#   unit        degrees, volts, milliamperes or milliwatts for each step of the word
#   thresholds  place of the words for high alarm, low alarm, high warning, low warning
#   constants   place of the constants of an external calibration: a slope and an offset; for the received power, five floats
#   is_power    True for a power: it is not below 0, and people also give it in dBm
Quantity = NamedTuple("Quantity", [
    ("word", int), ("signed", bool), ("unit", float), ("thresholds", int), ("constants", int), ("is_power", bool)])
TEMPERATURE = Quantity(word=96, signed=True, unit=1 / 256, thresholds=0, constants=84, is_power=False)
VOLTAGE = Quantity(word=98, signed=False, unit=1e-4, thresholds=8, constants=88, is_power=False)
BIAS = Quantity(word=100, signed=False, unit=2e-3, thresholds=16, constants=76, is_power=False)
TX_POWER = Quantity(word=102, signed=False, unit=1e-4, thresholds=24, constants=80, is_power=True)
RX_POWER = Quantity(word=104, signed=False, unit=1e-4, thresholds=32, constants=56, is_power=True)
LEAST_MILLIWATTS = 1e-4  # the least power that a word can hold
LEAST_DBM = -40.0


def text_of(page: bytes, field: slice) -> str:
    return page[field].decode("ascii", "replace").strip()


def can_read_diagnostics(identification: bytes) -> bool:
    """Whether page A2h can be read."""
    kind = identification[MONITORING_TYPE]
    return bool(kind & IMPLEMENTED) and not kind & ADDRESS_CHANGE


def dbm(milliwatts: Optional[float]) -> Optional[float]:
    if milliwatts is None:
        return None
    return 10 * math.log10(milliwatts) if milliwatts > LEAST_MILLIWATTS else LEAST_DBM


class Diagnostics:
    """What a module measures, from the lower halves of both its pages. A value is None if the constants of the calibration do
    not make it a number."""

    def __init__(self, identification: bytes, page: bytes):
        self._external = bool(identification[MONITORING_TYPE] & EXTERNALLY_CALIBRATED)
        self._page = bytes(page)

    def value(self, quantity: Quantity) -> Optional[float]:
        """In degrees, volts, milliamperes or milliwatts."""
        return self._value_at(quantity, quantity.word)

    def limits(self, quantity: Quantity) -> List[Optional[float]]:
        """High alarm, low alarm, high warning and low warning. Four equal words are no limits."""
        places = range(quantity.thresholds, quantity.thresholds + 8, 2)
        words = {self._page[place:place + 2] for place in places}
        if len(words) == 1:
            return [None] * 4
        return [self._value_at(quantity, place) for place in places]

    def _value_at(self, quantity: Quantity, place: int) -> Optional[float]:
        count: float = int.from_bytes(self._page[place:place + 2], "big", signed=quantity.signed)
        if self._external:
            count = self._calibrated(quantity, count)
        if quantity.is_power and count < 0:  # an offset that is a little too low
            count = 0
        return count * quantity.unit if math.isfinite(count) else None

    def _calibrated(self, quantity: Quantity, count: float) -> float:
        if quantity is RX_POWER:
            coefficients: Tuple[float, ...] = struct.unpack_from(">5f", self._page, quantity.constants)
            terms = [coefficient * math.pow(count, 4 - number) for number, coefficient in enumerate(coefficients)]
            return sum(terms)
        slope, offset = struct.unpack_from(">Hh", self._page, quantity.constants)
        return float(slope / 256 * count + offset)
