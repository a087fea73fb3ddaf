// The image copies: a file is programmed piece by piece, each sector erased just before it, and verified by CRC-32.
#include <stdio.h>
#include <time.h>
#include <unistd.h>

#include "board/descriptor.h"
#include "flash/FW_N25Q256A_api/partition.h"
#include "flash/buffer.h"
#include "flash/debugging.h"
#include "flash/guard.h"

namespace zel {
namespace {

struct CopyTexts {
  const char *erase_failed;
  const char *write_failed;
  const char *written;
  const char *verify_failed;
};

constexpr CopyTexts kImageTexts{.erase_failed = "FW_N25Q256A_FlashCopy() erase error ...",
                                .write_failed = "\nFW_N25Q256A_FlashCopy() write flash error ...",
                                .written = "\nFW_N25Q256A_FlashCopy() write size=[%d] crc=[%08x]\n",
                                .verify_failed = "FW_N25Q256A_FlashCopy() Verify fail-CRC error"};
constexpr CopyTexts kBootTexts{.erase_failed = "FW_N25Q256A_FlashCopyBoot() erase error ...",
                               .write_failed = "\nFW_N25Q256A_FlashCopyBoot() write flash error ...",
                               .written = "\nFW_N25Q256A_FlashCopyBoot() write size=[%d] crc=[%08x]\n",
                               .verify_failed = "FW_N25Q256A_FlashCopyBoot() Verify fail-CRC error"};

/// What differs between the copies.
struct CopyStyle {
  CopyTexts texts;
  useconds_t pause;        // after a piece
  bool dots;               // one for an erase, one for a write
  uint32_t skipped_piece;  // of those read in debug mode: see PieceCounter; 0 = none
};

constexpr CopyStyle kPartitionStyle{.texts = kImageTexts, .pause = 10000, .dots = true, .skipped_piece = 4};
constexpr CopyStyle kWholeStyle{.texts = kImageTexts, .pause = 2000, .dots = false, .skipped_piece = 0};
constexpr CopyStyle kBootStyle{.texts = kBootTexts, .pause = 2000, .dots = false, .skipped_piece = 0};

constexpr int kWhole = 0;  // printed where the copy of a partition prints its number

struct Written {
  uint32_t total;
  uint32_t crc;
};

/// Counts the pieces that are read in debug mode. One of them is only erased, so that the verification can be seen to
/// fail.
class PieceCounter {
 public:
  explicit PieceCounter(const CopyStyle &style) : skipped_piece_(style.skipped_piece) {}

  /// Counts a piece; true for the one that is not programmed.
  bool add() {
    if (!debugging()) return false;
    ++count_;
    return count_ == skipped_piece_;
  }

 private:
  uint32_t skipped_piece_;
  uint32_t count_ = 0;
};

bool erase_piece(uint32_t address, const CopyStyle &style) {
  if (style.dots) putchar('.');
  if (FW_N25Q256A_EraseSector(address) == 0) return true;
  note(style.texts.erase_failed);
  return false;
}

bool program_piece(uint32_t address, uint32_t count, const Buffer &piece, const CopyStyle &style) {
  if (style.dots) putchar('.');
  if (FW_N25Q256A_FlashWrite(address, count, piece.get()) != 0) {
    note(style.texts.write_failed);
    return false;
  }
  usleep(style.pause);
  return true;
}

/// Programs the file from `base` on until it ends; nothing when a step fails.
std::optional<Written> program_file(const Descriptor &file, uint32_t base, const Buffer &piece,
                                    const CopyStyle &style) {
  const auto size = static_cast<int32_t>(flash_def[FW_FLASH_COPY_PIECE]);
  if (!piece || size <= 0) return std::nullopt;
  Written written{};
  PieceCounter counter(style);
  for (;;) {
    const int32_t count = readFully(file.get(), piece.get(), size);
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    const auto bytes = static_cast<uint32_t>(count);
    const uint32_t address = base + written.total;
    written.crc = FW_crc321(written.crc, piece.get(), bytes);
    written.total += bytes;
    const bool is_skipped = counter.add();
    if (!erase_piece(address, style)) return std::nullopt;
    if (!is_skipped && !program_piece(address, bytes, piece, style)) return std::nullopt;
  }
  if (debugging()) printf(style.texts.written, static_cast<int>(written.total), written.crc);
  return written;
}

/// Prints the numbers, then hour, minute and second.
template <typename... Numbers>
void print_with_time(const char *format, Numbers... numbers) {
  const time_t now = time(nullptr);
  const tm *const local = localtime(&now);
  if (local != nullptr) printf(format, numbers..., local->tm_hour, local->tm_min, local->tm_sec);
}

uint32_t copy_partition(int fd, uint32_t partition) {
  if (flash_writes_refused()) {
    close(fd);
    return FW_REFUSED;
  }
  const FlashAccessFlag raised;  // comes down once the file is closed
  const Descriptor file(fd);
  const Buffer piece = make_buffer(flash_def[FW_FLASH_COPY_PIECE]);
  const std::optional<uint32_t> base = partition_base(FW_FLASH_IMAGE_1, partition);
  if (!base) return fail_partition_number();
  printf("Program...%d\n", static_cast<int>(partition));
  const std::optional<Written> written = program_file(file, *base, piece, kPartitionStyle);
  if (!written) return FW_REFUSED;
  printf("\nVerify...%d\n", static_cast<int>(partition));
  if (FW_N25Q256A_CheckCRC(partition, written->crc, written->total) != 0) {
    note(kPartitionStyle.texts.verify_failed);
    return FW_REFUSED;
  }
  puts("\nUpdate Image Complete...");
  return 0;
}

uint32_t copy_from_zero(int fd, const CopyStyle &style, const char *complete) {
  if (flash_writes_refused()) {
    close(fd);
    return FW_REFUSED;
  }
  const FlashAccessFlag raised;
  std::optional<Written> written;
  {
    const Descriptor file(fd);
    const Buffer piece = make_buffer(flash_def[FW_FLASH_COPY_PIECE]);
    print_with_time("Program...%d(%d:%d:%d)\n", kWhole);
    written = program_file(file, flash_def[FW_FLASH_BOOTLOADER], piece, style);
    if (!written) return FW_REFUSED;
  }
  print_with_time("\nVerify...%d.(%d:%d:%d)\n", kWhole);
  if (FW_N25Q256A_CheckCRCAll(written->crc, written->total) != 0) {
    note(style.texts.verify_failed);
    return FW_REFUSED;
  }
  print_with_time(complete);
  return 0;
}

}  // namespace
}  // namespace zel

uint32_t FW_N25Q256A_FlashCopy(int fd, uint32_t partition) { return zel::copy_partition(fd, partition); }

uint32_t FW_N25Q256A_FlashCopyAll(int fd) {
  return zel::copy_from_zero(fd, zel::kWholeStyle, "\nUpdate Image Complete...(%d:%d:%d)\n");
}

uint32_t FW_N25Q256A_FlashCopyBoot(int fd) {
  return zel::copy_from_zero(fd, zel::kBootStyle, "\nUpdate Boot Image Complete...(%d:%d:%d)\n");
}
