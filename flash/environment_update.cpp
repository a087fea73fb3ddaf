// One variable set in the flash: read twice, changed, written, verified.
#include <unistd.h>

#include <optional>

#include "flash/environment.h"

namespace zel {
namespace {

constexpr uint32_t kFailures = 9, kReadTries = 3;
constexpr useconds_t kCheckPause = 10;
constexpr uint32_t kCheckCrc = 0, kCheckVariable = 1;  // modes of check_env_crc

void store32(uint8_t *bytes, uint32_t word) {
  for (int n = 0; n < 4; ++n) bytes[n] = static_cast<uint8_t>(word >> 8 * n);
}

/// Rebuilds the region with the variable set; the CRC of its new data area, or nothing when a variable that it held would
/// be lost or cut.
std::optional<uint32_t> rebuild(const Region &region, const char *name, const char *value) {
  const bool whole = parse_area(region.data());
  env_add(name, value);
  if (!whole || !lists_others(name)) return std::nullopt;
  region.clear();
  convert_env(region.data());
  const uint32_t crc = region.crc();
  store32(region.get(), crc);
  return crc;
}

bool check_passes(uint32_t crc, const char *name, const char *value, uint32_t mode) {
  usleep(kCheckPause);
  return check_env_crc(crc, name, value, mode) != 0;
}

uint32_t set_variable(const Region &region, const char *name, const char *value) {
  uint32_t failures = 0;  // of any step
  const auto exhausted = [&] { return ++failures > kFailures; };
  for (;;) {
    while (const uint32_t failed = region.read()) {
      if (exhausted()) return failed;
    }
    if (!check_passes(region.crc(), name, value, kCheckCrc)) {
      if (exhausted()) return FW_FAIL;
      continue;
    }
    const std::optional<uint32_t> crc = rebuild(region, name, value);
    if (!crc) return FW_FAIL;
    while (const uint32_t failed = FW_SpiFlashEnvWrite(region.get())) {
      if (exhausted()) return failed;
    }
    if (check_passes(*crc, name, value, kCheckVariable)) return 0;
    if (exhausted()) return FW_FAIL;
  }
}

}  // namespace
}  // namespace zel

uint8_t check_env_crc(uint32_t crc, const char *name, const char *value, uint32_t mode) {
  const zel::Region region;
  if (!region) return 0;
  uint32_t failed = FW_FAIL;
  for (uint32_t n = 0; n < zel::kReadTries && failed != 0; ++n) failed = region.read();
  if (failed != 0) return static_cast<uint8_t>(failed);

  if (region.crc() != crc) return 0;
  if (mode != zel::kCheckVariable) return 1;
  env_convert(region.data());
  for (const env_slot &slot : env_data) {
    if (zel::is_used(slot) && zel::holds(slot.name, name) && zel::holds(slot.value, value)) return 1;
  }
  return 0;
}

uint32_t FW_SpiFlash_EnvAdd(const char *name, const char *value) {
  if (name[0] == '\0' || value[0] == '\0' || !zel::fits_slot(name, value)) return FW_FAIL;
  const zel::Region region;
  return region ? zel::set_variable(region, name, value) : FW_FAIL;
}
