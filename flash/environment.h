// Shape of the boot environment region, shared by its parser, its update and its questions.
#pragma once

#include <string.h>

#include "flash/buffer.h"
#include "zelboard/flash.h"

namespace zel {

inline constexpr uint32_t kRegionSize = 0x10000;
inline constexpr uint32_t kCrcSize = 4;
inline constexpr uint32_t kDataSize = kRegionSize - kCrcSize;
inline constexpr uint32_t kSlots = sizeof env_data / sizeof env_data[0];
inline constexpr char kEmptySlot = static_cast<char>(0xFF);

/// The region in memory.
class Region {
 public:
  Region() : bytes_(kRegionSize) {}

  explicit operator bool() const { return static_cast<bool>(bytes_); }
  uint8_t *get() const { return bytes_.get(); }
  uint8_t *data() const { return bytes_.get() + kCrcSize; }
  void clear() const { memset(bytes_.get(), 0, kRegionSize); }
  uint32_t crc() const { return FW_crc32(data(), kDataSize); }

  uint32_t read() const {
    clear();
    return FW_SpiFlashEnvRead(bytes_.get());
  }

 private:
  Buffer bytes_;
};

/// A used slot holds a variable, wherever in the table it lies. Only those before the first slot that is not used are
/// listed: written when the table is.
inline bool is_used(const env_slot &slot) { return slot.name[0] != kEmptySlot; }

/// Whole match of a field's text. A field without a NUL (the name of an entry that had no "=") matches nothing.
template <size_t N>
bool holds(const char (&field)[N], const char *text) {
  const size_t length = strnlen(field, N);
  return length < N && strncmp(field, text, length + 1) == 0;
}

/// The first used slot of that name, or null.
inline env_slot *find_variable(const char *name) {
  for (env_slot &slot : env_data) {
    if (is_used(slot) && holds(slot.name, name)) return &slot;
  }
  return nullptr;
}

/// Whether an update could store the variable at all.
bool fits_slot(const char *name, const char *value);

/// Parses a data area into env_data; false when it holds more of a variable, or more variables, than the table took.
bool parse_area(const uint8_t *data);

/// True when writing the table would keep every used slot.
bool lists_everything();

}  // namespace zel
