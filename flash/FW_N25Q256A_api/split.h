// How a dump is split into equal parts.
#pragma once

#include "flash/map.h"

namespace zel {

struct SectorRange {
  uint32_t first;
  uint32_t count;
};

/// The sectors of one part. Sectors that the division leaves over belong to no part.
inline SectorRange sectors_of_part(uint32_t number, uint32_t total) {
  const uint32_t size = sector_size();
  if (size == 0) return {};
  // The same as sectors / total. Only if the table describes 4 GiB or more, the product wraps at 32 bits.
  const uint32_t count = size * flash_def[FW_FLASH_SECTORS] / total / size;
  return {(number - 1) * count, count};
}

}  // namespace zel
