#include <fcntl.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <span>
#include <vector>

#include "documents.h"
#include "flash_map.h"
#include "image_file.h"
#include "system_calls.h"
#include "tool.h"

// The flash as a whole: its contents to and from files, and its counters.

namespace zelsim::tool {
namespace {

void check_image(bool done, const std::string &what) {
  if (!done) fail_to(what + " the flash image");
}

// The file holds the complement of the flash, so that erased sectors are holes.
void invert(std::vector<uint8_t> &bytes) {
  for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(~byte);
}

int open_image(const OpenBoard &board) {
  int fd = open((board.folder.native() + kFlashFile).c_str(), O_RDWR | O_CLOEXEC);
  check_image(fd >= 0, "open");
  return fd;
}

// How many bytes of an inverted image stand before the erased blocks at its end.
size_t size_of_used(std::span<const uint8_t> image) {
  static constexpr uint8_t kErasedBlock[4096] = {};
  constexpr size_t kBlock = sizeof kErasedBlock;
  size_t used = image.size();
  while (used >= kBlock && std::memcmp(&image[used - kBlock], kErasedBlock, kBlock) == 0) used -= kBlock;
  return used;
}

// Stores an inverted image at the beginning of a range, and erases the rest of the range. Room is taken first, so that a full
// disk leaves the old contents.
void store(OpenBoard &board, std::span<const uint8_t> image, FlashRange range) {
  sys::File file(open_image(board));
  auto start = static_cast<off_t>(range.start);
  std::span<const uint8_t> content = image.first(size_of_used(image));
  auto used = static_cast<off_t>(content.size());
  auto unused = static_cast<off_t>(range.size) - used;
  check_image(take_room(file.get(), start, used), "write");
  check_image(write_image(file.get(), content, start), "write");
  check_image(make_hole(file.get(), start + used, unused), "write");
  ++board->watch.reflashed;
}

std::vector<uint8_t> load(const OpenBoard &board, FlashRange range) {
  std::vector<uint8_t> image(range.size);
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
  invert(content);
  OpenBoard board = open_board(line.board);
  store(board, content, range);  // what the file does not reach is erased
}

void save_flash(const CommandLine &line) {
  FlashRange range = flash_range(line.region);
  std::vector<uint8_t> image = load(look_at(line.board), range);  // the lock ends before the output may block
  invert(image);
  write_output(line.words[0], image);
}

void erase_all(OpenBoard &board) {
  store(board, {}, {.start = 0, .size = kFlashSize});
  Flash fresh = {};
  fresh.chip_index = board->flash.chip_index;
  fresh.debug = board->flash.debug;
  board->flash = fresh;
}

void erase_flash(const CommandLine &line) {
  OpenBoard board = open_board(line.board);
  erase_all(board);
}

}  // namespace zelsim::tool
