"""What the devices of zelboard.platform have in common."""
from typing import TYPE_CHECKING, Any, NoReturn, Optional

from zelboard import fw

if TYPE_CHECKING:
    from zelboard.fw.calls import Calls

COLOURS = {"off": fw.Led.OFF, "green": fw.Led.ON, "on": fw.Led.ON, "green_blink": fw.Led.BLINK, "blink": fw.Led.BLINK}
SHOWN = {fw.Led.OFF: "off", fw.Led.ON: "green", fw.Led.BLINK: "green_blink"}


class Unsupported:
    """A method of the interface for something that this hardware does not have."""

    def __set_name__(self, owner: type, name: str) -> None:
        self._name = f"{owner.__name__}.{name}"

    def __call__(self, *_: object, **__: object) -> NoReturn:
        raise NotImplementedError(f"{self._name}: this hardware has no such thing")


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
    """An LED of the front panel: off, green or green_blink; "on" and "blink" are taken, too."""

    def __init__(self, calls: "Calls", name: str, read: Any, write: Any):
        super().__init__(calls, name)
        self._read = read
        self._write = write
        self._last_set = ""

    def get_status_led(self) -> str:
        """The name with which the color was set here, if the LED still shows that color."""
        state = self._read()
        if COLOURS.get(self._last_set) == state:
            return self._last_set
        return SHOWN.get(state, "unknown")

    def set_status_led(self, color: str) -> bool:
        if color not in COLOURS:
            return False
        self._write(COLOURS[color])
        self._last_set = color
        return True
