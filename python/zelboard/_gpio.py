"""Requests to the GPIO driver for which the library has no call, or only one that prints."""
import fcntl
import os
import struct
from typing import Any

from zelboard import _call, fw

GET_POWER_STATUS = 0x98
GET_SOC_REGISTER = 0xE0
NODE = "/dev/zel_gpio"
REQUEST = 0x40012400  # of all requests; the number is the low byte

# Bits of the power status, by supply.
GOOD = {1: 0x40, 2: 0x80}


def checked(number: int, status: int) -> None:
    """Raises the exception for a status other than 0, as a function of the library does."""
    _call.checked(fw._ERRORS, f"GPIO request 0x{number:X}", status)


def request_here(number: int, record: bytes) -> bytes:
    """A request to the driver of this machine."""
    after = bytearray(record)
    try:
        node = os.open(NODE, os.O_RDWR | os.O_CLOEXEC)
    except OSError:
        raise fw.Failed(f"GPIO request 0x{number:X}", fw.FW_FAIL) from None
    try:
        status = fcntl.ioctl(node, REQUEST | number, after)
    except OSError:
        status = fw.FW_REFUSED
    finally:
        os.close(node)
    checked(number, status)
    return bytes(after)


def request(calls: Any, number: int, record: bytes) -> bytes:
    """Makes a request to the driver of the switch that makes the calls. Returns the record as the driver leaves it."""
    from zelboard.session import Session
    if not isinstance(calls, Session):
        return request_here(number, record)
    status, after = calls.gpio_request(number, record)
    checked(number, status)
    return after


def supply_is_good(calls: Any, supply: int) -> bool:
    """Asks the driver: the library tells whether any supply is bad, but not which one."""
    status = request(calls, GET_POWER_STATUS, b"\0")[0]
    return bool(status & GOOD[supply])


def watchdog_is_enabled(calls: Any) -> bool:
    """Reads the SoC register by a request: FW_GetSpecialRegister would print."""
    register = 0x20300
    enabled = 0x100
    record = request(calls, GET_SOC_REGISTER, struct.pack("=II", register, 0))
    value: int = struct.unpack("=II", record)[1]
    return bool(value & enabled)
