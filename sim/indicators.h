#pragma once

#include <string_view>

#include "state.h"

// The indicators of the front panel: LEDs, and the relay.

namespace zelsim::tool {

struct Indicator {
  const char *key;  // in documents
  const char *led;  // in the panel's layout (cli/panel_layout.h); empty for the relay
  uint8_t (*state)(const Gpio &gpio);
};

constexpr Indicator kIndicators[] = {
    {"system", "system", [](const Gpio &gpio) { return gpio.system_led; }},
    {"alarm", "alarm", [](const Gpio &gpio) { return gpio.alarm_led; }},
    {"relay", "", [](const Gpio &gpio) { return gpio.relay; }},
    {"ring_master", "ring-master", [](const Gpio &gpio) { return gpio.ring_master_led; }},
    {"ring_fail", "ring-fail", [](const Gpio &gpio) { return gpio.ring_fail_led; }},
    {"power_1", "power1", [](const Gpio &gpio) { return gpio.power_led[0]; }},
    {"power_2", "power2", [](const Gpio &gpio) { return gpio.power_led[1]; }},
    {"speed_24", "speed24", [](const Gpio &gpio) { return gpio.speed_led[0]; }},
    {"speed_25", "speed25", [](const Gpio &gpio) { return gpio.speed_led[1]; }},
    {"speed_26", "speed26", [](const Gpio &gpio) { return gpio.speed_led[2]; }},
    {"speed_27", "speed27", [](const Gpio &gpio) { return gpio.speed_led[3]; }},
};

/** The LED with this name in the panel's layout; null if there is none. */
constexpr const Indicator *indicator_of_led(std::string_view led) {
  for (const Indicator &indicator : kIndicators) {
    if (led == indicator.led) return &indicator;
  }
  return nullptr;
}

}  // namespace zelsim::tool
