// The chip's geometry, as flash_def has it. Every use reads the table: a program that changes it gets a library for
// that chip.
#pragma once

#include "zelboard/flash.h"

namespace zel {

/// Pieces, sectors and steps are counted in 16 bits.
inline constexpr uint32_t kCountMask = 0xFFFF;

inline uint32_t page_size() { return flash_def[FW_FLASH_PACKED] >> 16; }
inline uint32_t boot_erase_count() { return flash_def[FW_FLASH_PACKED] & 0xFF; }

}  // namespace zel
