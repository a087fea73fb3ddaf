// Registers of I2C devices that number them with one byte: expanders, temperature sensor, module memory, copper PHY.
#pragma once

#include "zelboard/i2c.h"

namespace zel {

/// Reads `size` bytes (up to 128) from the register on.
inline uint32_t read_register(uint8_t address, uint32_t reg, uint8_t size, void *bytes) {
  return FW_I2C_BufRead(address, reg, 1, size, bytes);
}

/// Writes `size` bytes (up to 128) from the register on.
inline uint32_t write_register(uint8_t address, uint32_t reg, uint8_t size, const void *bytes) {
  return FW_I2C_BufWrite(address, reg, 1, size, bytes);
}

}  // namespace zel
