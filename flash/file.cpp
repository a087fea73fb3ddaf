// Reading a file to its end.
#include "flash/file.h"

#include <errno.h>
#include <unistd.h>

#include "flash/buffer.h"
#include "zelboard/flash.h"

zel::FileSum zel::sum_file(int fd) {
  constexpr int32_t kPiece = 0x10000;
  FileSum total{};
  const Buffer piece = make_buffer(kPiece);
  if (!piece) return {.read_error = true, .size = 0, .sum = 0};
  for (;;) {
    const int32_t count = readFully(fd, piece.get(), kPiece);
    total.read_error = count < 0;
    if (count <= 0) return total;
    total.size += static_cast<uint32_t>(count);
    total.sum += dbChecksum(piece.get(), static_cast<uint32_t>(count));
  }
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
