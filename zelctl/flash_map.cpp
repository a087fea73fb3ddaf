#include <algorithm>

#include "records.h"

/** Colours of the 256-colour palette, one a region in address order. */
constexpr int kPalette[] = {25, 28, 130, 90, 31, 100, 61, 94, 36, 125, 64, 172, 97, 24, 138, 65, 60};
constexpr int kGrey = 240;

/** The library's own print, whole. */
static void show_print(const std::function<uint32_t()> &call, const char *what) {
  const Printed printed = printed_by(call);
  require(printed.status, what);
  if (settings.json) return show(record("text", printed.text));
  std::fputs(printed.text.c_str(), out);
}

void show_sector(uint32_t sector, bool library) {
  if (library) return show_print([sector] { return FW_ReadSector(sector); }, "flash sector");
  const uint32_t start = sector * sector_size();
  const std::vector<uint8_t> bytes = read_flash(start, sector_size());
  show(record("sector", sector, "address", start, "region", region_name(flash_regions(), start), "erased",
              is_erased(bytes), "crc32", FW_crc32(bytes.data(), sector_size())));
  if (settings.json) return;
  std::fprintf(out, "\n");
  hexdump(bytes, start);
}

static std::string paint(size_t region, bool used, const std::string &text) {
  if (!settings.colour && !colourful()) return text;
  const int colour = region < std::size(kPalette) ? kPalette[region] : kGrey;
  return format("\033[%d;5;%dm%s\033[0m", used ? 48 : 38, colour, text.c_str());
}

static void draw_sectors(const Json &map, const std::vector<bool> &used) {
  const uint32_t per_row = columns() >= 74 ? 32 : 8;
  for (uint32_t i = 0; i < used.size(); ++i) {
    const size_t region = region_at(map, i * sector_size());
    std::string code = region < map.size() ? map[region]["code"].get<std::string>() : "U";
    code.resize(2, ' ');
    if (i % per_row == 0) std::fprintf(out, "0x%07X ", i * sector_size());
    std::fprintf(out, "%s%s", paint(region, used[i], used[i] ? code : "..").c_str(), (i + 1) % per_row ? "" : "\n");
  }
  std::fprintf(out, "\n%s a sector that holds data\n%s an erased one\n%s data outside the regions\n\n",
               paint(0, true, "B ").c_str(), paint(0, false, "..").c_str(), paint(map.size(), true, "U ").c_str());
}

void show_map(bool library) {
  if (library) return show_print(FW_SpiFlash_CheckSector, "flash map");
  Json map = flash_regions(), holding = Json::array();
  const std::vector<uint8_t> chip = read_flash(0, chip_size());
  std::vector<bool> used;
  for (uint32_t at = 0; at < chip_size(); at += sector_size()) {
    used.push_back(!is_erased({chip.data() + at, sector_size()}));
    if (used.back()) holding.push_back(at / sector_size());
  }
  for (Json &region : map) {
    const auto first = used.begin() + region["start"].get<uint32_t>() / sector_size();
    const uint32_t count = region["length"].get<uint32_t>() / sector_size();
    append(region, "sectors", count, "used", std::count(first, first + count, true));
  }
  if (settings.json) return show(record("regions", map, "used_sectors", holding));
  draw_sectors(map, used);
  show(map);
}

void show_plan(uint32_t start, uint32_t end, const std::string &actions) {
  const Json map = flash_regions();
  const auto text = [](char action) {
    return action == 's' ? "as it is" : action == 'w' ? "write" : action == 'x' ? "erase" : "erase and write";
  };
  Json rows = Json::array();
  for (uint32_t at = start, next = 0; at < end; at = next) {
    next = std::min(end, (at / sector_size() + 1) * sector_size());
    const std::string name = region_name(map, at);
    const char *action = text(actions[at / sector_size() - start / sector_size()]);
    if (!rows.empty() && rows.back()["region"] == name && rows.back()["action"] == action)
      rows.back()["end"] = next;
    else
      rows.push_back(record("start", at, "end", next, "region", name, "action", action));
  }
  show(rows);
}
