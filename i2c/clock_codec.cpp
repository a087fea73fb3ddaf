// The S-35390A's number format: BCD. It sends each byte from the least significant bit on: weight 1 arrives in bit 7.
#include "zelboard/i2c.h"

uint8_t s35390A_to_time(uint8_t raw, uint8_t nbits) {
  constexpr uint8_t kWeights[] = {1, 2, 4, 8, 10, 20, 40, 80};  // from bit 7 down
  uint32_t value = 0;
  for (uint32_t bit = 0; bit < nbits && bit < sizeof kWeights; ++bit) {
    if ((raw & (0x80 >> bit)) != 0) value += kWeights[bit];
  }
  return static_cast<uint8_t>(value);
}

uint8_t time_to_s35390A(uint32_t value) {
  const uint32_t bcd = value / 10 * 16 + value % 10;
  uint32_t reversed = 0;
  for (uint32_t bit = 0; bit < 8; ++bit) reversed |= ((bcd >> bit) & 1) << (7 - bit);
  return static_cast<uint8_t>(reversed);
}
