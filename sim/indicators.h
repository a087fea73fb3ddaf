#pragma once

#include <cstddef>
#include <string_view>

#include "state.h"

// The indicators of the front panel: LEDs, and the relay.

namespace zelsim::tool {

/** A position of the serial-GPIO chain. */
struct ChainPosition {
  unsigned group;
  unsigned bit;
  bool operator==(const ChainPosition &) const = default;
  uint8_t state(const Board &board) const { return board.chain[group][bit]; }
};

struct Indicator {
  const char *key;         // in documents
  const char *led;         // in the panel's layout (cli/panel_layout.h); empty for the relay
  size_t offset;           // of its byte in Gpio
  ChainPosition position;  // where programs mirror it; the relay has none

  uint8_t state(const Gpio &gpio) const { return reinterpret_cast<const uint8_t *>(&gpio)[offset]; }
  uint8_t &state(Gpio &gpio) const { return reinterpret_cast<uint8_t *>(&gpio)[offset]; }
};

constexpr ChainPosition kNoPosition = {kChainGroups, kChainBits};

constexpr Indicator kIndicators[] = {
    {"system", "system", offsetof(Gpio, system_led), {1, 3}},
    {"alarm", "alarm", offsetof(Gpio, alarm_led), {1, 1}},
    {"relay", "", offsetof(Gpio, relay), kNoPosition},
    {"ring_master", "ring-master", offsetof(Gpio, ring_master_led), {2, 1}},
    {"ring_fail", "ring-fail", offsetof(Gpio, ring_fail_led), {2, 3}},
    {"power_1", "power1", offsetof(Gpio, power_led[0]), {0, 1}},
    {"power_2", "power2", offsetof(Gpio, power_led[1]), {0, 3}},
    {"speed_24", "speed24", offsetof(Gpio, speed_led[0]), {12, 1}},
    {"speed_25", "speed25", offsetof(Gpio, speed_led[1]), {12, 3}},
    {"speed_26", "speed26", offsetof(Gpio, speed_led[2]), {4, 1}},
    {"speed_27", "speed27", offsetof(Gpio, speed_led[3]), {4, 3}},
};

/** The LED with this name in the panel's layout; null if there is none. */
constexpr const Indicator *indicator_of_led(std::string_view led) {
  for (const Indicator &indicator : kIndicators) {
    if (led == indicator.led) return &indicator;
  }
  return nullptr;
}

}  // namespace zelsim::tool
