// Files as the flash functions use them.
#pragma once

#include <stdint.h>
#include <sys/stat.h>

namespace zel {

/// Whether the path names a FIFO or a folder, which have no size. Does not open the path: opening a FIFO waits for a
/// writer.
inline bool is_fifo_or_folder(const char *path) {
  struct stat status {};
  return stat(path, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISDIR(status.st_mode));
}

struct FileSum {
  bool read_error;
  uint64_t size;
  uint32_t sum;  // wrapping
};

/// Size and byte sum of a file, read from `fd` to its end in pieces of 64 KiB.
FileSum sum_file(int fd);

}  // namespace zel
