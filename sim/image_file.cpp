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

bool make_hole(int fd, off_t at, off_t size) {
  if (size <= 0) return true;
  if (fallocate(fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, at, size) == 0) return true;
  std::vector<uint8_t> zeros(static_cast<size_t>(size));
  return sys::pwrite(fd, zeros.data(), zeros.size(), at) == size;
}

}  // namespace zelsim::tool
