#include <strings.h>

#include <algorithm>

#include "records.h"

/** The test area has no map selector: it reaches from its start to the end of the chip. */
constexpr uint32_t kTestArea = 0;

/** Codes and names as in the library's own sector map. The library tells where a region is. */
struct Region {
  uint32_t selector;
  const char *code;
  const char *name;
};
constexpr Region kRegions[] = {
    {FW_REGION_IMAGE_1, "I1", "Image 1"},
    {FW_REGION_IMAGE_2, "I2", "Image 2"},
    {FW_REGION_PARAMETER_1, "P1", "Parameter 1"},
    {FW_REGION_PARAMETER_2, "P2", "Parameter 2"},
    {FW_REGION_BOOT_SCRIPT, "BS", "Boot Script"},
    {FW_REGION_BOOTLOADER, "B", "Bootloader"},
    {FW_REGION_ENVIRONMENT, "E", "Environment"},
    {FW_REGION_GEN_DATABASE_1, "D1", "DB1"},
    {FW_REGION_GEN_DATABASE_2, "D2", "DB2"},
    {FW_REGION_CUSTOMIZE_1, "C1", "Customize 1"},
    {FW_REGION_CUSTOMIZE_2, "C2", "Customize 2"},
    {FW_REGION_SHARED_DATABASE, "S", "Share DB"},
    {FW_REGION_PARTITION_TABLE, "Pt", "Partition table"},
    {FW_REGION_CUSTOM_INFO, "CI", "Custom info"},
    {FW_REGION_PROFINET, "P", "Profinet Parameter"},
    {FW_REGION_MAC_BACKUP, "M", "Mac Address Backup"},
    {kTestArea, "T", "Test Area"},
};

static_assert(std::size(kRegions) == kRegionCount);

uint32_t sector_size() { return flash_def[FW_FLASH_SECTOR_SIZE]; }

uint32_t chip_size() { return flash_def[FW_FLASH_SECTOR_SIZE] * flash_def[FW_FLASH_SECTORS]; }

/** Throws if the answer is FW_REFUSED: then the driver does not answer, or the chip has no map. */
static uint32_t require_mapped(uint32_t answer) {
  if (answer != FW_REFUSED) return answer;
  require_flash_driver();
  require(FW_REFUSED, "flash map of the fitted chip");
  return answer;
}

uint32_t start_of_selector(uint32_t selector) { return require_mapped(FW_SpiFlash_GetMapAddr(selector)); }

uint32_t length_of_selector(uint32_t selector) { return require_mapped(FW_SpiFlash_GetMapLen(selector)); }

std::optional<RegionPlace> region_named(const std::string &text) {
  const auto is_text = [&](const char *word) { return strcasecmp(text.c_str(), word) == 0; };
  for (uint32_t i = 0; i < kRegionCount; ++i) {
    if (is_text(kRegions[i].code) || is_text(kRegions[i].name)) return RegionPlace{i};
  }
  return std::nullopt;
}

static const Region &region_in_list(RegionPlace region) { return kRegions[static_cast<uint32_t>(region)]; }

Extent region_extent(RegionPlace region) {
  const Region &row = region_in_list(region);
  if (row.selector != kTestArea) return {start_of_selector(row.selector), length_of_selector(row.selector), row.name};
  const uint32_t start = flash_def[FW_FLASH_TEST_AREA];
  return {start, chip_size() - start, row.name};
}

std::string region_codes() {
  std::string codes;
  for (const Region &region : kRegions) add_item(codes, region.code, "|");
  return codes;
}

std::string region_code(RegionPlace region) { return region_in_list(region).code; }

std::string region_title(RegionPlace region) { return region_in_list(region).name; }

Json region_row(RegionPlace region) {
  const Extent extent = region_extent(region);
  return record("code", region_code(region), "region", extent.name, "start", extent.start, "end", extent.end(),
                "length", extent.length);
}

void sort_regions(Json &rows) {
  std::sort(rows.begin(), rows.end(),
            [](const Json &first, const Json &second) { return first["start"] < second["start"]; });
}

Json flash_regions() {
  Json rows = Json::array();
  for (uint32_t i = 0; i < kRegionCount; ++i) rows.push_back(region_row(RegionPlace{i}));
  sort_regions(rows);
  return rows;
}

size_t region_at(const Json &regions, uint32_t address) {
  for (size_t i = 0; i < regions.size(); ++i) {
    if (address >= regions[i]["start"] && address < regions[i]["end"]) return i;
  }
  return regions.size();
}

std::string region_name(const Json &regions, uint32_t address) {
  const size_t region = region_at(regions, address);
  if (region == regions.size()) return "UnUsed Space";
  return regions[region]["region"];
}
