// The flash-write guard: its refusal half and its marking half.
#pragma once

#include "zelboard/board.h"

namespace zel {

/// True when both diagnostic flags forbid flash changes. An unopenable GPIO node counts as a set diagnostic flag.
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
