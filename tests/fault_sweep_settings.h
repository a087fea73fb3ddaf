// A sound setting for every exported function, as the fault sweep runs it. Included there alone.
#pragma once

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "flash/map.h"
#include "zelboard/zelboard.h"

namespace {

constexpr uint32_t kSector = 0x400, kSectors = 16;
constexpr uint32_t kEraseBlock = 0x10000;  // the real chip's sector: every region has one for itself
constexpr uint32_t kFibrePort = 3, kCopperPort = 25, kSlot = 1;
constexpr uint8_t kOff = 0, kMarvell[] = {0x01, 0x41, 0x0C, 0xC2};
constexpr size_t kFlash = kEraseBlock * (FW_FLASH_MAC_BACKUP + 1);

union Out {
  uint8_t byte[0x10000];
  uint16_t half[1];
  uint32_t word[2];
  char text[256];
  rtc_record clock;
  temp_record temperature;
};

uint8_t g_page[2 * kSector], g_region[0x10000];
std::string g_image, g_whole, g_chip, g_dump;  // files: an image, one of the chip's size, the chip itself, a dump of it
uint32_t g_sum, g_env_crc, g_zero_crc;
bool g_left_open;  // the image, by a copy that takes it over

template <typename Use>
uint32_t use_image(Use use) {
  const auto fd = static_cast<int>(syscall(SYS_openat, AT_FDCWD, g_image.c_str(), O_RDONLY));
  const uint32_t result = use(fd);
  g_left_open = syscall(SYS_close, fd) == 0;
  return result;
}

struct LoadedDatabase {
  uint8_t *data = nullptr;
  uint32_t length = kSector;

  uint32_t take(Out &out, uint32_t result) {
    if (result == 0) memcpy(out.byte, data, length), free(data);
    return result;
  }
};

struct Setting {
  std::string name;
  uint32_t (*call)(Out &out);
};

#define SETTING(name, ...) (Setting{#name, []([[maybe_unused]] Out &out) -> uint32_t { __VA_ARGS__ }})
#define CALL(name, ...) SETTING(name, return static_cast<uint32_t>(name(__VA_ARGS__));)
#define COPY(name, ...) SETTING(name, return use_image([](int fd) { return name(__VA_ARGS__); });)
#define LOAD(name, ...) SETTING(name, LoadedDatabase read; return read.take(out, name(&read.data, __VA_ARGS__));)
// A chip-independent front and what it runs.
#define BOTH(kind, front, name, ...) kind(front##name, __VA_ARGS__), kind(FW_N25Q256A_##name, __VA_ARGS__)

// In the order of the headers.
// clang-format off
const Setting kSettings[] = {
    CALL(FW_SetDebug_Gpio, 1), CALL(FW_GetDebug_Gpio), CALL(FW_GetSystemLed, out.byte), CALL(FW_SetSystemLed, 2),
    CALL(FW_GetAlarmLed, out.byte), CALL(FW_SetAlarmLed, 2), CALL(FW_GetRingMasterLed, out.byte),
    CALL(FW_SetRingMasterLed, 2, 1), CALL(FW_GetRingFailLed, out.byte), CALL(FW_SetRingFailLed, 2, 1),
    CALL(FW_GetPowerLed, 2, out.byte), CALL(FW_SetPowerLed, 2, 1, 1), CALL(FW_GetSfp10gSpeedLed, 25, out.byte),
    CALL(FW_SetSfp10gSpeedLed, 25, 1, 1), CALL(FW_LedTest, 0), CALL(FW_SetAlarmRelay, 1),
    CALL(FW_GetAlarmRelay, out.byte), CALL(CheckSpecialReg, 0x20300), CALL(FW_GetSpecialRegister, 0x20300, out.word),
    CALL(FW_SetSpecialRegister, 0x20300, 0x100), CALL(FW_SetPhyRegister, 3, 4, 5), CALL(FW_ShowPhyRegister, 3, 4),
    CALL(FW_SetSystemDiagFlag, 1), CALL(FW_GetSystemDiagFlag), CALL(FW_SetDiagNoOperationFlag, 0),
    CALL(FW_GetDiagNoOperationFlag), CALL(FW_SetFlashAccessFlag, 1), CALL(FW_GetFlashAccessFlag),
    CALL(FW_RstFlagSet, 1), CALL(FW_RstProcGet, out.byte), CALL(FW_GetRstKey, out.word), CALL(FW_HwReset),
    CALL(FW_SystemReset), CALL(FW_SetIOVal, 1), CALL(FW_Wdt_Enable), CALL(FW_Wdt_Toggle), CALL(FW_Wdt_Toggle_Stop),
    CALL(FW_Show_Wdt_Status), CALL(FW_GetPowerConf, 1, out.byte), CALL(FW_GetPowerMode, out.byte),
    CALL(FW_GetPowerAlarm, out.byte), CALL(FW_GetDau_Alive, kSlot, out.byte), CALL(FW_SetDau_Alive, kSlot, 0),
    CALL(FW_GetDauBoard, kSlot, out.byte),
    SETTING(BoardType_Check, return uint32_t{BoardType_Check(1, 0, out.byte)[0] == '1'};),
    CALL(IsSwitchPortExist, kFibrePort), CALL(FW_SfpSel, kFibrePort), CALL(FW_GetExpenderIO, out.byte),
    CALL(FW_GetPortSfpPresnt, kFibrePort, out.byte), CALL(FW_GetPortSfpTxDisable, kFibrePort, out.byte),
    CALL(FW_GetPortSfpTxFault, kFibrePort, out.byte), CALL(FW_GetPortSfpLos, kFibrePort, out.byte),
    CALL(FW_SetPortSfpTxDisable, kFibrePort, 0), CALL(FW_InitDauExpender, kSlot), CALL(FW_InitOnBoardExpender),
    CALL(FW_I2C_BufRead, 0x40, 2, 1, 1, out.byte), CALL(FW_I2C_BufWrite, 0x40, 2, 1, 1, g_page),
    CALL(FW_Get_I2C_Busy, out.byte), CALL(FW_Set_I2C_Busy, 1), CALL(FW_ReflashI2CBus), CALL(FW_SetDebug_I2C, 1),
    CALL(FW_GetDebug_I2C), SETTING(FW_SFP_mDelay, return FW_SFP_mDelay(3), 0U;), CALL(FW_GetPoEInfo),
    CALL(FW_SetPoEPort), CALL(FW_SetPoEReg), CALL(FW_GetPoEReg), CALL(FW_GetSyncE_RegData), CALL(FW_SetSyncE_RegData),
    CALL(s35390A_to_time, 0x80, 8), CALL(time_to_s35390A, 59), CALL(FW_GetRTC_Alive, out.byte),
    CALL(FW_GetRtc, &out.clock), CALL(FW_SetRtc, &out.clock), CALL(FW_GetRtc1224, out.byte), CALL(FW_SetRtc1224, &kOff),
    CALL(FW_RTC_Fail_Set, 1), CALL(FW_PollRtc), CALL(FW_GetLM75_Alive, out.byte),
    CALL(FW_GetTemperature, &out.temperature), CALL(FW_Tempereature_Fail_Set, 1), CALL(FW_PollTemperature),
    CALL(FW_Show_SFP_Moudle, kCopperPort, 1, 1), CALL(FW_Get_SFP_Speed, kCopperPort, out.byte),
    CALL(FW_SFP_SGMII_Support, kCopperPort, kMarvell), CALL(FW_SFP_SGMII_Set, kCopperPort, kMarvell, out.byte, 1, 1),
    CALL(FW_SFP_SGMII_Get_Status, kCopperPort, out.byte, out.byte + 1, 1), CALL(FW_Show_SFP_SGMII_Reg, kCopperPort, 2),
    CALL(FW_Set_SFP_SGMII_Reg, kCopperPort, 4, 5),
    SETTING(FW_Get_SFP_SGMII_Reg, return FW_Get_SFP_SGMII_Reg(kCopperPort, 2, out.half);),
    SETTING(FW_SFP_PHY_Fail_Chk, return FW_SFP_PHY_Fail_Chk(kCopperPort, 0, out.half);), CALL(FW_SetDebug_SpiFlash, 1),
    CALL(FW_GetDebug_SpiFlash), CALL(FW_FlashGetIndex, out.byte), CALL(FW_GetFlashId, out.byte),
    CALL(FW_FlashStatusReg), CALL(FW_N25Q256A_SetExtendedLow), BOTH(CALL, FW_, ReadFlash, 0x20010, 0x500, out.byte),
    CALL(FW_N25Q256A_FlashRead, 0x20010, 0x500, out.byte), BOTH(CALL, FW_, WriteFlash, 0x60010, 0x200, g_page),
    CALL(FW_N25Q256A_FlashWrite, 0x60010, 0x200, g_page), BOTH(CALL, FW_SpiFlash_, SectorErase, 0x60000),
    CALL(FW_N25Q256A_EraseSector, 0x60000), BOTH(CALL, FW_SpiFlash_, ChipErase), CALL(FW_SpiFlash_GetMapAddr, 1),
    CALL(FW_SpiFlash_GetMapLen, 1), CALL(FW_SpiFlash_GetSectorSize), CALL(FW_crc32, g_page, 9),
    CALL(FW_crc321, 1, g_page, 9), CALL(dbChecksum, g_page, 9),
    SETTING(readFully, return use_image([&](int fd) { return uint32_t(readFully(fd, out.byte, 0x1000)); });),
    CALL(FW_CheckFile, g_whole.c_str(), g_sum), CALL(FW_SpiFlashEnvRead, out.byte), CALL(FW_N25Q256AEnvRead, out.byte),
    CALL(FW_SpiFlashEnvWrite, g_region), CALL(FW_N25Q256AEnvWrite, g_region), CALL(env_convert, g_region),
    CALL(convert_env, out.byte), CALL(env_add, "name", "value"), CALL(check_env_crc, g_env_crc, "syswdt", "start", 1),
    CALL(FW_SpiFlash_EnvAdd, "name", "value"), CALL(FW_Wdt_Flag), CALL(FW_Pwr_Flag),
    CALL(FW_SpiFlash_BackupMacSet, g_page), CALL(FW_SpiFlash_BackupMacGet, out.byte), BOTH(COPY, FW_, FlashCopy, fd, 1),
    CALL(FW_FlashCopyAll, g_whole.c_str(), g_sum), COPY(FW_N25Q256A_FlashCopyAll, fd),
    BOTH(CALL, FW_SpiFlash_, WriteBoot, g_image.c_str()), COPY(FW_N25Q256A_FlashCopyBoot, fd),
    BOTH(CALL, FW_, CheckCRC, 1, g_zero_crc, 0x500), CALL(FW_N25Q256A_CheckCRCAll, g_zero_crc, 0x500),
    BOTH(CALL, FW_, PartitionInfo, out.word, out.word + 1, 2), BOTH(LOAD, FW_, ReadGenDatabase, &read.length, 1),
    BOTH(CALL, FW_, WriteGenDatabase, g_page, 0x300, 1), BOTH(LOAD, FW_, ReadCustomizeDatabase, 1),
    BOTH(CALL, FW_, WriteCustomizeDatabase, g_image.c_str(), 1), BOTH(LOAD, FW_, ReadSharedDatabase, &read.length),
    BOTH(LOAD, FW_, ReadSharedDatabase1, &read.length), BOTH(CALL, FW_, WriteSharedDatabase, g_page, 0x300),
    BOTH(CALL, FW_SpiFlash_, GetCustomName, out.text), BOTH(CALL, FW_SpiFlash_, ShowCustomName),
    BOTH(CALL, FW_SpiFlash_, GetCustomDesc, out.text), BOTH(CALL, FW_SpiFlash_, GetCustomPwrMode, out.byte),
    BOTH(CALL, FW_SpiFlash_, SetCustomName, "name"), BOTH(CALL, FW_SpiFlash_, WriteCustomName, "name", 3),
    BOTH(CALL, FW_SpiFlash_, SetCustomDesc, "text"), BOTH(CALL, FW_SpiFlash_, SetCustomPwrMode, g_page),
    BOTH(CALL, FW_, DumpFlash, g_dump.c_str(), 1, 1), CALL(FW_N25Q256A_DumpComp, g_chip.c_str(), 255, 1),
    BOTH(CALL, FW_SpiFlash_, CheckSector), BOTH(CALL, FW_, ReadSector, 2),
};
// clang-format on

}  // namespace
