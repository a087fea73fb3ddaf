// Which ports have no cage.
#pragma once

#include <stdint.h>

namespace zel {

/// 0 for a port with a cage, else FW_ABSENT or FW_NOT_SFP.
uint32_t check_cage(uint32_t port);

/// The same for a call that sends the driver only the low byte of the port. `port` decides whether the port exists,
/// `low_byte` decides whether it has a cage.
uint32_t check_cage(uint32_t port, uint32_t low_byte);

}  // namespace zel
