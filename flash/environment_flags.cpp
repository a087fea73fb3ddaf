// Board questions that the boot environment answers. Nothing is cached: each reads and parses the whole region.
#include "flash/environment.h"
#include "zelboard/board.h"

namespace zel {
namespace {

/// Reads the region into env_data; false when it cannot be read. The stored CRC is not compared.
bool load_table() {
  const Region region;
  if (!region || region.read() != 0) return false;
  env_convert(region.data());
  return true;
}

// In the order of the power modes.
constexpr const char *kPowerModes[] = {"pwrad", "pwr2ac", "pwr2dc", "pwr1dc", "pwr1ac"};
constexpr uint32_t kNotConfigured = sizeof kPowerModes / sizeof kPowerModes[0];

}  // namespace
}  // namespace zel

uint32_t FW_Wdt_Flag(void) {
  if (!zel::load_table()) return 0;
  const env_slot *const variable = zel::find_variable("syswdt");
  return variable == nullptr || zel::holds(variable->value, "start");
}

uint32_t FW_Pwr_Flag(void) {
  if (!zel::load_table()) return zel::kNotConfigured;
  const env_slot *const variable = zel::find_variable("pwrmode");
  uint32_t mode = 0;
  while (mode < zel::kNotConfigured && (variable == nullptr || !zel::holds(variable->value, zel::kPowerModes[mode]))) {
    ++mode;
  }
  return mode;
}
