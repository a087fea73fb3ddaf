// The image copies: a file is programmed piece by piece, each sector erased just before it, and verified by CRC-32.
#include <stdio.h>
#include <time.h>

#include "board/request.h"
#include "flash/FW_N25Q256A_api/partition.h"
#include "flash/buffer.h"
#include "flash/guard.h"

namespace zel {
namespace {

constexpr uint32_t kFailed = FW_REFUSED;
constexpr useconds_t kPartitionPause = 10000, kFromZeroPause = 2000;
// In debug mode this piece is erased and left unprogrammed, so that the verification can be seen to fail.
constexpr uint32_t kSkippedPiece = 4;

struct Texts {
  const char *erase_failed, *write_failed, *written, *verify_failed, *complete;
};

constexpr Texts kPartitionTexts{"FW_N25Q256A_FlashCopy() erase error ...",
                                "\nFW_N25Q256A_FlashCopy() write flash error ...",
                                "\nFW_N25Q256A_FlashCopy() write size=[%d] crc=[%08x]\n",
                                "FW_N25Q256A_FlashCopy() Verify fail-CRC error", "\nUpdate Image Complete..."};
constexpr Texts kWholeTexts{kPartitionTexts.erase_failed, kPartitionTexts.write_failed, kPartitionTexts.written,
                            kPartitionTexts.verify_failed, "\nUpdate Image Complete...(%d:%d:%d)\n"};
constexpr Texts kBootTexts{
    "FW_N25Q256A_FlashCopyBoot() erase error ...", "\nFW_N25Q256A_FlashCopyBoot() write flash error ...",
    "\nFW_N25Q256A_FlashCopyBoot() write size=[%d] crc=[%08x]\n", "FW_N25Q256A_FlashCopyBoot() Verify fail-CRC error",
    "\nUpdate Boot Image Complete...(%d:%d:%d)\n"};

struct Written {
  uint32_t total, crc;
};

/// Erases the sector at `address`, then programs the piece unless it is to be skipped.
bool renew_piece(uint32_t address, uint32_t count, const Buffer &piece, const Texts &texts, bool dots, bool skip) {
  if (dots) putchar('.');
  if (FW_N25Q256A_EraseSector(address) != 0) {
    note(texts.erase_failed);
    return false;
  }
  if (skip) return true;
  if (dots) putchar('.');
  if (FW_N25Q256A_FlashWrite(address, count, piece.get()) != 0) {
    note(texts.write_failed);
    return false;
  }
  usleep(dots ? kPartitionPause : kFromZeroPause);
  return true;
}

/// Programs the file from `base` on until it ends. Only the partition copy shows dots and skips a piece.
std::optional<Written> program_file(const Descriptor &file, uint32_t base, const Buffer &piece, const Texts &texts,
                                    bool dots) {
  Written written{};
  uint32_t debug_count = 0;
  for (;;) {
    const auto size = static_cast<int32_t>(flash_def[kCopyPiece]);
    const int32_t count = piece && size > 0 ? readFully(file.get(), piece.get(), size) : -1;
    if (count == 0) break;
    if (count < 0) return std::nullopt;
    const auto bytes = static_cast<uint32_t>(count);
    const uint32_t address = base + written.total;
    written.crc = FW_crc321(written.crc, piece.get(), bytes);
    written.total += bytes;
    if (debugging()) ++debug_count;
    const bool skip = dots && debug_count == kSkippedPiece && debugging();
    if (!renew_piece(address, bytes, piece, texts, dots, skip)) return std::nullopt;
  }
  if (debugging()) printf(texts.written, static_cast<int>(written.total), written.crc);
  return written;
}

template <typename... Numbers>
void print_with_time(const char *format, Numbers... numbers) {
  const time_t now = time(nullptr);
  const tm *const local = localtime(&now);
  if (local != nullptr) printf(format, numbers..., local->tm_hour, local->tm_min, local->tm_sec);
}

uint32_t copy_partition(int fd, uint32_t part) {
  const Descriptor file(fd);
  const Buffer piece(flash_def[kCopyPiece]);
  const std::optional<uint32_t> base = partition_base(kImages, part);
  if (!base) {
    complain_of_partition();
    return FW_FAIL;
  }
  printf("Program...%d\n", static_cast<int>(part));
  const std::optional<Written> written = program_file(file, *base, piece, kPartitionTexts, true);
  if (!written) return kFailed;
  printf("\nVerify...%d\n", static_cast<int>(part));
  if (FW_N25Q256A_CheckCRC(part, written->crc, written->total) != 0) {
    note(kPartitionTexts.verify_failed);
    return kFailed;
  }
  puts(kPartitionTexts.complete);
  return 0;
}

uint32_t copy_from_zero(int fd, const Texts &texts) {
  std::optional<Written> written;
  {
    const Descriptor file(fd);
    const Buffer piece(flash_def[kCopyPiece]);
    print_with_time("Program...%d(%d:%d:%d)\n", 0);
    written = program_file(file, flash_def[kBootloader], piece, texts, false);
    if (!written) return kFailed;
  }
  print_with_time("\nVerify...%d.(%d:%d:%d)\n", 0);
  if (FW_N25Q256A_CheckCRCAll(written->crc, written->total) != 0) {
    note(texts.verify_failed);
    return kFailed;
  }
  print_with_time(texts.complete);
  return 0;
}

/// Runs a copy under the flash-write guard. The copy closes the file before the flag comes down.
template <typename Copy>
uint32_t guarded_copy(int fd, Copy copy) {
  if (flash_writes_refused()) {
    const Descriptor file(fd);
    return kFailed;
  }
  const FlashAccessFlag raised;
  return copy();
}

}  // namespace
}  // namespace zel

uint32_t FW_N25Q256A_FlashCopy(int fd, uint32_t part) {
  return zel::guarded_copy(fd, [=] { return zel::copy_partition(fd, part); });
}

uint32_t FW_N25Q256A_FlashCopyAll(int fd) {
  return zel::guarded_copy(fd, [=] { return zel::copy_from_zero(fd, zel::kWholeTexts); });
}

uint32_t FW_N25Q256A_FlashCopyBoot(int fd) {
  return zel::guarded_copy(fd, [=] { return zel::copy_from_zero(fd, zel::kBootTexts); });
}
