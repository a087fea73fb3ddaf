// Chip-independent fronts of the image update.
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include "flash/chip.h"

namespace zel {
namespace {

/// Opens an image file and lets the N25Q256A's copy take it over.
uint32_t copy_image(Chip chip, const char *path, const char *complaint, uint32_t (*copy)(int)) {
  const int fd = open(path, O_RDONLY);
  if (fd < 0) {
    printf(complaint, path);
    return FW_FAIL;
  }
  if (chip.index != 0) {
    close(fd);
    return FW_FAIL;
  }
  return copy(fd);  // closes it
}

}  // namespace
}  // namespace zel

uint32_t FW_FlashCopy(int fd, uint32_t partition) { return zel::dispatch(FW_N25Q256A_FlashCopy, fd, partition); }

uint32_t FW_CheckCRC(uint32_t partition, uint32_t crc, uint32_t length) {
  return zel::dispatch(FW_N25Q256A_CheckCRC, partition, crc, length);
}

uint32_t FW_FlashCopyAll(const char *path, uint32_t sum) {
  const zel::Chip chip = zel::fitted_chip();
  if (chip.unknown) return FW_FAIL;
  if (FW_CheckFile(path, sum) != 0) {
    puts("Invalid File !!");
    return FW_FAIL;
  }
  puts("Check File...Pass");
  return zel::copy_image(chip, path, "FW_FlashCopyAll() Open image file %s fail\n", FW_N25Q256A_FlashCopyAll);
}

uint32_t FW_SpiFlash_WriteBoot(const char *path) {
  const zel::Chip chip = zel::fitted_chip();
  if (chip.unknown) return FW_FAIL;
  return zel::copy_image(chip, path, "FW_SpiFlash_WriteBoot() Open image file %s fail\n", FW_N25Q256A_FlashCopyBoot);
}
