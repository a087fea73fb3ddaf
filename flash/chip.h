// Chip dispatch: the chip-independent fronts ask the driver which chip is fitted before they do anything.
#pragma once

#include "zelboard/flash.h"

namespace zel {

struct Chip {
  bool unknown;   // the driver could not be asked
  uint8_t index;  // 0 = N25Q256A; 0xFF when the kernel refused the question
};

Chip fitted_chip();
bool n25q256a_fitted();

/// Runs the N25Q256A's implementation of a front, or refuses another chip. Inlined, lest the implementation's address is
/// looked up when the library is loaded.
template <typename... Parameters, typename... Arguments>
[[gnu::always_inline]] inline uint32_t dispatch(uint32_t (*implementation)(Parameters...), Arguments... arguments) {
  return n25q256a_fitted() ? implementation(arguments...) : FW_FAIL;
}

}  // namespace zel
