// The read with one offset byte on which the SFP functions build.
#pragma once

#include "zelboard/i2c.h"

namespace zel {

/// Reads `len` bytes (up to 128) from a device whose offsets have one byte.
inline uint32_t i2c_offset_read(uint8_t addr, uint32_t offset, uint8_t len, void *buf) {
  return FW_I2C_BufRead(addr, offset, 1, len, buf);
}

}  // namespace zel
