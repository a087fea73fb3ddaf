// Compares a dump or restore file with the flash: a spot check of every piece, then the file's size and byte sum.
#include <fcntl.h>
#include <stdio.h>
#include <string.h>

#include "board/descriptor.h"
#include "flash/FW_N25Q256A_api/split.h"
#include "flash/buffer.h"
#include "flash/debugging.h"
#include "flash/file.h"
#include "flash/guard.h"
#include "zelboard/content.h"

namespace zel {
namespace {

constexpr uint32_t kSpot = 16;  // bytes that are compared at each end of a piece

/// What a file is compared with.
struct Range {
  uint32_t base;
  uint64_t size;  // of a good file; an empty part has none
};

Range range_of(uint32_t number, uint32_t total) {
  if (number == FW_COMPARE_WHOLE) return {flash_def[FW_FLASH_BOOTLOADER], whole_flash()};
  const SectorRange sectors = sectors_of_part(number, total);
  const uint32_t size = sector_size();
  return {sectors.first * size, uint64_t{sectors.count} * size};
}

bool spot_equals(uint32_t address, const uint8_t *bytes, uint32_t count) {
  uint8_t spot[kSpot] = {};
  if (FW_N25Q256A_ReadFlash(address, sizeof spot, spot) == FW_FAIL) return false;
  return memcmp(spot, bytes, count) == 0;
}

bool spot_check(const Descriptor &file, uint32_t address, const Buffer &piece) {
  const uint32_t size = flash_def[FW_FLASH_COPY_PIECE];
  if (size < kSpot || size > INT32_MAX) return false;
  for (;;) {
    const int32_t count_or_error = readFully(file.get(), piece.get(), static_cast<int32_t>(size));
    if (count_or_error <= 0) return count_or_error == 0;
    const auto count = static_cast<uint32_t>(count_or_error);
    const uint32_t first = count < kSpot ? count : kSpot;
    if (!spot_equals(address, piece.get(), first)) return false;
    if (count < size) return false;  // a short last piece has no bytes for the second spot: a difference
    if (!spot_equals(address + size - kSpot, piece.get() + size - kSpot, kSpot)) return false;
    address += size;
  }
}

/// Size and byte sum of the file, read from the start once more; false when it cannot be.
bool sum_again(const char *path, FileSum *sum) {
  const Descriptor file(open(path, O_RDONLY));
  if (!file) {
    printf("FW_N25Q256A_DumpComp() Open image file %s fail\n", path);
    return false;
  }
  *sum = sum_file(file.get());
  return !sum->read_error;
}

uint32_t verdict(const FileSum &sum, const Range &range) {
  if (sum.size != range.size || range.size == 0) {
    puts("\nComp dump file fail...");
    return FW_FAIL;
  }
  puts("\nComp dump file Complete...");
  printf("File size=0x%08x CheckSum=0x%08x\n", static_cast<uint32_t>(sum.size), sum.sum);
  return 0;
}

uint32_t compare(const char *path, const Range &range) {
  Descriptor file(-1);
  Buffer piece = make_buffer(flash_def[FW_FLASH_COPY_PIECE]);
  if (!piece) return FW_FAIL;
  file.reset(open(path, O_RDONLY));
  if (!file) {
    note("Open restore file fail");
    return FW_REFUSED;
  }
  if (flash_writes_refused()) {
    file.reset();  // before the buffer is released
    return FW_REFUSED;
  }

  FileSum sum{};
  {
    const FlashAccessFlag raised;
    puts("Comp dump file...");
    // Both end before the flag comes down. After a failure: buffer, file. After a success: file, buffer.
    if (!spot_check(file, range.base, piece)) {
      piece.reset();
      file.reset();
      return FW_FAIL;
    }
    file.reset();
    piece.reset();
    if (!sum_again(path, &sum)) return FW_FAIL;
  }
  return verdict(sum, range);
}

}  // namespace
}  // namespace zel

uint32_t FW_N25Q256A_DumpComp(const char *path, uint32_t part, uint32_t total) {
  if (part != FW_COMPARE_WHOLE && (part < 1 || part > total)) return FW_FAIL;
  return zel::compare(path, zel::range_of(part, total));
}
