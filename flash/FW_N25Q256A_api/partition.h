// What the flash holds twice.
#pragma once

#include <stdio.h>

#include <optional>

#include "flash/map.h"

namespace zel {

/// Start address of copy 1 or 2, whose entries follow each other in the map; nothing for another partition number.
inline std::optional<uint32_t> partition_base(MapEntry first, uint32_t partition) {
  if (partition != 1 && partition != 2) return std::nullopt;
  return flash_def[first + partition - 1];
}
static_assert(kImage2 == kImage1 + 1 && kDb2 == kDb1 + 1 && kCustomize2 == kCustomize1 + 1);

/// Tells the operator of another partition number.
inline uint32_t refuse_partition() {
  puts("Partition Number must be 1 or 2");
  return FW_FAIL;
}

}  // namespace zel
