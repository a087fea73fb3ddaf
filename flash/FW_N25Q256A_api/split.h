// How a dump is split into equal parts.
#pragma once

#include "flash/map.h"

namespace zel {

struct Part {
  uint32_t first, count;  // sectors; those left over by the division belong to no part
};

inline Part part_of(uint32_t part, uint32_t total) {
  const uint32_t sector = flash_def[kSectorSize];
  const uint32_t count = sector != 0 ? sector * flash_def[kSectorCount] / total / sector : 0;
  return {(part - 1) * count, count};
}

}  // namespace zel
