// What flash_def tells of the chip. Every use reads the table anew: whoever changes it gets a library for that chip.
#pragma once

#include "zelboard/flash.h"

namespace zel {

inline uint32_t page_size() { return flash_def[FW_FLASH_PACKED] >> 16; }
inline uint32_t boot_erase_count() { return flash_def[FW_FLASH_PACKED] & 0xFF; }

}  // namespace zel
