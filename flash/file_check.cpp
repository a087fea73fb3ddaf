#include <stdio.h>

#include "board/request.h"
#include "flash/buffer.h"
#include "flash/file.h"

zel::FileSum zel::sum_file(int fd) {
  constexpr int32_t kPiece = 0x10000;
  FileSum total{};
  const Buffer piece = make_buffer(kPiece);
  int32_t count = -1;
  while (piece && (count = readFully(fd, piece.get(), kPiece)) > 0) {
    total.size += static_cast<uint32_t>(count);
    total.sum += dbChecksum(piece.get(), static_cast<uint32_t>(count));
  }
  total.read_error = count < 0;
  return total;
}

uint32_t FW_CheckFile(const char *path, uint32_t sum) {
  const zel::Descriptor file(open(path, O_RDONLY));
  if (!file) {
    printf("FW_CheckFile() Open image file %s fail\n", path);
    return FW_FAIL;
  }
  const zel::FileSum found = zel::sum_file(file.get());
  return !found.read_error && found.size == zel::whole_flash() && found.sum == sum ? 0 : FW_FAIL;
}
