#include <strings.h>

#include <algorithm>

#include "records.h"

/** Codes, as in the library's sector map, and names by map selector, which counts from 1; the last has none. */
constexpr const char *kRegions[][2] = {{"I1", "Image 1"},           {"I2", "Image 2"},     {"P1", "Parameter 1"},
                                       {"P2", "Parameter 2"},       {"BS", "Boot Script"}, {"B", "Bootloader"},
                                       {"E", "Environment"},        {"D1", "DB1"},         {"D2", "DB2"},
                                       {"C1", "Customize 1"},       {"C2", "Customize 2"}, {"S", "Share DB"},
                                       {"Pt", "Partition table"},   {"CI", "Custom info"}, {"P", "Profinet Parameter"},
                                       {"M", "Mac Address Backup"}, {"T", "Test Area"}};
constexpr uint32_t kTestArea = std::size(kRegions) - 1;
constexpr uint32_t kTestAreaEntry = 13, kSectorSizeEntry = 17, kSectorsEntry = 18;  // of flash_def

std::optional<uint32_t> region_named(const std::string &text) {
  for (uint32_t i = 0; i < std::size(kRegions); ++i)
    for (const char *word : kRegions[i])
      if (strcasecmp(text.c_str(), word) == 0) return i;
  return std::nullopt;
}

Span region_span(uint32_t index) {
  const char *name = kRegions[index][1];
  if (index != kTestArea) return {region_start(index + 1), region_length(index + 1), name};
  return {flash_def[kTestAreaEntry], chip_size() - flash_def[kTestAreaEntry], name};
}

std::string region_codes() {
  std::string codes;
  for (const auto &[code, name] : kRegions) codes += (codes.empty() ? "" : "|") + std::string(code);
  return codes;
}

uint32_t sector_size() { return flash_def[kSectorSizeEntry]; }

uint32_t chip_size() { return flash_def[kSectorSizeEntry] * flash_def[kSectorsEntry]; }

static uint32_t mapped(uint32_t answer) {
  if (answer == FW_REFUSED) byte_of(FW_FlashGetIndex, "flash driver");
  require(answer == FW_REFUSED ? FW_REFUSED : FW_OK, "flash map of the fitted chip");
  return answer;
}

uint32_t region_start(uint32_t selector) { return mapped(FW_SpiFlash_GetMapAddr(selector)); }

uint32_t region_length(uint32_t selector) { return mapped(FW_SpiFlash_GetMapLen(selector)); }

Json flash_regions() {
  std::vector<Json> rows;
  for (uint32_t i = 0; i < std::size(kRegions); ++i) {
    const auto &[start, length, name] = region_span(i);
    rows.push_back(
        record("code", kRegions[i][0], "region", name, "start", start, "end", start + length, "length", length));
  }
  std::sort(rows.begin(), rows.end(), [](const Json &a, const Json &b) { return a["start"] < b["start"]; });
  return rows;
}

size_t region_at(const Json &map, uint32_t byte) {
  size_t i = 0;
  while (i < map.size() && (byte < map[i]["start"] || byte >= map[i]["end"])) ++i;
  return i;
}

std::string region_name(const Json &map, uint32_t byte) {
  const size_t region = region_at(map, byte);
  return region < map.size() ? map[region]["region"] : Json("UnUsed Space");
}

void in_pieces(const char *what, uint32_t start, uint32_t span, const char *left, const Piece &piece) {
  Progress progress(what, span);
  for (uint32_t done = 0, count = 0; done < span; progress.at(done += count)) {
    if (interrupted()) throw Failure{format("interrupted: %s ended at 0x%X; %s", what, start + done, left)};
    count = std::min(sector_size(), span - done);
    piece(start + done, count);
  }
}

std::vector<uint8_t> read_flash(uint32_t start, uint32_t span, const char *left) {
  std::vector<uint8_t> bytes(span);
  in_pieces("read", start, span, left, [&](uint32_t at, uint32_t count) {
    read_piece(at, {bytes.data() + at - start, count});
  });
  return bytes;
}

void read_piece(uint32_t at, std::span<uint8_t> bytes) {
  const std::string what = format("flash read at 0x%X", at);
  uint8_t &last = bytes.back(), again = 0xA5;
  last = 0x5A;
  require(FW_ReadFlash(at, static_cast<uint32_t>(bytes.size()), bytes.data()), what);
  if (last != 0x5A) return;
  require(FW_ReadFlash(at + static_cast<uint32_t>(bytes.size()) - 1, 1, &again), what);
  if (again != last) throw Failure{what + ": the driver gave fewer bytes than asked for"};
}

uint32_t word_at(std::span<const uint8_t> bytes, size_t at) {
  return bytes[at] | uint32_t{bytes[at + 1]} << 8 | uint32_t{bytes[at + 2]} << 16 | uint32_t{bytes[at + 3]} << 24;
}

bool is_erased(std::span<const uint8_t> bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](uint8_t byte) { return byte == 0xFF; });
}
