// CRC-32 of IEEE 802.3, reflected: one exported table, built on first use, and seven private ones beside it.
#include <pthread.h>
#include <string.h>

#include <atomic>

#include "zelboard/flash.h"

uint32_t crc_table[256] = {};
uint8_t crc_table_is_init = 0;

namespace zel {
namespace {

constexpr uint32_t kPolynomial = 0xEDB88320;

constexpr uint32_t shift(uint32_t crc) { return (crc >> 1) ^ ((crc & 1) != 0 ? kPolynomial : 0); }

// Entry n of slice k is the CRC register after byte n and k zero bytes. Slice 0 would be crc_table itself. With the
// slices eight bytes are looked up independently of each other, not one after another.
struct Slices {
  uint32_t table[8][256];
};

constexpr Slices derive_slices() {
  Slices slices{};
  for (uint32_t n = 0; n < 256; ++n) {
    uint32_t crc = n;
    for (auto &slice : slices.table) {
      for (int bit = 0; bit < 8; ++bit) crc = shift(crc);
      slice[n] = crc;
    }
  }
  return slices;
}

constexpr Slices kSlices = derive_slices();

pthread_mutex_t table_lock = PTHREAD_MUTEX_INITIALIZER;

void build_table() {
  crc_table[0] = 0;
  uint32_t crc = 1;
  for (uint32_t i = 128; i != 0; i >>= 1) {
    crc = shift(crc);
    for (uint32_t j = 0; j < 256; j += 2 * i) crc_table[i + j] = crc_table[j] ^ crc;
  }
}

/// A thread that sees the flag at 1 sees all 256 words; the lock keeps a second first user from building over a table
/// that is already in use.
void ensure_table() {
  const std::atomic_ref ready(crc_table_is_init);
  if (ready.load(std::memory_order_acquire) != 0) return;
  pthread_mutex_lock(&table_lock);
  if (ready.load(std::memory_order_relaxed) == 0) {
    build_table();
    ready.store(1, std::memory_order_release);
  }
  pthread_mutex_unlock(&table_lock);
}

uint32_t load32(const uint8_t *bytes) {
  uint32_t word = 0;
  memcpy(&word, bytes, sizeof word);
  return word;
}

uint32_t crc_of(uint32_t crc, const uint8_t *bytes, uint32_t length) {
  ensure_table();
  const auto &t = kSlices.table;
  for (; length >= 8; bytes += 8, length -= 8) {
    const uint32_t low = load32(bytes) ^ crc;
    const uint32_t high = load32(bytes + 4);
    crc = t[7][low & 0xFF] ^ t[6][low >> 8 & 0xFF] ^ t[5][low >> 16 & 0xFF] ^ t[4][low >> 24] ^  //
          t[3][high & 0xFF] ^ t[2][high >> 8 & 0xFF] ^ t[1][high >> 16 & 0xFF] ^ crc_table[high >> 24];
  }
  for (; length != 0; ++bytes, --length) crc = crc_table[(crc ^ *bytes) & 0xFF] ^ (crc >> 8);
  return crc;
}

}  // namespace
}  // namespace zel

uint32_t FW_crc32(const uint8_t *buffer, uint32_t length) { return ~zel::crc_of(~0U, buffer, length); }

uint32_t FW_crc321(uint32_t crc, const uint8_t *buffer, uint32_t length) { return ~zel::crc_of(~crc, buffer, length); }
