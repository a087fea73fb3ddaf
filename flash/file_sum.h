// Size and byte sum of a file, as the check of a whole-flash image and the compare of a dump need them.
#pragma once

#include <stdint.h>

namespace zel {

inline constexpr uint32_t kWholeFlash = 0x2000000;

struct FileSum {
  bool read_error;
  uint32_t size, sum;  // wrapping
};

/// Reads from `fd` to the end of the file in pieces of 64 KiB.
FileSum sum_file(int fd);

}  // namespace zel
