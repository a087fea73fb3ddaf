// The general configuration database, in two copies. Its slot of the partition table is written last, so a store that
// stops halfway leaves the old checksum to be tested against the new data.
#include <string.h>

#include "flash/FW_N25Q256A_api/database.h"

namespace zel {
namespace {

constexpr Copies kRegions{kDb1, kDb2};

constexpr TableSlot slot_of(uint32_t partition) { return partition == 1 ? TableSlot::Gen1 : TableSlot::Gen2; }

/// As many sectors as the blob needs, at most those of the region.
uint32_t erase_count(uint32_t length) {
  const uint32_t sector = flash_def[kSectorSize];
  const uint32_t needed = sectors_in(length) + (sector != 0 && length % sector != 0 ? 1 : 0);
  const uint32_t available = sectors_in(flash_def[kDbLength]);
  return needed < available ? needed : available;
}

bool store(const uint8_t *data, uint32_t length, uint32_t partition) {
  const Buffer copy = Buffer::zeroed(length);
  if (!copy) return false;
  if (length != 0) memcpy(copy.get(), data, length);
  const std::optional<uint32_t> base = partition_base(kRegions, partition);
  if (!base) {
    complain_of_partition();
    return false;
  }
  if (!erase_sectors(*base, erase_count(length), is_fw_fail)) {
    note("FW_WriteGenDatabase erase sector fail");
    return false;
  }
  if (is_fw_fail(FW_N25Q256A_WriteFlash(*base, length, copy.get()))) {
    note("FW_WriteGenDatabase write data fail");
    return false;
  }
  uint32_t checksum = dbChecksum(copy.get(), length);
  return !is_fw_fail(FW_N25Q256A_PartitionInfo(&length, &checksum, write_mode(slot_of(partition))));
}

}  // namespace
}  // namespace zel

uint32_t FW_N25Q256A_ReadGenDatabase(uint8_t **data, uint32_t *length, uint32_t partition) {
  const std::optional<uint32_t> base = zel::partition_base(zel::kRegions, partition);
  if (!base) {
    zel::complain_of_partition();
    return FW_FAIL;
  }
  uint32_t stored = 0, checksum = 0;
  const uint32_t mode = zel::read_mode(zel::slot_of(partition));
  if (zel::is_fw_fail(FW_N25Q256A_PartitionInfo(&stored, &checksum, mode))) return FW_FAIL;
  if (stored == 0) {
    zel::note(partition == 1 ? "Config database 1 is emtpy" : "config database 2 is emtpy");
    return FW_FAIL;
  }
  *length = stored;
  zel::Buffer blob = zel::allocate(stored, flash_def[zel::kGenLimit]);
  if (!blob) return FW_FAIL;
  *data = blob.get();
  if (zel::is_fw_fail(FW_N25Q256A_ReadFlash(*base, stored, blob.get())) || dbChecksum(blob.get(), stored) != checksum) {
    *data = nullptr;
    return FW_FAIL;
  }
  FW_N25Q256A_SetExtendedLow();
  blob.release();
  return 0;
}

uint32_t FW_N25Q256A_WriteGenDatabase(const uint8_t *data, uint32_t length, uint32_t partition) {
  if (length > flash_def[zel::kGenLimit] || zel::flash_writes_refused()) return FW_FAIL;
  return zel::store_marked([=] { return zel::store(data, length, partition); });
}
