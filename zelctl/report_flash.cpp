#include <algorithm>

#include "report.h"

using Sector = std::vector<uint8_t>;

void report_environment(Report &report) {
  report.data["redacted"] = record("patterns", report.secrets, "variables", Json::array(), "remains", false);
  report.data["environment"] = report.ask("boot environment", [&] {
    Redaction redaction = blank_secrets(read_flash(region_start(FW_REGION_ENVIRONMENT), FW_ENV_SIZE), report.secrets);
    append(report.data["redacted"], "variables", redaction.names, "remains", redaction.remains);
    Json known = environment_in(redaction.region);
    known["file"] = "environment.bin";
    report.add_file("environment.bin", std::move(redaction.region));
    return known;
  });
}

/** A checksum of what is there without the erased bytes behind it: an image ends before its partition does. */
class ImageFigures {
 public:
  void add(std::span<const uint8_t> bytes) {
    size_t used = bytes.size();
    while (used > 0 && bytes[used - 1] == 0xFF) --used;
    if (used > 0) {
      count_erased();
      count(bytes.first(used));
    }
    erased_ += bytes.size() - used;
  }
  Json record_of(uint32_t image) const {
    return record("image", image, "length", length_, "crc32", crc32_, "sum", sum_);
  }

 private:
  void count(std::span<const uint8_t> bytes) {
    crc32_ = FW_crc321(crc32_, bytes.data(), static_cast<uint32_t>(bytes.size()));
    sum_ += dbChecksum(bytes.data(), static_cast<uint32_t>(bytes.size()));
    length_ += bytes.size();
  }
  /** They stand before further data: they belong to it. */
  void count_erased() {
    const Sector erased(std::min<size_t>(erased_, sector_size()), 0xFF);
    while (erased_ > 0) {
      const size_t part = std::min(erased_, erased.size());
      count(std::span(erased).first(part));
      erased_ -= part;
    }
  }

  size_t length_ = 0, erased_ = 0;
  uint32_t crc32_ = 0, sum_ = 0;
};

/** Figures of all regions, made while the chip is read from its beginning to its end. */
class ChipFigures {
 public:
  ChipFigures() : regions_(flash_regions()) {
    for (Json &region : regions_) append(region, "used_sectors", 0U, "crc32", 0U);
  }

  void add(uint32_t at, const Sector &sector) {
    const size_t index = region_at(regions_, at);
    if (index >= regions_.size()) return;
    Json &region = regions_[index];
    const uint32_t crc = FW_crc321(region["crc32"], sector.data(), static_cast<uint32_t>(sector.size()));
    append(region, "used_sectors", region["used_sectors"].get<uint32_t>() + (is_erased(sector) ? 0 : 1), "crc32", crc);
    if (region["code"] == "I1") images_[0].add(sector);
    if (region["code"] == "I2") images_[1].add(sector);
  }

  /** A sector that could not be read: no figure of its region is worth anything. */
  void miss(uint32_t at) {
    const size_t index = region_at(regions_, at);
    if (index < regions_.size()) missed_.push_back(index);
  }

  void finish(Json &flash) {
    for (const size_t index : missed_) append(regions_[index], "used_sectors", nullptr, "crc32", nullptr);
    flash["regions"] = regions_;
    flash["images"] = Json::array();
    for (uint32_t image = 1; image <= 2; ++image) {
      const uint32_t start = region_start(image == 1 ? FW_REGION_IMAGE_1 : FW_REGION_IMAGE_2);
      const bool whole = std::find(missed_.begin(), missed_.end(), region_at(regions_, start)) == missed_.end();
      if (whole) flash["images"].push_back(images_[image - 1].record_of(image));
    }
  }

 private:
  Json regions_;
  ImageFigures images_[2];
  std::vector<size_t> missed_;
};

/** Reads a sector; the environment's without its secrets. @return why that failed, or nothing */
static std::string read_sector(const Report &report, uint32_t at, Sector &sector) {
  try {
    read_piece(at, sector);
    if (at == region_start(FW_REGION_ENVIRONMENT)) sector = blank_secrets(sector, report.secrets).region;
    return {};
  } catch (const Failure &failure) {
    return failure.what();
  }
}

/** Sectors that were not read, each with its reason; neighbours with the same one become one row. */
static void add_unread(Json &unread, uint32_t at, const std::string &why) {
  const std::string reason = why.substr(0, why.find(": flash read at"));
  if (!unread.empty() && unread.back()["end"] == at && unread.back()["why"] == reason)
    unread.back()["end"] = at + sector_size();
  else
    unread.push_back(record("start", at, "end", at + sector_size(), "why", reason));
}

static void read_chip(Report &report, TarWriter *content, Json &flash) {
  ChipFigures figures;
  Json unread = Json::array();
  if (content != nullptr) content->begin("flash.bin", chip_size());
  work_in_pieces("read", 0, chip_size(), "no report was written", [&](uint32_t at, uint32_t count) {
    Sector sector(count, 0xFF);
    const std::string why = read_sector(report, at, sector);
    if (why.empty()) {
      figures.add(at, sector);
    } else {
      std::fill(sector.begin(), sector.end(), uint8_t{0xFF});
      figures.miss(at);
      add_unread(unread, at, why);
    }
    if (content != nullptr) content->write(sector);
  });
  figures.finish(flash);
  for (const Json &row : unread)
    report.note(format("flash from 0x%X to 0x%X", row["start"].get<uint32_t>(), row["end"].get<uint32_t>()),
                row["why"]);
  append(flash, "unread", unread, "content", content != nullptr ? Json("flash.bin") : Json());
}

void report_flash(Report &report, TarWriter *content) {
  Json flash = record("chip_index", nullptr, "jedec_id", nullptr, "regions", nullptr, "images", nullptr, "unread",
                      Json::array(), "content", nullptr);
  const Json id = report.ask("flash chip", flash_id);
  if (id.is_object()) append(flash, "chip_index", id["chip_index"], "jedec_id", id["jedec_id"]);
  report.data["databases"] = report.ask("databases", databases);
  const Json readable = report.ask("flash", [] {
    if (FW_GetFlashAccessFlag() == 1) throw Failure{"somebody writes it now"};
    region_start(FW_REGION_IMAGE_1);  // refuses a chip that the library does not know
    return Json(true);
  });
  // What goes wrong from here on and is no answer of the board ends the report: a full disk, a signal.
  if (readable == true) read_chip(report, content, flash);
  report.data["flash"] = flash;
}
