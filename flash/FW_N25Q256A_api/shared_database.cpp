// The shared database, one copy: every store erases the whole region and writes straight from the caller's bytes.
#include <stdio.h>

#include "flash/FW_N25Q256A_api/database.h"
#include "flash/buffer.h"

namespace zel {
namespace {

enum class Reading { Strict, Lenient };

uint32_t fail_at(int line) {
  if (debugging()) printf("(%s-%d) error \n", kModule, line);
  return FW_FAIL;
}

uint32_t load_shared(uint8_t **data, uint32_t *length, Reading reading) {
  uint32_t stored = 0;
  uint32_t checksum = 0;
  if (FW_N25Q256A_PartitionInfo(&stored, &checksum, FW_TABLE_READ_SHARED) == FW_FAIL) {
    return fail_at(__LINE__);
  }
  // Programs look for these texts: the spelling stays.
  if (stored == 0 && reading == Reading::Strict) return fail("Shared database is emtpy");
  *length = stored;
  Buffer blob = allocate(stored, flash_def[FW_FLASH_SHARED_DATABASE_LENGTH]);
  if (!blob) {
    if (reading == Reading::Strict) note("FW_ReadSharedDatabase() shareData is NULL");
    return FW_FAIL;
  }
  if (FW_N25Q256A_ReadFlash(flash_def[FW_FLASH_SHARED_DATABASE], stored, blob.get()) == FW_FAIL) {
    return fail("FW_ReadSharedDatabase() FW_ReadFlash fail");
  }
  if (dbChecksum(blob.get(), stored) != checksum) {
    note("FW_ReadSharedDatabase() checksum fail");
    if (reading == Reading::Strict) return FW_FAIL;
  }
  FW_N25Q256A_SetExtendedLow();
  *data = blob.release();
  return 0;
}

uint32_t store_shared(const uint8_t *data, uint32_t length) {
  const uint32_t base = flash_def[FW_FLASH_SHARED_DATABASE];
  const uint32_t sectors = sectors_in(flash_def[FW_FLASH_SHARED_DATABASE_LENGTH]);
  if (!erase_sectors(base, sectors, is_fw_fail)) return fail_at(__LINE__);
  if (FW_N25Q256A_WriteFlash(base, length, data) == FW_FAIL) return fail_at(__LINE__);
  uint32_t checksum = dbChecksum(data, length);
  return FW_N25Q256A_PartitionInfo(&length, &checksum, FW_TABLE_WRITE_SHARED);
}

}  // namespace
}  // namespace zel

uint32_t FW_N25Q256A_ReadSharedDatabase(uint8_t **data, uint32_t *length) {
  return zel::load_shared(data, length, zel::Reading::Strict);
}

uint32_t FW_N25Q256A_ReadSharedDatabase1(uint8_t **data, uint32_t *length) {
  return zel::load_shared(data, length, zel::Reading::Lenient);
}

uint32_t FW_N25Q256A_WriteSharedDatabase(const uint8_t *data, uint32_t length) {
  if (length > flash_def[FW_FLASH_SHARED_DATABASE_LENGTH] || zel::flash_writes_refused()) return FW_FAIL;
  return zel::store_under_flag([=] { return zel::store_shared(data, length); });
}
