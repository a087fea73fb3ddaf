#pragma once

#include "state.h"

// What the platform's command tool takes.

namespace zelsim {

constexpr unsigned kPhyPorts = 26;
constexpr uint32_t kAnyWord = 0xffffffff;
constexpr int kMostDebugArguments = 3;

// No register: the command sets the serial-GPIO chain.
constexpr RegisterSpace kChain = RegisterSpace::Free;

struct DebugCommand {
  const char *name;
  RegisterSpace space;
  bool sets;
  int count;              // of arguments
  int decimal_arguments;  // the first ones; the others are hexadecimal
  uint32_t highest[kMostDebugArguments];
};

constexpr DebugCommand kDebugCommands[] = {
    {"sgpio_set", kChain, true, 3, 3, {kChainGroups - 1, kChainBits - 1, 2}},
    {"sw_register_get", RegisterSpace::SwitchChip, false, 1, 0, {kAnyWord}},
    {"sw_register_set", RegisterSpace::SwitchChip, true, 2, 0, {kAnyWord, kAnyWord}},
    {"phy_register_get", RegisterSpace::Phy, false, 2, 1, {kPhyPorts - 1, kAnyWord}},
    {"phy_register_set", RegisterSpace::Phy, true, 3, 1, {kPhyPorts - 1, kAnyWord, 0xffff}},
};

/** The number of a row: faults name a command by it. */
constexpr uint8_t command_number(const DebugCommand &command) {
  return static_cast<uint8_t>(&command - kDebugCommands);
}

}  // namespace zelsim
