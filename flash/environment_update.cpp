// One variable set in the flash: read twice, changed, written, verified.
#include <unistd.h>

#include <optional>

#include "flash/environment.h"

namespace zel {
namespace {

constexpr uint32_t kReadTries = 3;
constexpr useconds_t kCheckPause = 10;

// Modes of check_env_crc.
constexpr uint32_t kCheckCrc = 0;
constexpr uint32_t kCheckVariable = 1;

/// Counts the failures of all steps of an update. The tenth failure ends the update.
class Failures {
 public:
  /// True when this failure ends the update.
  bool add() {
    ++count_;
    return count_ == kLast;
  }

 private:
  static constexpr uint32_t kLast = 10;
  uint32_t count_ = 0;
};

/// Repeats a step until it succeeds or ends the update; the last result.
template <typename Step>
uint32_t repeat(Failures &failures, Step step) {
  for (;;) {
    const uint32_t result = step();
    if (result == 0 || failures.add()) return result;
  }
}

void store32(uint8_t *bytes, uint32_t word) {
  for (int index = 0; index < 4; ++index) bytes[index] = static_cast<uint8_t>(word >> (8 * index));
}

/// Rebuilds the region with the variable set; returns the CRC of its new data area. If the variable finds no room, the
/// region keeps the variables that it had. Returns nothing if a variable would be lost or cut.
std::optional<uint32_t> rebuild(const EnvironmentRegion &region, const char *name, const char *value) {
  const bool whole = parse_area(region.data());
  env_add(name, value);
  if (!whole || !keeps_all_others(name)) return std::nullopt;
  region.clear();
  convert_env(region.data());
  const uint32_t crc = region.crc();
  store32(region.get(), crc);
  return crc;
}

/// True if the region is as wanted, and also if it could not be read at all: check_env_crc returns 0xFF then.
bool check_passes(uint32_t crc, const char *name, const char *value, uint32_t mode) {
  usleep(kCheckPause);
  return check_env_crc(crc, name, value, mode) != 0;
}

uint32_t set_variable(const EnvironmentRegion &region, const char *name, const char *value) {
  Failures failures;
  for (;;) {
    const uint32_t read_result = repeat(failures, [&] { return region.read(); });
    if (read_result != 0) return read_result;
    if (!check_passes(region.crc(), name, value, kCheckCrc)) {
      if (failures.add()) return FW_FAIL;
      continue;
    }
    const std::optional<uint32_t> crc = rebuild(region, name, value);
    if (!crc) return FW_FAIL;
    const uint32_t write_result = repeat(failures, [&] { return FW_SpiFlashEnvWrite(region.get()); });
    if (write_result != 0) return write_result;
    if (check_passes(*crc, name, value, kCheckVariable)) return 0;
    if (failures.add()) return FW_FAIL;
  }
}

}  // namespace
}  // namespace zel

uint8_t check_env_crc(uint32_t crc, const char *name, const char *value, uint32_t mode) {
  const zel::EnvironmentRegion region;
  if (!region) return 0;
  uint32_t failed = FW_FAIL;
  for (uint32_t attempt = 0; attempt < zel::kReadTries; ++attempt) {
    failed = region.read();
    if (failed == 0) break;
  }
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
  const zel::EnvironmentRegion region;
  if (!region) return FW_FAIL;
  return zel::set_variable(region, name, value);
}
