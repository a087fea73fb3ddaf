#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <numeric>

#include "documents.h"
#include "flash_map.h"
#include "system_calls.h"
#include "tool.h"

// The flash as a whole: its contents from and to files, and its counters.

namespace zelsim::tool {
namespace {

void check(bool done, const std::string &what) {
  if (!done) throw Failure("cannot " + what + ": " + std::strerror(errno));
}

std::string inverted(std::string bytes) {
  for (char &byte : bytes) byte = static_cast<char>(~byte);
  return bytes;
}

int open_image(const OpenBoard &board) {
  int fd = open((board.folder.native() + kFlashFile).c_str(), O_RDWR | O_CLOEXEC);
  check(fd >= 0, "open the flash image");
  return fd;
}

// Takes room on the disk. A file system that cannot do so lets the write itself find out.
bool reserve(int fd, off_t at, size_t size) {
  if (size == 0) return true;
  return fallocate(fd, 0, at, static_cast<off_t>(size)) == 0 || errno == EOPNOTSUPP;
}

bool write_at(int fd, const char *data, size_t size, off_t at) {
  return sys::pwrite(fd, data, size, at) == static_cast<ssize_t>(size);
}

// Makes a hole, or writes zeros where the file system knows no holes.
bool clear(int fd, off_t at, size_t size) {
  if (size == 0) return true;
  if (fallocate(fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, at, static_cast<off_t>(size)) == 0) return true;
  std::string zeros(size, '\0');
  return write_at(fd, zeros.data(), size, at);
}

// Stores inverted bytes: the erased ones at the end are zeros and become a hole. Room is taken before anything changes:
// a full disk leaves the old contents.
void store(OpenBoard &board, const std::string &image, off_t at) {
  sys::File file(open_image(board));
  size_t used = image.find_last_not_of('\0') + 1;
  off_t end_of_used = at + static_cast<off_t>(used);
  check(reserve(file.get(), at, used), "write the flash image");
  check(write_at(file.get(), image.data(), used, at), "write the flash image");
  check(clear(file.get(), end_of_used, image.size() - used), "write the flash image");
  ++board->watch.reflashed;
}

std::string load(const OpenBoard &board, FlashRange range) {
  std::string image(range.size, '\0');
  sys::File file(open_image(board));
  ssize_t count = sys::pread(file.get(), image.data(), image.size(), range.start);
  check(count == std::ssize(image), "read the flash image");
  return image;
}

uint64_t sum(std::span<const uint32_t> counters) {
  return std::accumulate(counters.begin(), counters.end(), uint64_t{0});
}

Json region_row(const FlashRegion &region, const Flash &flash) {
  std::span erases(flash.erases);
  std::span programs(flash.programs);
  return {{"region", region.name},
          {"start", region.start()},
          {"size", region.size()},
          {"erases", sum(erases.subspan(region.first_sector, region.sectors))},
          {"programs", sum(programs.subspan(region.first_sector, region.sectors))}};
}

}  // namespace

Json flash_counters(const Flash &flash) {
  const uint32_t *worst = std::ranges::max_element(flash.erases);
  return {{"chip_index", flash.chip_index},
          {"debug", flash.debug},
          {"extended_address", flash.extended_address},
          {"erases", sum(flash.erases)},
          {"programs", sum(flash.programs)},
          {"bytes_programmed", flash.bytes_programmed},
          {"bytes_not_erased", flash.bytes_not_erased},
          {"worst_sector", worst - flash.erases},
          {"worst_erases", *worst}};
}

Json regions_of(const Flash &flash) {
  Json regions = Json::array();
  for (const FlashRegion &region : flash_regions()) regions.push_back(region_row(region, flash));
  return regions;
}

Json flash_document(const CommandLine &line) {
  OpenBoard board = look_at(line.board);
  return {{"flash", flash_counters(board->flash)}, {"regions", regions_of(board->flash)}};
}

void load_flash(const CommandLine &line) {
  FlashRange range = flash_range(line.region);
  std::vector<uint8_t> content = read_file(line.words[0], range.size);
  content.resize(range.size, 0xff);  // what the file does not reach is erased
  OpenBoard board = open_board(line.board);
  store(board, inverted({content.begin(), content.end()}), range.start);
}

void save_flash(const CommandLine &line) {
  FlashRange range = flash_range(line.region);
  std::string image = load(look_at(line.board), range);  // the lock ends before the output may block
  write_output(line.words[0], bytes_of(inverted(std::move(image))));
}

void erase_flash(const CommandLine &line) {
  OpenBoard board = open_board(line.board);
  store(board, std::string(kFlashSize, '\0'), 0);
  Flash fresh = {};
  fresh.chip_index = board->flash.chip_index;
  fresh.debug = board->flash.debug;
  board->flash = fresh;
}

}  // namespace zelsim::tool
