// The partition table and the databases behind it: lengths and checksums are whatever the input says. The regions are
// made small, so that short inputs reach their ends.
#include "fake_board.h"
#include "flash/map.h"
#include "zelboard/content.h"

namespace {

constexpr uint32_t kLimit = 4096;

void shrink_regions() {
  flash_def[FW_FLASH_SECTOR_SIZE] = 256;
  for (const uint32_t length :
       {FW_FLASH_GEN_LIMIT, FW_FLASH_GEN_DATABASE_LENGTH, FW_FLASH_CUSTOMIZE_LENGTH, FW_FLASH_SHARED_DATABASE_LENGTH}) {
    flash_def[length] = kLimit;
  }
}

void check(uint32_t result, uint8_t *data, uint32_t length) {
  if (result != 0) return;
  fake::require(length <= kLimit);
  dbChecksum(data, length);  // the sanitizer sees whether all of it is there
  free(data);
}

void read_all() {
  uint8_t *data = nullptr;
  uint32_t length = 0;
  for (const uint32_t partition : {0, 1, 2}) {
    check(FW_ReadGenDatabase(&data, &length, partition), data, length);
    check(FW_ReadCustomizeDatabase(&data, partition), data, kLimit);
  }
  check(FW_ReadSharedDatabase(&data, &length), data, length);
  check(FW_ReadSharedDatabase1(&data, &length), data, length);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  shrink_regions();
  fake::Input input(data, size);
  fake::Board &board = fake::reset();
  board.failing_call = input.byte();
  spiflash_debug_mode = input.byte() & 1;
  const uint32_t mode = input.byte() % 12;
  fake::store(flash_def[FW_FLASH_PARTITION_TABLE], input.bytes(40));
  const std::vector<uint8_t> blob = input.rest();
  for (const uint32_t region : {FW_FLASH_GEN_DATABASE_1, FW_FLASH_GEN_DATABASE_2, FW_FLASH_SHARED_DATABASE}) {
    fake::store(flash_def[region], blob);
  }
  read_all();
  const auto length = static_cast<uint32_t>(blob.size());
  uint32_t stored = length;
  uint32_t checksum = 1;
  FW_PartitionInfo(&stored, &checksum, mode);
  FW_WriteGenDatabase(blob.data(), length, 1 + mode % 3);
  FW_WriteSharedDatabase(blob.data(), length);
  read_all();
  fake::check_released();
  return 0;
}
