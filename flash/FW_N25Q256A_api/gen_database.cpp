// The general configuration database, in two copies. Its slot of the partition table is written last: after a store
// that stopped halfway the new data does not match the old checksum.
#include <string.h>

#include "flash/FW_N25Q256A_api/database.h"

namespace zel {
namespace {

/// How many sectors the blob covers, but not more than the region has.
uint32_t erase_count(uint32_t length) {
  const uint32_t size = sector_size();
  uint32_t needed = sectors_in(length);
  if (size != 0 && length % size != 0) ++needed;
  const uint32_t available = sectors_in(flash_def[FW_FLASH_GEN_DATABASE_LENGTH]);
  return needed < available ? needed : available;
}

uint32_t store_blob(const uint8_t *data, uint32_t length, uint32_t partition) {
  const Buffer copy = zeroed_buffer(length);
  if (!copy) return FW_FAIL;
  if (length != 0) memcpy(copy.get(), data, length);
  const std::optional<uint32_t> base = partition_base(FW_FLASH_GEN_DATABASE_1, partition);
  if (!base) return fail_partition_number();
  if (!erase_sectors(*base, erase_count(length), is_fw_fail)) return fail("FW_WriteGenDatabase erase sector fail");
  if (FW_N25Q256A_WriteFlash(*base, length, copy.get()) == FW_FAIL) {
    return fail("FW_WriteGenDatabase write data fail");
  }
  uint32_t checksum = dbChecksum(copy.get(), length);
  const uint32_t mode = partition == 1 ? FW_TABLE_WRITE_GEN_1 : FW_TABLE_WRITE_GEN_2;
  return FW_N25Q256A_PartitionInfo(&length, &checksum, mode);
}

}  // namespace
}  // namespace zel

uint32_t FW_N25Q256A_ReadGenDatabase(uint8_t **data, uint32_t *length, uint32_t partition) {
  const std::optional<uint32_t> base = zel::partition_base(FW_FLASH_GEN_DATABASE_1, partition);
  if (!base) return zel::fail_partition_number();
  uint32_t stored = 0;
  uint32_t checksum = 0;
  const uint32_t mode = partition == 1 ? FW_TABLE_READ_GEN_1 : FW_TABLE_READ_GEN_2;
  if (FW_N25Q256A_PartitionInfo(&stored, &checksum, mode) == FW_FAIL) return FW_FAIL;
  // Programs look for these texts: the spelling stays.
  if (stored == 0) return zel::fail(partition == 1 ? "Config database 1 is emtpy" : "config database 2 is emtpy");
  *length = stored;
  zel::Buffer blob = zel::allocate(stored, flash_def[FW_FLASH_GEN_LIMIT]);
  if (!blob) return FW_FAIL;
  *data = nullptr;
  if (FW_N25Q256A_ReadFlash(*base, stored, blob.get()) == FW_FAIL) return FW_FAIL;
  if (dbChecksum(blob.get(), stored) != checksum) return FW_FAIL;
  FW_N25Q256A_SetExtendedLow();
  *data = blob.release();
  return 0;
}

uint32_t FW_N25Q256A_WriteGenDatabase(const uint8_t *data, uint32_t length, uint32_t partition) {
  if (length > flash_def[FW_FLASH_GEN_LIMIT] || zel::flash_writes_refused()) return FW_FAIL;
  return zel::store_under_flag([=] { return zel::store_blob(data, length, partition); });
}
