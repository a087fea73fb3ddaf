// How a dump is split into equal parts.
#pragma once

#include "flash/map.h"

namespace zel {

/// Sectors of a part. Those that the division leaves over belong to no part.
struct Part {
  uint32_t first;
  uint32_t count;
};

inline Part part_of(uint32_t number, uint32_t total) {
  const uint32_t sector = flash_def[FW_FLASH_SECTOR_SIZE];
  if (sector == 0) return {};
  // The same as sectors / total, unless the table describes 4 GiB or more: the product wraps at 32 bits.
  const uint32_t count = sector * flash_def[FW_FLASH_SECTORS] / total / sector;
  return {(number - 1) * count, count};
}

}  // namespace zel
