// The custom identity record: a model name for each board variant, a description, and a power-mode byte.
#include <stddef.h>
#include <stdio.h>
#include <string.h>

#include "flash/map.h"
#include "zelboard/board.h"
#include "zelboard/content.h"
#include "zelboard/ports.h"

namespace zel {
namespace {

constexpr uint32_t kVariants = 4;  // by number of copper boards: 0 to 3
constexpr size_t kNameLength = FW_NAME_SIZE - 1;
constexpr size_t kDescriptionLength = FW_DESCRIPTION_SIZE - 1;

using Name = char[kNameLength + 1];

struct Record {
  char model_marker[6];
  Name names[kVariants];  // the last byte of each is never written
  char kept1[10];         // kept as it was read
  char description_marker[12];
  char description[kDescriptionLength + 1];  // its last byte is never written
  char kept2[4];                             // kept as it was read
  uint8_t power_mode;
};
static_assert(sizeof(Record) == 417);
static_assert(offsetof(Record, description_marker) == 144);
static_assert(offsetof(Record, power_mode) == 416);

constexpr char kModelMarker[] = "model=";
constexpr char kDescriptionMarker[] = "description=";
// Readers test a marker without its "=".
constexpr size_t kModelTest = 5;
constexpr size_t kDescriptionTest = 11;

struct Variant {
  const char *default_name;
  const char *line;
};

constexpr Variant kVariantTable[kVariants] = {
    {"KV540R-28SFP", "Custom Name For 28F   : [%s]\n"},
    {"KV540R-20SFP", "Custom Name For 8C20F : [%s]\n"},
    {"KV540R-12SFP", "Custom Name For 16C12F: [%s]\n"},
    {"KV540R-04SFP", "Custom Name For 24C4F : [%s]\n"},
};

struct PowerSuffix {
  uint32_t mode;
  char text[5];
};

constexpr PowerSuffix kPowerSuffixes[] = {{FW_POWER_AC_DC, "-AD"},
                                          {FW_POWER_TWO_AC, "-AC2"},
                                          {FW_POWER_TWO_DC, "-DC2"},
                                          {FW_POWER_ONE_DC, "-DC1"},
                                          {FW_POWER_ONE_AC, "-AC1"}};

/// Reads `length` bytes of the record from an offset on.
uint32_t read_part(size_t offset, size_t length, void *out) {
  return FW_N25Q256A_ReadFlash(flash_def[FW_FLASH_CUSTOM_INFO] + static_cast<uint32_t>(offset),
                               static_cast<uint32_t>(length), static_cast<uint8_t *>(out));
}

/// A name slot as text: empty when it was never written.
uint32_t read_name(uint32_t variant, Name &name) {
  const uint32_t result = read_part(offsetof(Record, names) + variant * sizeof name, sizeof name, name);
  if (static_cast<uint8_t>(name[0]) == 0xFF) name[0] = '\0';
  name[kNameLength] = '\0';
  return result;
}

uint32_t fitted_variant() {
  uint8_t copper_boards = 0;
  BoardType_Check(FW_CHECK_COPPER_COUNT, 0, &copper_boards);
  if (copper_boards < kVariants) return copper_boards;
  puts("Board type error");
  return kVariants - 1;
}

const char *power_suffix() {
  uint8_t mode = 0;  // stands when the mode cannot be read
  FW_GetPowerMode(&mode);
  for (const PowerSuffix &suffix : kPowerSuffixes) {
    if (suffix.mode == mode) return suffix.text;
  }
  return "";
}

uint32_t read_record(Record *record) { return read_part(0, sizeof *record, record); }

/// Writes the record into its erased sector.
uint32_t write_record(const Record &record) {
  if (const uint32_t failed = FW_N25Q256A_SectorErase(flash_def[FW_FLASH_CUSTOM_INFO]); failed != 0) return failed;
  return FW_N25Q256A_WriteFlash(flash_def[FW_FLASH_CUSTOM_INFO], sizeof record,
                                reinterpret_cast<const uint8_t *>(&record));
}

/// Fills a field up to its last byte, which stays as it is.
template <size_t N>
void set_text(char (&field)[N], const char *text) {
  const size_t length = strnlen(text, N - 1);
  memset(field, 0, N - 1);
  memcpy(field, text, length);
}

uint32_t store_name(const char *name, uint32_t variant) {
  Record record{};
  if (const uint32_t failed = read_record(&record); failed != 0) return failed;
  memcpy(record.model_marker, kModelMarker, sizeof record.model_marker);
  set_text(record.names[variant], name);
  return write_record(record);
}

}  // namespace
}  // namespace zel

uint32_t FW_N25Q256A_GetCustomName(char *name) {
  const uint32_t variant = zel::fitted_variant();
  char marker[zel::kModelTest] = {};
  if (const uint32_t failed = zel::read_part(0, sizeof marker, marker); failed != 0) return failed;
  zel::Name custom{};
  if (memcmp(marker, zel::kModelMarker, sizeof marker) == 0) {
    if (const uint32_t failed = zel::read_name(variant, custom); failed != 0) return failed;
    // The bytes behind the final NUL are those of the stored name: callers may see them.
    memcpy(name, custom, sizeof custom);
  }
  const char *base = custom;
  if (custom[0] == '\0') base = zel::kVariantTable[variant].default_name;
  snprintf(name, FW_MODEL_SIZE, "%s%s", base, zel::power_suffix());
  return 0;
}

uint32_t FW_N25Q256A_ShowCustomName(void) {
  char marker[zel::kModelTest] = {};
  if (const uint32_t failed = zel::read_part(0, sizeof marker, marker); failed != 0) return failed;
  if (memcmp(marker, zel::kModelMarker, sizeof marker) != 0) {
    puts("Custom name not set");
    return 0;
  }
  zel::Name names[zel::kVariants] = {};
  for (uint32_t variant = 0; variant < zel::kVariants; ++variant) {
    if (const uint32_t failed = zel::read_name(variant, names[variant]); failed != 0) return failed;
  }
  for (uint32_t variant = 0; variant < zel::kVariants; ++variant) {
    printf(zel::kVariantTable[variant].line, names[variant]);
  }
  return 0;
}

uint32_t FW_N25Q256A_GetCustomDesc(char *text) {
  char marker[zel::kDescriptionTest] = {};
  uint32_t failed = zel::read_part(offsetof(zel::Record, description_marker), sizeof marker, marker);
  if (failed != 0) return failed;
  if (memcmp(marker, zel::kDescriptionMarker, sizeof marker) != 0) {
    text[0] = '\0';
    return FW_NOT_SET;
  }
  char description[sizeof zel::Record::description] = {};
  failed = zel::read_part(offsetof(zel::Record, description), sizeof description, description);
  if (failed != 0) return failed;
  memcpy(text, description, zel::kDescriptionLength);
  text[zel::kDescriptionLength] = '\0';
  return 0;
}

uint32_t FW_N25Q256A_GetCustomPwrMode(uint8_t *mode) {
  uint8_t stored = 0;
  const uint32_t result = zel::read_part(offsetof(zel::Record, power_mode), 1, &stored);
  if (result == 0) *mode = stored;
  return result;
}

uint32_t FW_N25Q256A_SetCustomName(const char *name) { return zel::store_name(name, zel::fitted_variant()); }

uint32_t FW_N25Q256A_WriteCustomName(const char *name, uint32_t index) {
  if (index >= zel::kVariants) {
    puts("Input index error");
    return FW_FAIL;
  }
  return zel::store_name(name, index);
}

uint32_t FW_N25Q256A_SetCustomDesc(const char *text) {
  zel::Record record{};
  if (const uint32_t failed = zel::read_record(&record); failed != 0) return failed;
  memcpy(record.description_marker, zel::kDescriptionMarker, sizeof record.description_marker);
  zel::set_text(record.description, text);
  return zel::write_record(record);
}

uint32_t FW_N25Q256A_SetCustomPwrMode(const uint8_t *mode) {
  zel::Record record{};
  if (const uint32_t failed = zel::read_record(&record); failed != 0) return failed;
  record.power_mode = *mode;
  return zel::write_record(record);
}
