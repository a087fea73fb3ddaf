// The record of chip 0, and the queries of it: starts and lengths of regions, the sector size.
#include "flash/map.h"

#include "flash/chip.h"
#include "flash/debugging.h"
#include "flash/region.h"

// In the order of the FW_FLASH_ numbers.
uint32_t flash_def[FW_FLASH_WORDS] = {
    0x0,         // FW_FLASH_BOOTLOADER
    0x100000,    // FW_FLASH_ENVIRONMENT
    0x200000,    // FW_FLASH_IMAGE_1
    0x1200000,   // FW_FLASH_IMAGE_2
    0x140000,    // FW_FLASH_PARTITION_TABLE
    0xF40000,    // FW_FLASH_PARAMETER_1
    0x1F40000,   // FW_FLASH_PARAMETER_2
    0x180000,    // FW_FLASH_BOOT_SCRIPT
    0xE00000,    // FW_FLASH_GEN_DATABASE_1
    0x1E00000,   // FW_FLASH_GEN_DATABASE_2
    0xF00000,    // FW_FLASH_CUSTOMIZE_1
    0x1F00000,   // FW_FLASH_CUSTOMIZE_2
    0xF80000,    // FW_FLASH_SHARED_DATABASE
    0x1FF0000,   // FW_FLASH_TEST_AREA
    0x1C0000,    // FW_FLASH_CUSTOM_INFO
    0x1D0000,    // FW_FLASH_PROFINET
    0x1FE0000,   // FW_FLASH_MAC_BACKUP
    0x10000,     // FW_FLASH_SECTOR_SIZE
    0x200,       // FW_FLASH_SECTORS
    0x10000,     // FW_FLASH_COPY_PIECE
    0x100000,    // FW_FLASH_GEN_LIMIT
    0x0100A00C,  // FW_FLASH_PACKED: page size 256, 160 without a reader, 12 boot erases
    0x100000,    // FW_FLASH_BOOTLOADER_LENGTH
    0x10000,     // FW_FLASH_ENVIRONMENT_LENGTH
    0xC00000,    // FW_FLASH_IMAGE_LENGTH
    0x40000,     // FW_FLASH_PARTITION_TABLE_LENGTH
    0x40000,     // FW_FLASH_PARAMETER_LENGTH
    0x40000,     // FW_FLASH_BOOT_SCRIPT_LENGTH
    0x40000,     // FW_FLASH_CUSTOMIZE_LENGTH
    0x80000,     // FW_FLASH_SHARED_DATABASE_LENGTH
    0x100000,    // FW_FLASH_GEN_DATABASE_LENGTH
};
static_assert(sizeof flash_def == 124);

namespace zel {
namespace {

/// The region that a query may ask for, or null.
const Region *find_region(uint32_t selector) {
  if (selector == kNoSelector) return nullptr;
  for (const Region &region : kRegions) {
    if (region.selector == selector) return &region;
  }
  return nullptr;
}

/// The region that a query asks for; null if there is no answer. Notes the complaint if there is no such region.
const Region *require_region(uint32_t selector, const char *complaint) {
  const Chip chip = fitted_chip();
  if (chip.unknown) return nullptr;
  const Region *const region = find_region(selector);
  if (region == nullptr) {
    note(complaint);
    return nullptr;
  }
  if (chip.index != 0) return nullptr;  // there is a record for chip 0 only
  return region;
}

}  // namespace
}  // namespace zel

uint32_t FW_SpiFlash_GetMapAddr(uint32_t selector) {
  const zel::Region *const region = zel::require_region(selector, "Select address error");
  if (region == nullptr) return FW_REFUSED;
  return flash_def[region->start];
}

uint32_t FW_SpiFlash_GetMapLen(uint32_t selector) {
  const zel::Region *const region = zel::require_region(selector, "Select Max Len error");
  if (region == nullptr) return FW_REFUSED;
  return flash_def[region->length];
}

uint32_t FW_SpiFlash_GetSectorSize(void) {
  if (!zel::n25q256a_fitted()) return FW_REFUSED;
  return zel::sector_size();
}
