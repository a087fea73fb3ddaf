// The boot writer of the service programs: no verification, no flags, progress in percent.
#include <stdio.h>
#include <string.h>

#include "flash/FW_N25Q256A_api/partition.h"
#include "flash/buffer.h"
#include "flash/debugging.h"
#include "flash/file.h"

namespace zel {
namespace {

struct Close {
  void operator()(FILE *file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, Close>;

/// Size of the file; nothing when it has none, or more bytes than an address can name.
std::optional<uint32_t> size_of(const File &file) {
  if (fseek(file.get(), 0, SEEK_END) != 0) return std::nullopt;
  const long size = ftell(file.get());
  if (size < 0 || static_cast<unsigned long>(size) > UINT32_MAX) return std::nullopt;
  return static_cast<uint32_t>(size);
}

void print_progress(uint32_t done, uint32_t steps) {
  if (steps != 0) printf("Write boot file [%d] percent\n", static_cast<int>(100 * done / steps));
}

/// One byte more than a sector, which no read or write touches: it is always 0.
size_t buffer_size() { return size_t{sector_size()} + 1; }

/// Programs `count` bytes of the file, from a sector on, to the same sector of the flash. What fread returns is not
/// looked at: missing bytes are programmed as zeros.
bool program_sector(const File &file, uint32_t sector, uint32_t count, const Buffer &buffer) {
  const uint32_t size_of_sector = sector_size();
  memset(buffer.get(), 0, buffer_size());
  fseek(file.get(), static_cast<long>(sector) * static_cast<long>(size_of_sector), SEEK_SET);
  [[maybe_unused]] const size_t got = fread(buffer.get(), 1, count, file.get());
  const uint32_t address = flash_def[FW_FLASH_BOOTLOADER] + sector * size_of_sector;
  return FW_N25Q256A_WriteFlash(address, count, buffer.get()) != FW_FAIL;
}

bool write_boot(const File &file, uint32_t size, const Buffer &buffer) {
  const uint32_t size_of_sector = sector_size();
  const uint32_t whole = (size / size_of_sector) & kCountMask;
  const uint32_t rest = size % size_of_sector;
  const uint32_t erases = boot_erase_count();
  const uint32_t partial_sectors = rest != 0 ? 1 : 0;
  const uint32_t steps = (erases + whole + partial_sectors) & kCountMask;

  for (uint32_t erase = 0; erase < erases; ++erase) {
    if (FW_N25Q256A_SectorErase(flash_def[FW_FLASH_BOOTLOADER] + erase * size_of_sector) == FW_FAIL) return false;
    print_progress(erase, steps);
  }
  for (uint32_t sector = 0; sector < whole; ++sector) {
    if (!program_sector(file, sector, size_of_sector, buffer)) return false;
    print_progress(erases + sector, steps);
  }
  // A file of whole sectors gets no last line.
  if (rest != 0) {
    if (!program_sector(file, whole, rest, buffer)) return false;
    printf("Write boot file finish; write len=[%d]\n", static_cast<int>(size));
  }
  return true;
}

uint32_t write_boot_file(const char *path) {
  File file;  // closed after the buffer is released
  const Buffer buffer = make_buffer(buffer_size());
  if (is_fifo_or_folder(path)) return FW_FAIL;
  file.reset(fopen(path, "r"));
  if (!file) {
    if (debugging()) printf("Open Boot file [%s] fail\n", path);
    return FW_FAIL;
  }
  if (!buffer || sector_size() == 0) return FW_FAIL;
  const std::optional<uint32_t> size = size_of(file);
  if (!size) return FW_FAIL;
  if (!write_boot(file, *size, buffer)) return FW_FAIL;
  return 0;
}

}  // namespace
}  // namespace zel

uint32_t FW_N25Q256A_WriteBoot(const char *path) {
  const uint32_t result = zel::write_boot_file(path);
  if (result == 0) FW_N25Q256A_SetExtendedLow();
  return result;
}
