// CRC-32 of IEEE 802.3, reflected. The library computes from constant tables of its own; the exported one, filled by the
// first CRC, is for programs.
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
// meets that lane's words only: the lookups of one lane wait for none of another's. Entry n of stride[k] is the register
// after byte k of a word was n and zero bytes followed up to the lane's next word.
constexpr uint32_t kLanes = 5;
constexpr uint32_t kWord = sizeof(uint32_t);
constexpr uint32_t kBlock = kLanes * kWord;
static_assert(std::endian::native == std::endian::little);  // byte 0 of a word is its lowest

struct Tables {
  uint32_t single[256];         // entry n: register n after one byte
  uint32_t stride[kWord][256];  // by byte of a word
};

constexpr Tables derive_tables() {
  Tables tables{};
  for (uint32_t n = 0; n < 256; ++n) {
    uint32_t crc = n;
    for (uint32_t k = kBlock; k-- > 0;) {
      for (int bit = 0; bit < 8; ++bit) crc = shift(crc);
      if (k == kBlock - 1) tables.single[n] = crc;
      if (k < kWord) tables.stride[k][n] = crc;
    }
  }
  return tables;
}

constexpr Tables kTables = derive_tables();

/// A thread that sees the flag at 1 sees all 256 words. First users may come at once: each stores the same.
void publish_table() {
  const std::atomic_ref ready(crc_table_is_init);
  if (ready.load(std::memory_order_acquire) != 0) return;
  for (uint32_t n = 0; n < 256; ++n) {
    std::atomic_ref(crc_table[n]).store(kTables.single[n], std::memory_order_relaxed);
  }
  ready.store(1, std::memory_order_release);
}

uint32_t word_of(const uint8_t *bytes, uint32_t n) {
  uint32_t word = 0;
  memcpy(&word, bytes + n * sizeof word, sizeof word);
  return word;
}

uint32_t stride(uint32_t word) {
  const auto &byte = kTables.stride;
  return byte[0][word & 0xFF] ^ byte[1][word >> 8 & 0xFF] ^ byte[2][word >> 16 & 0xFF] ^ byte[3][word >> 24];
}

uint32_t bytewise(uint32_t crc, const uint8_t *bytes, uint32_t length) {
  for (; length != 0; ++bytes, --length) crc = kTables.single[(crc ^ *bytes) & 0xFF] ^ (crc >> 8);
  return crc;
}

uint32_t crc_of(uint32_t crc, const uint8_t *bytes, uint32_t length) {
  publish_table();
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
