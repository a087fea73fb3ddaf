// The chip's geometry, as flash_def has it. The library reads a word each time it needs it: a program may change the
// table to describe another chip that the driver reports as chip 0.
#pragma once

#include "zelboard/flash.h"

namespace zel {

/// Pieces, sectors and steps are counted in 16 bits.
inline constexpr uint32_t kCountMask = 0xFFFF;

inline uint32_t page_size() { return flash_def[FW_FLASH_PACKED] >> 16; }
inline uint32_t boot_erase_count() { return flash_def[FW_FLASH_PACKED] & 0xFF; }

}  // namespace zel
