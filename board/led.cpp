// Front-panel LEDs: each lives in the GPIO driver and, as a mirror, on the serial-GPIO chain.
#include "board/command.h"
#include "board/request.h"
#include "zelboard/board.h"

namespace zel {
namespace {

constexpr uint8_t kHighestValue = 2;
constexpr uint32_t kMirror = 1;

struct Led {
  uint8_t get, set;    // request numbers
  uint8_t group, bit;  // position on the serial-GPIO chain
};

constexpr Led kSystem{0x81, 0x80, 1, 3};
constexpr Led kAlarm{0x83, 0x82, 1, 1};
constexpr Led kRingMaster{0x8B, 0x8A, 2, 1};
constexpr Led kRingFail{0x8D, 0x8C, 2, 3};

// LEDs that share their requests and are told apart by a selector byte.
struct LedGroup {
  uint32_t first, last;  // selectors
  Led leds[4];

  bool has(uint32_t selector) const { return selector >= first && selector <= last; }
  const Led &led(uint32_t selector) const { return leds[selector - first]; }
};

constexpr LedGroup kPower{1, 2, {{0x87, 0x86, 0, 1}, {0x87, 0x86, 0, 3}}};
constexpr LedGroup kSpeed{24, 27, {{0x93, 0x92, 12, 1}, {0x93, 0x92, 12, 3}, {0x93, 0x92, 4, 1}, {0x93, 0x92, 4, 3}}};

struct SelectedLed {
  uint8_t selector, value;
};

void send_to_chain(uint8_t group, uint8_t bit, uint32_t value) {
  run_command("debugCmd sgpio_set %d %d %d\n", group, bit, value);
}

uint32_t get_led(const Led &led, uint8_t *value) { return get_byte({kGpio, led.get}, value); }

uint32_t set_led(const Led &led, uint32_t wanted, bool mirror) {
  const auto value = static_cast<uint8_t>(wanted);
  uint8_t current = 0;  // a LED that cannot be read counts as off
  get_led(led, &current);
  if (current == value) return 0;

  bool sent = false;
  uint8_t record = value;
  const auto in_range = [&](const Descriptor &) { return value <= kHighestValue; };
  const uint32_t result = prepared_request({kGpio, led.set}, &record, in_range, [&] { sent = true; });
  if (sent && mirror) send_to_chain(led.group, led.bit, value);
  return result;
}

uint32_t get_selected(const LedGroup &group, uint32_t selector, uint8_t *value) {
  if (!group.has(selector)) return FW_FAIL;
  SelectedLed record{static_cast<uint8_t>(selector), 0};
  return request({kGpio, group.led(selector).get}, record, [&] { *value = record.value; });
}

uint32_t set_selected(const LedGroup &group, uint32_t selector, uint32_t value, uint32_t mirror) {
  if (!group.has(selector) || value > kHighestValue) return FW_FAIL;
  uint8_t current = 0;
  get_selected(group, selector, &current);
  if (current == value) return 0;

  const Led &led = group.led(selector);
  SelectedLed record{static_cast<uint8_t>(selector), static_cast<uint8_t>(value)};
  return request_then({kGpio, led.set}, record, [&] {
    if (mirror == kMirror) send_to_chain(led.group, led.bit, value);
  });
}

}  // namespace
}  // namespace zel

uint32_t FW_GetSystemLed(uint8_t *led) { return zel::get_led(zel::kSystem, led); }
uint32_t FW_GetAlarmLed(uint8_t *led) { return zel::get_led(zel::kAlarm, led); }
uint32_t FW_GetRingMasterLed(uint8_t *led) { return zel::get_led(zel::kRingMaster, led); }
uint32_t FW_GetRingFailLed(uint8_t *led) { return zel::get_led(zel::kRingFail, led); }

uint32_t FW_SetSystemLed(uint32_t value) { return zel::set_led(zel::kSystem, value, true); }
uint32_t FW_SetAlarmLed(uint32_t value) { return zel::set_led(zel::kAlarm, value, true); }

uint32_t FW_SetRingMasterLed(uint32_t value, uint32_t mirror) {
  return zel::set_led(zel::kRingMaster, value, mirror == zel::kMirror);
}

uint32_t FW_SetRingFailLed(uint32_t value, uint32_t mirror) {
  return zel::set_led(zel::kRingFail, value, mirror == zel::kMirror);
}

uint32_t FW_GetPowerLed(uint32_t supply, uint8_t *led) { return zel::get_selected(zel::kPower, supply, led); }

uint32_t FW_SetPowerLed(uint32_t supply, uint32_t value, uint32_t mirror) {
  return zel::set_selected(zel::kPower, supply, value, mirror);
}

uint32_t FW_GetSfp10gSpeedLed(uint32_t port, uint8_t *led) { return zel::get_selected(zel::kSpeed, port, led); }

uint32_t FW_SetSfp10gSpeedLed(uint32_t port, uint32_t value, uint32_t mirror) {
  return zel::set_selected(zel::kSpeed, port, value, mirror);
}

uint32_t FW_LedTest(uint32_t mode) {
  if (mode > 3) return FW_FAIL;

  struct Position {
    uint8_t group, bit;
    uint32_t mode;  // lamp test that lights it
  };
  static constexpr Position kPositions[] = {{5, 1, 0}, {13, 1, 0}, {5, 3, 1}, {6, 1, 2}};
  for (const Position &lamp : kPositions) zel::send_to_chain(lamp.group, lamp.bit, 0);
  for (const Position &lamp : kPositions) {
    if (lamp.mode == mode) zel::send_to_chain(lamp.group, lamp.bit, 1);
  }
  return 0;
}
