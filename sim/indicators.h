#pragma once

#include <cstddef>
#include <string_view>

#include "state.h"

// The indicators of the front panel: LEDs, and the relay.

namespace zelsim::tool {

struct Indicator {
  const char *key;  // in documents
  const char *led;  // in the panel's layout (cli/panel_layout.h); empty for the relay
  size_t offset;    // of its byte in Gpio

  uint8_t state(const Gpio &gpio) const { return reinterpret_cast<const uint8_t *>(&gpio)[offset]; }
  uint8_t &state(Gpio &gpio) const { return reinterpret_cast<uint8_t *>(&gpio)[offset]; }
};

constexpr Indicator kIndicators[] = {
    {"system", "system", offsetof(Gpio, system_led)},
    {"alarm", "alarm", offsetof(Gpio, alarm_led)},
    {"relay", "", offsetof(Gpio, relay)},
    {"ring_master", "ring-master", offsetof(Gpio, ring_master_led)},
    {"ring_fail", "ring-fail", offsetof(Gpio, ring_fail_led)},
    {"power_1", "power1", offsetof(Gpio, power_led[0])},
    {"power_2", "power2", offsetof(Gpio, power_led[1])},
    {"speed_24", "speed24", offsetof(Gpio, speed_led[0])},
    {"speed_25", "speed25", offsetof(Gpio, speed_led[1])},
    {"speed_26", "speed26", offsetof(Gpio, speed_led[2])},
    {"speed_27", "speed27", offsetof(Gpio, speed_led[3])},
};

/** The LED with this name in the panel's layout; null if there is none. */
constexpr const Indicator *indicator_of_led(std::string_view led) {
  for (const Indicator &indicator : kIndicators) {
    if (led == indicator.led) return &indicator;
  }
  return nullptr;
}

}  // namespace zelsim::tool
