// The byte sum of databases and files.
#include "zelboard/flash.h"

uint32_t dbChecksum(const void *buffer, uint32_t length) {
  // A run's sum fits 16 bits. The compiler adds 16-bit sums in vector registers, more at once than 32-bit sums.
  constexpr uint32_t kRun = 256;
  const auto *bytes = static_cast<const uint8_t *>(buffer);
  uint32_t sum = 0;
  while (length >= kRun) {
    uint16_t run = 0;
    for (uint32_t index = 0; index < kRun; ++index) run = static_cast<uint16_t>(run + bytes[index]);
    sum += run;
    bytes += kRun;
    length -= kRun;
  }
  for (uint32_t index = 0; index < length; ++index) sum += bytes[index];
  return sum;
}
