#include <fcntl.h>

#include <cstring>

#include "nodes.h"
#include "system_calls.h"
#include "web.h"

// The flash image, sector by sector and byte by byte. It is stored inverted: an erased byte is 0.

namespace zelsim::web {
namespace {

int open_image(const std::filesystem::path &folder) {
  return sys::open((folder.native() + kFlashFile).c_str(), O_RDONLY | O_CLOEXEC);
}

uint16_t used_pages(int fd, unsigned sector) {
  static constexpr uint8_t kErased[kPageSize] = {};
  uint8_t bytes[kSectorSize];
  ssize_t count = sys::pread(fd, bytes, sizeof bytes, off_t{sector} * off_t{kSectorSize});
  if (count != sizeof bytes) throw Failure("the flash image cannot be read");
  unsigned used = 0;
  for (size_t at = 0; at < sizeof bytes; at += kPageSize) {
    bool is_erased = std::memcmp(bytes + at, kErased, kPageSize) == 0;
    if (!is_erased) ++used;
  }
  return static_cast<uint16_t>(used);
}

}  // namespace

std::unique_ptr<Board> copy_of(Board &board) {
  auto copy = std::make_unique<Board>();
  Guard guard(board, Intent::Look);
  std::memcpy(static_cast<void *>(copy.get()), &board, offsetof(Board, watch) + offsetof(Watch, written));
  return copy;
}

// The counters are older than what is read: a sector that changes meanwhile is counted again the next time.
Json sectors_document(const std::filesystem::path &folder, const Board &board, Sectors &known) {
  const Flash before = known.counters;
  const Flash &now = board.flash;
  bool counts_all = !known.counted || known.reflashed != board.watch.reflashed;
  known.counters = now;
  known.reflashed = board.watch.reflashed;
  known.counted = true;
  sys::File file(open_image(folder));
  for (unsigned sector = 0; sector < kSectors; ++sector) {
    bool is_erased = before.erases[sector] != now.erases[sector];
    bool is_programmed = before.programs[sector] != now.programs[sector];
    if (counts_all || is_erased || is_programmed) known.used[sector] = used_pages(file.get(), sector);
  }
  return {{"erases", known.counters.erases}, {"used", known.used}};
}

Json bytes_document(const std::string &board, uint32_t start, uint32_t size) {
  std::vector<uint8_t> bytes(size);
  tool::OpenBoard open = tool::look_at(board);
  sys::File file(open_image(open.folder));
  if (sys::pread(file.get(), bytes.data(), size, start) != static_cast<ssize_t>(size))
    throw Failure("start: the flash image cannot be read");
  for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(~byte);
  return {{"start", start}, {"bytes", hex_text(bytes)}};
}

}  // namespace zelsim::web
