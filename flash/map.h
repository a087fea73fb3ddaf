// The chip's geometry, as flash_def has it. The library reads a word each time it needs it: a program may change the
// table to describe another chip that the driver reports as chip 0.
#pragma once

#include "zelboard/flash.h"

namespace zel {

/// Pieces, sectors and steps are counted in 16 bits. With sectors of 64 KiB that is enough for any 32-bit length. If a
/// program puts smaller sectors into the table, the count can wrap, and the call then does less than it was asked to.
/// That stays as it is, since programs see which requests a call makes.
inline constexpr uint32_t kCountMask = 0xFFFF;

inline uint32_t sector_size() { return flash_def[FW_FLASH_SECTOR_SIZE]; }

/// Bytes on the whole chip and in a whole-flash image.
inline uint64_t whole_flash() { return uint64_t{sector_size()} * flash_def[FW_FLASH_SECTORS]; }

inline uint32_t page_size() { return flash_def[FW_FLASH_PACKED] >> 16; }
inline uint32_t boot_erase_count() { return flash_def[FW_FLASH_PACKED] & 0xFF; }

}  // namespace zel
