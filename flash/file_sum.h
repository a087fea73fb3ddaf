// Size and byte sum of a file, as the check of a whole-flash image and the compare of a dump need them.
#pragma once

#include "flash/map.h"

namespace zel {

/// Bytes on the whole chip, and so in a whole-flash image.
inline uint64_t whole_flash() { return uint64_t{flash_def[kSectorSize]} * flash_def[kSectorCount]; }

struct FileSum {
  bool read_error;
  uint64_t size;
  uint32_t sum;  // wrapping
};

/// Reads from `fd` to the end of the file in pieces of 64 KiB.
FileSum sum_file(int fd);

}  // namespace zel
