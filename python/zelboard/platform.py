"""The switch with the classes that the platform tests of an open network operating system use: Chassis has power supplies,
thermal sensors, SFP cages, LEDs, modules, components and a watchdog. If this hardware cannot tell a value, it is None. If
it cannot do something, the method returns False. Such tests expect that."""
import math
from typing import TYPE_CHECKING, Any, Dict, List, Optional

from zelboard import fw

if TYPE_CHECKING:
    from zelboard.fw.calls import Calls

COLOURS = {"off": fw.Led.OFF, "on": fw.Led.ON, "green": fw.Led.ON, "blink": fw.Led.BLINK, "green_blink": fw.Led.BLINK}
PORTS = range(fw.FW_PORTS)


class Device:
    """What each device of a chassis has."""

    def __init__(self, calls: "Calls", name: str, position: int = -1):
        self._fw = calls
        self._name = name
        self._position = position

    def get_name(self) -> str:
        return self._name

    def get_presence(self) -> bool:
        return True

    def get_model(self) -> Optional[str]:
        return None

    def get_serial(self) -> Optional[str]:
        return None

    def get_revision(self) -> Optional[str]:
        return None

    def get_status(self) -> bool:
        return self.get_presence()

    def get_position_in_parent(self) -> int:
        return self._position

    def is_replaceable(self) -> bool:
        return False


class Led(Device):
    """A LED of the front panel: its color is off, on or blink."""

    def __init__(self, calls: "Calls", name: str, read: Any, write: Any):
        super().__init__(calls, name)
        self._read = read
        self._write = write

    def get_status_led(self) -> str:
        return {0: "off", 1: "on", 2: "blink"}.get(self._read(), "unknown")

    def set_status_led(self, color: str) -> bool:
        if color not in COLOURS:
            return False
        self._write(COLOURS[color])
        return True


class Psu(Device):
    """A power supply. The board tells whether one is missing, not which."""

    def __init__(self, calls: "Calls", supply: int):
        super().__init__(calls, f"PSU {supply}", supply)
        self._led = Led(calls, f"power{supply}", lambda: calls.FW_GetPowerLed(supply),
                        lambda value: calls.FW_SetPowerLed(supply, value, calls.FW_MIRROR))

    def get_status(self) -> bool:
        return self.get_powergood_status()

    def get_powergood_status(self) -> bool:
        return self._fw.FW_GetPowerAlarm() == 0

    def get_type(self) -> Optional[str]:
        kinds = {fw.PowerMode.TWO_AC: "AC", fw.PowerMode.ONE_AC: "AC", fw.PowerMode.TWO_DC: "DC", fw.PowerMode.ONE_DC: "DC"}
        return {int(mode): kind for mode, kind in kinds.items()}.get(self._fw.FW_GetPowerMode())

    def get_voltage(self) -> None:
        return None

    def get_current(self) -> None:
        return None

    def get_power(self) -> None:
        return None

    def get_status_led(self) -> str:
        return self._led.get_status_led()

    def set_status_led(self, color: str) -> bool:
        return self._led.set_status_led(color)

    def is_replaceable(self) -> bool:
        return True


class Thermal(Device):
    """The board's temperature sensor."""

    def __init__(self, calls: "Calls"):
        super().__init__(calls, "Board", 1)

    def get_presence(self) -> bool:
        return self._fw.FW_GetLM75_Alive() != 0

    def get_temperature(self) -> float:
        self._fw.FW_PollTemperature()
        return float(self._fw.FW_GetTemperature().temperature)

    def get_high_threshold(self) -> None:
        return None

    def get_low_threshold(self) -> None:
        return None

    def set_high_threshold(self, temperature: float) -> bool:
        return False

    def set_low_threshold(self, temperature: float) -> bool:
        return False


def text_of(page: bytes, field: slice) -> str:
    return page[field].decode("ascii", "replace").strip()


def milliwatts_to_dbm(milliwatts: float) -> float:
    return 10 * math.log10(milliwatts) if milliwatts > 0 else -math.inf


CONNECTORS = {0x01: "SC", 0x07: "LC", 0x0B: "Optical Pigtail", 0x21: "Copper pigtail", 0x22: "RJ45"}
DIAGNOSTICS = 0xA2  # 8-bit address of SFF-8472 page A2h
PAGE_SIZE = 128  # the defined half of a page
TRANSFER_SIZE = 64

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
IMPLEMENTED = 0x40  # in the monitoring type: there is a page A2h
SFP_IDENTIFIER = 3

# Page A2h: words, high byte first.
TEMPERATURE = 96  # signed
VOLTAGE = 98
BIAS = 100
TX_POWER = 102
RX_POWER = 104


def word_at(page: bytes, place: int, signed: bool = False) -> int:
    return int.from_bytes(page[place:place + 2], "big", signed=signed)


class Sfp(Device):
    """A cage and the module in it, by SFF-8472."""

    def __init__(self, calls: "Calls", port: int):
        super().__init__(calls, f"Port {port}", port)
        self.port = port

    def get_presence(self) -> bool:
        try:
            return self._fw.FW_GetPortSfpPresnt(self.port) == 0
        except (fw.Absent, fw.NotSfp):
            return False

    def _page(self, address: int, size: int) -> bytes:
        self._fw.FW_SfpSel(self.port)
        page = b""
        while len(page) < size:
            length = min(TRANSFER_SIZE, size - len(page))
            page += self._fw.FW_I2C_BufRead(address, len(page), 1, length)
        return page

    def _identification(self) -> Optional[bytes]:
        try:
            return self._page(fw.FW_SFP_MEMORY, PAGE_SIZE) if self.get_presence() else None
        except fw.Error:
            return None

    def get_transceiver_info(self) -> Optional[Dict[str, Any]]:
        page = self._identification()
        if page is None:
            return None
        is_sfp = page[IDENTIFIER] == SFP_IDENTIFIER
        connector = page[CONNECTOR]
        return {
            "type": "SFP/SFP+/SFP28" if is_sfp else "Unknown",
            "type_abbrv_name": "SFP" if is_sfp else "Unknown",
            "connector": CONNECTORS.get(connector, f"Unknown (0x{connector:02x})"),
            "nominal_bit_rate": page[NOMINAL_RATE] * 100,
            "manufacturer": text_of(page, VENDOR_NAME),
            "vendor_oui": page[VENDOR_OUI].hex("-"),
            "model": text_of(page, PART_NUMBER),
            "hardware_rev": text_of(page, REVISION),
            "vendor_rev": text_of(page, REVISION),
            "serial": text_of(page, SERIAL_NUMBER),
            "vendor_date": text_of(page, DATE_CODE),
            "cable_length": page[COPPER_LENGTH],
            "dom_capability": bool(page[MONITORING_TYPE] & IMPLEMENTED)}

    def get_model(self) -> Optional[str]:
        info = self.get_transceiver_info()
        return info["model"] if info else None

    def get_serial(self) -> Optional[str]:
        info = self.get_transceiver_info()
        return info["serial"] if info else None

    def get_transceiver_bulk_status(self) -> Dict[str, Any]:
        """The suites' names are for modules with several lanes. An SFP has lane 1 only."""
        status: Dict[str, Any] = {"presence": self.get_presence(), "rx_los": None, "tx_fault": None, "tx_disable": None}
        status.update(temperature=None, voltage=None, tx1bias=None, tx1power=None, rx1power=None)
        if not status["presence"]:
            return status
        status.update(rx_los=self.get_rx_los()[0], tx_fault=self.get_tx_fault()[0], tx_disable=self.get_tx_disable()[0])
        page = self._diagnostics()
        if page is None:
            return status
        status["temperature"] = word_at(page, TEMPERATURE, signed=True) / 256
        status["voltage"] = word_at(page, VOLTAGE) / 10000
        status["tx1bias"] = word_at(page, BIAS) * 0.002
        status["tx1power"] = milliwatts_to_dbm(word_at(page, TX_POWER) / 10000)
        status["rx1power"] = milliwatts_to_dbm(word_at(page, RX_POWER) / 10000)
        return status

    def _diagnostics(self) -> Optional[bytes]:
        """Page A2h; None if the module has none, or if it cannot be read."""
        page = self._identification()
        if page is None or not page[MONITORING_TYPE] & IMPLEMENTED:
            return None
        try:
            return self._page(DIAGNOSTICS, PAGE_SIZE)
        except fw.Error:
            return None

    def get_transceiver_dom_real_value(self) -> Optional[Dict[str, Any]]:
        status = self.get_transceiver_bulk_status()
        return status if status["presence"] else None

    def get_temperature(self) -> Optional[float]:
        temperature: Optional[float] = self.get_transceiver_bulk_status()["temperature"]
        return temperature

    def get_voltage(self) -> Optional[float]:
        voltage: Optional[float] = self.get_transceiver_bulk_status()["voltage"]
        return voltage

    def get_rx_los(self) -> List[bool]:
        return [self._fw.FW_GetPortSfpLos(self.port) != 0]

    def get_tx_fault(self) -> List[bool]:
        return [self._fw.FW_GetPortSfpTxFault(self.port) != 0]

    def get_tx_disable(self) -> List[bool]:
        return [self._fw.FW_GetPortSfpTxDisable(self.port) != 0]

    def tx_disable(self, tx_disable: bool) -> bool:
        try:
            self._fw.FW_SetPortSfpTxDisable(self.port, int(tx_disable))
        except fw.Error:
            return False
        return True

    def reset(self) -> bool:
        return False

    def get_lpmode(self) -> bool:
        return False

    def set_lpmode(self, lpmode: bool) -> bool:
        return False

    def is_replaceable(self) -> bool:
        return True


class Module(Device):
    """A daughter board."""

    def __init__(self, calls: "Calls", slot: int):
        super().__init__(calls, f"Slot {slot}", slot)
        self.slot = slot

    def get_presence(self) -> bool:
        return self.get_type() is not None

    def get_type(self) -> Optional[str]:
        try:
            kind = self._fw.FW_GetDauBoard(self.slot)
        except fw.Absent:
            return None
        return "copper" if kind == fw.FW_BOARD_COPPER else "sfp"

    def get_oper_status(self) -> str:
        if not self.get_presence():
            return "Empty"
        return "Online" if self._fw.FW_GetDau_Alive(self.slot) else "Fault"

    def is_replaceable(self) -> bool:
        return True


def watchdog_is_enabled(calls: Any) -> bool:
    """The library has no call for it; the SoC register tells."""
    register = 0x20300
    enabled = 0x100
    return bool((calls.FW_GetSpecialRegister(register) or 0) & enabled)


class Watchdog:
    """The hardware watchdog. Its time is fixed: arm() cannot set it."""

    def __init__(self, calls: "Calls"):
        self._fw = calls

    def arm(self, seconds: int) -> int:
        if seconds < 0:
            return -1
        self._fw.FW_Wdt_Enable()
        self._fw.FW_Wdt_Toggle()
        return seconds

    def disarm(self) -> bool:
        """The hardware cannot disable it. The driver stops toggling it."""
        self._fw.FW_Wdt_Toggle_Stop()
        return not self.is_armed()

    def is_armed(self) -> bool:
        return watchdog_is_enabled(self._fw)

    def get_remaining_time(self) -> int:
        return -1


class Component:
    """A firmware image in the flash."""

    def __init__(self, calls: "Calls", number: int):
        self._fw = calls
        self._number = number

    def get_name(self) -> str:
        return f"Image {self._number}"

    def get_description(self) -> str:
        return f"Firmware image {self._number} in the serial flash"

    def get_firmware_version(self) -> str:
        """The name in the image's legacy header; "unknown" without such a header."""
        header = self._fw.FW_ReadFlash(self._fw.FW_SpiFlash_GetMapAddr(self._number), 64)
        if header[:4] != b"\x27\x05\x19\x56":
            return "unknown"
        name = header[32:].split(b"\0")[0]
        return name.decode("ascii", "replace")

    def install_firmware(self, image_path: str) -> bool:
        with open(image_path, "rb") as image:
            try:
                self._fw.FW_FlashCopy(image, self._number)
            except fw.Error:
                return False
        return True

    def update_firmware(self, image_path: str) -> bool:
        return self.install_firmware(image_path)


class Chassis(Device):
    """The switch of a session, `with board.session() as fw: Chassis(fw)`; by default the switch that runs this program."""

    def __init__(self, calls: Any = fw):
        super().__init__(calls, "zelboard")
        self._psus = [Psu(calls, supply) for supply in range(fw.FW_SUPPLY_FIRST, fw.FW_SUPPLY_LAST + 1)]
        self._thermals = [Thermal(calls)]
        self._sfps = [Sfp(calls, port) for port in PORTS]
        self._modules = [Module(calls, slot) for slot in range(fw.FW_SLOT_FIRST, fw.FW_SLOT_LAST + 1)]
        self._components = [Component(calls, number) for number in (1, 2)]
        self._watchdog = Watchdog(calls)
        self._status = Led(calls, "system", calls.FW_GetSystemLed, calls.FW_SetSystemLed)

    def get_base_mac(self) -> str:
        return bytes(self._fw.FW_SpiFlash_BackupMacGet()).decode("ascii", "replace")

    def get_model(self) -> Optional[str]:
        try:
            return str(self._fw.FW_SpiFlash_GetCustomName())
        except fw.Error:
            return None

    def get_num_psus(self) -> int:
        return len(self._psus)

    def get_all_psus(self) -> List[Psu]:
        return self._psus

    def get_psu(self, index: int) -> Psu:
        return self._psus[index]

    def get_num_thermals(self) -> int:
        return len(self._thermals)

    def get_all_thermals(self) -> List[Thermal]:
        return self._thermals

    def get_thermal(self, index: int) -> Thermal:
        return self._thermals[index]

    def get_num_sfps(self) -> int:
        return len(self._sfps)

    def get_all_sfps(self) -> List[Sfp]:
        return self._sfps

    def get_sfp(self, index: int) -> Sfp:
        return self._sfps[index]

    def get_num_modules(self) -> int:
        return len(self._modules)

    def get_all_modules(self) -> List[Module]:
        return self._modules

    def get_module(self, index: int) -> Module:
        return self._modules[index]

    def get_num_components(self) -> int:
        return len(self._components)

    def get_all_components(self) -> List[Component]:
        return self._components

    def get_component(self, index: int) -> Component:
        return self._components[index]

    def get_num_fans(self) -> int:
        return 0

    def get_all_fans(self) -> List[Any]:
        return []

    def get_watchdog(self) -> Watchdog:
        return self._watchdog

    def get_status_led(self) -> str:
        return self._status.get_status_led()

    def set_status_led(self, color: str) -> bool:
        return self._status.set_status_led(color)

    def initizalize_system_led(self) -> None:
        """As platform daemons spell it."""
        self._status.set_status_led("on")
