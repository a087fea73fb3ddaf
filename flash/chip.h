// Chip dispatch: the chip-independent fronts ask the driver which chip is fitted before they do anything.
#pragma once

#include "zelboard/flash.h"

namespace zel {

struct Chip {
  bool unknown;   // the driver could not be asked
  uint8_t index;  // 0 = N25Q256A; 0xFF when the kernel refused the question
};

inline Chip fitted_chip() {
  uint8_t index = 0xFF;
  const bool unknown = FW_FlashGetIndex(&index) == FW_FAIL;
  return {unknown, index};
}

/// Runs the N25Q256A's implementation of a front, or refuses another chip.
template <typename... Parameters, typename... Arguments>
uint32_t dispatch(uint32_t (*implementation)(Parameters...), Arguments... arguments) {
  const Chip chip = fitted_chip();
  return chip.unknown || chip.index != 0 ? FW_FAIL : implementation(arguments...);
}

}  // namespace zel
