// LM75 temperature sensor.
#include "i2c/presence.h"
#include "zelboard/i2c.h"

static_assert(sizeof(temp_record) == 4);

namespace {

constexpr zel::Request kGetAlive{zel::kI2c, 0xC1};
constexpr zel::Request kStore{zel::kI2c, 0xC5};
constexpr zel::Request kLoad{zel::kI2c, 0xC6};
constexpr zel::Request kFailFlag{zel::kI2c, 0xC8};
constexpr uint8_t kSensor = 0x9E;
constexpr uint8_t kTemperatureRegister = 0;

/// Nine bits in two's complement, half a degree each, at the top of two bytes.
float degrees(const uint8_t (&raw)[2]) {
  int value = raw[0] * 2 + (raw[1] >> 7);
  if ((raw[0] & 0x80) != 0) value -= 512;
  return static_cast<float>(value * 0.5);
}

}  // namespace

uint32_t FW_GetLM75_Alive(uint8_t *alive) { return zel::get_alive(kGetAlive, alive); }

uint32_t FW_GetTemperature(temp_record *rec) {
  if (const uint32_t refusal = zel::refuse_absent(FW_GetLM75_Alive); refusal != 0) return refusal;
  return zel::fill_record(kLoad, rec);
}

uint32_t FW_Tempereature_Fail_Set(uint8_t fail) { return zel::send_byte(kFailFlag, fail); }

uint32_t FW_PollTemperature(void) {
  if (const uint32_t refusal = zel::refuse_absent(FW_GetLM75_Alive); refusal != 0) return refusal;
  uint8_t raw[2] = {};
  const uint32_t result = FW_I2C_BufRead(kSensor, kTemperatureRegister, 1, sizeof raw, raw);
  FW_Tempereature_Fail_Set(result != 0);
  if (result != 0) return result;
  temp_record record{degrees(raw)};
  return zel::request(kStore, record);
}
