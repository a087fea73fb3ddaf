// Which ports have no cage.
#pragma once

#include <stdint.h>

namespace zel {

/// 0 for a port with a cage, else why there is none: FW_ABSENT or FW_NOT_SFP. Existence is decided on the port, the kind
/// of its board on `cage`: a port as well, or what is left of it in a driver's record.
uint32_t refuse_port(uint32_t port, uint32_t cage);

}  // namespace zel
