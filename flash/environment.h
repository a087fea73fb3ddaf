// The boot environment region and its table, shared by parser, update and board questions.
#pragma once

#include <string.h>

#include "flash/buffer.h"
#include "zelboard/flash.h"

namespace zel {

inline constexpr uint32_t kEnvironmentSize = FW_ENV_SIZE;
inline constexpr uint32_t kCrcSize = 4;
inline constexpr uint32_t kDataSize = kEnvironmentSize - kCrcSize;

/// The region in memory.
class EnvironmentRegion {
 public:
  EnvironmentRegion() : bytes_(make_buffer(kEnvironmentSize)) {}

  explicit operator bool() const { return bytes_ != nullptr; }
  uint8_t *get() const { return bytes_.get(); }
  uint8_t *data() const { return get() + kCrcSize; }
  void clear() const { memset(get(), 0, kEnvironmentSize); }
  uint32_t crc() const { return FW_crc32(data(), kDataSize); }

  uint32_t read() const {
    clear();
    return FW_SpiFlashEnvRead(get());
  }

 private:
  Buffer bytes_;
};

/// Whether the slot holds a variable. Only the slots before the first unused one are listed, that is, written to the
/// flash.
inline bool is_used(const env_slot &slot) { return slot.name[0] != '\xFF'; }

/// Whether the field's text is `text`. Never true for a field without a NUL, which is the name of an entry without "=".
template <size_t N>
bool holds(const char (&field)[N], const char *text) {
  const size_t length = strlen(text);
  return length < N && memcmp(field, text, length + 1) == 0;
}

/// The first used slot of that name, or null.
env_slot *find_variable(const char *name);

/// Whether a slot could hold the variable.
bool fits_slot(const char *name, const char *value);

/// Parses a data area into env_data; false when a variable was cut or left out.
bool parse_area(const uint8_t *data);

/// True if convert_env would write every used slot. Slots with this name may be missing: the update sets that variable
/// itself.
bool keeps_all_others(const char *name);

}  // namespace zel
