#!/usr/bin/env python3
"""Reports all pluggable modules of the switch as JSON, without changing anything.

    modules.py [LIBRARY]        default: libzelboard.so.1
"""
import ctypes
import json
import sys

PORTS = 28
MEMORY = 0xA0  # SFF-8472 page A0h, 8-bit I2C address
PAGE = 128
CAUSES = {0xFFFF: "no answer", 0xFFFD: "no daughter board", 0xFFFC: "no SFP cage", 0xFFFA: "I2C bus is busy"}
CONNECTORS = {0x01: "SC", 0x07: "LC", 0x21: "copper pigtail", 0x22: "RJ45", 0x23: "none"}


def load(path):
    """The library with the signatures of what is called here; ctypes passes ints, so results need a type."""
    zel = ctypes.CDLL(path)
    byte_out = ctypes.POINTER(ctypes.c_uint8)
    signatures = {
        "FW_GetPortSfpPresnt": [ctypes.c_uint32, byte_out],
        "FW_GetPortSfpLos": [ctypes.c_uint32, byte_out],
        "FW_GetPortSfpTxDisable": [ctypes.c_uint32, byte_out],
        "FW_SfpSel": [ctypes.c_uint32],
        "FW_I2C_BufRead": [ctypes.c_uint8, ctypes.c_uint32, ctypes.c_uint32, ctypes.c_uint8, ctypes.c_void_p],
    }
    for name, arguments in signatures.items():
        function = getattr(zel, name)
        function.argtypes = arguments
        function.restype = ctypes.c_uint32
    return zel


def line(signal, port):
    """Level of a cage's line, or None with the status when it cannot be read."""
    level = ctypes.c_uint8()
    status = signal(port, ctypes.byref(level))
    return (level.value if status == 0 else None), status


def decode(page):
    def text(start, length):
        return page[start : start + length].decode("ascii", "replace").strip()

    return {
        "identifier": page[0],
        "connector": CONNECTORS.get(page[2], hex(page[2])),
        "rate_mbd": page[12] * 100,
        "vendor": text(20, 16),
        "part_number": text(40, 16),
        "revision": text(56, 4),
        "serial_number": text(68, 16),
        "wavelength_nm": int.from_bytes(page[60:62], "big") or None,
        "checksums_good": sum(page[:63]) & 0xFF == page[63] and sum(page[64:95]) & 0xFF == page[95],
    }


def module(zel, port):
    """What is in a port's cage; None for an empty cage or a port without one."""
    level, status = line(zel.FW_GetPortSfpPresnt, port)
    if status in (0xFFFC, 0xFFFD) or level == 1:  # a module pulls the line low
        return None
    page = ctypes.create_string_buffer(PAGE)
    if status == 0:
        status = zel.FW_SfpSel(port)
    if status == 0:
        status = zel.FW_I2C_BufRead(MEMORY, 0, 1, PAGE, page)
    if status != 0:
        return {"port": port, "error": CAUSES.get(status, hex(status))}
    signals = {
        "receives_light": line(zel.FW_GetPortSfpLos, port)[0] == 0,
        "transmitter_on": line(zel.FW_GetPortSfpTxDisable, port)[0] == 0,
    }
    return {"port": port, **decode(page.raw), **signals}


def main():
    try:
        zel = load(sys.argv[1] if len(sys.argv) > 1 else "libzelboard.so.1")
    except OSError as error:
        sys.exit(f"modules.py: LIBRARY: {error}")
    found = [report for report in (module(zel, port) for port in range(PORTS)) if report]
    json.dump(found, sys.stdout, indent=2)
    print()
    return 1 if any("error" in report for report in found) else 0


if __name__ == "__main__":
    sys.exit(main())
