#include <algorithm>
#include <cstring>

#include "chip_figures.h"
#include "report.h"

using Sector = std::vector<uint8_t>;

void report_environment(Report &report) {
  report.data["redacted"] = record("patterns", report.secrets, "variables", Json::array(), "remains", false);
  report.data["environment"] = report.ask("boot environment", [&] {
    constexpr const char *kFile = "environment.bin";
    const std::vector<uint8_t> region = read_flash(start_of_selector(FW_REGION_ENVIRONMENT), FW_ENV_SIZE);
    const Redaction redaction = blank_secrets(region, report.secrets);
    append(report.data["redacted"], "variables", redaction.names, "remains", redaction.remains);
    report.add_file(kFile, redaction.region);
    Json known = environment_in(redaction.region);
    known["file"] = kFile;
    return known;
  });
}

/** @return why the sector could not be read, or nothing */
static std::string read_sector(uint32_t address, Sector &sector) {
  try {
    read_piece(address, sector);
    return {};
  } catch (const Failure &failure) {
    return failure.what();
  }
}

/** Makes "FW_FAIL: no answer" of "FW_FAIL: flash read at 0x10000: no answer". */
static std::string without_place(const std::string &why) {
  constexpr const char *kGap = ": ";
  const size_t start = why.find("flash read at");
  if (start == std::string::npos) return why;
  const size_t end = why.find(kGap, start);
  if (end == std::string::npos) return why;
  return why.substr(0, start) + why.substr(end + std::strlen(kGap));
}

/** Adds a sector that could not be read. Neighbours with the same reason share a row. */
static void add_unread(Json &unread, uint32_t address, const std::string &why) {
  const std::string reason = without_place(why);
  const uint32_t end = address + sector_size();
  if (!unread.empty() && unread.back()["end"] == address && unread.back()["why"] == reason)
    unread.back()["end"] = end;
  else
    unread.push_back(record("start", address, "end", end, "why", reason));
}

static void note_unread(Report &report, const Json &unread) {
  for (const Json &row : unread) {
    const uint32_t start = row["start"];
    const uint32_t end = row["end"];
    report.note(format("flash from 0x%X to 0x%X", start, end), row["why"]);
  }
}

/** The rows of the regions whose places the driver tells. */
static Json known_regions(Report &report) {
  Json rows = Json::array();
  for (uint32_t i = 0; i < kRegionCount; ++i) {
    const RegionPlace region{i};
    Json row = report.ask("flash region " + region_title(region), [region] { return region_row(region); });
    if (!row.is_null()) rows.push_back(std::move(row));
  }
  sort_regions(rows);
  return rows;
}

/** Nothing if the driver did not tell. */
static std::optional<uint32_t> environment_start(const Json &regions) {
  for (const Json &region : regions) {
    if (region["code"] == "E") return region["start"].get<uint32_t>();
  }
  return std::nullopt;
}

/** Blanks the secrets in the environment's sector. If the environment's place is not known, no content is written. */
static void read_chip(Report &report, TarWriter *content, Json &flash) {
  constexpr const char *kFile = "flash.bin";
  const Json regions = known_regions(report);
  const std::optional<uint32_t> secrets_at = environment_start(regions);
  if (content != nullptr && !secrets_at) {
    report.note("content of the flash", "without the place of the boot environment its secrets cannot be blanked");
    content = nullptr;
  }
  ChipFigures figures(regions);
  Json unread = Json::array();
  if (content != nullptr) content->begin(kFile, chip_size());
  work_in_pieces("read", 0, chip_size(), "no report was written", [&](uint32_t address, uint32_t length) {
    Sector sector(length, kErased);
    const std::string why = read_sector(address, sector);
    if (why.empty() && address == secrets_at) sector = blank_secrets(sector, report.secrets).region;
    if (why.empty()) {
      figures.add(address, sector);
    } else {
      std::fill(sector.begin(), sector.end(), kErased);
      figures.miss(address);
      add_unread(unread, address, why);
    }
    if (content != nullptr) content->write(sector);
  });
  figures.finish(flash);
  note_unread(report, unread);
  flash["unread"] = unread;
  if (content != nullptr) flash["content"] = kFile;
}

/** Null if the partition table cannot be read. */
static Json known_databases(Report &report) {
  std::vector<uint8_t> table;
  const Json is_read = report.ask("partition table", [&] {
    table = partition_table();
    return Json(true);
  });
  if (is_read.is_null()) return {};
  Json rows = Json::array();
  for (uint32_t copy = 0; copy < kDatabaseCopies; ++copy) {
    Json row = report.ask("database " + database_name(copy), [&] { return database_row(copy, table); });
    if (!row.is_null()) rows.push_back(std::move(row));
  }
  return rows;
}

void report_flash(Report &report, TarWriter *content) {
  Json flash = Json::object();
  for (const char *key : {"chip_index", "jedec_id", "regions", "images"}) flash[key] = nullptr;
  flash["unread"] = Json::array();
  flash["content"] = nullptr;
  const Json id = report.ask("flash chip", flash_id);
  if (id.is_object()) append(flash, "chip_index", id["chip_index"], "jedec_id", id["jedec_id"]);
  report.data["databases"] = known_databases(report);
  const Json readable = report.ask("flash", [] {
    if (flash_is_being_written()) throw Failure{"somebody writes it now"};
    require_chip();
    return Json(true);
  });
  // From here on only the board's failures are noted. Others, such as a full disk or a signal, end the report.
  if (readable == true) read_chip(report, content, flash);
  report.data["flash"] = flash;
}
