// Proof that an image arrived: the CRC-32 of what the flash holds.
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "flash/FW_N25Q256A_api/partition.h"
#include "flash/buffer.h"
#include "flash/debugging.h"

namespace zel {
namespace {

constexpr useconds_t kPiecePause = 5000;

/// CRC-32 of `length` bytes from `base`, read piece by piece; nothing when a piece cannot be read.
std::optional<uint32_t> flash_crc(uint32_t base, uint32_t length, const Buffer &piece) {
  const uint32_t size = flash_def[FW_FLASH_COPY_PIECE];
  uint32_t crc = 0;
  uint32_t offset = 0;
  while (offset < length) {
    const uint32_t left = length - offset;
    const uint32_t count = left < size ? left : size;
    memset(piece.get(), 0, count);  // a short read must not leave bytes of an earlier piece
    if (count == 0 || FW_N25Q256A_FlashRead(base + offset, count, piece.get()) != 0) {
      note("FW_N25Q256A_CheckCRC() Read Flash error !!");
      return std::nullopt;
    }
    usleep(kPiecePause);
    crc = FW_crc321(crc, piece.get(), count);
    offset += count;
  }
  return crc;
}

uint32_t check_crc(std::optional<uint32_t> base, uint32_t crc, uint32_t length) {
  std::optional<uint32_t> found;
  {
    const Buffer piece = make_buffer(flash_def[FW_FLASH_COPY_PIECE]);
    if (!base) return fail_partition_number();
    if (!piece) return FW_FAIL;
    if (debugging()) printf("FW_N25Q256A_CheckCRC() w_len=%d(0x%08x)\n", static_cast<int>(length), length);
    found = flash_crc(*base, length, piece);
    if (!found) return FW_FAIL;
    // Programs look for these texts: the spelling stays.
    if (debugging()) printf("FW_N25Q256A_CheckCRC() w_crc=[%08x], r_rcr=[%08x]\n", crc, *found);
  }
  FW_N25Q256A_SetExtendedLow();
  return *found == crc ? 0 : FW_FAIL;
}

}  // namespace
}  // namespace zel

uint32_t FW_N25Q256A_CheckCRC(uint32_t partition, uint32_t crc, uint32_t length) {
  return zel::check_crc(zel::partition_base(FW_FLASH_IMAGE_1, partition), crc, length);
}

uint32_t FW_N25Q256A_CheckCRCAll(uint32_t crc, uint32_t length) {
  return zel::check_crc(flash_def[FW_FLASH_BOOTLOADER], crc, length);
}
