#include "twin_flash.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>

#include "board.h"
#include "flash_map.h"
#include "system_calls.h"
#include "tool.h"

// The flash of a report: all of it, or only the boot environment.

namespace zelsim::tool {
namespace {

// Erased sectors stay holes of the image.
void write_flash(const std::string &folder, uint32_t start, std::span<const uint8_t> bytes) {
  sys::File file(sys::open((folder + kFlashFile).c_str(), O_RDWR | O_CLOEXEC));
  std::vector<uint8_t> stored(kSectorSize);
  bytes = bytes.first(std::min<size_t>(bytes.size(), kFlashSize - start));
  for (size_t at = 0; at < bytes.size(); at += kSectorSize) {
    std::span<const uint8_t> sector = bytes.subspan(at, std::min<size_t>(kSectorSize, bytes.size() - at));
    bool is_erased = std::ranges::all_of(sector, [](uint8_t byte) { return byte == 0xff; });
    if (is_erased) continue;
    std::ranges::transform(sector, stored.begin(), [](uint8_t byte) { return static_cast<uint8_t>(~byte); });
    auto place = static_cast<off_t>(start + at);
    if (sys::pwrite(file.get(), stored.data(), sector.size(), place) != std::ssize(sector))
      throw Failure(std::string("cannot write the flash image: ") + std::strerror(errno));
  }
}

void note_missing_regions(const Json &report, Notes &notes) {
  for (const Json &row : member(report, {"flash", "regions"})) {
    std::string name = text_of(member(row, {"region"}));
    auto used = number_of(member(row, {"used_sectors"}), kSectors).value_or(0);
    bool is_environment = text_of(member(row, {"code"})) == "E";
    if (used > 0 && !is_environment) notes.add("flash region " + name, "the report was made without --flash");
  }
}

void check_chip(const Json &report, Notes &notes) {
  const Json &jedec_id = member(report, {"flash", "jedec_id"});
  std::vector<uint8_t> id = bytes_of_hex(jedec_id);
  bool is_other = !id.empty() && !std::ranges::equal(id, kJedecId);
  if (is_other) notes.add("flash chip " + text_of(jedec_id), "the virtual switch has another one");
}

}  // namespace

void fill_flash(const Json &report, const ArchivedFiles &files, const std::string &folder, Notes &notes) {
  const std::vector<uint8_t> *whole = file_of(files, member(report, {"flash", "content"}));
  const std::vector<uint8_t> *environment = file_of(files, member(report, {"environment", "file"}));
  if (whole != nullptr && whole->size() == kFlashSize) {
    write_flash(folder, 0, *whole);
  } else {
    if (environment != nullptr) write_flash(folder, flash_range("Environment").start, *environment);
    note_missing_regions(report, notes);
  }
  for (const Json &name : member(report, {"redacted", "variables"}))
    notes.add("variable " + text_of(name) + " of the boot environment", "the report has it without its value");
  check_chip(report, notes);
}

}  // namespace zelsim::tool
