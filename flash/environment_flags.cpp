// Board questions that the boot environment answers. Nothing is cached: each reads and parses the whole region.
#include "flash/environment.h"
#include "zelboard/board.h"

namespace zel {
namespace {

/// Reads the region into env_data; false when it cannot be read. The stored CRC is not compared.
bool load_table() {
  const EnvironmentRegion region;
  if (!region || region.read() != 0) return false;
  env_convert(region.data());
  return true;
}

// By power mode.
constexpr const char *kPowerModes[FW_POWER_NOT_CONFIGURED] = {"pwrad", "pwr2ac", "pwr2dc", "pwr1dc", "pwr1ac"};

}  // namespace
}  // namespace zel

uint32_t FW_Wdt_Flag(void) {
  if (!zel::load_table()) return 0;
  const env_slot *const variable = zel::find_variable("syswdt");
  if (variable == nullptr) return 1;
  return zel::holds(variable->value, "start");
}

uint32_t FW_Pwr_Flag(void) {
  if (!zel::load_table()) return FW_POWER_NOT_CONFIGURED;
  const env_slot *const variable = zel::find_variable("pwrmode");
  if (variable == nullptr) return FW_POWER_NOT_CONFIGURED;
  for (uint32_t mode = 0; mode < FW_POWER_NOT_CONFIGURED; ++mode) {
    if (zel::holds(variable->value, zel::kPowerModes[mode])) return mode;
  }
  return FW_POWER_NOT_CONFIGURED;
}
