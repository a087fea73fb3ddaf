#include "board/request.h"
#include "zelboard/board.h"

uint32_t FW_RstFlagSet(uint32_t flag) { return zel::send_byte({zel::kGpio, 0x95}, flag); }
uint32_t FW_RstProcGet(uint8_t *state) { return zel::get_byte({zel::kGpio, 0x94}, state); }
uint32_t FW_GetRstKey(uint32_t *key) { return zel::get_byte({zel::kGpio, 0x9A}, key); }
uint32_t FW_HwReset(void) { return zel::send_byte({zel::kGpio, 0x99}, 0); }
uint32_t FW_SystemReset(void) { return 0; }
uint32_t FW_SetIOVal(uint32_t value) { return zel::send_byte({zel::kGpio, 0x97}, value); }
