// Files as the flash functions use them.
#pragma once

#include <sys/stat.h>

#include "flash/map.h"

namespace zel {

/// Whether the path names a FIFO or a folder: they have no size. Asks by path, because opening a FIFO waits for a
/// writer.
inline bool is_fifo_or_folder(const char *path) {
  struct stat status {};
  return stat(path, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISDIR(status.st_mode));
}

/// Bytes on the whole chip and in a whole-flash image.
inline uint64_t whole_flash() { return uint64_t{flash_def[FW_FLASH_SECTOR_SIZE]} * flash_def[FW_FLASH_SECTORS]; }

struct FileSum {
  bool read_error;
  uint64_t size;
  uint32_t sum;  // wrapping
};

/// Size and byte sum of a file, read from `fd` to its end in pieces of 64 KiB.
FileSum sum_file(int fd);

}  // namespace zel
