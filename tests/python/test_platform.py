"""zelboard.platform and zelboard.labgrid: the switch as platform suites and labgrid see it."""
import json
import struct
import sys
from typing import Any, Dict, List, Optional, Tuple, cast

import pytest

from zelboard import fw
from zelboard.platform import Chassis
from zelboard.sff8472 import RX_POWER, TEMPERATURE, TX_POWER, Diagnostics
from zelboard.sim import Board


@pytest.mark.board(slots="sfp,copper,none", modules={3: "1g-sx"})
def test_the_chassis(board: Board, capfd: pytest.CaptureFixture[str]) -> None:
    with board.session() as session:
        chassis = Chassis(session)
        assert [module.get_type() for module in chassis.get_all_modules()] == ["sfp", "copper", None]
        assert [module.get_oper_status() for module in chassis.get_all_modules()] == ["Online", "Online", "Empty"]
        assert chassis.get_num_fans() == 0 and chassis.get_thermal(0).get_temperature() == 25
        assert chassis.get_base_mac() is None
        session.FW_SpiFlash_BackupMacSet(b"02:00:5E:00:53:01")
        assert chassis.get_base_mac() == "02:00:5E:00:53:01"
        for color in "green", "off", "on", "blink", "green_blink":
            assert chassis.set_status_led(color) and chassis.get_status_led() == color
        assert not chassis.set_status_led("purple")
        session.FW_SetSystemLed(1)
        assert chassis.get_status_led() == "green"
        capfd.readouterr()
        watchdog = chassis.get_watchdog()
        assert not watchdog.is_armed() and watchdog.arm(30) == 30 and watchdog.is_armed()
        assert watchdog.arm(-1) == -1 and watchdog.arm(100000) == -1 and not watchdog.disarm()
        assert capfd.readouterr().out == ""
        with pytest.raises(NotImplementedError, match="Thermal.get_minimum_recorded"):
            chassis.get_thermal(0).get_minimum_recorded()
        with pytest.raises(IndexError, match="SFP cage 99: there are 0 to 27"):
            chassis.get_sfp(99)
        assert [module.get_num_sfps() for module in chassis.get_all_modules()] == [8, 0, 0]
        assert chassis.get_module(0).get_sfp(3).get_presence()


# The supplies of a board; and for each whether it is there, its type and whether it is good.
SUPPLIES: List[Tuple[List[str], List[Tuple[bool, Optional[str], bool]]]] = [
    (["ac", "ac"], [(True, "AC", True), (True, "AC", True)]),
    (["ac", "failed"], [(True, "AC", True), (True, "AC", False)]),
    (["failed", "dc"], [(True, "AC", False), (True, "DC", True)]),
    (["dc", "none"], [(True, "DC", True), (False, None, False)]),
    (["none", "ac"], [(False, None, False), (True, "AC", True)])]


def test_supplies_are_told_apart(board: Board) -> None:
    with board.session() as session:
        supplies = Chassis(session).get_all_psus()
        for states, expected in SUPPLIES:
            board.set_supply(1, "ac")
            board.set_supply(2, "ac")
            for number, state in enumerate(states, 1):
                board.set_supply(number, state)
            seen = [(psu.get_presence(), psu.get_type(), psu.get_powergood_status()) for psu in supplies]
            assert seen == expected, states
        assert supplies[0].set_status_led("green") and board.state.panel.power_1 == 1


HERE = """
from zelboard import fw
from zelboard.platform import Chassis

chassis = Chassis()
print([psu.get_powergood_status() for psu in chassis.get_all_psus()], chassis.get_watchdog().is_armed())
fw.FW_Wdt_Enable()
print(chassis.get_watchdog().is_armed())
"""
FAULTS: List[Tuple[str, str]] = [("refused", "Refused"), ("busy", "Busy"), ("7", "Failed")]


@pytest.mark.board(supplies=["failed", "ac"])
def test_on_the_switch_itself(board: Board) -> None:
    done = board.run([sys.executable, "-c", HERE], check=True)
    assert done.stdout == "[False, True] False\nTrue\n"
    for result, kind in FAULTS:
        with board.fault("gpio:GetPowerStatus", result=result), board.session() as session:
            with pytest.raises(fw.Error, match="GPIO request 0x98") as raised:
                Chassis(session).get_psu(1).get_powergood_status()
            failed = board.run([sys.executable, "-c", HERE]).stderr
        assert type(raised.value).__name__ == kind and f"zelboard.fw.{kind}: GPIO request 0x98" in failed


# Names of the platform's values and limits, and zelctl's of the same.
MEASURED = {"temperature": "temperature", "voltage": "voltage", "tx1bias": "bias", "tx1power": "tx_power", "rx1power": "rx_power"}
LIMITED = {"temp": "temperature", "vcc": "voltage", "txbias": "bias", "txpower": "tx_power", "rxpower": "rx_power"}
# What modules are set to: temperature, voltage, bias, powers.
SET = {3: (61.25, 3.41, 7.7, -2.2, -7.3), 5: (-20.5, 3.15, 9.2, 1.1, -9.9), 24: (35, 3.3, 0, -40, -40)}


def rows_of_zelctl(board: Board, port: int) -> Dict[str, Any]:
    shown = json.loads(board.run(["zelctl", "--json", "sfp", "dom", str(port)], check=True).stdout)
    return {"calibration": shown["calibration"], **{row["quantity"]: row for row in shown["measured"]}}


@pytest.mark.board(slots="sfp", modules={3: "1g-sx", 5: "10g-sr", 24: "10g-sr"})
def test_what_modules_measure(board: Board) -> None:
    calibrations = set()
    with board.session() as session:
        for port, values in SET.items():
            session.FW_SetPortSfpTxDisable(port, 0)
            for name, value in zip(("module-temperature", "voltage", "bias", "tx-power", "rx-power"), values):
                board.set(name, port, value)
            rows = rows_of_zelctl(board, port)
            calibrations.add(rows["calibration"])
            sfp = Chassis(session).get_sfp(port)
            status = sfp.get_transceiver_dom_real_value() or {}
            limits = sfp.get_transceiver_threshold_info() or {}
            for name, key in MEASURED.items():
                assert status[name] == pytest.approx(rows[key]["value"], abs=1e-5), (port, name)
            for name, key in LIMITED.items():
                for limit in "high_alarm", "low_alarm", "high_warning", "low_warning":
                    given = limits.pop(name + limit.replace("_", ""))
                    assert given == pytest.approx(rows[key][limit], abs=1e-5), (port, name, limit)
            assert limits == {}
            assert sfp.get_rx_power() == [status["rx1power"]] and sfp.get_voltage() == status["voltage"]
    assert calibrations == {"external", "internal"}


def test_constants_that_are_no_numbers() -> None:
    identification = bytearray(128)
    identification[92] = 0x40 | 0x10
    page = bytearray(128)
    page[56:76] = struct.pack(">5f", float("nan"), 0, 0, 1, 0)
    page[84:88] = struct.pack(">Hh", 0x180, -256)
    page[96:98] = struct.pack(">h", -512)
    page[80:84] = struct.pack(">Hh", 0x100, -20)
    page[102:104] = struct.pack(">H", 5)
    measured = Diagnostics(identification, page)
    assert measured.value(TX_POWER) == 0, "a power is not below 0, whatever the offset"
    assert measured.value(RX_POWER) is None and measured.value(TEMPERATURE) == (1.5 * -512 - 256) / 256
    assert measured.limits(TEMPERATURE) == [None] * 4


@pytest.mark.board(slots="sfp,copper,none", modules={3: "1g-sx"})
def test_a_cage(board: Board) -> None:
    with board.session() as session:
        chassis = Chassis(session)
        assert [sfp.port for sfp in chassis.get_all_sfps() if sfp.get_presence()] == [3]
        sfp = chassis.get_sfp(3)
        info = sfp.get_transceiver_info()
        assert info is not None and info["model"] == sfp.get_model() == "ZL-1G-SX"
        assert sfp.tx_disable(True) and sfp.get_tx_disable() == [True] and sfp.get_tx_disable_channel() == 1
        board.set("tx-fault", 3, True)
        board.set_light(3, False)
        assert sfp.get_transceiver_status() == {"rxlos1": True, "txfault1": True, "tx1disable": True, "tx_disabled_channel": 1}
        assert sfp.read_eeprom(40, 8) == b"ZL-1G-SX" and len(sfp.read_eeprom(200, 112) or b"") == 112
        before = sfp.read_eeprom(384, 12)
        assert sfp.write_eeprom(386, 9, b"user data") and sfp.read_eeprom(384, 12) != before
        assert sfp.read_eeprom(386, 9) == b"user data" and sfp.read_eeprom(500, 20) is None
        for absent in chassis.get_sfp(4), chassis.get_sfp(9), chassis.get_sfp(20):
            assert absent.get_transceiver_info() is None and absent.get_transceiver_dom_real_value() is None
            assert absent.get_tx_bias() is None and absent.read_eeprom(0, 1) is None and not absent.write_eeprom(0, 1, b"x")
        assert not chassis.get_sfp(9).tx_disable(True) and chassis.get_sfp(9).get_rx_los() is None
        with pytest.raises(NotImplementedError, match="Sfp.get_power_override"):
            sfp.get_power_override()


@pytest.mark.board(slots="sfp", modules={3: "1g-sx", 24: "10g-sr"})
def test_modules_that_come_and_go(board: Board) -> None:
    with board.session() as session:
        chassis = Chassis(session)
        assert chassis.get_change_event(1) == (True, {"sfp": {}})
        board.unplug(3)
        board.plug(7, "copper")
        assert chassis.get_change_event() == (True, {"sfp": {"3": "0", "7": "1"}})
        with board.start_play([(0.3, "unplug 24")]):
            assert chassis.get_change_event(60000) == (True, {"sfp": {"24": "0"}})


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
    driver.wait_for('echo "it\'s on"', "it's on")
    target.deactivate(driver)
