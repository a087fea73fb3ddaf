// LM75 temperature sensor.
#include "i2c/alive.h"
#include "i2c/register.h"
#include "zelboard/i2c.h"

static_assert(sizeof(temp_record) == 4);

uint32_t FW_GetLM75_Alive(uint8_t *alive) { return zel::get_byte(zel::kGetSensorAlive, alive); }

uint32_t FW_GetTemperature(temp_record *rec) {
  if (const uint32_t refusal = zel::check_alive(FW_GetLM75_Alive); refusal != 0) return refusal;
  return zel::fill_record(zel::kGetTemperature, rec);
}

uint32_t FW_Tempereature_Fail_Set(uint8_t fail) { return zel::send_byte(zel::kSetTemperatureFail, fail); }

uint32_t FW_PollTemperature(void) {
  constexpr uint8_t kSensor = 0x9E;
  constexpr uint8_t kTemperatureRegister = 0;
  if (const uint32_t refusal = zel::check_alive(FW_GetLM75_Alive); refusal != 0) return refusal;
  uint8_t raw[2] = {};
  const uint32_t result = zel::read_register(kSensor, kTemperatureRegister, sizeof raw, raw);
  FW_Tempereature_Fail_Set(result != 0);
  if (result != 0) return result;
  // The upper nine bits are the temperature in two's complement, half a degree each.
  const int halves = static_cast<int8_t>(raw[0]) * 2 + (raw[1] >> 7);
  temp_record record{static_cast<float>(halves) / 2};
  return zel::request(zel::kSetTemperature, &record).result;
}
