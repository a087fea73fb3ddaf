// Files given to the check, the compare and the copies. The chip has small sectors, so that short files have many pieces.
#include <fcntl.h>
#include <string.h>

#include <algorithm>

#include "fake_board.h"
#include "flash/map.h"
#include "zelboard/content.h"

namespace {

using fake::require;

constexpr uint32_t kSector = 64;
constexpr uint32_t kSectors = 32;
constexpr uint32_t kWhole = kSector * kSectors;

bool matches_flash(const fake::Board &board, uint32_t base, uint32_t size) {
  return board.file.size() == size && memcmp(board.file.data(), &board.flash[base], size) == 0;
}

void compare(const fake::Board &board, uint32_t part, uint32_t total) {
  const uint32_t result = FW_N25Q256A_DumpComp(fake::kFile, part, total);
  if (board.failing_call != 0) return;
  const bool is_whole = part == FW_COMPARE_WHOLE;
  const bool in_range = is_whole || (part >= 1 && part <= total);
  const uint32_t count = in_range && !is_whole ? kSectors / total : kSectors;
  const uint32_t base = is_whole ? 0 : (part - 1) * count * kSector;
  // The compare looks at spots: it takes every equal file, and none of another size.
  if (result == 0) require(in_range && board.file.size() == count * kSector);
  if (in_range && count != 0 && matches_flash(board, base, count * kSector)) require(result == 0);
}

void copy(const fake::Board &board, uint32_t partition) {
  const uint32_t result = FW_N25Q256A_FlashCopy(open(fake::kFile, O_RDONLY), partition);
  if (result != 0) return;
  const uint32_t base = flash_def[partition == 1 ? FW_FLASH_IMAGE_1 : FW_FLASH_IMAGE_2];
  require(std::equal(board.file.begin(), board.file.end(), board.flash.begin() + base));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  flash_def[FW_FLASH_SECTOR_SIZE] = kSector;
  flash_def[FW_FLASH_COPY_PIECE] = kSector;
  flash_def[FW_FLASH_SECTORS] = kSectors;
  fake::Input input(data, size);
  fake::Board &board = fake::reset();
  board.failing_call = input.byte();
  board.short_read = input.byte();
  spiflash_debug_mode = input.byte() & 1;
  const uint32_t part = input.byte();
  const uint32_t total = input.byte();
  const bool in_flash = (input.byte() & 1) != 0;
  const bool whole = (input.byte() & 1) != 0;
  board.file = input.rest();
  if (whole) board.file.resize(kWhole, 0xA5);
  if (in_flash) fake::store(0, board.file);

  const auto length = static_cast<uint32_t>(board.file.size());
  const uint32_t sum = dbChecksum(board.file.data(), length);
  const bool accepted = FW_CheckFile(fake::kFile, sum) == 0;
  if (board.failing_call == 0) require(accepted == (length == kWhole));
  require(FW_CheckFile(fake::kFile, sum + 1) != 0);
  compare(board, part, total);
  copy(board, 1 + total % 3);
  FW_FlashCopyAll(fake::kFile, sum);
  FW_SpiFlash_WriteBoot(fake::kFile);
  fake::check_released();
  return 0;
}
