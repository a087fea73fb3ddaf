// The I/O expanders: registers of one byte, each with a number of one byte.
#pragma once

#include "zelboard/i2c.h"

namespace zel {

inline uint32_t read_expander(uint8_t address, uint8_t reg, uint8_t *byte) {
  return FW_I2C_BufRead(address, reg, 1, 1, byte);
}

inline uint32_t write_expander(uint8_t address, uint8_t reg, uint8_t byte) {
  return FW_I2C_BufWrite(address, reg, 1, 1, &byte);
}

/// A write is repeated until the register reads back the value, this often at most.
inline constexpr int kMostWrites = 100;

}  // namespace zel
