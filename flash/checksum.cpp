#include <errno.h>
#include <unistd.h>

#include "zelboard/flash.h"

uint32_t dbChecksum(const void *buffer, uint32_t length) {
  // No more bytes than 16 bits hold the sum of: the narrower it is, the more of them a vector register adds at once.
  constexpr uint32_t kRun = 256;
  const auto *bytes = static_cast<const uint8_t *>(buffer);
  uint32_t sum = 0;
  for (; length >= kRun; bytes += kRun, length -= kRun) {
    uint16_t run = 0;
    for (uint32_t n = 0; n < kRun; ++n) run = static_cast<uint16_t>(run + bytes[n]);
    sum += run;
  }
  for (uint32_t n = 0; n < length; ++n) sum += bytes[n];
  return sum;
}

int32_t readFully(int fd, uint8_t *buffer, int32_t length) {
  int32_t total = 0;
  while (total < length) {
    const auto count = static_cast<int32_t>(read(fd, buffer + total, static_cast<size_t>(length - total)));
    if (count == 0) break;
    if (count > 0) {
      total += count;
    } else if (errno != EINTR && errno != EAGAIN) {
      return -1;
    }
  }
  return total;
}
