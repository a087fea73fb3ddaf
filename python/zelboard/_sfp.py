"""The cages of zelboard.platform, and the modules in them."""
from typing import TYPE_CHECKING, Any, Callable, Dict, List, Optional, Tuple, TypeVar

from zelboard import fw, sff8472
from zelboard._device import Device, Unsupported
from zelboard.sff8472 import Diagnostics, dbm, text_of

if TYPE_CHECKING:
    from zelboard.fw.calls import Calls

Value = TypeVar("Value", bool, float)
READ_SIZE = 64  # bytes in a transfer
WRITE_SIZE = 8  # most bytes that a module takes in one write, which must not cross a multiple of this number
# The interface numbers the bytes of both pages in one row.
MEMORY = ((fw.FW_SFP_MEMORY, range(0, sff8472.PAGE_SIZE)),
          (sff8472.DIAGNOSTICS, range(sff8472.PAGE_SIZE, 2 * sff8472.PAGE_SIZE)))
# The interface's names of the quantities with limits.
LIMITED = {"temp": sff8472.TEMPERATURE, "vcc": sff8472.VOLTAGE, "txbias": sff8472.BIAS, "txpower": sff8472.TX_POWER,
           "rxpower": sff8472.RX_POWER}
LIMITS = ("highalarm", "lowalarm", "highwarning", "lowwarning")


def pieces(offset: int, size: int, most: int) -> List[Tuple[int, int, int]]:
    """The transfers for a part of the memory: address of the page, place on it, and length. None crosses a multiple of
    `most`, or the end of a page."""
    found = []
    end = offset + size
    while offset < end:
        address, page = next((address, page) for address, page in MEMORY if offset in page)
        next_multiple = (offset // most + 1) * most
        length = min(end, next_multiple) - offset
        found.append((address, offset - page.start, length))
        offset += length
    return found


def lanes_of(value: Optional[Value]) -> Optional[List[Value]]:
    """A value as a list of one lane; None stays None."""
    return None if value is None else [value]


class Sfp(Device):
    """A cage and the module in it. The interface is made for modules with several lanes. An SFP has lane 1 only: a list with a
    value for each lane has one value. Without a module, or when it cannot be read, values are None."""

    get_transceiver_pm = Unsupported()
    get_transceiver_info_firmware_versions = Unsupported()
    get_transceiver_loopback = Unsupported()
    get_power_override = Unsupported()
    set_power_override = Unsupported()
    get_port_or_cage_type = Unsupported()
    get_xcvr_api = Unsupported()

    def __init__(self, calls: "Calls", port: int):
        super().__init__(calls, f"Port {port}", port)
        self.port = port

    def is_replaceable(self) -> bool:
        return True

    def get_presence(self) -> bool:
        try:
            return self._fw.FW_GetPortSfpPresnt(self.port) == 0
        except (fw.Absent, fw.NotSfp):
            return False

    def get_error_description(self) -> str:
        return "OK" if self.get_presence() else "Unplugged"

    # The module's memory.

    def read_eeprom(self, offset: int, num_bytes: int) -> Optional[bytearray]:
        """Bytes 0-255 are page A0h, 256-511 page A2h."""
        if offset < 0 or num_bytes < 0 or offset + num_bytes > 2 * sff8472.PAGE_SIZE or not self.get_presence():
            return None
        content = bytearray()
        try:
            self._fw.FW_SfpSel(self.port)
            for address, place, length in pieces(offset, num_bytes, READ_SIZE):
                content += self._fw.FW_I2C_BufRead(address, place, 1, length)
        except fw.Error:
            return None
        return content

    def write_eeprom(self, offset: int, num_bytes: int, write_buffer: bytes) -> bool:
        """Offsets as in read_eeprom. False if the module does not take all bytes: some may be written then."""
        content = bytes(write_buffer[:num_bytes])
        if len(content) != num_bytes:
            raise ValueError(f"write_buffer: {len(content)} bytes instead of {num_bytes}")
        if offset < 0 or offset + num_bytes > 2 * sff8472.PAGE_SIZE or not self.get_presence():
            return False
        written = 0
        try:
            self._fw.FW_SfpSel(self.port)
            for address, place, length in pieces(offset, num_bytes, WRITE_SIZE):
                self._fw.FW_I2C_BufWrite(address, place, 1, content[written:written + length])
                written += length
        except fw.Error:
            return False
        return True

    # Who the module is.

    def get_transceiver_info(self) -> Optional[Dict[str, Any]]:
        page = self.read_eeprom(0, sff8472.DEFINED_SIZE)
        if page is None:
            return None
        is_sfp = page[sff8472.IDENTIFIER] == sff8472.SFP_IDENTIFIER
        connector = page[sff8472.CONNECTOR]
        return {
            "type": "SFP/SFP+/SFP28" if is_sfp else "Unknown",
            "type_abbrv_name": "SFP" if is_sfp else "Unknown",
            "connector": sff8472.CONNECTORS.get(connector, f"Unknown (0x{connector:02x})"),
            "nominal_bit_rate": page[sff8472.NOMINAL_RATE] * 100,
            "manufacturer": text_of(page, sff8472.VENDOR_NAME),
            "vendor_oui": page[sff8472.VENDOR_OUI].hex("-"),
            "model": text_of(page, sff8472.PART_NUMBER),
            "hardware_rev": text_of(page, sff8472.REVISION),
            "vendor_rev": text_of(page, sff8472.REVISION),
            "serial": text_of(page, sff8472.SERIAL_NUMBER),
            "vendor_date": text_of(page, sff8472.DATE_CODE),
            "cable_length": page[sff8472.COPPER_LENGTH],
            "dom_capability": bool(page[sff8472.MONITORING_TYPE] & sff8472.IMPLEMENTED)}

    def get_model(self) -> Optional[str]:
        info = self.get_transceiver_info()
        return info["model"] if info else None

    def get_serial(self) -> Optional[str]:
        info = self.get_transceiver_info()
        return info["serial"] if info else None

    def get_revision(self) -> Optional[str]:
        info = self.get_transceiver_info()
        return info["vendor_rev"] if info else None

    # What it measures: degrees Celsius, volts, milliamperes, dBm. No power is -40 dBm.

    def _diagnostics(self) -> Optional[Diagnostics]:
        identification = self.read_eeprom(0, sff8472.DEFINED_SIZE)
        if identification is None or not sff8472.can_read_diagnostics(identification):
            return None
        page = self.read_eeprom(sff8472.PAGE_SIZE, sff8472.DEFINED_SIZE)
        return Diagnostics(identification, page) if page is not None else None

    def get_transceiver_bulk_status(self) -> Dict[str, Any]:
        signals = {"rx_los": self.get_rx_los(), "tx_fault": self.get_tx_fault(), "tx_disable": self.get_tx_disable()}
        status: Dict[str, Any] = {"presence": self.get_presence()}
        status.update((name, lanes[0] if lanes else None) for name, lanes in signals.items())
        status.update(temperature=None, voltage=None, tx1bias=None, tx1power=None, rx1power=None)
        measured = self._diagnostics()
        if measured is not None:
            status["temperature"] = measured.value(sff8472.TEMPERATURE)
            status["voltage"] = measured.value(sff8472.VOLTAGE)
            status["tx1bias"] = measured.value(sff8472.BIAS)
            status["tx1power"] = dbm(measured.value(sff8472.TX_POWER))
            status["rx1power"] = dbm(measured.value(sff8472.RX_POWER))
        return status

    def get_transceiver_dom_real_value(self) -> Optional[Dict[str, Any]]:
        status = self.get_transceiver_bulk_status()
        return status if status["presence"] else None

    def get_transceiver_threshold_info(self) -> Optional[Dict[str, Optional[float]]]:
        """Limits by names such as temphighalarm, vcclowwarning and rxpowerhighalarm. None for a module without diagnostics."""
        measured = self._diagnostics()
        if measured is None:
            return None
        limits: Dict[str, Optional[float]] = {}
        for name, quantity in LIMITED.items():
            for limit, value in zip(LIMITS, measured.limits(quantity)):
                limits[name + limit] = dbm(value) if quantity.is_power else value
        return limits

    def _measured(self, quantity: sff8472.Quantity) -> Optional[float]:
        measured = self._diagnostics()
        return measured.value(quantity) if measured is not None else None

    def get_temperature(self) -> Optional[float]:
        return self._measured(sff8472.TEMPERATURE)

    def get_voltage(self) -> Optional[float]:
        return self._measured(sff8472.VOLTAGE)

    def get_tx_bias(self) -> Optional[List[float]]:
        return lanes_of(self._measured(sff8472.BIAS))

    def get_tx_power(self) -> Optional[List[float]]:
        return lanes_of(dbm(self._measured(sff8472.TX_POWER)))

    def get_rx_power(self) -> Optional[List[float]]:
        return lanes_of(dbm(self._measured(sff8472.RX_POWER)))

    # The cage's lines.

    def get_transceiver_status(self) -> Optional[Dict[str, Any]]:
        if not self.get_presence():
            return None
        disabled = self._line(self._fw.FW_GetPortSfpTxDisable)
        return {"rxlos1": self._line(self._fw.FW_GetPortSfpLos), "txfault1": self._line(self._fw.FW_GetPortSfpTxFault),
                "tx1disable": disabled, "tx_disabled_channel": int(bool(disabled))}

    def _line(self, read: Callable[[int], int]) -> Optional[bool]:
        """None if the port has no cage, or the line cannot be read."""
        try:
            return read(self.port) != 0
        except fw.Error:
            return None

    def get_rx_los(self) -> Optional[List[bool]]:
        return lanes_of(self._line(self._fw.FW_GetPortSfpLos))

    def get_tx_fault(self) -> Optional[List[bool]]:
        return lanes_of(self._line(self._fw.FW_GetPortSfpTxFault))

    def get_tx_disable(self) -> Optional[List[bool]]:
        return lanes_of(self._line(self._fw.FW_GetPortSfpTxDisable))

    def get_tx_disable_channel(self) -> Optional[int]:
        """Bit 0 is lane 1."""
        disabled = self._line(self._fw.FW_GetPortSfpTxDisable)
        return None if disabled is None else int(disabled)

    def get_reset_status(self) -> bool:
        """A cage has no reset line: no module is ever in reset."""
        return False

    def reset(self) -> bool:
        return False

    def get_lpmode(self) -> bool:
        """An SFP has no low-power mode."""
        return False

    def set_lpmode(self, lpmode: bool) -> bool:
        return False

    def tx_disable(self, tx_disable: bool) -> bool:
        try:
            self._fw.FW_SetPortSfpTxDisable(self.port, int(tx_disable))
        except fw.Error:
            return False
        return True

    def tx_disable_channel(self, channel: int, disable: bool) -> bool:
        """`channel` is a mask of lanes."""
        return self.tx_disable(disable) if channel == 1 else False
