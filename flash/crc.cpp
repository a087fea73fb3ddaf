// CRC-32 of IEEE 802.3, reflected: one exported table, built on first use, and four private ones beside it.
#include <pthread.h>
#include <string.h>

#include <atomic>
#include <bit>

#include "zelboard/flash.h"

uint32_t crc_table[256] = {};
uint8_t crc_table_is_init = 0;

namespace zel {
namespace {

constexpr uint32_t kPolynomial = 0xEDB88320;

constexpr uint32_t shift(uint32_t crc) { return (crc >> 1) ^ ((crc & 1) != 0 ? kPolynomial : 0); }

// Long texts are taken in blocks of five words. Each word of a block belongs to a lane with a register of its own, which
// meets that lane's words only: the lookups of one lane wait for none of another's. Entry n of byte[k] is the register
// after byte k of a word was n and zero bytes followed up to the lane's next word.
constexpr uint32_t kLanes = 5;
constexpr uint32_t kWord = sizeof(uint32_t);
constexpr uint32_t kBlock = kLanes * kWord;
static_assert(std::endian::native == std::endian::little);  // byte 0 of a word is its lowest

struct Strides {
  uint32_t byte[kWord][256];
};

constexpr Strides derive_strides() {
  Strides strides{};
  for (uint32_t n = 0; n < 256; ++n) {
    uint32_t crc = n;
    for (uint32_t k = kBlock; k-- > 0;) {
      for (int bit = 0; bit < 8; ++bit) crc = shift(crc);
      if (k < kWord) strides.byte[k][n] = crc;
    }
  }
  return strides;
}

constexpr Strides kStrides = derive_strides();

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

uint32_t word_of(const uint8_t *bytes, uint32_t n) {
  uint32_t word = 0;
  memcpy(&word, bytes + n * sizeof word, sizeof word);
  return word;
}

uint32_t stride(uint32_t word) {
  const auto &byte = kStrides.byte;
  return byte[0][word & 0xFF] ^ byte[1][word >> 8 & 0xFF] ^ byte[2][word >> 16 & 0xFF] ^ byte[3][word >> 24];
}

uint32_t bytewise(uint32_t crc, const uint8_t *bytes, uint32_t length) {
  for (; length != 0; ++bytes, --length) crc = crc_table[(crc ^ *bytes) & 0xFF] ^ (crc >> 8);
  return crc;
}

uint32_t crc_of(uint32_t crc, const uint8_t *bytes, uint32_t length) {
  ensure_table();
  if (length >= kBlock) {
    uint32_t lanes[kLanes] = {crc};
    for (; length >= 2 * kBlock; bytes += kBlock, length -= kBlock) {
      for (uint32_t n = 0; n < kLanes; ++n) lanes[n] = stride(lanes[n] ^ word_of(bytes, n));
    }
    // The last block brings the lanes together: a register and the word that it meets are one.
    for (uint32_t n = 0; n < kLanes; ++n) lanes[n] ^= word_of(bytes, n);
    crc = bytewise(0, reinterpret_cast<const uint8_t *>(lanes), kBlock);
    bytes += kBlock;
    length -= kBlock;
  }
  return bytewise(crc, bytes, length);
}

}  // namespace
}  // namespace zel

uint32_t FW_crc32(const uint8_t *buffer, uint32_t length) { return ~zel::crc_of(~0U, buffer, length); }

uint32_t FW_crc321(uint32_t crc, const uint8_t *buffer, uint32_t length) { return ~zel::crc_of(~crc, buffer, length); }
