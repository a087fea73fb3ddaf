#include <algorithm>

#include "records.h"

/** Colours of the 256-colour palette, one for each region in the order of addresses. */
constexpr int kPalette[kRegionCount] = {25, 28, 130, 90, 31, 100, 61, 94, 36, 125, 64, 172, 97, 24, 138, 65, 60};
constexpr int kGrey = 240;

constexpr const char *kErasedSector = "..";

void show_sector(uint32_t sector) {
  const uint32_t start = sector * sector_size();
  const std::vector<uint8_t> bytes = read_flash(start, sector_size());
  const std::string region = region_name(flash_regions(), start);
  const uint32_t crc = FW_crc32(bytes.data(), sector_size());
  show(record("sector", sector, "address", start, "region", region, "erased", is_erased(bytes), "crc32", crc));
  if (settings.json) return;
  std::fprintf(out, "\n");
  hexdump(bytes, start);
}

/** Colours a sector's text by region: the background of a sector with data, the letters of an erased one. */
static std::string paint(size_t region, bool used, const std::string &text) {
  if (!settings.colour && !colourful()) return text;
  constexpr int kForeground = 38;
  constexpr int kBackground = 48;
  const int colour = region < std::size(kPalette) ? kPalette[region] : kGrey;
  return format("\033[%d;5;%dm%s\033[0m", used ? kBackground : kForeground, colour, text.c_str());
}

static std::string sector_text(const Json &regions, uint32_t address, bool used) {
  const size_t region = region_at(regions, address);
  std::string code = region < regions.size() ? regions[region]["code"].get<std::string>() : "U";
  code.resize(2, ' ');
  return paint(region, used, used ? code : kErasedSector);
}

/** @param used  by sector: true if it contains data */
static void draw_sectors(const Json &regions, const std::vector<bool> &used) {
  constexpr size_t kWideRow = 74;  // columns for an address and 32 sectors
  const uint32_t per_row = columns() >= kWideRow ? 32 : 8;
  for (uint32_t sector = 0; sector < used.size(); ++sector) {
    const uint32_t address = sector * sector_size();
    if (sector % per_row == 0) std::fprintf(out, "0x%07X ", address);
    std::fputs(sector_text(regions, address, used[sector]).c_str(), out);
    if (sector % per_row == per_row - 1) std::fputs("\n", out);
  }
  std::fprintf(out, "\n%s a sector that holds data\n", paint(0, true, "B ").c_str());
  std::fprintf(out, "%s an erased one\n", paint(0, false, kErasedSector).c_str());
  std::fprintf(out, "%s data outside the regions\n\n", paint(regions.size(), true, "U ").c_str());
}

static std::vector<bool> used_sectors() {
  const std::vector<uint8_t> chip = read_flash(0, chip_size());
  std::vector<bool> used;
  for (uint32_t start = 0; start < chip_size(); start += sector_size())
    used.push_back(!is_erased({chip.data() + start, sector_size()}));
  return used;
}

void show_map() {
  const std::vector<bool> used = used_sectors();
  Json regions = flash_regions();
  for (Json &region : regions) {
    const auto first = used.begin() + region["start"].get<uint32_t>() / sector_size();
    const uint32_t sectors = region["length"].get<uint32_t>() / sector_size();
    append(region, "sectors", sectors, "used", std::count(first, first + sectors, true));
  }
  if (!settings.json) {
    draw_sectors(regions, used);
    show(regions);
    return;
  }
  Json numbers = Json::array();
  for (size_t sector = 0; sector < used.size(); ++sector) {
    if (used[sector]) numbers.push_back(sector);
  }
  show(record("regions", regions, "used_sectors", numbers));
}

static const char *text_of(SectorAction action) {
  switch (action) {
    case SectorAction::Keep:
      return "as it is";
    case SectorAction::Write:
      return "write";
    case SectorAction::EraseAndWrite:
      return "erase and write";
    case SectorAction::Erase:
      return "erase";
  }
  return "";
}

void show_plan(uint32_t start, uint32_t end, const std::function<SectorAction(uint32_t address)> &action_at) {
  const Json regions = flash_regions();
  Json rows = Json::array();
  uint32_t at = start;
  while (at < end) {
    const uint32_t next_sector = (at / sector_size() + 1) * sector_size();
    const uint32_t next = std::min(end, next_sector);
    const std::string region = region_name(regions, at);
    const std::string action = text_of(action_at(at));
    // Sectors of one region with one action share a row.
    if (!rows.empty() && rows.back()["region"] == region && rows.back()["action"] == action)
      rows.back()["end"] = next;
    else
      rows.push_back(record("start", at, "end", next, "region", region, "action", action));
    at = next;
  }
  show(rows);
}

void show_plan(uint32_t start, uint32_t end, SectorAction action) {
  show_plan(start, end, [action](uint32_t) { return action; });
}
