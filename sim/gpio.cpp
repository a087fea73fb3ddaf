#include <string.h>

#include "board.h"
#include "devices.h"
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

uint8_t *state_of(Board &board, const Request &request, unsigned index) {
  return reinterpret_cast<uint8_t *>(&board) + request.state + index;
}

bool selects(const Request &request, uint8_t selector) {
  return selector >= request.first && selector - request.first < request.count;
}

// One byte of the state, alone or chosen by a selector, set within its range or got.
int byte_state(Board &board, const Request &request, uint8_t *record) {
  bool pair = request.shape == Shape::Pair;
  if (pair && !selects(request, record[0])) return kFail;
  uint8_t &value = record[pair ? 1 : 0], &state = *state_of(board, request, pair ? record[0] - request.first : 0);
  if (!request.fills && value > request.highest) return kFail;
  (request.fills ? value : state) = request.fills ? state : value;
  return 0;
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
int toggle_watchdog(Board &board, const Request &, uint8_t *) {
  board.gpio.watchdog_toggling = 1;
  ++board.gpio.watchdog_toggles;
  return 0;
}

int stop_watchdog(Board &board, const Request &, uint8_t *) {
  board.gpio.watchdog_toggling = 0;
  return 0;
}

int get_diag_flag(Board &board, const Request &, uint8_t *) { return board.gpio.diag_flag; }

struct RegisterRecord {
  uint32_t address, value;
};

int soc_register(Board &board, const Request &request, uint8_t *record) {
  RegisterRecord one;
  memcpy(&one, record, sizeof one);
  if (!request.fills) return write_register(board, RegisterSpace::Soc, 0, one.address, one.value) ? 0 : kFail;
  one.value = read_register(board, RegisterSpace::Soc, 0, one.address);
  memcpy(record, &one, sizeof one);
  return 0;
}

constexpr uint8_t kLedStates = 2;  // the highest: off, on, and a third one

const Request kRequests[] = {
    {0x80, "SetSystemLed", Shape::Byte, false, "led", byte_state, offsetof(Board, gpio.system_led), 0, 1, kLedStates},
    {0x81, "GetSystemLed", Shape::Byte, true, "led", byte_state, offsetof(Board, gpio.system_led)},
    {0x82, "SetAlarmLed", Shape::Byte, false, "led", byte_state, offsetof(Board, gpio.alarm_led), 0, 1, kLedStates},
    {0x83, "GetAlarmLed", Shape::Byte, true, "led", byte_state, offsetof(Board, gpio.alarm_led)},
    {0x84, "SetAlarmRelay", Shape::Byte, false, "relay", byte_state, offsetof(Board, gpio.relay), 0, 1, 1},
    {0x85, "GetAlarmRelay", Shape::Byte, true, "relay", byte_state, offsetof(Board, gpio.relay)},
    {0x86, "SetPowerLed", Shape::Pair, false, "supply led", byte_state, offsetof(Board, gpio.power_led), 1, 2,
     kLedStates},
    {0x87, "GetPowerLed", Shape::Pair, true, "supply led", byte_state, offsetof(Board, gpio.power_led), 1, 2},
    {0x88, "SelectCage", Shape::Byte, false, "port", byte_state, offsetof(Board, gpio.selected_cage), 0, 1, kPorts - 1},
    {0x89, "GetPowerConf", Shape::Pair, true, "supply conf", byte_state, offsetof(Board, supply), 1, 2},
    {0x8a, "SetRingMasterLed", Shape::Byte, false, "led", byte_state, offsetof(Board, gpio.ring_master_led), 0, 1,
     kLedStates},
    {0x8b, "GetRingMasterLed", Shape::Byte, true, "led", byte_state, offsetof(Board, gpio.ring_master_led)},
    {0x8c, "SetRingFailLed", Shape::Byte, false, "led", byte_state, offsetof(Board, gpio.ring_fail_led), 0, 1,
     kLedStates},
    {0x8d, "GetRingFailLed", Shape::Byte, true, "led", byte_state, offsetof(Board, gpio.ring_fail_led)},
    {0x92, "SetSpeedLed", Shape::Pair, false, "port led", byte_state, offsetof(Board, gpio.speed_led), 24, 4,
     kLedStates},
    {0x93, "GetSpeedLed", Shape::Pair, true, "port led", byte_state, offsetof(Board, gpio.speed_led), 24, 4},
    {0x94, "GetResetProcess", Shape::Byte, true, "state", byte_state, offsetof(Board, gpio.reset_process)},
    {0x95, "SetResetFlag", Shape::Byte, false, "flag", byte_state, offsetof(Board, gpio.reset_flag)},
    {0x97, "SetIoValue", Shape::Byte, false, "value", byte_state, offsetof(Board, gpio.io_value)},
    {0x98, "GetPowerStatus", Shape::Byte, true, "status", get_power_status},
    {0x99, "HardwareReset", Shape::Byte, false, "value", hardware_reset},
    {0x9a, "GetResetKey", Shape::Byte, true, "key", byte_state, offsetof(Board, gpio.reset_key)},
    {0x9b, "EnableWatchdog", Shape::Byte, false, "value", enable_watchdog},
    {0x9c, "ToggleWatchdog", Shape::Byte, false, "value", toggle_watchdog},
    {0x9d, "StopWatchdogToggle", Shape::Byte, false, "value", stop_watchdog},
    {0xd5, "GetDiagFlag", Shape::Byte, false, "value", get_diag_flag},
    {0xd6, "SetDiagFlag", Shape::Byte, false, "flag", byte_state, offsetof(Board, gpio.diag_flag)},
    {0xd7, "GetFlashAccessFlag", Shape::Byte, true, "flag", byte_state, offsetof(Board, gpio.flash_access)},
    {0xd8, "SetFlashAccessFlag", Shape::Byte, false, "flag", byte_state, offsetof(Board, gpio.flash_access)},
    {0xdb, "SetDebugMode", Shape::Byte, false, "mode", byte_state, offsetof(Board, gpio.debug)},
    {0xdc, "GetDebugMode", Shape::Byte, true, "mode", byte_state, offsetof(Board, gpio.debug)},
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

// Registers that the models give no meaning are a small table of what was written.
uint32_t read_register(const Board &board, RegisterSpace space, uint8_t port, uint32_t address) {
  uint32_t value = 0;
  for (const Register &row : board.registers) {
    if (row.space == space && row.port == port && row.address == address) value = row.value;
  }
  if (space != RegisterSpace::Soc || address != kLossOfSignalRegister) return value;
  return (value & ~kLossOfSignalBits) | loss_of_signal(board);
}

bool write_register(Board &board, RegisterSpace space, uint8_t port, uint32_t address, uint32_t value) {
  Register *target = nullptr;
  for (Register &row : board.registers) {
    if (row.space == space && row.port == port && row.address == address) {
      row.value = value;
      return true;
    }
    if (target == nullptr && row.space == RegisterSpace::Free) target = &row;
  }
  if (target == nullptr) return false;
  target->port = port;
  target->address = address;
  target->value = value;
  target->space = space;  // last: a row counts once it is whole
  return true;
}

}  // namespace zelsim
