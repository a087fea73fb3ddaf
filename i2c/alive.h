// The alive check of clock and temperature sensor. The I2C driver holds their alive flags and their records.
#pragma once

#include "board/request.h"

namespace zel {

/// Returns 0 for a device that is alive; FW_ABSENT for one that is not; or the failed question's result. Unless it is
/// 0, the caller returns it and does not access the device.
inline uint32_t check_alive(uint32_t (*get_device_alive)(uint8_t *)) {
  uint8_t alive = 0;
  if (const uint32_t failed = get_device_alive(&alive); failed != 0) return failed;
  return alive == 0 ? FW_ABSENT : 0;
}

}  // namespace zel
