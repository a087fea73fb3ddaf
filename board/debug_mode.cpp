#include <stdio.h>

#include "board/request.h"
#include "zelboard/board.h"

uint8_t debug_mode = 0;

uint32_t zel::read_debug_mode(const char *node, uint8_t &mode, const char *on, const char *off) {
  const uint32_t result = request({node, kGetDebugMode}, mode);
  if (result != FW_FAIL) puts(mode != 0 ? on : off);
  return result;
}

uint32_t FW_SetDebug_Gpio(uint8_t mode) { return zel::send_byte({zel::kGpio, zel::kSetDebugMode}, mode); }

uint32_t FW_GetDebug_Gpio(void) {
  return zel::read_debug_mode(zel::kGpio, debug_mode, "GPIO debug_mode is on", "GPIO debug_mode is off");
}
