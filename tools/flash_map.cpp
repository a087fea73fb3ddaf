#include <algorithm>

#include "progress.h"
#include "records.h"

namespace zelctl {

namespace {

/** Codes and names by map selector, which counts from 1. */
constexpr const char *kSelectors[][2] = {
    {"I1", "Image 1"},           {"I2", "Image 2"},     {"P1", "Parameter 1"},
    {"P2", "Parameter 2"},       {"BS", "Boot Script"}, {"B", "Bootloader"},
    {"E", "Environment"},        {"D1", "DB1"},         {"D2", "DB2"},
    {"C1", "Customize 1"},       {"C2", "Customize 2"}, {"S", "Share DB"},
    {"Pt", "Partition table"},   {"CI", "Custom info"}, {"P", "Profinet Parameter"},
    {"M", "Mac Address Backup"},
};
constexpr uint32_t kTestAreaEntry = 13, kSectorSizeEntry = 17, kSectorsEntry = 18;  // of flash_def: no selector

constexpr uint32_t kPerRow = 32;

/** Colours of the 256-colour palette, one a region; grey for unused space. */
constexpr int kGrey = 240;
constexpr int kPalette[] = {25, 28, 130, 90, 31, 100, 61, 94, 36, 125, 64, 172, 97, 24, 138, 65, 60};

std::string paint(int region, bool used, const char *text) {
  if (!colourful()) return text;
  const int colour = region < 0 ? kGrey : kPalette[static_cast<size_t>(region) % std::size(kPalette)];
  return format("\033[%d;5;%dm%s\033[0m", used ? 48 : 38, colour, text);
}

void drawSectors(const std::vector<Region> &map, const std::vector<bool> &used) {
  for (uint32_t i = 0; i < used.size(); ++i) {
    const int region = regionOf(map, i * sectorSize());
    if (i % kPerRow == 0) std::fprintf(out, "0x%07X ", i * sectorSize());
    const std::string code = format("%-2s", region < 0 ? "U" : map[static_cast<size_t>(region)].code);
    std::fprintf(out, "%s%s", paint(region, used[i], used[i] ? code.c_str() : "..").c_str(),
                 i % kPerRow == kPerRow - 1 ? "\n" : "");
  }
  std::fprintf(out, "\n%s a sector that holds data, %s an erased one, %s data outside the regions\n\n",
               paint(0, true, "B ").c_str(), paint(0, false, "..").c_str(), paint(-1, true, "U ").c_str());
}

}  // namespace

uint32_t sectorSize() { return flash_def[kSectorSizeEntry]; }

uint32_t chipSize() { return flash_def[kSectorSizeEntry] * flash_def[kSectorsEntry]; }

std::vector<Region> regions() {
  std::vector<Region> map;
  for (uint32_t i = 0; i < std::size(kSelectors); ++i) {
    const uint32_t start = FW_SpiFlash_GetMapAddr(i + 1), length = FW_SpiFlash_GetMapLen(i + 1);
    if (start == FW_REFUSED || length == FW_REFUSED) {
      requireBoard();
      require(FW_REFUSED, "flash map of the fitted chip");
    }
    map.push_back({kSelectors[i][0], kSelectors[i][1], start, length});
  }
  map.push_back({"T", "Test Area", flash_def[kTestAreaEntry], chipSize() - flash_def[kTestAreaEntry]});
  std::sort(map.begin(), map.end(), [](const Region &a, const Region &b) { return a.start < b.start; });
  return map;
}

Json flashRegions() {
  Json rows = Json::array();
  for (const Region &region : regions())
    rows.push_back(record("code", region.code, "region", region.name, "start", region.start, "end",
                          region.start + region.length, "length", region.length));
  return rows;
}

int regionOf(const std::vector<Region> &map, uint32_t address) {
  for (size_t i = 0; i < map.size(); ++i)
    if (address >= map[i].start && address - map[i].start < map[i].length) return static_cast<int>(i);
  return -1;
}

std::vector<uint8_t> readFlash(uint32_t address, uint32_t length) {
  std::vector<uint8_t> bytes(length);
  Progress progress({"reading"}, length);
  for (uint32_t done = 0; done < length;) {
    const uint32_t piece = std::min(sectorSize(), length - done);
    require(FW_ReadFlash(address + done, piece, bytes.data() + done), format("flash read at 0x%X", address + done));
    progress.at(done += piece);
  }
  return bytes;
}

bool isErased(std::span<const uint8_t> bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](uint8_t byte) { return byte == 0xFF; });
}

void showFlashMap() {
  const std::vector<Region> map = regions();
  const std::vector<uint8_t> chip = readFlash(0, chipSize());
  std::vector<bool> used;
  Json legend = Json::array(), sectors = Json::array();
  for (uint32_t at = 0; at < chipSize(); at += sectorSize()) {
    used.push_back(!isErased({chip.data() + at, sectorSize()}));
    if (used.back()) sectors.push_back(at / sectorSize());
  }
  for (const Region &region : map) {
    const auto first = used.begin() + region.start / sectorSize();
    const uint32_t count = region.length / sectorSize();
    legend.push_back(record("code", region.code, "region", region.name, "start", region.start, "sectors", count, "used",
                            std::count(first, first + count, true)));
  }
  if (settings.json) return show(record("regions", legend, "used_sectors", sectors));
  drawSectors(map, used);
  show(legend);
}

}  // namespace zelctl
