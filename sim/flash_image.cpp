#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <numeric>

#include "documents.h"
#include "flash_map.h"
#include "image_file.h"
#include "system_calls.h"
#include "tool.h"

// The flash as a whole: its contents to and from files, and its counters.

namespace zelsim::tool {
namespace {

void check_image(bool done, const std::string &what) {
  if (!done) throw Failure("cannot " + what + " the flash image: " + std::strerror(errno));
}

std::string inverted(std::string bytes) {
  for (char &byte : bytes) byte = static_cast<char>(~byte);
  return bytes;
}

int open_image(const OpenBoard &board) {
  int fd = open((board.folder.native() + kFlashFile).c_str(), O_RDWR | O_CLOEXEC);
  check_image(fd >= 0, "open");
  return fd;
}

bool write_at(int fd, const char *data, size_t size, off_t at) {
  return sys::pwrite(fd, data, size, at) == static_cast<ssize_t>(size);
}

// Stores inverted bytes. The erased bytes at the end are zeros, and become a hole. Room is taken first, so that a full disk
// leaves the old contents.
void store(OpenBoard &board, const std::string &image, off_t at) {
  sys::File file(open_image(board));
  size_t used = image.find_last_not_of('\0') + 1;
  off_t end_of_used = at + static_cast<off_t>(used);
  auto unused = static_cast<off_t>(image.size() - used);
  check_image(take_room(file.get(), at, static_cast<off_t>(used)), "write");
  check_image(write_at(file.get(), image.data(), used, at), "write");
  check_image(make_hole(file.get(), end_of_used, unused), "write");
  ++board->watch.reflashed;
}

std::string load(const OpenBoard &board, FlashRange range) {
  std::string image(range.size, '\0');
  sys::File file(open_image(board));
  ssize_t count = sys::pread(file.get(), image.data(), image.size(), range.start);
  check_image(count == std::ssize(image), "read");
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
