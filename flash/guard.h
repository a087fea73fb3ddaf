// Before a flash write: is it forbidden? During the write: the flag that tells the other processes.
#pragma once

#include "zelboard/board.h"

namespace zel {

/// True when the diagnostic flag and the no-operation flag are both set: then the flash must not change. If the GPIO
/// node does not open, the diagnostic flag counts as set.
inline bool flash_writes_refused() { return FW_GetSystemDiagFlag() != 0 && FW_GetDiagNoOperationFlag() != 0; }

/// Holds the flash-access flag for a scope. Declare it before all that must be released while the flag is up.
class FlashAccessFlag {
 public:
  FlashAccessFlag() { FW_SetFlashAccessFlag(1); }
  FlashAccessFlag(const FlashAccessFlag &) = delete;
  FlashAccessFlag &operator=(const FlashAccessFlag &) = delete;
  ~FlashAccessFlag() { FW_SetFlashAccessFlag(0); }
};

}  // namespace zel
