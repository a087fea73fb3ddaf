#include <algorithm>
#include <cstring>

#include "records.h"

void work_in_pieces(const char *what, uint32_t start, uint32_t length, const char *if_interrupted,
                    const PieceWork &work) {
  Progress progress(what, length);
  uint32_t done = 0;
  while (done < length) {
    if (interrupted()) throw Failure{format("interrupted: %s ended at 0x%X; %s", what, start + done, if_interrupted)};
    const uint32_t piece = std::min(sector_size(), length - done);
    work(start + done, piece);
    done += piece;
    progress.at(done);
  }
}

std::vector<uint8_t> read_flash(uint32_t start, uint32_t length, const char *if_interrupted) {
  std::vector<uint8_t> bytes(length);
  work_in_pieces("read", start, length, if_interrupted, [&](uint32_t address, uint32_t piece) {
    read_piece(address, {bytes.data() + (address - start), piece});
  });
  return bytes;
}

/** Reads over a mark in the last byte of the buffer. @return true if the last byte is not the mark any more */
static bool replaces_mark(uint8_t mark, uint32_t address, std::span<uint8_t> bytes) {
  bytes.back() = mark;
  require(FW_ReadFlash(address, static_cast<uint32_t>(bytes.size()), bytes.data()),
          format("flash read at 0x%X", address));
  return bytes.back() != mark;
}

void read_piece(uint32_t address, std::span<uint8_t> bytes) {
  constexpr uint8_t kMark = 0x5A;
  constexpr uint8_t kOtherMark = 0xA5;
  if (replaces_mark(kMark, address, bytes)) return;
  // The mark is still there: the driver gave fewer bytes, or the flash has this byte. Reading the byte alone, over
  // another mark, shows which.
  uint8_t again = 0;
  const uint32_t last = address + static_cast<uint32_t>(bytes.size()) - 1;
  const bool flash_has_mark = replaces_mark(kOtherMark, last, {&again, 1}) && again == kMark;
  if (flash_has_mark) return;
  throw Failure{format("flash read at 0x%X: the driver gave fewer bytes than asked for", address)};
}

uint32_t little_word32_at(std::span<const uint8_t> bytes, size_t at) {
  return bytes[at] | uint32_t{bytes[at + 1]} << 8 | uint32_t{bytes[at + 2]} << 16 | uint32_t{bytes[at + 3]} << 24;
}

bool is_erased(std::span<const uint8_t> bytes) {
  if (bytes.empty()) return true;
  // All bytes are alike if each is equal to the next one. memcmp is much faster than a loop.
  const bool are_alike = std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0;
  return bytes[0] == kErased && are_alike;
}

void require_chip() {
  uint8_t index = 0xFF;
  require(FW_FlashGetIndex(&index), "flash driver");
  if (index != 0) throw Failure{format("chip index %u is not supported", index)};
}

/** Throws if the flags cannot be read. The library does not say if it cannot set them. */
static void require_flags() { flags(); }

void start_change() {
  require_flags();
  require_chip();
  hold_signals();
}
