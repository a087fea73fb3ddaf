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

constexpr const char *kPowerModes[FW_POWER_NOT_CONFIGURED] = {"pwrad", "pwr2ac", "pwr2dc", "pwr1dc", "pwr1ac"};

}  // namespace
}  // namespace zel

uint32_t FW_Wdt_Flag(void) {
  if (!zel::load_table()) return 0;
  const env_slot *const variable = zel::find_variable("syswdt");
  return variable == nullptr || zel::holds(variable->value, "start");
}

uint32_t FW_Pwr_Flag(void) {
  const env_slot *const variable = zel::load_table() ? zel::find_variable("pwrmode") : nullptr;
  for (uint32_t mode = 0; variable != nullptr && mode < FW_POWER_NOT_CONFIGURED; ++mode) {
    if (zel::holds(variable->value, zel::kPowerModes[mode])) return mode;
  }
  return FW_POWER_NOT_CONFIGURED;
}
