#include <fcntl.h>

#include <cstring>

#include "nodes.h"
#include "system_calls.h"
#include "web.h"

// The flash image, sector by sector and byte by byte. It is stored inverted: an erased byte is 0.

namespace zelsim::web {
namespace {

int open_in(const std::filesystem::path &folder, const char *file) {
  return sys::open((folder.native() + file).c_str(), O_RDONLY | O_CLOEXEC);
}

using SectorBytes = uint8_t[kSectorSize];

void read_sector(int fd, unsigned sector, SectorBytes &bytes) {
  ssize_t count = sys::pread(fd, bytes, sizeof bytes, off_t{sector} * off_t{kSectorSize});
  if (count != sizeof bytes) throw Failure("the flash image cannot be read");
}

uint16_t used_pages(int fd, unsigned sector) {
  static constexpr uint8_t kErased[kPageSize] = {};
  SectorBytes bytes;
  read_sector(fd, sector, bytes);
  unsigned used = 0;
  for (size_t at = 0; at < sizeof bytes; at += kPageSize) {
    bool is_erased = std::memcmp(bytes + at, kErased, kPageSize) == 0;
    if (!is_erased) ++used;
  }
  return static_cast<uint16_t>(used);
}

bool is_same_sector(int one, int other, unsigned sector) {
  SectorBytes bytes;
  SectorBytes others;
  read_sector(one, sector, bytes);
  read_sector(other, sector, others);
  return std::memcmp(bytes, others, sizeof bytes) == 0;
}

/** The board's erases of each sector, as a state has saved them. */
std::vector<uint32_t> saved_erases(const std::filesystem::path &saved) {
  std::vector<uint32_t> erases(kSectors);
  sys::File file(open_in(saved, kStateFile));
  constexpr size_t kSize = kSectors * sizeof(uint32_t);
  ssize_t count = sys::pread(file.get(), erases.data(), kSize, offsetof(Board, flash.erases));
  if (count != ssize_t{kSize}) throw Failure("state: no state '" + saved.filename().native() + "' can be read");
  return erases;
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
  sys::File file(open_in(folder, kFlashFile));
  for (unsigned sector = 0; sector < kSectors; ++sector) {
    bool is_erased = before.erases[sector] != now.erases[sector];
    bool is_programmed = before.programs[sector] != now.programs[sector];
    if (counts_all || is_erased || is_programmed) known.used[sector] = used_pages(file.get(), sector);
  }
  return {{"erases", known.counters.erases}, {"used", known.used}};
}

// No program waits meanwhile: what one writes just now may be missed.
Json difference_document(const std::string &board, const std::string &state) {
  tool::check_name(state, "state");
  tool::AttachedBoard attached = tool::attach_board(board);
  std::filesystem::path saved = attached.folder / tool::kStatesFolder / state;
  const uint32_t *erases = attached.attached->board->flash.erases;
  const std::vector<uint32_t> erases_then = saved_erases(saved);
  sys::File now(open_in(attached.folder, kFlashFile));
  sys::File then(open_in(saved, kFlashFile));
  Json sectors = Json::array();
  uint64_t erased = 0;
  for (unsigned sector = 0; sector < kSectors; ++sector) {
    if (!is_same_sector(now.get(), then.get(), sector)) sectors.push_back(sector);
    if (erases[sector] > erases_then[sector]) erased += erases[sector] - erases_then[sector];
  }
  return {{"state", state}, {"sectors", sectors}, {"erases", erased}};
}

Json bytes_document(const std::string &board, uint32_t start, uint32_t size) {
  std::vector<uint8_t> bytes(size);
  tool::OpenBoard open = tool::look_at(board);
  sys::File file(open_in(open.folder, kFlashFile));
  if (sys::pread(file.get(), bytes.data(), size, start) != static_cast<ssize_t>(size))
    throw Failure("start: the flash image cannot be read");
  for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(~byte);
  return {{"start", start}, {"bytes", hex_text(bytes)}};
}

}  // namespace zelsim::web
