#include "board.h"

// LM75: four registers behind a pointer, high byte first; temperatures stand in the upper nine bits. The configuration
// has one byte, which a longer read repeats.

namespace zelsim {

int temperature_sensor(Board &board, Transfer &transfer) {
  constexpr unsigned kTemperature = 0, kConfiguration = 1;
  Sensor &sensor = board.i2c.sensor;
  if (!board.i2c.sensor_present) return kFail;
  transfer.take_pointer(&sensor.pointer, 4);
  uint16_t &value = sensor.value[sensor.pointer % 4];
  const uint8_t *data = transfer.data;
  if (!transfer.write) {
    for (unsigned i = 0; i < transfer.len; ++i)
      transfer.data[i] = static_cast<uint8_t>(i % 2 == 0 ? value >> 8 : value);
  } else if (sensor.pointer == kConfiguration && transfer.len > 0) {
    value = static_cast<uint16_t>(data[0] * 0x101);
  } else if (sensor.pointer > kTemperature && transfer.len > 1) {
    value = static_cast<uint16_t>((data[0] << 8 | data[1]) & 0xff80);
  }
  return 0;
}

}  // namespace zelsim
