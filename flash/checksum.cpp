// The byte sum of databases and files, and the read that goes on until its buffer is full.
#include <errno.h>
#include <unistd.h>

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

int32_t readFully(int fd, uint8_t *buffer, int32_t length) {
  int32_t total = 0;
  while (total < length) {
    const auto count = static_cast<int32_t>(read(fd, buffer + total, static_cast<size_t>(length - total)));
    if (count == 0) break;
    const bool failed = count < 0;
    if (failed && errno != EINTR && errno != EAGAIN) return -1;
    if (!failed) total += count;
  }
  return total;
}
