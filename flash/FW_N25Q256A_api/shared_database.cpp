// The shared database, one copy: every store erases the whole region and writes straight from the caller's bytes.
#include <stdio.h>

#include "flash/FW_N25Q256A_api/database.h"

namespace zel {
namespace {

enum class Reading { Strict, Lenient };

void note_line(int line) {
  if (debugging()) printf("(%s-%d) error \n", kModule, line);
}

uint32_t load(uint8_t **data, uint32_t *length, Reading reading) {
  uint32_t stored = 0, checksum = 0;
  if (is_fw_fail(FW_N25Q256A_PartitionInfo(&stored, &checksum, read_mode(TableSlot::Shared)))) {
    note_line(__LINE__);
    return FW_FAIL;
  }
  if (stored == 0 && reading == Reading::Strict) {
    note("Shared database is emtpy");
    return FW_FAIL;
  }
  *length = stored;
  Buffer blob = allocate(stored, flash_def[kShareDbLength]);
  if (!blob) {
    if (reading == Reading::Strict) note("FW_ReadSharedDatabase() shareData is NULL");
    return FW_FAIL;
  }
  if (is_fw_fail(FW_N25Q256A_ReadFlash(flash_def[kShareDb], stored, blob.get()))) {
    note("FW_ReadSharedDatabase() FW_ReadFlash fail");
    return FW_FAIL;
  }
  if (dbChecksum(blob.get(), stored) != checksum) {
    note("FW_ReadSharedDatabase() checksum fail");
    if (reading == Reading::Strict) return FW_FAIL;
  }
  FW_N25Q256A_SetExtendedLow();
  *data = blob.release();
  return 0;
}

bool store(const uint8_t *data, uint32_t length) {
  const uint32_t base = flash_def[kShareDb];
  if (!erase_sectors(base, sectors_in(flash_def[kShareDbLength]), is_fw_fail)) {
    note_line(__LINE__);
    return false;
  }
  if (is_fw_fail(FW_N25Q256A_WriteFlash(base, length, data))) {
    note_line(__LINE__);
    return false;
  }
  uint32_t checksum = dbChecksum(data, length);
  return !is_fw_fail(FW_N25Q256A_PartitionInfo(&length, &checksum, write_mode(TableSlot::Shared)));
}

}  // namespace
}  // namespace zel

uint32_t FW_N25Q256A_ReadSharedDatabase(uint8_t **data, uint32_t *length) {
  return zel::load(data, length, zel::Reading::Strict);
}

uint32_t FW_N25Q256A_ReadSharedDatabase1(uint8_t **data, uint32_t *length) {
  return zel::load(data, length, zel::Reading::Lenient);
}

uint32_t FW_N25Q256A_WriteSharedDatabase(const uint8_t *data, uint32_t length) {
  if (length > flash_def[zel::kShareDbLength] || zel::flash_writes_refused()) return FW_FAIL;
  return zel::store_marked([=] { return zel::store(data, length); });
}
