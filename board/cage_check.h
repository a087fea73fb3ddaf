// Which ports have no cage.
#pragma once

#include <stdint.h>

namespace zel {

/// 0 for a port with a cage, else FW_ABSENT or FW_NOT_SFP.
uint32_t check_cage(uint32_t port);

/// The same where the driver gets a part of the port's number: whether the port exists depends on `port`, whether it
/// has a cage on `part`.
uint32_t check_cage(uint32_t port, uint32_t part);

}  // namespace zel
