// The customise database, in two copies: a file stored at the start of its region, read back as the whole region.
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include "board/descriptor.h"
#include "flash/FW_N25Q256A_api/database.h"
#include "flash/buffer.h"
#include "flash/file.h"

namespace zel {
namespace {

/// Size of an open file, if the region takes it.
std::optional<uint32_t> accepted_size(const Descriptor &file) {
  struct stat status {};
  if (fstat(file.get(), &status) != 0 || status.st_size < 0) return std::nullopt;
  if (status.st_size > static_cast<off_t>(flash_def[FW_FLASH_CUSTOMIZE_LENGTH])) {
    if (debugging()) printf("file size = %d is too big\n", static_cast<int>(status.st_size));
    return std::nullopt;
  }
  return static_cast<uint32_t>(status.st_size);
}

/// A FIFO or a folder counts as a file that does not open.
int open_file(const char *path) {
  if (is_fifo_or_folder(path)) return -1;
  return open(path, O_RDONLY);
}

uint32_t store_file(const char *path, uint32_t base) {
  const Descriptor file(open_file(path));
  if (!file) {
    if (debugging()) printf("open <%s> error ...\n", path);
    return FW_FAIL;
  }
  const std::optional<uint32_t> size = accepted_size(file);
  if (!size) return FW_FAIL;
  if (!erase_sectors(base, sectors_in(flash_def[FW_FLASH_CUSTOMIZE_LENGTH]), is_not_zero)) return FW_FAIL;

  const Buffer content = zeroed_buffer(*size);
  if (!content) return FW_FAIL;
  const ssize_t count = read(file.get(), content.get(), *size);
  if (count < 0) {
    if (debugging()) printf("read <%s> error ...\n", path);
    return FW_FAIL;
  }
  if (FW_N25Q256A_WriteFlash(base, static_cast<uint32_t>(count), content.get()) != 0) {
    if (debugging()) printf("(%s-%d) error\n", kModule, __LINE__);
    return FW_FAIL;
  }
  return 0;
}

}  // namespace
}  // namespace zel

uint32_t FW_N25Q256A_ReadCustomizeDatabase(uint8_t **data, uint32_t partition) {
  zel::Buffer region = zel::zeroed_buffer(flash_def[FW_FLASH_CUSTOMIZE_LENGTH]);
  if (!region) return FW_FAIL;
  *data = nullptr;
  const std::optional<uint32_t> base = zel::partition_base(FW_FLASH_CUSTOMIZE_1, partition);
  if (!base) return FW_FAIL;
  if (FW_N25Q256A_ReadFlash(*base, flash_def[FW_FLASH_CUSTOMIZE_LENGTH], region.get()) != 0) return FW_FAIL;
  FW_N25Q256A_SetExtendedLow();
  *data = region.release();
  return 0;
}

uint32_t FW_N25Q256A_WriteCustomizeDatabase(const char *path, uint32_t partition) {
  if (zel::flash_writes_refused()) return FW_FAIL;
  const std::optional<uint32_t> base = zel::partition_base(FW_FLASH_CUSTOMIZE_1, partition);
  if (!base) return zel::fail_partition_number();
  return zel::store_under_flag([&] { return zel::store_file(path, *base); });
}
