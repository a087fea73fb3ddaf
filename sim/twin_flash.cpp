#include "twin_flash.h"

#include <zlib.h>

#include <algorithm>
#include <map>
#include <span>

#include "board.h"
#include "flash_map.h"
#include "image_file.h"
#include "system_calls.h"
#include "tool.h"
#include "twin_identity.h"

// The flash of a report. A report made with --flash has all of it; another has the boot environment, the identity and
// the MAC backup.

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
    if (!write_image(file.get(), std::span(stored).first(sector.size()), place)) fail_to("write the flash image");
  }
}

/** Fills regions from a report that was made without --flash: it has only parts of them. */
class RegionsOfReport {
 public:
  RegionsOfReport(const Json &report, const std::string &folder) : report_(report), folder_(folder) {}

  void put(const char *name, const std::vector<uint8_t> &bytes) {
    FlashRange range = flash_range(name);
    std::vector<uint8_t> content(range.size, 0xff);
    std::copy_n(bytes.begin(), std::min<size_t>(bytes.size(), range.size), content.begin());
    if (!bytes.empty()) write_flash(folder_, range.start, content);
    auto length = static_cast<uInt>(content.size());
    checksums_[name] = static_cast<uint32_t>(crc32(0, content.data(), length));
  }

  // The report has the checksums of all regions: they show whether the twin has the same bytes.
  void note_others(Notes &notes) const {
    for (const Json &row : member(report_, {"flash", "regions"})) {
      std::string name = text_of(member(row, {"region"}));
      auto used = number_of(member(row, {"used_sectors"}), kSectors).value_or(0);
      auto known = checksums_.find(name);
      bool is_held = known != checksums_.end();
      bool is_whole = is_held && number_of(member(row, {"crc32"}), UINT32_MAX) == known->second;
      bool is_environment = text_of(member(row, {"code"})) == "E";
      if (used == 0 || is_environment || is_whole) continue;
      std::string why = "the report was made without --flash";
      if (is_held) why += ": only what 'zelctl identity' and 'zelctl mac-backup' show is there";
      notes.add("flash region " + name, why);
    }
  }

 private:
  const Json &report_;
  const std::string &folder_;
  std::map<std::string, uint32_t> checksums_;
};

void write_environment(const std::string &folder, const std::vector<uint8_t> &content, Notes &notes) {
  FlashRange range = flash_range("Environment");
  if (content.size() <= range.size) {
    write_flash(folder, range.start, content);
  } else {
    notes.add("boot environment", "the report's file of it is longer than the region");
  }
}

void check_chip(const Json &report, Notes &notes) {
  const Json &jedec_id = member(report, {"flash", "jedec_id"});
  std::vector<uint8_t> id = bytes_of_hex(jedec_id);
  bool is_other = !id.empty() && !std::ranges::equal(id, kJedecId);
  if (is_other) notes.add("flash chip " + text_of(jedec_id), "the virtual switch has another one");
}

}  // namespace

bool fill_flash(const Json &report, const ArchivedFiles &files, const std::string &folder, Notes &notes) {
  const std::vector<uint8_t> *whole = file_of(files, member(report, {"flash", "content"}));
  const std::vector<uint8_t> *environment = file_of(files, member(report, {"environment", "file"}));
  const bool is_whole = whole != nullptr && whole->size() == kFlashSize;
  if (is_whole) {
    write_flash(folder, 0, *whole);
  } else {
    if (environment != nullptr) write_environment(folder, *environment, notes);
    RegionsOfReport regions(report, folder);
    regions.put("Custom info", custom_info_of(report));
    regions.put("Mac Address Backup", mac_backup_of(report));
    regions.note_others(notes);
  }
  for (const Json &name : member(report, {"redacted", "variables"}))
    notes.add("variable " + text_of(name) + " of the boot environment", "the report has it without its value");
  check_chip(report, notes);
  return is_whole;
}

}  // namespace zelsim::tool
