#include "image_file.h"

#include <fcntl.h>

#include <cerrno>
#include <vector>

#include "system_calls.h"

namespace zelsim::tool {

bool take_room(int fd, off_t at, off_t size) {
  if (size <= 0) return true;
  return fallocate(fd, FALLOC_FL_KEEP_SIZE, at, size) == 0 || errno == EOPNOTSUPP;
}

bool write_image(int fd, std::span<const uint8_t> bytes, off_t at) {
  while (!bytes.empty()) {
    ssize_t written = sys::pwrite(fd, bytes.data(), bytes.size(), at);
    if (written <= 0) return false;
    bytes = bytes.subspan(static_cast<size_t>(written));
    at += written;
  }
  return true;
}

bool make_hole(int fd, off_t at, off_t size) {
  if (size <= 0) return true;
  if (fallocate(fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, at, size) == 0) return true;
  std::vector<uint8_t> zeros(static_cast<size_t>(size));
  return write_image(fd, zeros, at);
}

}  // namespace zelsim::tool
