// What the three configuration databases have in common.
#pragma once

#include "flash/FW_N25Q256A_api/partition.h"
#include "flash/buffer.h"
#include "flash/debugging.h"
#include "flash/guard.h"
#include "zelboard/content.h"

namespace zel {

inline constexpr char kModule[] = "FW_N25Q256A_api";

/// A buffer for a length that the table gives; null when it exceeds the limit. A damaged table never asks for
/// gigabytes.
inline Buffer allocate(uint32_t length, uint32_t limit) {
  if (length > limit) return nullptr;
  return zeroed_buffer(length);
}

/// Which results of an erase count as a failure. The customise databases take any but 0, the other databases FW_FAIL
/// alone.
constexpr bool is_not_zero(uint32_t result) { return result != 0; }
constexpr bool is_fw_fail(uint32_t result) { return result == FW_FAIL; }

/// Erases sectors from `start` on. Stops at the first result for which `failed` returns true, and returns false.
template <typename Failed>
bool erase_sectors(uint32_t start, uint32_t count, Failed failed) {
  for (uint32_t sector = 0; sector < count; ++sector) {
    if (failed(FW_N25Q256A_SectorErase(start + sector * sector_size()))) return false;
  }
  return true;
}

inline uint32_t sectors_in(uint32_t length) {
  const uint32_t size = sector_size();
  return size != 0 ? length / size : 0;
}

/// Runs a store under the flash-access flag. `store` releases all that it holds before the flag comes down.
template <typename Store>
uint32_t store_under_flag(Store store) {
  {
    const FlashAccessFlag raised;
    if (store() != 0) return FW_FAIL;
  }
  FW_N25Q256A_SetExtendedLow();
  return 0;
}

}  // namespace zel
