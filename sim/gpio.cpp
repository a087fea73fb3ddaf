#include <string.h>

#include "request.h"

// The GPIO driver. Most requests set or get one byte of the board's state, and a table says all about them.

namespace zelsim {
namespace {

uint32_t loss_of_signal(const Board &board) {
  uint32_t bits = 0;
  for (unsigned port = kDaughterPorts; port < kPorts; ++port) {
    if (board.cages[port].loss_of_signal) bits |= 0x100u << (port - kDaughterPorts);
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

constexpr uint8_t kHighestLed = 2;  // the highest: off, on, and a third one

const Request kRequests[] = {
    sets_byte(0x80, "SetSystemLed", "led", offsetof(Board, gpio.system_led), kHighestLed),
    gets_byte(0x81, "GetSystemLed", "led", offsetof(Board, gpio.system_led)),
    sets_byte(0x82, "SetAlarmLed", "led", offsetof(Board, gpio.alarm_led), kHighestLed),
    gets_byte(0x83, "GetAlarmLed", "led", offsetof(Board, gpio.alarm_led)),
    sets_byte(0x84, "SetAlarmRelay", "relay", offsetof(Board, gpio.relay), 1),
    gets_byte(0x85, "GetAlarmRelay", "relay", offsetof(Board, gpio.relay)),
    sets_pair(0x86, "SetPowerLed", "supply led", {offsetof(Board, gpio.power_led), 1, kSupplies, kHighestLed}),
    gets_pair(0x87, "GetPowerLed", "supply led", {offsetof(Board, gpio.power_led), 1, kSupplies}),
    sets_byte(0x88, "SelectCage", "port", offsetof(Board, gpio.selected_cage), kPorts - 1),
    gets_pair(0x89, "GetPowerConf", "supply conf", {offsetof(Board, supply), 1, kSupplies}),
    sets_byte(0x8a, "SetRingMasterLed", "led", offsetof(Board, gpio.ring_master_led), kHighestLed),
    gets_byte(0x8b, "GetRingMasterLed", "led", offsetof(Board, gpio.ring_master_led)),
    sets_byte(0x8c, "SetRingFailLed", "led", offsetof(Board, gpio.ring_fail_led), kHighestLed),
    gets_byte(0x8d, "GetRingFailLed", "led", offsetof(Board, gpio.ring_fail_led)),
    sets_pair(0x92, "SetSpeedLed", "port led",
              {offsetof(Board, gpio.speed_led), kFirstMainPort, kMainPorts, kHighestLed}),
    gets_pair(0x93, "GetSpeedLed", "port led", {offsetof(Board, gpio.speed_led), kFirstMainPort, kMainPorts}),
    gets_byte(0x94, "GetResetProcess", "state", offsetof(Board, gpio.reset_process)),
    sets_byte(0x95, "SetResetFlag", "flag", offsetof(Board, gpio.reset_flag)),
    sets_byte(0x97, "SetIoValue", "value", offsetof(Board, gpio.io_value)),
    {0x98, "GetPowerStatus", Shape::Byte, kFills, "status", get_power_status},
    {0x99, "HardwareReset", Shape::Byte, kTakes, "value", hardware_reset},
    gets_byte(0x9a, "GetResetKey", "key", offsetof(Board, gpio.reset_key)),
    {0x9b, "EnableWatchdog", Shape::Byte, kTakes, "value", enable_watchdog},
    {0x9c, "ToggleWatchdog", Shape::Byte, kTakes, "value", toggle_watchdog},
    {0x9d, "StopWatchdogToggle", Shape::Byte, kTakes, "value", toggle_watchdog},
    {0xd5, "GetDiagFlag", Shape::Byte, kTakes, "value", get_diag_flag},
    sets_byte(0xd6, "SetDiagFlag", "flag", offsetof(Board, gpio.diag_flag)),
    gets_byte(0xd7, "GetFlashAccessFlag", "flag", offsetof(Board, gpio.flash_access_flag)),
    sets_byte(0xd8, "SetFlashAccessFlag", "flag", offsetof(Board, gpio.flash_access_flag)),
    sets_byte(0xdb, "SetDebugMode", "mode", offsetof(Board, gpio.debug)),
    gets_byte(0xdc, "GetDebugMode", "mode", offsetof(Board, gpio.debug)),
    {0xe0, "GetSocRegister", Shape::Register, kFills, "", soc_register},
    {0xe1, "SetSocRegister", Shape::Register, kTakes, "", soc_register},
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
