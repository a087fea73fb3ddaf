"""zelboard.platform and zelboard.labgrid: the switch as platform suites and labgrid see it."""
from typing import Any, cast

import pytest

from zelboard.platform import Chassis
from zelboard.sim import Board


@pytest.mark.board(slots="sfp,copper,none", supplies=["ac", "failed"], modules={3: "1g-sx"})
def test_the_chassis(board: Board) -> None:
    with board.session() as session:
        chassis = Chassis(session)
        assert [module.get_type() for module in chassis.get_all_modules()] == ["sfp", "copper", None]
        assert [module.get_oper_status() for module in chassis.get_all_modules()] == ["Online", "Online", "Empty"]
        assert not chassis.get_psu(0).get_powergood_status() and chassis.get_num_fans() == 0
        assert chassis.get_thermal(0).get_temperature() == 25
        assert [sfp.port for sfp in chassis.get_all_sfps() if sfp.get_presence()] == [3]
        sfp = chassis.get_sfp(3)
        info = sfp.get_transceiver_info()
        assert info is not None and info["model"] == sfp.get_model() == "ZL-1G-SX"
        assert sfp.tx_disable(True) and sfp.get_tx_disable() == [True]
        status = sfp.get_transceiver_dom_real_value()
        assert status is not None and (status["rx_los"], status["tx_disable"]) == (False, True)
        assert chassis.get_sfp(4).get_transceiver_info() is None and not chassis.get_sfp(9).tx_disable(True)
        assert chassis.set_status_led("blink") and chassis.get_status_led() == "blink"
        assert not chassis.set_status_led("purple")
        watchdog = chassis.get_watchdog()
        assert watchdog.arm(30) == 30 and watchdog.arm(-1) == -1
    assert board.state.panel.system == 2


def test_labgrid() -> None:
    pytest.importorskip("labgrid")
    from labgrid import Target  # type: ignore[import]

    from zelboard import labgrid
    target, kit = Target("bench"), cast(Any, labgrid)
    kit.ZelboardSwitch(target, "switch", slots="copper")
    driver = kit.ZelboardDriver(target, "driver")
    target.activate(driver)
    assert driver.run("zelctl temperature") == (["temperature  25.0"], [], 0)
    assert driver.board.state.slots[1].board == "copper"
    target.deactivate(driver)
