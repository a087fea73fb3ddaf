#include <algorithm>
#include <cstring>

#include "chip_figures.h"
#include "report.h"

using Sector = std::vector<uint8_t>;

void report_environment(Report &report) {
  report.data["redacted"] = record("patterns", report.secrets, "variables", Json::array(), "remains", false);
  report.data["environment"] = report.ask("boot environment", [&] {
    constexpr const char *kFile = "environment.bin";
    const std::vector<uint8_t> region = read_flash(region_start(FW_REGION_ENVIRONMENT), FW_ENV_SIZE);
    const Redaction redaction = blank_secrets(region, report.secrets);
    append(report.data["redacted"], "variables", redaction.names, "remains", redaction.remains);
    report.add_file(kFile, redaction.region);
    Json known = environment_in(redaction.region);
    known["file"] = kFile;
    return known;
  });
}

/** Reads a sector. The environment's sector comes without its secrets. @return why it could not be read, or nothing */
static std::string read_sector(const Report &report, uint32_t address, Sector &sector) {
  try {
    read_piece(address, sector);
    if (address == region_start(FW_REGION_ENVIRONMENT)) sector = blank_secrets(sector, report.secrets).region;
    return {};
  } catch (const Failure &failure) {
    return failure.what();
  }
}

/** "FW_FAIL: no answer" of "FW_FAIL: flash read at 0x10000: no answer". */
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

static void read_chip(Report &report, TarWriter *content, Json &flash) {
  constexpr const char *kFile = "flash.bin";
  ChipFigures figures;
  Json unread = Json::array();
  if (content != nullptr) content->begin(kFile, chip_size());
  work_in_pieces("read", 0, chip_size(), "no report was written", [&](uint32_t address, uint32_t length) {
    Sector sector(length, 0xFF);
    const std::string why = read_sector(report, address, sector);
    if (why.empty()) {
      figures.add(address, sector);
    } else {
      std::fill(sector.begin(), sector.end(), uint8_t{0xFF});
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

void report_flash(Report &report, TarWriter *content) {
  Json flash = Json::object();
  for (const char *key : {"chip_index", "jedec_id", "regions", "images"}) flash[key] = nullptr;
  flash["unread"] = Json::array();
  flash["content"] = nullptr;
  const Json id = report.ask("flash chip", flash_id);
  if (id.is_object()) append(flash, "chip_index", id["chip_index"], "jedec_id", id["jedec_id"]);
  report.data["databases"] = report.ask("databases", databases);
  const Json readable = report.ask("flash", [] {
    if (FW_GetFlashAccessFlag() == 1) throw Failure{"somebody writes it now"};
    region_start(FW_REGION_IMAGE_1);  // throws for a chip that the library does not know
    return Json(true);
  });
  // From here on only the board's failures are noted. Others, such as a full disk or a signal, end the report.
  if (readable == true) read_chip(report, content, flash);
  report.data["flash"] = flash;
}
