"""For labgrid: the resource ZelboardSwitch is a switch, a virtual one or one behind a command; the driver ZelboardDriver
is a command protocol on it, and has the board for tests. Import this module, or name it under imports: of the
environment's configuration. It takes Debian's python3-labgrid."""
# labgrid has no types.
# mypy: disable-error-code="import,misc,no-any-return"
import shlex
import time
from typing import Any, List, Optional, Tuple

import attr
from labgrid import target_factory
from labgrid.driver.common import Driver
from labgrid.driver.exception import ExecutionError
from labgrid.protocol import CommandProtocol
from labgrid.resource import Resource

from zelboard.sim import Board
from zelboard.switch import Switch, channel_of


@target_factory.reg_resource
@attr.s(eq=False)
class ZelboardSwitch(Resource):
    """`url` as ssh://root@switch, or `run`, the command; without either a fresh virtual switch with `slots`."""
    url: Optional[str] = attr.ib(default=None)
    run: Optional[str] = attr.ib(default=None)
    slots: str = attr.ib(default="")


@target_factory.reg_driver
@attr.s(eq=False)
class ZelboardDriver(Driver, CommandProtocol):
    """`board` is a zelboard.sim.Board or a zelboard.switch.Switch while the driver is active."""
    bindings = {"switch": "ZelboardSwitch"}

    def on_activate(self) -> None:
        channel = channel_of(self.switch.url, self.switch.run)
        self.board: Any = Switch(channel) if channel else Board(slots=self.switch.slots)

    def on_deactivate(self) -> None:
        self.board.close()

    @Driver.check_active
    def run(self, command: str, timeout: Optional[float] = 30.0) -> Tuple[List[str], List[str], int]:
        done = self.board.run(["sh", "-c", command], timeout=timeout)
        return done.stdout.splitlines(), done.stderr.splitlines(), done.returncode

    @Driver.check_active
    def run_check(self, command: str, timeout: Optional[float] = 30.0) -> List[str]:
        printed, errors, status = self.run(command, timeout=timeout)
        if status:
            raise ExecutionError(f"{command}: status {status}", printed, errors)
        return printed

    @Driver.check_active
    def get_status(self) -> int:
        return 1

    @Driver.check_active
    def wait_for(self, command: str, pattern: str, timeout: float = 30.0, sleepduration: float = 1) -> None:
        search = f"{command} | grep -q -- {shlex.quote(pattern)}"
        self.poll_until_success(search, timeout=timeout, sleepduration=sleepduration)

    @Driver.check_active
    def poll_until_success(self, command: str, *, expected: int = 0, tries: Optional[int] = None, timeout: float = 30.0,
                           sleepduration: float = 1) -> bool:
        end = time.monotonic() + timeout
        attempt = 0
        while time.monotonic() < end and (tries is None or attempt < tries):
            attempt += 1
            if self.run(command, timeout=timeout)[2] == expected:
                return True
            time.sleep(sleepduration)
        raise ExecutionError(f"{command}: no success within {timeout} s")
