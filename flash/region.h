// The regions of the flash: the library's one description of them.
#pragma once

#include "flash/map.h"

namespace zel {

/// Where a region ends in the sector map: before the start of another region, or after a number of sectors.
struct End {
  uint8_t word;      // of flash_def: the other region's start, if `sectors` is 0
  uint32_t sectors;  // 0 = before the other region
};

constexpr End before(uint8_t word) { return {.word = word, .sectors = 0}; }
constexpr End after_sectors(uint32_t sectors) { return {.word = 0, .sectors = sectors}; }

struct Region {
  char code[4];      // in the sector map
  uint8_t selector;  // of the map queries; 0 = none
  uint8_t start;     // word of flash_def
  uint8_t length;    // word of flash_def, as the map query gives it
  End end;
};

inline constexpr uint8_t kNoSelector = 0;
inline constexpr uint32_t kToTheTop = 0xFFFFFFFF;

/// By address. If regions overlap, the first one in this table gets the sector.
inline constexpr Region kRegions[] = {
    {"B  ", FW_REGION_BOOTLOADER, FW_FLASH_BOOTLOADER, FW_FLASH_BOOTLOADER_LENGTH, before(FW_FLASH_ENVIRONMENT)},
    {"E  ", FW_REGION_ENVIRONMENT, FW_FLASH_ENVIRONMENT, FW_FLASH_ENVIRONMENT_LENGTH, after_sectors(1)},
    {"Pt ", FW_REGION_PARTITION_TABLE, FW_FLASH_PARTITION_TABLE, FW_FLASH_PARTITION_TABLE_LENGTH,
     before(FW_FLASH_BOOT_SCRIPT)},
    {"BS ", FW_REGION_BOOT_SCRIPT, FW_FLASH_BOOT_SCRIPT, FW_FLASH_BOOT_SCRIPT_LENGTH, before(FW_FLASH_CUSTOM_INFO)},
    {"CI ", FW_REGION_CUSTOM_INFO, FW_FLASH_CUSTOM_INFO, FW_FLASH_SECTOR_SIZE, before(FW_FLASH_PROFINET)},
    {"P  ", FW_REGION_PROFINET, FW_FLASH_PROFINET, FW_FLASH_SECTOR_SIZE, after_sectors(1)},
    {"I1 ", FW_REGION_IMAGE_1, FW_FLASH_IMAGE_1, FW_FLASH_IMAGE_LENGTH, before(FW_FLASH_GEN_DATABASE_1)},
    {"D1 ", FW_REGION_GEN_DATABASE_1, FW_FLASH_GEN_DATABASE_1, FW_FLASH_GEN_DATABASE_LENGTH,
     before(FW_FLASH_CUSTOMIZE_1)},
    {"C1 ", FW_REGION_CUSTOMIZE_1, FW_FLASH_CUSTOMIZE_1, FW_FLASH_CUSTOMIZE_LENGTH, before(FW_FLASH_PARAMETER_1)},
    {"P1 ", FW_REGION_PARAMETER_1, FW_FLASH_PARAMETER_1, FW_FLASH_PARAMETER_LENGTH, before(FW_FLASH_SHARED_DATABASE)},
    {"S  ", FW_REGION_SHARED_DATABASE, FW_FLASH_SHARED_DATABASE, FW_FLASH_SHARED_DATABASE_LENGTH, after_sectors(8)},
    {"I2 ", FW_REGION_IMAGE_2, FW_FLASH_IMAGE_2, FW_FLASH_IMAGE_LENGTH, before(FW_FLASH_GEN_DATABASE_2)},
    {"D2 ", FW_REGION_GEN_DATABASE_2, FW_FLASH_GEN_DATABASE_2, FW_FLASH_GEN_DATABASE_LENGTH,
     before(FW_FLASH_CUSTOMIZE_2)},
    {"C2 ", FW_REGION_CUSTOMIZE_2, FW_FLASH_CUSTOMIZE_2, FW_FLASH_CUSTOMIZE_LENGTH, before(FW_FLASH_PARAMETER_2)},
    {"P2 ", FW_REGION_PARAMETER_2, FW_FLASH_PARAMETER_2, FW_FLASH_PARAMETER_LENGTH, after_sectors(4)},
    {"M  ", FW_REGION_MAC_BACKUP, FW_FLASH_MAC_BACKUP, FW_FLASH_SECTOR_SIZE, before(FW_FLASH_TEST_AREA)},
    {"T  ", kNoSelector, FW_FLASH_TEST_AREA, FW_FLASH_SECTOR_SIZE, after_sectors(kToTheTop)},
};

}  // namespace zel
