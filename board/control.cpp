// System-wide state of the GPIO driver: debug mode, flags, reset, watchdog.
#include <stdio.h>

#include "board/request.h"
#include "zelboard/board.h"

uint8_t debug_mode = 0;
uint32_t diag_no_operation_flag = 0;

uint32_t FW_SetDebug_Gpio(uint8_t mode) { return zel::send_byte(zel::set_debug_mode(zel::Node::Gpio), mode); }

uint32_t FW_GetDebug_Gpio(void) {
  return zel::read_debug_mode(zel::Node::Gpio, &debug_mode, "GPIO debug_mode is on", "GPIO debug_mode is off");
}

// The flags that suppress flash writes, and the one that marks a write in progress.
uint32_t FW_SetSystemDiagFlag(uint32_t flag) { return zel::send_byte(zel::kSetDiagFlag, flag != 0); }
// The flag is the request's result; the record carries nothing.
uint32_t FW_GetSystemDiagFlag(void) { return zel::send_byte(zel::kGetDiagFlag, 0); }

uint32_t FW_SetDiagNoOperationFlag(uint32_t flag) {
  diag_no_operation_flag = flag != 0;
  return 0;
}

uint32_t FW_GetDiagNoOperationFlag(void) { return diag_no_operation_flag; }
uint32_t FW_SetFlashAccessFlag(uint32_t flag) { return zel::send_byte(zel::kSetFlashAccessFlag, flag != 0); }

uint32_t FW_GetFlashAccessFlag(void) {
  uint8_t flag = 0;
  if (!zel::request(zel::kGetFlashAccessFlag, &flag).made) return FW_FAIL;
  return flag;
}

uint32_t FW_RstFlagSet(uint32_t flag) { return zel::send_byte(zel::kSetResetFlag, flag); }
uint32_t FW_RstProcGet(uint8_t *state) { return zel::get_byte(zel::kGetResetProcess, state); }

uint32_t FW_GetRstKey(uint32_t *key) {
  uint8_t record = 0;
  const zel::Answer answer = zel::request(zel::kGetResetKey, &record);
  return answer.hand_out(key, uint32_t{record});
}

uint32_t FW_HwReset(void) { return zel::send_byte(zel::kHardwareReset, 0); }
uint32_t FW_SystemReset(void) { return 0; }
uint32_t FW_SetIOVal(uint32_t value) { return zel::send_byte(zel::kSetIoValue, value); }

uint32_t FW_Wdt_Enable(void) { return zel::send_byte(zel::kEnableWatchdog, 0); }
uint32_t FW_Wdt_Toggle(void) { return zel::send_byte(zel::kToggleWatchdog, 0); }
uint32_t FW_Wdt_Toggle_Stop(void) { return zel::send_byte(zel::kStopWatchdogToggle, 0); }

uint32_t FW_Show_Wdt_Status(void) {
  constexpr uint32_t kControlRegister = 0x20300;
  constexpr uint32_t kEnabled = 0x100;
  zel::SocRegister control{kControlRegister, 0};
  if (!zel::request(zel::kGetSocRegister, &control).made) return FW_FAIL;
  const bool enabled = (control.value & kEnabled) != 0;
  puts(enabled ? "Watch Dog Enabled" : "Watch Dog Disabled");
  return 0;
}
