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

struct PowerMode {
  uint32_t mode;
  char value[7];  // of the variable
};

constexpr PowerMode kPowerModes[] = {{FW_POWER_AC_DC, "pwrad"},
                                     {FW_POWER_TWO_AC, "pwr2ac"},
                                     {FW_POWER_TWO_DC, "pwr2dc"},
                                     {FW_POWER_ONE_DC, "pwr1dc"},
                                     {FW_POWER_ONE_AC, "pwr1ac"}};

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
  for (const zel::PowerMode &known : zel::kPowerModes) {
    if (zel::holds(variable->value, known.value)) return known.mode;
  }
  return FW_POWER_NOT_CONFIGURED;
}
