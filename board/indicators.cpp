// Front-panel LEDs and the alarm relay. An LED lives in the GPIO driver and, as a mirror, on the serial-GPIO chain.
#include "board/command.h"
#include "board/request.h"
#include "zelboard/board.h"
#include "zelboard/ports.h"

namespace zel {
namespace {

/// On the serial-GPIO chain.
struct Position {
  uint8_t group;
  uint8_t bit;
};

struct Led {
  Request get;
  Request set;
  Position position;
};

constexpr Led kSystem{kGetSystemLed, kSetSystemLed, {1, 3}};
constexpr Led kAlarm{kGetAlarmLed, kSetAlarmLed, {1, 1}};
constexpr Led kRingMaster{kGetRingMasterLed, kSetRingMasterLed, {2, 1}};
constexpr Led kRingFail{kGetRingFailLed, kSetRingFailLed, {2, 3}};

/// LEDs that share their requests. A selector byte, a supply or a port, says which is meant.
struct LedGroup {
  Request get;
  Request set;
  uint32_t first;         // selector
  uint32_t last;          // selector
  Position positions[4];  // from the first selector to the last

  bool has(uint32_t selector) const { return selector >= first && selector <= last; }
};

constexpr LedGroup kPower{.get = kGetPowerLed,
                          .set = kSetPowerLed,
                          .first = FW_SUPPLY_FIRST,
                          .last = FW_SUPPLY_LAST,
                          .positions = {{0, 1}, {0, 3}}};
constexpr LedGroup kSpeed{.get = kGetSpeedLed,
                          .set = kSetSpeedLed,
                          .first = FW_PORT_FIRST_10G,
                          .last = FW_PORT_LAST,
                          .positions = {{12, 1}, {12, 3}, {4, 1}, {4, 3}}};

/// A position of the lamp test, and the mode that switches it on.
struct Lamp {
  Position position;
  uint32_t mode;
};

constexpr Lamp kLamps[] = {{{5, 1}, 0}, {{13, 1}, 0}, {{5, 3}, 1}, {{6, 1}, 2}};
constexpr uint32_t kAllLampsOff = 3;  // the last mode

void send_to_chain(Position position, uint32_t value) {
  run_command("debugCmd sgpio_set %d %d %d\n", position.group, position.bit, static_cast<int>(value));
}

uint32_t set_led(const Led &led, uint32_t wanted, bool mirror) {
  const auto value = static_cast<uint8_t>(wanted);
  uint8_t current = 0;  // an LED that cannot be read counts as off
  request(led.get, &current);
  if (current == value) return 0;
  if (value > FW_LED_BLINK) return open_and_fail(Node::Gpio);

  uint8_t record = value;
  const Answer answer = request(led.set, &record);
  if (answer.made && mirror) send_to_chain(led.position, value);
  return answer.result;
}

uint32_t get_grouped(const LedGroup &group, uint32_t selector, uint8_t *value) {
  if (!group.has(selector)) return FW_FAIL;
  return get_selected(group.get, selector, value);
}

uint32_t set_grouped(const LedGroup &group, uint32_t selector, uint32_t value, bool mirror) {
  if (!group.has(selector) || value > FW_LED_BLINK) return FW_FAIL;
  uint8_t current = 0;
  get_selected(group.get, selector, &current);
  if (current == value) return 0;

  SelectedRecord record{static_cast<uint8_t>(selector), static_cast<uint8_t>(value)};
  const Answer answer = request(group.set, &record);
  if (answer.made && mirror) send_to_chain(group.positions[selector - group.first], value);
  return answer.result;
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
  if (mode > zel::kAllLampsOff) return FW_FAIL;
  for (const zel::Lamp &lamp : zel::kLamps) zel::send_to_chain(lamp.position, FW_LED_OFF);
  for (const zel::Lamp &lamp : zel::kLamps) {
    if (lamp.mode == mode) zel::send_to_chain(lamp.position, FW_LED_ON);
  }
  return 0;
}

uint32_t FW_SetAlarmRelay(uint32_t state) {
  const auto value = static_cast<uint8_t>(state);
  if (value > 1) return zel::open_and_fail(zel::Node::Gpio);
  return zel::send_byte(zel::kSetAlarmRelay, value);
}

uint32_t FW_GetAlarmRelay(uint8_t *state) { return zel::get_byte(zel::kGetAlarmRelay, state); }
