#include <string.h>

#include "changes.h"
#include "request.h"

// The GPIO driver. Most requests set or get one byte of the board's state, and are only rows of the table.

namespace zelsim {
namespace {

struct RegisterRecord {
  uint32_t address;
  uint32_t value;
};

int get_power_status(Board &board, const Request &, uint8_t *record) {
  record[0] = power_status(board);
  return 0;
}

int hardware_reset(Board &board, const Request &, uint8_t *) {
  uint32_t before = board.gpio.hardware_resets;
  ++board.gpio.hardware_resets;
  reset_hardware(board);
  log_change(board, {.kind = ChangeKind::HardwareReset, .before = before, .after = board.gpio.hardware_resets});
  return 0;
}

int enable_watchdog(Board &board, const Request &, uint8_t *) {
  uint32_t value = read_register(board, RegisterSpace::Soc, 0, kWatchdogRegister);
  return change_register(board, RegisterSpace::Soc, 0, kWatchdogRegister, value | kWatchdogEnabled) ? 0 : kFail;
}

// From then on the driver keeps toggling until the program stops it.
int toggle_watchdog(Board &board, const Request &, uint8_t *) {
  change_byte(board, board.gpio.watchdog_toggling, 1);
  ++board.gpio.watchdog_toggles;
  return 0;
}

int stop_watchdog_toggle(Board &board, const Request &, uint8_t *) {
  change_byte(board, board.gpio.watchdog_toggling, 0);
  return 0;
}

// The driver's result is the flag; the record stays as it is.
int get_diag_flag(Board &board, const Request &, uint8_t *) { return board.gpio.diag_flag; }

int get_soc_register(Board &board, const Request &, uint8_t *record) {
  RegisterRecord asked;
  memcpy(&asked, record, sizeof asked);
  asked.value = read_register(board, RegisterSpace::Soc, 0, asked.address);
  memcpy(record, &asked, sizeof asked);
  return 0;
}

int set_soc_register(Board &board, const Request &, uint8_t *record) {
  RegisterRecord asked;
  memcpy(&asked, record, sizeof asked);
  return change_register(board, RegisterSpace::Soc, 0, asked.address, asked.value) ? 0 : kFail;
}

constexpr uint8_t kHighestLed = 2;  // blinking

const Request kGpioRequests[] = {
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
    {0x9d, "StopWatchdogToggle", Shape::Byte, kTakes, "value", stop_watchdog_toggle},
    {0xd5, "GetDiagFlag", Shape::Byte, kTakes, "value", get_diag_flag},
    sets_byte(0xd6, "SetDiagFlag", "flag", offsetof(Board, gpio.diag_flag)),
    gets_byte(0xd7, "GetFlashAccessFlag", "flag", offsetof(Board, gpio.flash_access_flag)),
    sets_byte(0xd8, "SetFlashAccessFlag", "flag", offsetof(Board, gpio.flash_access_flag)),
    sets_byte(0xdb, "SetDebugMode", "mode", offsetof(Board, gpio.debug)),
    gets_byte(0xdc, "GetDebugMode", "mode", offsetof(Board, gpio.debug)),
    {0xe0, "GetSocRegister", Shape::Register, kFills, "", get_soc_register},
    {0xe1, "SetSocRegister", Shape::Register, kTakes, "", set_soc_register},
};

}  // namespace

RequestTable gpio_requests() { return kGpioRequests; }

// A single DC supply sets the first DC bit wherever it is plugged; in place 2 it sets the second one, too. The bits for good
// keep their places.
uint8_t power_status(const Board &board) {
  Supply first = board.supply[0];
  Supply second = board.supply[1];
  bool has_first = first != Supply::None;
  bool has_second = second != Supply::None;
  Supply counted_first = has_first ? first : second;
  unsigned status = 0;
  if (has_first && has_second) status |= kTwoSupplies;
  if (counted_first == Supply::Dc) status |= kFirstSupplyDc;
  if (second == Supply::Dc) status |= kSecondSupplyDc;
  if (has_first && board.supply_good[0]) status |= kFirstSupplyGood;
  if (has_second && board.supply_good[1]) status |= kSecondSupplyGood;
  return static_cast<uint8_t>(status);
}

}  // namespace zelsim
