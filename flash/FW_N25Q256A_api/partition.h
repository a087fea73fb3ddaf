// The two copies of what the flash holds twice.
#pragma once

#include <stdio.h>

#include <optional>

#include "flash/map.h"

namespace zel {

struct Copies {
  MapEntry first, second;
};

/// Start address of copy 1 or 2; nothing for another partition number.
inline std::optional<uint32_t> partition_base(const Copies &copies, uint32_t partition) {
  if (partition == 1) return flash_def[copies.first];
  if (partition == 2) return flash_def[copies.second];
  return std::nullopt;
}

inline void complain_of_partition() { puts("Partition Number must be 1 or 2"); }

inline constexpr Copies kImages{kImage1, kImage2};

inline bool debugging() { return spiflash_debug_mode == 1; }

/// Prints a diagnostic line in debug mode.
inline void note(const char *line) {
  if (debugging()) puts(line);
}

}  // namespace zel
