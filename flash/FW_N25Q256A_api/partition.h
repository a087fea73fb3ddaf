// The regions that the flash has twice: firmware image, Gen database and customise database, each as copy 1 and copy 2.
#pragma once

#include <stdio.h>

#include <optional>

#include "flash/map.h"

namespace zel {

/// Start address of copy 1 or 2; nothing for another partition number. `first` is the word of flash_def for copy 1; the
/// word for copy 2 comes next.
inline std::optional<uint32_t> partition_base(uint32_t first, uint32_t partition) {
  if (partition != 1 && partition != 2) return std::nullopt;
  return flash_def[first + partition - 1];
}
static_assert(FW_FLASH_IMAGE_2 == FW_FLASH_IMAGE_1 + 1);
static_assert(FW_FLASH_GEN_DATABASE_2 == FW_FLASH_GEN_DATABASE_1 + 1);
static_assert(FW_FLASH_CUSTOMIZE_2 == FW_FLASH_CUSTOMIZE_1 + 1);

/// Tells the operator that there is no such partition; returns FW_FAIL.
inline uint32_t fail_partition_number() {
  puts("Partition Number must be 1 or 2");
  return FW_FAIL;
}

}  // namespace zel
