#include <stdio.h>

#include "board/soc_register.h"
#include "zelboard/board.h"

uint32_t FW_Wdt_Enable(void) { return zel::send_byte({zel::kGpio, 0x9B}, 0); }
uint32_t FW_Wdt_Toggle(void) { return zel::send_byte({zel::kGpio, 0x9C}, 0); }
uint32_t FW_Wdt_Toggle_Stop(void) { return zel::send_byte({zel::kGpio, 0x9D}, 0); }

uint32_t FW_Show_Wdt_Status(void) {
  constexpr uint32_t kControlRegister = 0x20300;
  constexpr uint32_t kEnabled = 0x100;
  zel::SocRegister control{kControlRegister, 0};
  uint32_t status = FW_FAIL;
  zel::request_then(zel::kGetSocRegister, control, [&] {
    puts((control.value & kEnabled) != 0 ? "Watch Dog Enabled" : "Watch Dog Disabled");
    status = 0;
  });
  return status;
}
