#include <string.h>

#include "changes.h"
#include "request.h"

// The I2C driver: transfers to the chips on the bus, the busy flag, the daughter boards, and the records of the clock
// and the temperature that it holds.

namespace zelsim {
namespace {

const I2cDevice kDevices[] = {
    {kFirstWideAddress, kMainWideAddress, expander},
    {kFirstClockAddress, kLastClockAddress, clock_chip},
    {kFirstNarrowAddress, kLastNarrowAddress, expander},
    {kSensorAddress, kSensorAddress, temperature_sensor},
    {kModuleAddress, kModuleAddress, module_memory},
    {kModuleDiagnosticsAddress, kModuleDiagnosticsAddress, module_diagnostics},
    {kModulePhyAddress, kModulePhyAddress, copper_phy},
};

const I2cDevice *device_at(uint8_t address) {
  for (const I2cDevice &device : kDevices) {
    if (address >= device.first && address <= device.last) return &device;
  }
  return nullptr;
}

int answer_transfer(Board &board, const Request &request, uint8_t *record) {
  constexpr uint8_t kMaxOffsetLen = 4;
  Transfer transfer = {};
  transfer.write = !request.fills;
  transfer.address = record[kAddress];
  transfer.offset_len = record[kOffsetLen];
  transfer.len = record[kLen];
  transfer.data = record;  // the data come first
  memcpy(&transfer.offset, record + kOffset, sizeof transfer.offset);
  bool odd = transfer.address % 2 != 0;  // the read/write bit is the driver's own
  if (transfer.len > kMaxTransfer || transfer.offset_len > kMaxOffsetLen || odd) return kFail;
  if (board.i2c.busy) return kBusBusy;
  const I2cDevice *device = device_at(transfer.address);
  return device != nullptr ? device->answer(board, transfer) : kFail;
}

// A refresh clocks the bus until whoever holds it lets go.
int refresh_bus(Board &board, const Request &, uint8_t *) {
  ++board.i2c.refreshes;
  change_byte(board, board.i2c.busy, 0);
  return 0;
}

const Request kI2cRequests[] = {
    gets_pair(0x96, "GetBoardType", "slot type", {offsetof(Board, i2c.slot_type), 1, kSlots}),
    {0xb0, "BufRead", Shape::Transfer, kFills, "", answer_transfer},
    {0xb1, "BufWrite", Shape::Transfer, kTakes, "", answer_transfer},
    gets_byte(0xb2, "GetBusy", "busy", offsetof(Board, i2c.busy)),
    sets_byte(0xb3, "SetBusy", "busy", offsetof(Board, i2c.busy)),
    {0xb4, "RefreshBus", Shape::None, kTakes, "", refresh_bus},
    gets_record(0xba, "GetRtc", Shape::Rtc, offsetof(Board, i2c.rtc_record)),
    gets_byte(0xc0, "GetRtcAlive", "alive", offsetof(Board, i2c.clock_present)),
    gets_byte(0xc1, "GetSensorAlive", "alive", offsetof(Board, i2c.sensor_present)),
    gets_pair(0xc2, "GetBoardAlive", "slot alive", {offsetof(Board, i2c.slot_alive), 1, kSlots}),
    sets_pair(0xc3, "SetBoardAlive", "slot alive", {offsetof(Board, i2c.slot_alive), 1, kSlots}),
    sets_record(0xc4, "SetRtc", Shape::Rtc, offsetof(Board, i2c.rtc_record)),
    sets_record(0xc5, "SetTemperature", Shape::Temperature, offsetof(Board, i2c.temperature_record)),
    gets_record(0xc6, "GetTemperature", Shape::Temperature, offsetof(Board, i2c.temperature_record)),
    sets_byte(0xc7, "SetRtcFail", "fail", offsetof(Board, i2c.clock_fail)),
    sets_byte(0xc8, "SetTemperatureFail", "fail", offsetof(Board, i2c.temperature_fail)),
    sets_byte(0xdb, "SetDebugMode", "mode", offsetof(Board, i2c.debug)),
    gets_byte(0xdc, "GetDebugMode", "mode", offsetof(Board, i2c.debug)),
};

}  // namespace

void Transfer::take_pointer(uint8_t *pointer, unsigned registers) {
  if (offset_len > 0) {
    *pointer = static_cast<uint8_t>(offset % registers);
  } else if (write && len > 0) {
    *pointer = static_cast<uint8_t>(data[0] % registers);
    ++data;
    --len;
  }
}

RequestTable i2c_requests() { return kI2cRequests; }

}  // namespace zelsim
