#include "flash_map.h"

#include <iterator>

#include "arguments.h"
#include "tool.h"

namespace zelsim::tool {
namespace {

constexpr FlashRegion kRegions[] = {
    {"Bootloader", 0x000, 0x10},        {"Environment", 0x010, 0x1},
    {kUnusedRegion, 0x011, 0x3},        {"Partition table", 0x014, 0x4},
    {"Boot Script", 0x018, 0x4},        {"Custom info", 0x01c, 0x1},
    {"Profinet Parameter", 0x01d, 0x1}, {kUnusedRegion, 0x01e, 0x2},
    {"Image 1", 0x020, 0xc0},           {"DB1", 0x0e0, 0x10},
    {"Customize 1", 0x0f0, 0x4},        {"Parameter 1", 0x0f4, 0x4},
    {"Share DB", 0x0f8, 0x8},           {kUnusedRegion, 0x100, 0x20},
    {"Image 2", 0x120, 0xc0},           {"DB2", 0x1e0, 0x10},
    {"Customize 2", 0x1f0, 0x4},        {"Parameter 2", 0x1f4, 0x4},
    {kUnusedRegion, 0x1f8, 0x6},        {"Mac Address Backup", 0x1fe, 0x1},
    {"Test Area", 0x1ff, 0x1},
};

constexpr bool covers_the_flash() {
  uint32_t next = 0;
  for (const FlashRegion &region : kRegions) {
    if (region.first_sector != next) return false;
    next = region.end_sector();
  }
  return next == kSectors;
}
static_assert(covers_the_flash());

}  // namespace

std::span<const FlashRegion> flash_regions() { return kRegions; }

FlashRange flash_range(const std::string &text) {
  if (text.empty()) return {0, kFlashSize};
  for (const FlashRegion &region : kRegions) {
    if (text == region.name && text != kUnusedRegion) return {region.start(), region.size()};
  }
  Words parts = split(text, '+');
  if (parts.size() != 2)
    throw Usage("--region: '" + text + "' is neither a region of 'zelsim flash stats' nor like 0x100000+0x10000");
  uint32_t start = parse_number(parts[0], "--region", 0, kFlashSize - 1);
  uint32_t size = parse_number(parts[1], "--region", 1, kFlashSize - start);
  return {start, size};
}

}  // namespace zelsim::tool
