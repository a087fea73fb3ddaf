#include "board.h"
#include "changes.h"

// LM75: four registers behind a pointer, high byte first; temperatures stand in the upper nine bits. The configuration
// has one byte, which a longer read repeats.

namespace zelsim {
namespace {

enum SensorRegister : unsigned {
  Temperature = kSensorTemperature,
  Configuration,
  Hysteresis,
  OverTemperature,
  kSensorRegisters
};

void read_value(Transfer &transfer, uint16_t value) {
  auto high = static_cast<uint8_t>(value >> 8);
  auto low = static_cast<uint8_t>(value);
  for (unsigned i = 0; i < transfer.len; ++i) transfer.data[i] = i % 2 == 0 ? high : low;
}

// The temperature is read only. A limit takes both its bytes or none.
void write_value(const Transfer &transfer, unsigned number, uint16_t &value) {
  constexpr int kNineBits = 0xff80;
  const uint8_t *data = transfer.data;
  if (number == Configuration && transfer.len > 0) {
    value = static_cast<uint16_t>(data[0] << 8 | data[0]);  // both bytes, as a longer read shows it
  } else if ((number == Hysteresis || number == OverTemperature) && transfer.len > 1) {
    value = static_cast<uint16_t>((data[0] << 8 | data[1]) & kNineBits);
  }
}

}  // namespace

int temperature_sensor(Board &board, Transfer &transfer) {
  Sensor &sensor = board.i2c.sensor;
  if (!board.i2c.sensor_present) return kFail;
  transfer.take_pointer(&sensor.pointer, kSensorRegisters);
  unsigned number = sensor.pointer % kSensorRegisters;
  if (transfer.write) {
    uint16_t before = sensor.value[number];
    write_value(transfer, number, sensor.value[number]);
    log_change(
        board,
        {.kind = ChangeKind::SensorRegister, .address = number, .before = before, .after = sensor.value[number]});
  } else {
    read_value(transfer, sensor.value[number]);
  }
  return 0;
}

}  // namespace zelsim
