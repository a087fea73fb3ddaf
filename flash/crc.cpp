// CRC-32 of IEEE 802.3, reflected. The library computes from its own constant tables. The exported table is for
// programs; the first CRC fills it.
#include <string.h>

#include <atomic>
#include <bit>

#include "zelboard/flash.h"

uint32_t crc_table[256] = {};
uint8_t crc_table_is_init = 0;

namespace zel {
namespace {

constexpr uint32_t kPolynomial = 0xEDB88320;

constexpr uint32_t shift(uint32_t crc) {
  if ((crc & 1) == 0) return crc >> 1;
  return (crc >> 1) ^ kPolynomial;
}

/// A register, `bytes` zero bytes further.
constexpr uint32_t advance(uint32_t crc, uint32_t bytes) {
  for (uint32_t bit = 0; bit < 8 * bytes; ++bit) crc = shift(crc);
  return crc;
}

// Braided CRC: five independent lanes, merged at the end. A long text is taken in blocks of five words. Each word of a
// block goes to its own lane. Each lane has its own register, so no lookup waits for a lookup in another lane.
constexpr uint32_t kLanes = 5;
constexpr uint32_t kWord = sizeof(uint32_t);
constexpr uint32_t kBlock = kLanes * kWord;
static_assert(std::endian::native == std::endian::little);  // byte 0 of a word is its low byte

struct Tables {
  uint32_t single[256];         // [value]: a register with this value, one byte further
  uint32_t stride[kWord][256];  // [index][value]: a word's byte at this index, when the lane has reached its next word
};

constexpr Tables derive_tables() {
  Tables tables{};
  for (uint32_t value = 0; value < 256; ++value) {
    tables.single[value] = advance(value, 1);
    // The lane's next word begins a block behind the start of this one.
    for (uint32_t index = 0; index < kWord; ++index) tables.stride[index][value] = advance(value, kBlock - index);
  }
  return tables;
}

constexpr Tables kTables = derive_tables();

/// A thread that sees the flag at 1 sees all 256 words. Threads may come here at the same time: they store the same.
void publish_table() {
  const std::atomic_ref ready(crc_table_is_init);
  if (ready.load(std::memory_order_acquire) != 0) return;
  for (uint32_t index = 0; index < 256; ++index) {
    std::atomic_ref(crc_table[index]).store(kTables.single[index], std::memory_order_relaxed);
  }
  ready.store(1, std::memory_order_release);
}

uint32_t word_at(const uint8_t *block, uint32_t lane) {
  uint32_t word = 0;
  memcpy(&word, block + lane * sizeof word, sizeof word);
  return word;
}

/// The lane's register after a word, when the lane has reached its next word. `word` is combined with the register.
uint32_t advance_lane(uint32_t word) {
  const auto &table = kTables.stride;
  return table[0][word & 0xFF] ^ table[1][(word >> 8) & 0xFF] ^ table[2][(word >> 16) & 0xFF] ^ table[3][word >> 24];
}

uint32_t bytewise(uint32_t crc, const uint8_t *bytes, uint32_t length) {
  for (uint32_t index = 0; index < length; ++index) {
    crc = kTables.single[(crc ^ bytes[index]) & 0xFF] ^ (crc >> 8);
  }
  return crc;
}

uint32_t crc_of(uint32_t crc, const uint8_t *bytes, uint32_t length) {
  publish_table();
  if (length >= kBlock) {
    uint32_t lanes[kLanes] = {crc};
    while (length >= 2 * kBlock) {
      for (uint32_t lane = 0; lane < kLanes; ++lane) lanes[lane] = advance_lane(lanes[lane] ^ word_at(bytes, lane));
      bytes += kBlock;
      length -= kBlock;
    }
    // The last block merges the lanes: a CRC over its bytes, each word combined with its lane's register.
    for (uint32_t lane = 0; lane < kLanes; ++lane) lanes[lane] ^= word_at(bytes, lane);
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
