// Diagnostic lines of the flash functions.
#pragma once

#include <stdio.h>

#include "zelboard/flash.h"

namespace zel {

inline bool debugging() { return spiflash_debug_mode == 1; }

/// Prints a diagnostic line in debug mode.
inline void note(const char *line) {
  if (debugging()) puts(line);
}

/// Prints a diagnostic line in debug mode; returns FW_FAIL.
inline uint32_t fail(const char *line) {
  note(line);
  return FW_FAIL;
}

}  // namespace zel
