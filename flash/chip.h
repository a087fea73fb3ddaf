// Chip dispatch: the chip-independent fronts ask the driver which chip is fitted before they do anything.
#pragma once

#include "zelboard/flash.h"

namespace zel {

struct Chip {
  bool unknown;   // the question returned FW_FAIL: the node did not open, or the driver failed
  uint8_t index;  // 0 = N25Q256A; 0xFF when the kernel refused the question
};

Chip fitted_chip();
bool n25q256a_fitted();

/// Runs the N25Q256A's implementation of a front, or refuses another chip. Inlined: otherwise the loader looks the
/// implementation's address up when it loads the library.
template <typename... Parameters, typename... Arguments>
[[gnu::always_inline]] inline uint32_t dispatch(uint32_t (*implementation)(Parameters...), Arguments... arguments) {
  if (!n25q256a_fitted()) return FW_FAIL;
  return implementation(arguments...);
}

}  // namespace zel
