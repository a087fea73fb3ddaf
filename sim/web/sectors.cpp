#include <fcntl.h>

#include <algorithm>
#include <cstring>

#include "documents.h"
#include "nodes.h"
#include "saved_state.h"
#include "system_calls.h"
#include "way_back.h"
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

/** A state that was saved. */
std::unique_ptr<Board> saved_board(const std::filesystem::path &saved) {
  bool is_there = std::filesystem::exists(saved);
  if (!is_there) throw Failure("state: no state '" + saved.filename().native() + "' can be read");
  return tool::read_state(saved);
}

/** The ports with a module that is not the same in the saved state. */
Json other_modules(const Board &now, const Board &saved) {
  Json ports = Json::array();
  for (unsigned port = 0; port < kPorts; ++port) {
    bool is_lost = now.cages[port].fitted != 0 && !tool::is_same_module(now.cages[port], saved.cages[port]);
    if (is_lost) ports.push_back(port);
  }
  return ports;
}

/** The numbers of the faults that the saved state does not have. */
Json other_faults(const Json &now, const Json &saved) {
  Json numbers = Json::array();
  for (const Json &fault : now["faults"]) {
    auto is_it = [&](const Json &other) { return other["fault"] == fault["fault"]; };
    bool is_saved = std::ranges::any_of(saved["faults"], is_it);
    if (!is_saved) numbers.push_back(fault["fault"]);
  }
  return numbers;
}

/** The parts of the board's document in which the saved state differs. The time that has passed is no such part. */
Json other_parts(const Json &now, const Json &saved) {
  Json parts = Json::array();
  for (const auto &[part, value] : now.items()) {
    if (part != "paused_us" && saved[part] != value) parts.push_back(part);
  }
  return parts;
}

/** The document of a board without what a program sets only while it works. The clock goes on by itself: its time is in the
 *  document only if the clock was set. */
Json document_to_compare(const Board &board, const std::filesystem::path &folder, bool with_clock) {
  Json document = tool::document_of(board, folder);
  document["gpio"].erase("flash_access_flag");
  document["gpio"].erase("selected_cage");
  if (!with_clock) document["i2c"].erase("clock");
  return document;
}

}  // namespace

std::unique_ptr<Board> copy_of(Board &board) {
  auto copy = std::make_unique<Board>();
  Guard guard(board, Intent::Look);
  std::memcpy(static_cast<void *>(copy.get()), &board, sizeof board);
  return copy;
}

// The counters were copied before the sectors are read: a sector that changes in between is counted again the next time.
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

// Programs go on meanwhile: what they write just now may be missed.
Json difference_document(const std::string &board, const std::string &state) {
  tool::check_name(state, "state");
  tool::AttachedBoard attached = tool::attach_board(board);
  std::filesystem::path saved = attached.folder / tool::kStatesFolder / state;
  const std::unique_ptr<Board> board_then = saved_board(saved);
  const std::unique_ptr<Board> board_now = copy_of(*attached.attached->board);
  const uint32_t *erases = board_now->flash.erases;
  const uint32_t *erases_then = board_then->flash.erases;
  sys::File now(open_in(attached.folder, kFlashFile));
  sys::File then(open_in(saved, kFlashFile));
  Json sectors = Json::array();
  uint64_t erased = 0;
  for (unsigned sector = 0; sector < kSectors; ++sector) {
    if (!is_same_sector(now.get(), then.get(), sector)) sectors.push_back(sector);
    if (erases[sector] > erases_then[sector]) erased += erases[sector] - erases_then[sector];
  }
  bool is_clock_set = board_now->i2c.clock.shift_us != board_then->i2c.clock.shift_us;
  const Json document_now = document_to_compare(*board_now, attached.folder, is_clock_set);
  const Json document_then = document_to_compare(*board_then, attached.folder, is_clock_set);
  return {{"state", state},
          {"sectors", sectors},
          {"erases", erased},
          {"modules", other_modules(*board_now, *board_then)},
          {"faults", other_faults(document_now, document_then)},
          {"parts", other_parts(document_now, document_then)}};
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
