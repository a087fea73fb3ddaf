"""The state of a real switch, read by its library, value by value."""
import contextlib
from typing import TYPE_CHECKING, Any, Callable, Dict, Mapping, NoReturn

from zelboard._gpio import supply_is_good, watchdog_is_enabled
from zelboard.platform import SUPPLY_TYPES
from zelboard.sff8472 import PART_NUMBER
from zelboard.state import Cage, Panel, Slot, Supply

if TYPE_CHECKING:
    from zelboard.fw.calls import Calls


def plain(value: Any) -> Any:
    """Turns records, and tables of them, into what JSON can hold."""
    if hasattr(value, "_asdict"):
        return value._asdict()
    if isinstance(value, dict):
        return {key: plain(one) for key, one in value.items()}
    return value


class Seen:
    """A part of a switch's state; each value is read when it is asked for."""

    def __init__(self, what: str, readers: Mapping[str, Callable[[], Any]], refuse: Callable[[str], NoReturn]):
        self._what = what
        self._readers = readers
        self._refuse = refuse

    def __getattr__(self, name: str) -> Any:
        if name.startswith("_"):
            raise AttributeError(name)
        if name not in self._readers:
            self._refuse(f"state: a real switch does not tell its {self._what}{name}")
        return self._readers[name]()


class SwitchState(Seen):
    """The part of a virtual board's state that a real switch can tell, through its library."""

    def __init__(self, fw: "Calls", refuse: Callable[[str], NoReturn]):
        self.fw = fw
        super().__init__("", {
            "panel": self._read_panel, "slots": self._read_slots, "cages": self._read_cages,
            "supplies": self._read_supplies,
            "gpio": lambda: Seen("gpio.", self._gpio_readers(), refuse),
            "i2c": lambda: Seen("i2c.", self._i2c_readers(), refuse)}, refuse)

    def as_told(self) -> Dict[str, Any]:
        """Everything that the library tells, for a person. What it does not tell is replaced by the reason."""
        told: Dict[str, Any] = {}
        for part in ("panel", "slots", "supplies", "cages"):
            try:
                told[part] = plain(self._readers[part]())
            except self.fw.Error as error:
                told[part] = f"not read: {error}"
        return told

    def _read_panel(self) -> Panel:
        fw: "Calls" = self.fw
        return Panel(
            system=fw.FW_GetSystemLed(),
            alarm=fw.FW_GetAlarmLed(),
            relay=fw.FW_GetAlarmRelay(),
            ring_master=fw.FW_GetRingMasterLed(),
            ring_fail=fw.FW_GetRingFailLed(),
            power_1=fw.FW_GetPowerLed(1),
            power_2=fw.FW_GetPowerLed(2),
            speed_24=fw.FW_GetSfp10gSpeedLed(24),
            speed_25=fw.FW_GetSfp10gSpeedLed(25),
            speed_26=fw.FW_GetSfp10gSpeedLed(26),
            speed_27=fw.FW_GetSfp10gSpeedLed(27))

    def _read_supplies(self) -> Dict[int, Supply]:
        fw: "Calls" = self.fw
        supplies = {}
        for supply in range(fw.FW_SUPPLY_FIRST, fw.FW_SUPPLY_LAST + 1):
            kind = SUPPLY_TYPES.get(fw.FW_GetPowerConf(supply), "none").lower()
            supplies[supply] = Supply(supply, kind, kind != "none" and supply_is_good(fw, supply))
        return supplies

    def _read_slots(self) -> Dict[int, Slot]:
        fw: "Calls" = self.fw
        slots = {}
        for slot in range(fw.FW_SLOT_FIRST, fw.FW_SLOT_LAST + 1):
            try:
                kind = fw.FW_GetDauBoard(slot)
                slots[slot] = Slot(slot, "copper" if kind == fw.FW_BOARD_COPPER else "sfp", fw.FW_GetDau_Alive(slot))
            except fw.Absent:
                slots[slot] = Slot(slot, "none", 0)
        return slots

    def _read_cages(self) -> Dict[int, Cage]:
        fw: "Calls" = self.fw
        cages = {}
        for port in range(fw.FW_PORTS):
            with contextlib.suppress(fw.Absent, fw.NotSfp):
                cages[port] = self._read_cage(port)
        return cages

    def _read_cage(self, port: int) -> Cage:
        fw: "Calls" = self.fw
        absent = fw.FW_GetPortSfpPresnt(port)
        return Cage(
            port=port,
            module=None if absent else self._module_in(port),
            presence_line=absent,
            tx_disable=fw.FW_GetPortSfpTxDisable(port),
            tx_fault=fw.FW_GetPortSfpTxFault(port),
            loss_of_signal=fw.FW_GetPortSfpLos(port))

    def _module_in(self, port: int) -> str:
        """The part number in the module's memory. Nothing else tells which module was plugged."""
        fw: "Calls" = self.fw
        fw.FW_SfpSel(port)
        length = PART_NUMBER.stop - PART_NUMBER.start
        return fw.FW_I2C_BufRead(fw.FW_SFP_MEMORY, PART_NUMBER.start, 1, length).decode("latin-1").strip()

    def _gpio_readers(self) -> Dict[str, Callable[[], Any]]:
        fw: "Calls" = self.fw
        return {"reset_process": fw.FW_RstProcGet, "reset_key": fw.FW_GetRstKey, "diag_flag": fw.FW_GetSystemDiagFlag,
                "flash_access_flag": fw.FW_GetFlashAccessFlag,
                "watchdog_enabled": lambda: watchdog_is_enabled(fw)}

    def _i2c_readers(self) -> Dict[str, Callable[[], Any]]:
        fw: "Calls" = self.fw

        def temperature() -> float:
            fw.FW_PollTemperature()
            return float(fw.FW_GetTemperature().temperature)

        def clock() -> str:
            fw.FW_PollRtc()
            return fw.FW_GetRtc().to_datetime().isoformat()

        return {"busy": fw.FW_Get_I2C_Busy, "clock_present": fw.FW_GetRTC_Alive, "sensor_present": fw.FW_GetLM75_Alive,
                "temperature": temperature, "clock": clock, "clock_mode": lambda: 24 if fw.FW_GetRtc1224() else 12}
