#include "board/request.h"
#include "zelboard/board.h"

uint32_t FW_SetAlarmRelay(uint32_t state) {
  auto record = static_cast<uint8_t>(state);
  const auto in_range = [&](const zel::Descriptor &) { return record <= 1; };
  return zel::prepared_request({zel::kGpio, 0x84}, &record, in_range, zel::kNothing);
}

uint32_t FW_GetAlarmRelay(uint8_t *state) { return zel::get_byte({zel::kGpio, 0x85}, state); }
