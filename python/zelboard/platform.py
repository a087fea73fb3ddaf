"""The switch with the classes that the platform tests of an open network operating system use: Chassis has power supplies,
thermal sensors, SFP cages, LEDs, modules, components and a watchdog. If this hardware cannot tell a value, it is None. If
it cannot do something, the method returns False. Such tests expect that."""
import re
import time
from typing import TYPE_CHECKING, Any, Dict, List, Optional, Sequence, Tuple, TypeVar

from zelboard import fw
from zelboard._device import Device as Device, Led as Led, Unsupported
from zelboard._gpio import supply_is_good, watchdog_is_enabled
from zelboard._sfp import Sfp as Sfp

if TYPE_CHECKING:
    from zelboard.fw.calls import Calls

PORTS = range(fw.FW_PORTS)
LONGEST_WATCHDOG = 600  # seconds; no watchdog of such hardware waits longer
LOOK_SECONDS = 0.05  # between two looks at the cages
SUPPLY_TYPES = {1: "AC", 2: "DC"}  # by the driver's configuration byte


Part = TypeVar("Part")


def part_of(parts: Sequence[Part], index: int, what: str) -> Part:
    """A part of a device. Raises IndexError, in words, for one that is not there."""
    if not 0 <= index < len(parts):
        raise IndexError(f"{what} {index}: there are 0 to {len(parts) - 1}" if parts else f"{what} {index}: there are none")
    return parts[index]


class Psu(Device):
    """A power supply."""

    get_input_voltage = Unsupported()
    get_input_current = Unsupported()
    get_input_power = Unsupported()
    get_voltage_high_threshold = Unsupported()
    get_voltage_low_threshold = Unsupported()
    get_temperature = Unsupported()
    get_temperature_high_threshold = Unsupported()
    get_maximum_supplied_power = Unsupported()
    get_psu_power_warning_suppress_threshold = Unsupported()
    get_psu_power_critical_threshold = Unsupported()
    get_psu_power_warning_threshold = Unsupported()
    get_capacity = Unsupported()
    get_status_master_led = Unsupported()
    set_status_master_led = Unsupported()

    def __init__(self, calls: "Calls", supply: int):
        super().__init__(calls, f"PSU {supply}", supply)
        self._supply = supply
        self._led = Led(calls, f"power{supply}", lambda: calls.FW_GetPowerLed(supply),
                        lambda value: calls.FW_SetPowerLed(supply, value, calls.FW_MIRROR))

    def is_replaceable(self) -> bool:
        return True

    def get_presence(self) -> bool:
        return self._fw.FW_GetPowerConf(self._supply) != 0

    def get_status(self) -> bool:
        return self.get_powergood_status()

    def get_powergood_status(self) -> bool:
        return self.get_presence() and supply_is_good(self._fw, self._supply)

    def get_type(self) -> Optional[str]:
        """AC or DC; None for an empty bay."""
        return SUPPLY_TYPES.get(self._fw.FW_GetPowerConf(self._supply))

    def get_voltage(self) -> None:
        return None

    def get_current(self) -> None:
        return None

    def get_power(self) -> None:
        return None

    def get_status_led(self) -> str:
        """What the LED on the front shows. The program on the switch sets it; it does not follow the supply by itself."""
        return self._led.get_status_led()

    def set_status_led(self, color: str) -> bool:
        return self._led.set_status_led(color)

    def get_num_fans(self) -> int:
        return 0

    def get_all_fans(self) -> List[Any]:
        return []

    def get_num_thermals(self) -> int:
        return 0

    def get_all_thermals(self) -> List[Any]:
        return []


class Thermal(Device):
    """The board's temperature sensor."""

    get_high_critical_threshold = Unsupported()
    get_low_critical_threshold = Unsupported()
    set_high_critical_threshold = Unsupported()
    set_low_critical_threshold = Unsupported()
    get_minimum_recorded = Unsupported()
    get_maximum_recorded = Unsupported()

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


class Module(Device):
    """A daughter board."""

    reboot = Unsupported()
    set_admin_state = Unsupported()
    get_maximum_consumed_power = Unsupported()
    get_midplane_ip = Unsupported()
    is_midplane_reachable = Unsupported()
    get_all_asics = Unsupported()

    def __init__(self, calls: "Calls", slot: int, cages: Sequence[Sfp] = ()):
        super().__init__(calls, f"Slot {slot}", slot)
        self.slot = slot
        self._cages = cages

    def get_num_sfps(self) -> int:
        return len(self.get_all_sfps())

    def get_all_sfps(self) -> List[Sfp]:
        """The cages of the board; a copper board has none."""
        return list(self._cages) if self.get_type() == "sfp" else []

    def get_sfp(self, index: int) -> Sfp:
        return part_of(self.get_all_sfps(), index, "SFP cage")

    def get_presence(self) -> bool:
        return self.get_type() is not None

    def get_type(self) -> Optional[str]:
        try:
            kind = self._fw.FW_GetDauBoard(self.slot)
        except fw.Absent:
            return None
        return "copper" if kind == fw.FW_BOARD_COPPER else "sfp"

    def get_slot(self) -> int:
        return self.slot

    def get_description(self) -> str:
        return f"Daughter board of 8 ports, {self.get_type() or 'none fitted'}"

    def get_oper_status(self) -> str:
        if not self.get_presence():
            return "Empty"
        return "Online" if self._fw.FW_GetDau_Alive(self.slot) else "Fault"

    def is_replaceable(self) -> bool:
        return True


class Watchdog:
    """The hardware watchdog. Its time is fixed, and no driver tells it: arm() cannot set it. A time that no such hardware
    has is refused."""

    def __init__(self, calls: "Calls"):
        self._fw = calls

    def arm(self, seconds: int) -> int:
        if not 0 <= seconds <= LONGEST_WATCHDOG:
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

    auto_update_firmware = Unsupported()
    get_available_firmware_version = Unsupported()
    get_firmware_update_notification = Unsupported()

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


MAC_ADDRESS = re.compile(r"[0-9A-Fa-f]{2}(:[0-9A-Fa-f]{2}){5}")


class Chassis(Device):
    """The switch of a session, `with board.session() as fw: Chassis(fw)`; by default the switch that runs this program."""

    get_system_eeprom_info = Unsupported()
    get_reboot_cause = Unsupported()
    get_supervisor_slot = Unsupported()
    get_my_slot = Unsupported()
    get_thermal_manager = Unsupported()
    get_port_or_cage_type = Unsupported()
    get_eeprom = Unsupported()
    get_dpu_id = Unsupported()

    def __init__(self, calls: Any = fw):
        super().__init__(calls, "zelboard")
        self._psus = [Psu(calls, supply) for supply in range(fw.FW_SUPPLY_FIRST, fw.FW_SUPPLY_LAST + 1)]
        self._thermals = [Thermal(calls)]
        self._sfps = [Sfp(calls, port) for port in PORTS]
        self._modules = [Module(calls, slot, self._cages_of(slot)) for slot in range(fw.FW_SLOT_FIRST, fw.FW_SLOT_LAST + 1)]
        self._components = [Component(calls, number) for number in (1, 2)]
        self._watchdog = Watchdog(calls)
        self._present: Optional[Dict[int, bool]] = None  # modules, as of the last look
        self._status = Led(calls, "system", calls.FW_GetSystemLed, calls.FW_SetSystemLed)

    def _cages_of(self, slot: int) -> List[Sfp]:
        first = (slot - fw.FW_SLOT_FIRST) * fw.FW_PORTS_PER_SLOT
        return self._sfps[first:first + fw.FW_PORTS_PER_SLOT]

    def get_base_mac(self) -> Optional[str]:
        """None if no address was stored."""
        text = bytes(self._fw.FW_SpiFlash_BackupMacGet()).decode("ascii", "replace")
        return text if MAC_ADDRESS.fullmatch(text) else None

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
        return part_of(self._psus, index, "supply")

    def get_num_thermals(self) -> int:
        return len(self._thermals)

    def get_all_thermals(self) -> List[Thermal]:
        return self._thermals

    def get_thermal(self, index: int) -> Thermal:
        return part_of(self._thermals, index, "sensor")

    def get_num_sfps(self) -> int:
        return len(self._sfps)

    def get_all_sfps(self) -> List[Sfp]:
        return self._sfps

    def get_sfp(self, index: int) -> Sfp:
        return part_of(self._sfps, index, "SFP cage")

    def get_change_event(self, timeout: int = 0) -> Tuple[bool, Dict[str, Dict[str, str]]]:
        """Waits until modules are plugged ("1") or pulled ("0"), as {"sfp": {"3": "1"}}, at most `timeout` milliseconds; 0
        waits for ever. Changes count from the call before; for the first call, from its start."""
        end = time.monotonic() + timeout / 1000
        before = self._present or self._modules_present()
        while True:
            self._present = self._modules_present()
            changed = {str(port): str(int(is_there)) for port, is_there in self._present.items() if is_there != before[port]}
            if changed or (timeout and time.monotonic() >= end):
                return True, {"sfp": changed}
            time.sleep(LOOK_SECONDS)

    def _modules_present(self) -> Dict[int, bool]:
        return {sfp.port: sfp.get_presence() for sfp in self._sfps}

    def get_num_modules(self) -> int:
        return len(self._modules)

    def get_all_modules(self) -> List[Module]:
        return self._modules

    def get_module(self, index: int) -> Module:
        return part_of(self._modules, index, "slot")

    def get_num_components(self) -> int:
        return len(self._components)

    def get_all_components(self) -> List[Component]:
        return self._components

    def get_component(self, index: int) -> Component:
        return part_of(self._components, index, "image")

    def get_num_fans(self) -> int:
        return 0

    def get_all_fans(self) -> List[Any]:
        return []

    def get_num_fan_drawers(self) -> int:
        return 0

    def get_all_fan_drawers(self) -> List[Any]:
        return []

    def get_num_voltage_sensors(self) -> int:
        return 0

    def get_all_voltage_sensors(self) -> List[Any]:
        return []

    def get_num_current_sensors(self) -> int:
        return 0

    def get_all_current_sensors(self) -> List[Any]:
        return []

    def is_modular_chassis(self) -> bool:
        return False

    def is_smartswitch(self) -> bool:
        return False

    def get_watchdog(self) -> Watchdog:
        return self._watchdog

    def get_status_led(self) -> str:
        return self._status.get_status_led()

    def set_status_led(self, color: str) -> bool:
        return self._status.set_status_led(color)

    def initizalize_system_led(self) -> None:
        """As platform daemons spell it."""
        self._status.set_status_led("on")
