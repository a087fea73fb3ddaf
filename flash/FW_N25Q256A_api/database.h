// What the three configuration databases have in common.
#pragma once

#include "flash/FW_N25Q256A_api/partition.h"
#include "flash/buffer.h"
#include "flash/debugging.h"
#include "flash/guard.h"
#include "zelboard/content.h"

namespace zel {

inline constexpr char kModule[] = "FW_N25Q256A_api";

/// A length from the table is not trusted: one beyond the limit counts as an allocation that failed, so that a damaged
/// table never asks for gigabytes.
inline Buffer allocate(uint32_t length, uint32_t limit) { return length <= limit ? zeroed_buffer(length) : nullptr; }

/// Erases sectors from `start` on, in rising order, until one fails by the caller's measure.
template <typename Failed>
bool erase_sectors(uint32_t start, uint32_t count, Failed failed) {
  for (uint32_t n = 0; n < count; ++n) {
    if (failed(FW_N25Q256A_SectorErase(start + n * flash_def[kSectorSize]))) return false;
  }
  return true;
}

inline uint32_t sectors_in(uint32_t length) {
  const uint32_t sector = flash_def[kSectorSize];
  return sector != 0 ? length / sector : 0;
}

// Gen and shared writes take exactly FW_FAIL for a failure, customise writes any result but 0.
constexpr bool is_fw_fail(uint32_t result) { return result == FW_FAIL; }
constexpr bool is_not_zero(uint32_t result) { return result != 0; }

/// Runs a store under the flash-access flag; `store` releases whatever it holds before the flag comes down.
template <typename Store>
uint32_t store_marked(Store store) {
  {
    const FlashAccessFlag raised;
    if (store() != 0) return FW_FAIL;
  }
  FW_N25Q256A_SetExtendedLow();
  return 0;
}

}  // namespace zel
