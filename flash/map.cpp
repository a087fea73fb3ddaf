#include "flash/map.h"

#include <stdio.h>

#include "flash/chip.h"

uint32_t flash_def[] = {
    0x0,         // 0  Bootloader
    0x100000,    // 1  Environment
    0x200000,    // 2  Image 1
    0x1200000,   // 3  Image 2
    0x140000,    // 4  Partition table
    0xF40000,    // 5  Parameter 1
    0x1F40000,   // 6  Parameter 2
    0x180000,    // 7  Boot Script
    0xE00000,    // 8  DB1
    0x1E00000,   // 9  DB2
    0xF00000,    // 10 Customize 1
    0x1F00000,   // 11 Customize 2
    0xF80000,    // 12 Share DB
    0x1FF0000,   // 13 Test Area
    0x1C0000,    // 14 Custom info
    0x1D0000,    // 15 Profinet Parameter
    0x1FE0000,   // 16 Mac Address Backup
    0x10000,     // 17 sector size
    0x200,       // 18 number of sectors
    0x10000,     // 19 copy piece
    0x100000,    // 20 size limit of a Gen database
    0x0100A00C,  // 21 page size 256, 160 (no reader), boot erase count 12
    0x100000,    // 22 length of Bootloader
    0x10000,     // 23 length of Environment
    0xC00000,    // 24 length of an image
    0x40000,     // 25 length of Partition table
    0x40000,     // 26 length of a Parameter region
    0x40000,     // 27 length of Boot Script
    0x40000,     // 28 length of a Customize region
    0x80000,     // 29 length of Share DB
    0x100000,    // 30 length of DB1 and of DB2
};
static_assert(sizeof flash_def == 4 * zel::kMapEntries);

namespace zel {
namespace {

struct Region {
  MapEntry start, length;
};

constexpr Region kRegions[] = {
    // selectors 1 to 16
    {kImage1, kImageLength},
    {kImage2, kImageLength},
    {kParameter1, kParameterLength},
    {kParameter2, kParameterLength},
    {kBootScript, kBootScriptLength},
    {kBootloader, kBootloaderLength},
    {kEnvironment, kEnvironmentLength},
    {kDb1, kDbLength},
    {kDb2, kDbLength},
    {kCustomize1, kCustomizeLength},
    {kCustomize2, kCustomizeLength},
    {kShareDb, kShareDbLength},
    {kPartitionTable, kPartitionTableLength},
    {kCustomInfo, kSectorSize},
    {kProfinetParameter, kSectorSize},
    {kMacBackup, kSectorSize},
};
constexpr uint32_t kSelectors = sizeof kRegions / sizeof kRegions[0];
constexpr uint32_t kNoAnswer = FW_REFUSED;

uint32_t look_up(uint32_t selector, MapEntry Region::*column, const char *complaint) {
  const Chip chip = fitted_chip();
  if (chip.unknown) return kNoAnswer;
  if (selector < 1 || selector > kSelectors) {
    if (spiflash_debug_mode == 1) puts(complaint);
    return kNoAnswer;
  }
  // There is a record for chip 0 only.
  return chip.index == 0 ? flash_def[kRegions[selector - 1].*column] : kNoAnswer;
}

}  // namespace
}  // namespace zel

uint32_t FW_SpiFlash_GetMapAddr(uint32_t selector) {
  return zel::look_up(selector, &zel::Region::start, "Select address error");
}

uint32_t FW_SpiFlash_GetMapLen(uint32_t selector) {
  return zel::look_up(selector, &zel::Region::length, "Select Max Len error");
}

uint32_t FW_SpiFlash_GetSectorSize(void) {
  const zel::Chip chip = zel::fitted_chip();
  return !chip.unknown && chip.index == 0 ? flash_def[zel::kSectorSize] : zel::kNoAnswer;
}
