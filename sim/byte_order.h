#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// Words in bytes.

namespace zelsim {

inline uint16_t big_word16_at(const uint8_t *bytes, size_t at) {
  return static_cast<uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

inline uint32_t big_word32_at(const uint8_t *bytes, size_t at) {
  return uint32_t{big_word16_at(bytes, at)} << 16 | big_word16_at(bytes, at + 2);
}

inline void put_big_word16_at(uint8_t *bytes, size_t at, uint16_t word) {
  bytes[at] = static_cast<uint8_t>(word >> 8);
  bytes[at + 1] = static_cast<uint8_t>(word);
}

/** A word in the byte order of this machine, which the drivers' records have. */
inline uint32_t host_word32_at(const uint8_t *bytes, size_t at) {
  uint32_t word = 0;
  std::memcpy(&word, bytes + at, sizeof word);
  return word;
}

}  // namespace zelsim
