#include <string.h>

#include "request.h"

// The GPIO driver. Most requests set or get one byte of the board's state, and a table says all about them.

namespace zelsim {
namespace {

uint32_t loss_of_signal(const Board &board) {
  uint32_t bits = 0;
  for (unsigned port = kDaughterPorts; port < kPorts; ++port) {
    if (board.cages[port].los) bits |= 0x100u << (port - kDaughterPorts);
  }
  return bits;
}

constexpr uint32_t kLossOfSignalRegister = 0x18110, kLossOfSignalBits = 0xf00;  // bits 8 to 11: cages 24 to 27

// Registers that the models give no meaning are a small table of what was written. The row of one, a free row, or null.
Register *register_row(Board &board, RegisterSpace space, uint8_t port, uint32_t address) {
  Register *free = nullptr;
  for (Register &row : board.registers) {
    if (row.space == space && row.port == port && row.address == address) return &row;
    if (free == nullptr && row.space == RegisterSpace::Free) free = &row;
  }
  return free;
}

int get_power_status(Board &board, const Request &, uint8_t *record) {
  record[0] = power_status(board);
  return 0;
}

int hardware_reset(Board &board, const Request &, uint8_t *) {
  ++board.gpio.hardware_resets;
  reset_hardware(board);
  return 0;
}

int enable_watchdog(Board &board, const Request &, uint8_t *) {
  uint32_t value = read_register(board, RegisterSpace::Soc, 0, kWatchdogRegister);
  return write_register(board, RegisterSpace::Soc, 0, kWatchdogRegister, value | kWatchdogEnabled) ? 0 : kFail;
}

// Once asked to, the driver keeps toggling until it is told to stop.
int toggle_watchdog(Board &board, const Request &request, uint8_t *) {
  constexpr uint8_t kToggle = 0x9c;
  board.gpio.watchdog_toggling = request.number == kToggle;
  board.gpio.watchdog_toggles += board.gpio.watchdog_toggling;
  return 0;
}

int get_diag_flag(Board &board, const Request &, uint8_t *) { return board.gpio.diag_flag; }

int soc_register(Board &board, const Request &request, uint8_t *record) {
  uint32_t one[2];  // address and value
  memcpy(one, record, sizeof one);
  if (!request.fills) return write_register(board, RegisterSpace::Soc, 0, one[0], one[1]) ? 0 : kFail;
  one[1] = read_register(board, RegisterSpace::Soc, 0, one[0]);
  memcpy(record, one, sizeof one);
  return 0;
}

constexpr uint8_t kLed = 2;  // the highest: off, on, and a third one

const Request kRequests[] = {
    {0x80, "SetSystemLed", Shape::Byte, false, "led", plain, offsetof(Board, gpio.system_led), 0, 1, kLed},
    {0x81, "GetSystemLed", Shape::Byte, true, "led", plain, offsetof(Board, gpio.system_led)},
    {0x82, "SetAlarmLed", Shape::Byte, false, "led", plain, offsetof(Board, gpio.alarm_led), 0, 1, kLed},
    {0x83, "GetAlarmLed", Shape::Byte, true, "led", plain, offsetof(Board, gpio.alarm_led)},
    {0x84, "SetAlarmRelay", Shape::Byte, false, "relay", plain, offsetof(Board, gpio.relay), 0, 1, 1},
    {0x85, "GetAlarmRelay", Shape::Byte, true, "relay", plain, offsetof(Board, gpio.relay)},
    {0x86, "SetPowerLed", Shape::Pair, false, "supply led", plain, offsetof(Board, gpio.power_led), 1, 2, kLed},
    {0x87, "GetPowerLed", Shape::Pair, true, "supply led", plain, offsetof(Board, gpio.power_led), 1, 2},
    {0x88, "SelectCage", Shape::Byte, false, "port", plain, offsetof(Board, gpio.selected_cage), 0, 1, kPorts - 1},
    {0x89, "GetPowerConf", Shape::Pair, true, "supply conf", plain, offsetof(Board, supply), 1, 2},
    {0x8a, "SetRingMasterLed", Shape::Byte, false, "led", plain, offsetof(Board, gpio.ring_master_led), 0, 1, kLed},
    {0x8b, "GetRingMasterLed", Shape::Byte, true, "led", plain, offsetof(Board, gpio.ring_master_led)},
    {0x8c, "SetRingFailLed", Shape::Byte, false, "led", plain, offsetof(Board, gpio.ring_fail_led), 0, 1, kLed},
    {0x8d, "GetRingFailLed", Shape::Byte, true, "led", plain, offsetof(Board, gpio.ring_fail_led)},
    {0x92, "SetSpeedLed", Shape::Pair, false, "port led", plain, offsetof(Board, gpio.speed_led), 24, 4, kLed},
    {0x93, "GetSpeedLed", Shape::Pair, true, "port led", plain, offsetof(Board, gpio.speed_led), 24, 4},
    {0x94, "GetResetProcess", Shape::Byte, true, "state", plain, offsetof(Board, gpio.reset_process)},
    {0x95, "SetResetFlag", Shape::Byte, false, "flag", plain, offsetof(Board, gpio.reset_flag)},
    {0x97, "SetIoValue", Shape::Byte, false, "value", plain, offsetof(Board, gpio.io_value)},
    {0x98, "GetPowerStatus", Shape::Byte, true, "status", get_power_status},
    {0x99, "HardwareReset", Shape::Byte, false, "value", hardware_reset},
    {0x9a, "GetResetKey", Shape::Byte, true, "key", plain, offsetof(Board, gpio.reset_key)},
    {0x9b, "EnableWatchdog", Shape::Byte, false, "value", enable_watchdog},
    {0x9c, "ToggleWatchdog", Shape::Byte, false, "value", toggle_watchdog},
    {0x9d, "StopWatchdogToggle", Shape::Byte, false, "value", toggle_watchdog},
    {0xd5, "GetDiagFlag", Shape::Byte, false, "value", get_diag_flag},
    {0xd6, "SetDiagFlag", Shape::Byte, false, "flag", plain, offsetof(Board, gpio.diag_flag)},
    {0xd7, "GetFlashAccessFlag", Shape::Byte, true, "flag", plain, offsetof(Board, gpio.flash_access)},
    {0xd8, "SetFlashAccessFlag", Shape::Byte, false, "flag", plain, offsetof(Board, gpio.flash_access)},
    {0xdb, "SetDebugMode", Shape::Byte, false, "mode", plain, offsetof(Board, gpio.debug)},
    {0xdc, "GetDebugMode", Shape::Byte, true, "mode", plain, offsetof(Board, gpio.debug)},
    {0xe0, "GetSocRegister", Shape::Register, true, "", soc_register},
    {0xe1, "SetSocRegister", Shape::Register, false, "", soc_register},
};

}  // namespace

RequestTable gpio_requests() { return kRequests; }

// A single supply counts as the first one wherever it is plugged.
uint8_t power_status(const Board &board) {
  constexpr unsigned kTwoSupplies = 0x08, kFirstDc = 0x10, kSecondDc = 0x20, kFirstGood = 0x40, kSecondGood = 0x80;
  Supply first = board.supply[0], second = board.supply[1];
  unsigned status = 0;
  if (first != Supply::None && second != Supply::None) status |= kTwoSupplies;
  if (first == Supply::Dc || (first == Supply::None && second == Supply::Dc)) status |= kFirstDc;
  if (second == Supply::Dc) status |= kSecondDc;
  if (first != Supply::None && board.supply_good[0]) status |= kFirstGood;
  if (second != Supply::None && board.supply_good[1]) status |= kSecondGood;
  return static_cast<uint8_t>(status);
}

uint32_t read_register(const Board &board, RegisterSpace space, uint8_t port, uint32_t address) {
  const Register *row = register_row(const_cast<Board &>(board), space, port, address);
  uint32_t value = row != nullptr && row->space == space ? row->value : 0;
  if (space != RegisterSpace::Soc || address != kLossOfSignalRegister) return value;
  return (value & ~kLossOfSignalBits) | loss_of_signal(board);
}

bool write_register(Board &board, RegisterSpace space, uint8_t port, uint32_t address, uint32_t value) {
  Register *row = register_row(board, space, port, address);
  if (row != nullptr) *row = {space, port, address, value};
  return row != nullptr;
}

}  // namespace zelsim
