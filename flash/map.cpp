// The record of chip 0, and the queries of it: starts and lengths of regions, the sector size.
#include "flash/map.h"

#include "flash/chip.h"
#include "flash/debugging.h"
#include "flash/region.h"

uint32_t flash_def[FW_FLASH_WORDS] = {
    // Starts.
    0x0,        // boot loader
    0x100000,   // boot environment
    0x200000,   // image 1
    0x1200000,  // image 2
    0x140000,   // partition table
    0xF40000,   // parameters 1
    0x1F40000,  // parameters 2
    0x180000,   // boot script
    0xE00000,   // general configuration database 1
    0x1E00000,  // general configuration database 2
    0xF00000,   // customise database 1
    0x1F00000,  // customise database 2
    0xF80000,   // shared database
    0x1FF0000,  // test area
    0x1C0000,   // custom identity
    0x1D0000,   // PROFINET parameters
    0x1FE0000,  // MAC address backup
    // Geometry.
    0x10000,     // sector size
    0x200,       // sectors
    0x10000,     // copy piece
    0x100000,    // limit of a general configuration database
    0x0100A00C,  // page size 256, 160 without a reader, 12 boot erases
    // Lengths.
    0x100000,  // boot loader
    0x10000,   // boot environment
    0xC00000,  // an image
    0x40000,   // partition table
    0x40000,   // a parameter region
    0x40000,   // boot script
    0x40000,   // a customise database
    0x80000,   // shared database
    0x100000,  // a general configuration database
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

/// A word of the region's, which is its start or its length.
uint32_t look_up(uint32_t selector, uint8_t Region::*word, const char *complaint) {
  const Chip chip = fitted_chip();
  if (chip.unknown) return FW_REFUSED;
  const Region *const region = find_region(selector);
  if (region == nullptr) {
    note(complaint);
    return FW_REFUSED;
  }
  if (chip.index != 0) return FW_REFUSED;  // there is a record for chip 0 only
  return flash_def[region->*word];
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
  if (!zel::n25q256a_fitted()) return FW_REFUSED;
  return flash_def[FW_FLASH_SECTOR_SIZE];
}
