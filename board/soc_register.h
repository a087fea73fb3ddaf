// SoC registers as the GPIO driver reads and writes them.
#pragma once

#include "board/request.h"

namespace zel {

struct SocRegister {
  uint32_t address;
  uint32_t value;
};
static_assert(sizeof(SocRegister) == 8);

inline constexpr Request kGetSocRegister{kGpio, 0xE0};
inline constexpr Request kSetSocRegister{kGpio, 0xE1};

}  // namespace zel
