"""zelboard.fw on the virtual switch: every export, and what becomes of arguments, results and statuses."""
import os
import signal
from pathlib import Path
from subprocess import CalledProcessError
from typing import Any, Callable, Dict, List, Tuple, Type, Union, get_origin, get_type_hints

import pytest

from zelboard import fw
from zelboard.sim import Board

EXPORTS = Path(__file__, "../../exports.txt").resolve().read_text().split()

# What every function is called with, by the parameter's name; 1 where there is none. Port 3 has a copper module.
GIVEN: Dict[str, Any] = {
    "port": 3, "busy": 0, "flag": 0, "addr": 0x9E, "offset": 0, "buf": b"\0", "len": 2, "length": 16, "address": 0x20300, "ms": 0, "mac": bytes(17),
    "phy_id": b"\x01\x41\x0c\xc0", "data": bytes(65532), "buffer": bytes(0x10000), "rec": fw.rtc_record(), "fail": 0,
    "name": "name", "value": "value", "text": "text", "path": "file", "fd": "file", "crc": 0, "sum": 0}
# What this board does not have: an image of the right size, what was stored before the chip was erased, PoE and SyncE, the
# speed LED of a port without 10G, and since the hardware reset power for the copper module's PHY.
FAILING = {
    "FW_CheckCRC", "FW_CheckFile", "FW_FlashCopyAll", "FW_GetSfp10gSpeedLed", "FW_N25Q256A_CheckCRC",
    "FW_N25Q256A_CheckCRCAll", "FW_N25Q256A_DumpComp", "FW_N25Q256A_GetCustomDesc", "FW_N25Q256A_PartitionInfo",
    "FW_N25Q256A_ReadGenDatabase", "FW_N25Q256A_ReadSharedDatabase", "FW_SFP_SGMII_Get_Status", "FW_SFP_SGMII_Set",
    "FW_SetSfp10gSpeedLed", "FW_SpiFlash_GetCustomDesc", *(name for name in EXPORTS if "PoE" in name or "SyncE" in name)}


def test_every_export_can_be_called(board: Board, tmp_path: Path) -> None:
    assert sorted(fw.raw.EXPORTS) == sorted(EXPORTS)
    board.fit(1, "sfp")
    board.plug(3, "copper")
    failed: Dict[str, fw.Error] = {}
    with board.session() as session:
        for name in EXPORTS:
            (tmp_path / "file").write_bytes(b"content")
            function = getattr(session, name)
            if not callable(function):
                continue
            hints = get_type_hints(function)
            kind = hints.pop("return")
            given = {word: GIVEN.get(word, 1) for word in hints if word != "arguments"}
            for word, value in given.items():
                if value == "file":
                    given[word] = tmp_path / "file"
                elif hints[word] is int and not isinstance(value, int):
                    given[word] = 1
            try:
                result = function(**given)
                kind = get_origin(kind) or kind
                assert kind is Union or isinstance(result, kind), (name, result)
            except fw.Error as error:
                failed[name] = error
    assert set(failed) == FAILING, failed


Call = Callable[[Any], Any]
GOOD: List[Tuple[Call, object]] = [
    (lambda fw: (fw.FW_SetAlarmLed(2), fw.FW_GetAlarmLed()), (None, 2)),
    (lambda fw: fw.FW_crc32(b"123456789"), 0xCBF43926),
    (lambda fw: fw.BoardType_Check(fw.FW_CHECK_COPPER_COUNT, 0), ("0", 1)),
    (lambda fw: fw.FW_I2C_BufRead(0x9E, 0, 1, 2), b"\x19\0"),
    (lambda fw: (fw.FW_PollTemperature(), fw.FW_GetTemperature())[1], fw.temp_record(25.0)),
    (lambda fw: (fw.FW_WriteGenDatabase(b"data", 2), fw.FW_ReadGenDatabase(2), fw.FW_PartitionInfo(0, 0, 3))[1:],
     (b"data", (4, sum(b"data")))),
    (lambda fw: (fw.FW_ReadSharedDatabase1(), len(fw.FW_ReadCustomizeDatabase(1))), (b"", fw.FW_CUSTOMIZE_SIZE)),
    (lambda fw: (fw.FW_SpiFlash_SetCustomDesc("Gerät"), fw.FW_SpiFlash_GetCustomDesc())[1], "Gerät"),
    (lambda fw: (fw.FW_GetSpecialRegister(0x20300), fw.FW_GetSpecialRegister(0x55000000)), (0, None)),
    (lambda fw: fw.FW_SpiFlash_GetMapAddr(fw.FW_REGION_IMAGE_2), 0x1200000),
    (lambda fw: (fw.FW_SFP_SGMII_Support(3, b"\x01\x41\x0c\xc0"), fw.FW_SFP_SGMII_Support(3, bytes(4))), (1, 0)),
    (lambda fw: (fw.__setattr__("spiflash_debug_mode", 1), fw.spiflash_debug_mode, fw.i, fw.env_ptr)[1:], (1, 0, None)),
    (lambda fw: (fw.FW_Pwr_Flag(), fw.env_add("a", "b"), fw.env_data[0].name)[2], b"a"),
    (lambda fw: (fw.__setattr__("flash_def", [7] * 31), fw.flash_def)[1], [7] * 31),
]
BAD: List[Tuple[Call, Type[Exception], str]] = [
    (lambda fw: fw.FW_I2C_BufRead(0x40, 0, 1, 1), fw.Busy, "FW_I2C_BufRead: the I2C bus is busy (0xFFFA)"),
    (lambda fw: fw.FW_I2C_BufRead(0x42, 0, 1, 1), fw.Failed, "FW_I2C_BufRead: failed (0x7)"),
    (lambda fw: fw.FW_GetAlarmLed(), fw.Refused, "FW_GetAlarmLed: the kernel refused"),
    (lambda fw: fw.FW_GetPortSfpLos(20), fw.Absent, "FW_GetPortSfpLos: no daughter board"),
    (lambda fw: fw.FW_SFP_SGMII_Support(9, bytes(4)), fw.NotSfp, "FW_SFP_SGMII_Support: the port has no SFP cage"),
    (lambda fw: fw.FW_GetSystemDiagFlag(), fw.Failed, "FW_GetSystemDiagFlag: failed (0xFFFF)"),
    (lambda fw: fw.FW_SetAlarmLed(1 << 32), ValueError, "value: 4294967296 is not a number from 0 to 4294967295"),
    (lambda fw: fw.FW_SpiFlash_BackupMacSet(b"short"), ValueError, "mac: 5 bytes instead of 17"),
    (lambda fw: fw.env_add("a\0", "b"), ValueError, "name: 'a\\x00' has a NUL in it"),
    (lambda fw: fw.FW_Nothing(), AttributeError, "has no attribute 'FW_Nothing'"),
    (lambda fw: fw.readFully("/nowhere", 1), FileNotFoundError, "/nowhere"),
]


@pytest.mark.board("sfp,copper,none")
def test_results_and_statuses(board: Board) -> None:
    with board.session() as session:
        assert [call(session) for call, _ in GOOD] == [expected for _, expected in GOOD]
        board.fault("i2c:BufRead@0x40", result="busy")
        board.fault("i2c:BufRead@0x42", result=7)
        board.fault("gpio:GetAlarmLed", result="refused")
        board.fault("gpio:GetDiagFlag")
        for call, kind, text in BAD:
            with pytest.raises(kind) as raised:
                call(session)
            assert text in str(raised.value)


def test_a_descriptor_stays_the_caller_s(board: Board, tmp_path: Path) -> None:
    (tmp_path / "image").write_bytes(b"0123456789")
    with board.session() as session, open(tmp_path / "image", "rb") as file:
        before = len(os.listdir(f"/proc/{session.process.pid}/fd"))
        assert session.readFully(file.fileno(), 4) == b"0123"
        session.FW_FlashCopy(file, 1)
        board.set("chip-index", 1)
        with pytest.raises(fw.Failed):
            session.FW_FlashCopy(file, 1)
        assert file.seek(0) == 0 and len(os.listdir(f"/proc/{session.process.pid}/fd")) == before
        assert board.flash["Image 1"][:7] == b"456789\xff"
        board.fault("gpio", result="killed")
        with pytest.raises(CalledProcessError, match="FW_HwReset.*SIGKILL"):
            session.FW_HwReset()


def test_a_signal_ends_a_session_whatever_it_has_called(board: Board) -> None:
    with board.session() as session:
        session.FW_LedTest(0)  # runs debugCmd, which holds signals meanwhile
        session.process.terminate()
        assert session.process.wait(60) == -signal.SIGTERM
