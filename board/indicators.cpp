// Front-panel LEDs and the alarm relay. A LED lives in the GPIO driver and, as a mirror, on the serial-GPIO chain.
#include "board/command.h"
#include "board/request.h"
#include "zelboard/board.h"
#include "zelboard/ports.h"

namespace zel {
namespace {

struct Position {
  uint8_t group, bit;  // on the serial-GPIO chain
};

struct Led {
  Request get, set;
  Position position;
};

constexpr Led kSystem{kGetSystemLed, kSetSystemLed, {1, 3}};
constexpr Led kAlarm{kGetAlarmLed, kSetAlarmLed, {1, 1}};
constexpr Led kRingMaster{kGetRingMasterLed, kSetRingMasterLed, {2, 1}};
constexpr Led kRingFail{kGetRingFailLed, kSetRingFailLed, {2, 3}};

// LEDs that share their requests and are told apart by a selector byte.
struct LedGroup {
  Request get, set;
  uint32_t first, last;  // selectors
  Position positions[4];

  bool has(uint32_t selector) const { return selector >= first && selector <= last; }
};

constexpr LedGroup kPower{kGetPowerLed, kSetPowerLed, FW_SUPPLY_FIRST, FW_SUPPLY_LAST, {{0, 1}, {0, 3}}};
constexpr LedGroup kSpeed{
    kGetSpeedLed, kSetSpeedLed, FW_PORT_FIRST_10G, FW_PORT_LAST, {{12, 1}, {12, 3}, {4, 1}, {4, 3}}};

void send_to_chain(Position position, uint32_t value) {
  run_command("debugCmd sgpio_set %d %d %d\n", position.group, position.bit, static_cast<int>(value));
}

uint32_t set_led(const Led &led, uint32_t wanted, bool mirror) {
  const auto value = static_cast<uint8_t>(wanted);
  uint8_t current = 0;  // a LED that cannot be read counts as off
  request(led.get, &current);
  if (current == value) return 0;
  if (value > FW_LED_BLINK) return refuse_opened(Node::Gpio);

  uint8_t record = value;
  return request(led.set, record, [&] {
    if (mirror) send_to_chain(led.position, value);
  });
}

uint32_t get_grouped(const LedGroup &group, uint32_t selector, uint8_t *value) {
  return group.has(selector) ? get_selected(group.get, selector, value) : FW_FAIL;
}

uint32_t set_grouped(const LedGroup &group, uint32_t selector, uint32_t value, bool mirror) {
  if (!group.has(selector) || value > FW_LED_BLINK) return FW_FAIL;
  SelectedRecord record{static_cast<uint8_t>(selector), 0};
  request(group.get, &record);
  if (record.value == value) return 0;

  record = {static_cast<uint8_t>(selector), static_cast<uint8_t>(value)};
  return request(group.set, record, [&] {
    if (mirror) send_to_chain(group.positions[selector - group.first], value);
  });
}

}  // namespace
}  // namespace zel

uint32_t FW_GetSystemLed(uint8_t *led) { return zel::get_byte(zel::kGetSystemLed, led); }
uint32_t FW_GetAlarmLed(uint8_t *led) { return zel::get_byte(zel::kGetAlarmLed, led); }
uint32_t FW_GetRingMasterLed(uint8_t *led) { return zel::get_byte(zel::kGetRingMasterLed, led); }
uint32_t FW_GetRingFailLed(uint8_t *led) { return zel::get_byte(zel::kGetRingFailLed, led); }

uint32_t FW_SetSystemLed(uint32_t value) { return zel::set_led(zel::kSystem, value, true); }
uint32_t FW_SetAlarmLed(uint32_t value) { return zel::set_led(zel::kAlarm, value, true); }

uint32_t FW_SetRingMasterLed(uint32_t value, uint32_t mirror) {
  return zel::set_led(zel::kRingMaster, value, mirror == FW_MIRROR);
}

uint32_t FW_SetRingFailLed(uint32_t value, uint32_t mirror) {
  return zel::set_led(zel::kRingFail, value, mirror == FW_MIRROR);
}

uint32_t FW_GetPowerLed(uint32_t supply, uint8_t *led) { return zel::get_grouped(zel::kPower, supply, led); }

uint32_t FW_SetPowerLed(uint32_t supply, uint32_t value, uint32_t mirror) {
  return zel::set_grouped(zel::kPower, supply, value, mirror == FW_MIRROR);
}

uint32_t FW_GetSfp10gSpeedLed(uint32_t port, uint8_t *led) { return zel::get_grouped(zel::kSpeed, port, led); }

uint32_t FW_SetSfp10gSpeedLed(uint32_t port, uint32_t value, uint32_t mirror) {
  return zel::set_grouped(zel::kSpeed, port, value, mirror == FW_MIRROR);
}

uint32_t FW_LedTest(uint32_t mode) {
  static constexpr zel::Position kLamps[] = {{5, 1}, {13, 1}, {5, 3}, {6, 1}};
  static constexpr uint8_t kModes[] = {0, 0, 1, 2};  // lamp test that lights each
  if (mode > 3) return FW_FAIL;
  for (const zel::Position &lamp : kLamps) zel::send_to_chain(lamp, 0);
  for (uint32_t n = 0; n < sizeof kModes; ++n) {
    if (kModes[n] == mode) zel::send_to_chain(kLamps[n], 1);
  }
  return 0;
}

uint32_t FW_SetAlarmRelay(uint32_t state) {
  const auto value = static_cast<uint8_t>(state);
  return value <= 1 ? zel::send_byte(zel::kSetAlarmRelay, value) : zel::refuse_opened(zel::Node::Gpio);
}

uint32_t FW_GetAlarmRelay(uint8_t *state) { return zel::get_byte(zel::kGetAlarmRelay, state); }
