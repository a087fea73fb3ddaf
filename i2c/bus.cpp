#include "board/request.h"
#include "zelboard/i2c.h"

namespace {

constexpr zel::Request kGetBusy{zel::kI2c, 0xB2};
constexpr zel::Request kSetBusy{zel::kI2c, 0xB3};
constexpr zel::Request kRefresh{zel::kI2c, 0xB4};
constexpr useconds_t kMillisecond = 1000;

}  // namespace

uint8_t i2c_debug_mode = 0;

uint32_t FW_Get_I2C_Busy(uint8_t *busy) {
  uint8_t record = 0;
  return zel::request_then(kGetBusy, record, [&] { *busy = record; });
}

uint32_t FW_Set_I2C_Busy(uint8_t busy) { return zel::send_byte(kSetBusy, busy); }

uint32_t FW_ReflashI2CBus(void) {
  uint8_t scratch[4] = {};  // the request carries no data, only a pointer
  return zel::request(kRefresh, scratch);
}

uint32_t FW_SetDebug_I2C(uint8_t mode) { return zel::send_byte({zel::kI2c, zel::kSetDebugMode}, mode); }

uint32_t FW_GetDebug_I2C(void) {
  return zel::read_debug_mode(zel::kI2c, i2c_debug_mode, "I2C debug_mode is on", "I2C debug_mode is off");
}

void FW_SFP_mDelay(uint16_t ms) {
  for (uint16_t waited = 0; waited != ms; ++waited) usleep(kMillisecond);
}
