// CRC-32 and byte sum over one copy piece, beside a plain loop and the usual libraries.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <array>
#include <numeric>
#include <vector>

#include "zelboard/flash.h"

namespace {

const std::vector<uint8_t> &piece() {
  static const std::vector<uint8_t> bytes = [] {
    std::vector<uint8_t> made(0x10000);
    for (size_t index = 0; index < made.size(); ++index) {
      made[index] = static_cast<uint8_t>((index * 2654435761u) >> 13);
    }
    return made;
  }();
  return bytes;
}

std::array<uint32_t, 256> crc_words() {
  std::array<uint32_t, 256> words{};
  constexpr uint32_t kPolynomial = 0xEDB88320;
  for (uint32_t byte = 0; byte < words.size(); ++byte) {
    uint32_t word = byte;
    for (int bit = 0; bit < 8; ++bit) {
      bool is_odd = word % 2 != 0;
      word >>= 1;
      if (is_odd) word ^= kPolynomial;
    }
    words[byte] = word;
  }
  return words;
}

uint32_t table_loop(const uint8_t *bytes, uint32_t length) {
  static const std::array<uint32_t, 256> words = crc_words();
  uint32_t crc = ~0u;
  for (uint32_t index = 0; index < length; ++index) crc = words[(crc ^ bytes[index]) & 0xFF] ^ (crc >> 8);
  return ~crc;
}

uint32_t zlib_crc(const uint8_t *bytes, uint32_t length) { return static_cast<uint32_t>(crc32(0, bytes, length)); }

uint32_t accumulated(const uint8_t *bytes, uint32_t length) { return std::accumulate(bytes, bytes + length, 0u); }

uint32_t byte_sum(const uint8_t *bytes, uint32_t length) { return dbChecksum(bytes, length); }

template <uint32_t (*Function)(const uint8_t *, uint32_t)>
void measure(benchmark::State &state) {
  const std::vector<uint8_t> &bytes = piece();
  for (auto _ : state) {
    benchmark::DoNotOptimize(Function(bytes.data(), static_cast<uint32_t>(bytes.size())));
    benchmark::ClobberMemory();
  }
}

}  // namespace

BENCHMARK(measure<FW_crc32>)->Name("crc/zelboard");
BENCHMARK(measure<table_loop>)->Name("crc/table_loop");
BENCHMARK(measure<zlib_crc>)->Name("crc/zlib");
BENCHMARK(measure<byte_sum>)->Name("sum/zelboard");
BENCHMARK(measure<accumulated>)->Name("sum/accumulate");
