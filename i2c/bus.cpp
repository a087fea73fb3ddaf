// The I2C driver's bus flag and debug mode, and the SFP functions' delay.
#include "board/request.h"
#include "zelboard/i2c.h"

uint8_t i2c_debug_mode = 0;

uint32_t FW_Get_I2C_Busy(uint8_t *busy) { return zel::get_byte(zel::kGetBusy, busy); }
uint32_t FW_Set_I2C_Busy(uint8_t busy) { return zel::send_byte(zel::kSetBusy, busy); }

uint32_t FW_ReflashI2CBus(void) {
  uint8_t scratch[4] = {};  // the request carries no data, only a pointer
  return zel::request(zel::kRefreshBus, scratch).result;
}

uint32_t FW_SetDebug_I2C(uint8_t mode) { return zel::send_byte(zel::set_debug_mode(zel::Node::I2c), mode); }

uint32_t FW_GetDebug_I2C(void) {
  return zel::read_debug_mode(zel::Node::I2c, &i2c_debug_mode, "I2C debug_mode is on", "I2C debug_mode is off");
}

void FW_SFP_mDelay(uint16_t ms) {
  constexpr useconds_t kMillisecond = 1000;
  for (uint16_t waited = 0; waited != ms; ++waited) usleep(kMillisecond);
}
