#include "flash/map.h"

#include "flash/chip.h"
#include "flash/debugging.h"

uint32_t flash_def[] = {
    0x0, 0x100000,                  // 0  Bootloader, Environment
    0x200000, 0x1200000,            // 2  Image 1 and 2
    0x140000, 0xF40000, 0x1F40000,  // 4  Partition table, Parameter 1 and 2
    0x180000,                       // 7  Boot Script
    0xE00000, 0x1E00000,            // 8  DB1 and DB2
    0xF00000, 0x1F00000,            // 10 Customize 1 and 2
    0xF80000, 0x1FF0000,            // 12 Share DB, Test Area
    0x1C0000, 0x1D0000, 0x1FE0000,  // 14 Custom info, Profinet Parameter, Mac Address Backup
    0x10000, 0x200,                 // 17 sector size, number of sectors
    0x10000, 0x100000,              // 19 copy piece, size limit of a Gen database
    0x0100A00C,                     // 21 page size 256, 160 (no reader), boot erase count 12
    // 22: lengths of Bootloader, Environment, an image, Partition table, a Parameter region, Boot Script, a Customize
    // region, Share DB, DB1 and DB2
    0x100000, 0x10000, 0xC00000, 0x40000, 0x40000, 0x40000, 0x40000, 0x80000, 0x100000};
static_assert(sizeof flash_def == 4 * zel::kMapEntries);

namespace zel {
namespace {

// By selector, from 1.
constexpr MapEntry kStarts[] = {
    kImage1, kImage2,     kParameter1, kParameter2, kBootScript,     kBootloader, kEnvironment,       kDb1,
    kDb2,    kCustomize1, kCustomize2, kShareDb,    kPartitionTable, kCustomInfo, kProfinetParameter, kMacBackup};
constexpr MapEntry kLengths[] = {
    kImageLength,          kImageLength, kParameterLength, kParameterLength, kBootScriptLength, kBootloaderLength,
    kEnvironmentLength,    kDbLength,    kDbLength,        kCustomizeLength, kCustomizeLength,  kShareDbLength,
    kPartitionTableLength, kSectorSize,  kSectorSize,      kSectorSize};

uint32_t look_up(uint32_t selector, const MapEntry *column, const char *complaint) {
  const Chip chip = fitted_chip();
  if (chip.unknown) return FW_REFUSED;
  if (selector < 1 || selector > sizeof kStarts / sizeof kStarts[0]) {
    note(complaint);
    return FW_REFUSED;
  }
  // There is a record for chip 0 only.
  return chip.index == 0 ? flash_def[column[selector - 1]] : FW_REFUSED;
}

}  // namespace
}  // namespace zel

uint32_t FW_SpiFlash_GetMapAddr(uint32_t selector) {
  return zel::look_up(selector, zel::kStarts, "Select address error");
}

uint32_t FW_SpiFlash_GetMapLen(uint32_t selector) {
  return zel::look_up(selector, zel::kLengths, "Select Max Len error");
}

uint32_t FW_SpiFlash_GetSectorSize(void) { return zel::n25q256a_fitted() ? flash_def[zel::kSectorSize] : FW_REFUSED; }
