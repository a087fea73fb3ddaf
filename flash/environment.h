// The boot environment region and its table, shared by parser, update and board questions.
#pragma once

#include <string.h>

#include "flash/buffer.h"
#include "zelboard/flash.h"

namespace zel {

inline constexpr uint32_t kRegionSize = FW_ENV_SIZE, kCrcSize = 4, kDataSize = kRegionSize - kCrcSize;

/// The region in memory.
class Region {
 public:
  Region() : bytes_(make_buffer(kRegionSize)) {}

  explicit operator bool() const { return bytes_ != nullptr; }
  uint8_t *get() const { return bytes_.get(); }
  uint8_t *data() const { return get() + kCrcSize; }
  void clear() const { memset(get(), 0, kRegionSize); }
  uint32_t crc() const { return FW_crc32(data(), kDataSize); }

  uint32_t read() const {
    clear();
    return FW_SpiFlashEnvRead(get());
  }

 private:
  Buffer bytes_;
};

/// A used slot holds a variable, wherever in the table it lies. Only those before the first slot that is not used are
/// listed: written when the table is.
inline bool is_used(const env_slot &slot) { return slot.name[0] != '\xFF'; }

/// Whole match of a field's text. A field without a NUL (the name of an entry that had no "=") matches nothing.
template <size_t N>
bool holds(const char (&field)[N], const char *text) {
  const size_t length = strlen(text);
  return length < N && memcmp(field, text, length + 1) == 0;
}

/// The first used slot of that name, or null.
env_slot *find_variable(const char *name);

/// Whether a slot could hold the variable.
bool fits_slot(const char *name, const char *value);

/// Parses a data area into env_data; false when it holds more of a variable, or more variables, than the table took.
bool parse_area(const uint8_t *data);

/// True when the list fits its area and has all used slots but those of that name: what an update finds missing, it adds.
bool lists_others(const char *name);

}  // namespace zel
