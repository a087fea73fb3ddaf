// The presence check of clock and temperature sensor, whose alive flags the I2C driver holds.
#pragma once

#include "board/request.h"

namespace zel {

/// Stores the alive flag once the node is closed.
inline uint32_t get_alive(Request what, uint8_t *alive) {
  uint8_t record = 0;
  return request_then(what, record, [&] { *alive = record; });
}

/// 0 for a device that is alive, else why it must not be touched.
inline uint32_t refuse_absent(uint32_t (*get_device_alive)(uint8_t *)) {
  uint8_t alive = 0;
  if (const uint32_t failed = get_device_alive(&alive); failed != 0) return failed;
  return alive == 0 ? FW_ABSENT : 0;
}

/// Lets the driver fill the caller's own record, zeroed once the node is open.
template <typename Record>
uint32_t fill_record(Request what, Record *record) {
  const auto clear = [&](const Descriptor &) {
    *record = Record{};
    return true;
  };
  return prepared_request(what, record, clear, kNothing);
}

}  // namespace zel
