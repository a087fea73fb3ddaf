// Buffered I2C transfers, and the read with one offset byte on which the SFP functions build.
#pragma once

#include <stdint.h>

namespace zel {

/// Reads `len` bytes (up to 128) at a one-byte offset of a device. Pauses 5 ms after the request; `buf` is written
/// whenever the request was made. Returns the driver's result; FW_FAIL when the node cannot be opened or len is above 128.
uint32_t i2c_offset_read(uint8_t addr, uint32_t offset, uint8_t len, void *buf);

}  // namespace zel
