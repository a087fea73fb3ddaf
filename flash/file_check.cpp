// Checks a whole-flash image file by its size and its byte sum.
#include <stdio.h>

#include "board/request.h"
#include "flash/buffer.h"
#include "flash/file.h"

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

uint32_t FW_CheckFile(const char *path, uint32_t sum) {
  const zel::Descriptor file(open(path, O_RDONLY));
  if (!file) {
    printf("FW_CheckFile() Open image file %s fail\n", path);
    return FW_FAIL;
  }
  const zel::FileSum found = zel::sum_file(file.get());
  const bool valid = !found.read_error && found.size == zel::whole_flash() && found.sum == sum;
  return valid ? 0 : FW_FAIL;
}
