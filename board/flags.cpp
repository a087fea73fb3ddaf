// The flags that suppress flash writes, and the one that marks a write in progress.
#include "board/request.h"
#include "zelboard/board.h"

uint32_t diag_no_operation_flag = 0;

uint32_t FW_SetSystemDiagFlag(uint32_t flag) { return zel::send_byte({zel::kGpio, 0xD6}, flag != 0); }

uint32_t FW_GetSystemDiagFlag(void) { return zel::send_byte({zel::kGpio, 0xD5}, 0); }

uint32_t FW_SetDiagNoOperationFlag(uint32_t flag) {
  diag_no_operation_flag = flag != 0;
  return 0;
}

uint32_t FW_GetDiagNoOperationFlag(void) { return diag_no_operation_flag; }

uint32_t FW_SetFlashAccessFlag(uint32_t flag) { return zel::send_byte({zel::kGpio, 0xD8}, flag != 0); }

uint32_t FW_GetFlashAccessFlag(void) {
  // The byte is the answer; it stays FW_FAIL only when the node did not open.
  uint32_t flag = FW_FAIL;
  zel::get_byte({zel::kGpio, 0xD7}, &flag);
  return flag;
}
