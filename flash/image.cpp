// Chip-independent fronts of the image update.
#include <stdio.h>

#include "board/request.h"
#include "flash/chip.h"
#include "zelboard/flash.h"

namespace {

/// Opens an image file for a copy that takes the descriptor over, or complains and returns a negative descriptor.
int open_image(const char *path, const char *complaint) {
  const int fd = open(path, O_RDONLY);
  if (fd < 0) printf(complaint, path);
  return fd;
}

/// Hands the descriptor to the N25Q256A's copy; for another chip nobody else would close it.
uint32_t copy_or_close(const zel::Chip &chip, int fd, uint32_t (*copy)(int)) {
  if (chip.index == 0) return copy(fd);
  close(fd);
  return FW_FAIL;
}

}  // namespace

uint32_t FW_FlashCopy(int fd, uint32_t part) { return zel::dispatch(FW_N25Q256A_FlashCopy, fd, part); }

uint32_t FW_CheckCRC(uint32_t part, uint32_t crc, uint32_t length) {
  return zel::dispatch(FW_N25Q256A_CheckCRC, part, crc, length);
}

uint32_t FW_FlashCopyAll(const char *path, uint32_t sum) {
  const zel::Chip chip = zel::fitted_chip();
  if (chip.unknown) return FW_FAIL;
  if (FW_CheckFile(path, sum) != 0) {
    puts("Invalid File !!");
    return FW_FAIL;
  }
  puts("Check File...Pass");
  const int fd = open_image(path, "FW_FlashCopyAll() Open image file %s fail\n");
  return fd < 0 ? FW_FAIL : copy_or_close(chip, fd, FW_N25Q256A_FlashCopyAll);
}

uint32_t FW_SpiFlash_WriteBoot(const char *path) {
  const zel::Chip chip = zel::fitted_chip();
  if (chip.unknown) return FW_FAIL;
  const int fd = open_image(path, "FW_SpiFlash_WriteBoot() Open image file %s fail\n");
  return fd < 0 ? FW_FAIL : copy_or_close(chip, fd, FW_N25Q256A_FlashCopyBoot);
}
