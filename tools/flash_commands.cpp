#include <algorithm>

#include "records.h"

static uint32_t address, length, sectors = 1, sector;
static std::string path, output;
static bool library;

/** Codes, as in the library's sector map, and names by map selector, which counts from 1. */
constexpr const char *kSelectors[][2] = {{"I1", "Image 1"},          {"I2", "Image 2"},     {"P1", "Parameter 1"},
                                         {"P2", "Parameter 2"},      {"BS", "Boot Script"}, {"B", "Bootloader"},
                                         {"E", "Environment"},       {"D1", "DB1"},         {"D2", "DB2"},
                                         {"C1", "Customize 1"},      {"C2", "Customize 2"}, {"S", "Share DB"},
                                         {"Pt", "Partition table"},  {"CI", "Custom info"}, {"P", "Profinet Parameter"},
                                         {"M", "Mac Address Backup"}};
constexpr uint32_t kTestAreaEntry = 13, kSectorSizeEntry = 17, kSectorsEntry = 18;  // of flash_def: no selector

/** Colours of the 256-colour palette, one a region in address order. */
constexpr int kPalette[] = {25, 28, 130, 90, 31, 100, 61, 94, 36, 125, 64, 172, 97, 24, 138, 65, 60};
constexpr int kGrey = 240;

/** Works through a span by sectors, and shows how far it is. */
template <class Call>
static void inPieces(const char *what, uint32_t start, uint32_t span, Call call) {
  Progress progress(what, span);
  for (uint32_t done = 0, count = 0; done < span; progress.at(done += count)) {
    count = std::min(sectorSize(), span - done);
    require(call(start + done, count), format("flash %s at 0x%X", what, start + done));
  }
}

static void requireRoom(const char *argument, uint64_t bytes) {
  if (address + bytes > chipSize()) refuseArgument(argument, format("ends behind the flash's 0x%X bytes", chipSize()));
}

static void readSpan() {
  requireRoom("LENGTH", length);
  const std::vector<uint8_t> bytes = readFlash(address, length);
  if (!output.empty()) return writeFile(output, bytes);
  if (settings.json) return show(record("address", address, "length", length, "data", hexText(bytes)));
  hexdump(bytes, address);
}

static void writeSpan() {
  const std::vector<uint8_t> bytes = readFile(path, chipSize());
  requireRoom("FILE", bytes.size());
  inPieces("write", address, static_cast<uint32_t>(bytes.size()),
           [&](uint32_t at, uint32_t count) { return FW_WriteFlash(at, count, bytes.data() + at - address); });
  if (readFlash(address, static_cast<uint32_t>(bytes.size())) != bytes)
    throw Failure{"the flash does not hold what was written: programming only clears bits, erase the sectors first"};
}

static void eraseSpan() {
  const uint32_t start = address / sectorSize() * sectorSize(), span = sectors * sectorSize();
  if (uint64_t{start} + span > chipSize()) refuseArgument("--sectors", "reaches behind the flash's last sector");
  confirm(format("Erases %u sector(s) from 0x%X.", sectors, start));
  inPieces("erase", start, span, [](uint32_t at, uint32_t) { return FW_SpiFlash_SectorErase(at); });
}

/** The library's own print, whole. */
static void showPrint(const std::function<uint32_t()> &call, const char *what) {
  const Printed printed = printedBy(call);
  require(printed.status, what);
  std::fputs(printed.text.c_str(), out);
}

/** Index of the region that holds an address; the number of regions for none. */
static size_t regionAt(const Json &map, uint32_t place) {
  size_t i = 0;
  while (i < map.size() && (place < map[i]["start"] || place >= map[i]["end"])) ++i;
  return i;
}

static void showSector() {
  if (library) return showPrint([] { return FW_ReadSector(sector); }, "flash sector");
  const uint32_t start = sector * sectorSize();
  const std::vector<uint8_t> bytes = readFlash(start, sectorSize());
  const Json map = flashRegions();
  const size_t region = regionAt(map, start);
  show(record("sector", sector, "address", start, "region",
              region < map.size() ? map[region]["region"] : "UnUsed Space", "erased", isErased(bytes), "crc32",
              FW_crc32(bytes.data(), sectorSize())));
  if (settings.json) return;
  std::fprintf(out, "\n");
  hexdump(bytes, start);
}

static std::string paint(size_t region, bool used, const std::string &text) {
  if (!colourful()) return text;
  const int colour = region < std::size(kPalette) ? kPalette[region] : kGrey;
  return format("\033[%d;5;%dm%s\033[0m", used ? 48 : 38, colour, text.c_str());
}

static void drawSectors(const Json &map, const std::vector<bool> &used) {
  constexpr uint32_t kPerRow = 32;
  for (uint32_t i = 0; i < used.size(); ++i) {
    const size_t region = regionAt(map, i * sectorSize());
    std::string code = region < map.size() ? map[region]["code"].get<std::string>() : "U";
    code.resize(2, ' ');
    if (i % kPerRow == 0) std::fprintf(out, "0x%07X ", i * sectorSize());
    std::fprintf(out, "%s%s", paint(region, used[i], used[i] ? code : "..").c_str(), (i + 1) % kPerRow ? "" : "\n");
  }
  std::fprintf(out, "\n%s a sector that holds data, %s an erased one, %s data outside the regions\n\n",
               paint(0, true, "B ").c_str(), paint(0, false, "..").c_str(), paint(map.size(), true, "U ").c_str());
}

/** Reads everything: a sector may begin erased and yet hold data. */
static void showMap() {
  if (library) return showPrint(FW_SpiFlash_CheckSector, "flash map");
  Json map = flashRegions(), holding = Json::array();
  const std::vector<uint8_t> chip = readFlash(0, chipSize());
  std::vector<bool> used;
  for (uint32_t at = 0; at < chipSize(); at += sectorSize()) {
    used.push_back(!isErased({chip.data() + at, sectorSize()}));
    if (used.back()) holding.push_back(at / sectorSize());
  }
  for (Json &region : map) {
    const auto first = used.begin() + region["start"].get<uint32_t>() / sectorSize();
    const uint32_t count = region["length"].get<uint32_t>() / sectorSize();
    append(region, "sectors", count, "used", std::count(first, first + count, true));
  }
  if (settings.json) return show(record("regions", map, "used_sectors", holding));
  drawSectors(map, used);
  show(map);
}

uint32_t sectorSize() { return flash_def[kSectorSizeEntry]; }

uint32_t chipSize() { return flash_def[kSectorSizeEntry] * flash_def[kSectorsEntry]; }

Json flashRegions() {
  std::vector<Json> rows;
  const auto add = [&rows](const char *const(&names)[2], uint32_t start, uint32_t size) {
    if (start == FW_REFUSED || size == FW_REFUSED) requireBoard();
    if (start == FW_REFUSED || size == FW_REFUSED) require(FW_REFUSED, "flash map of the fitted chip");
    rows.push_back(record("code", names[0], "region", names[1], "start", start, "end", start + size, "length", size));
  };
  for (uint32_t i = 0; i < std::size(kSelectors); ++i)
    add(kSelectors[i], FW_SpiFlash_GetMapAddr(i + 1), FW_SpiFlash_GetMapLen(i + 1));
  add({"T", "Test Area"}, flash_def[kTestAreaEntry], chipSize() - flash_def[kTestAreaEntry]);
  std::sort(rows.begin(), rows.end(), [](const Json &a, const Json &b) { return a["start"] < b["start"]; });
  return rows;
}

std::vector<uint8_t> readFlash(uint32_t start, uint32_t span) {
  std::vector<uint8_t> bytes(span);
  inPieces("read", start, span,
           [&](uint32_t at, uint32_t count) { return FW_ReadFlash(at, count, bytes.data() + at - start); });
  return bytes;
}

uint32_t wordAt(std::span<const uint8_t> bytes, size_t at) {
  return bytes[at] | uint32_t{bytes[at + 1]} << 8 | uint32_t{bytes[at + 2]} << 16 | uint32_t{bytes[at + 3]} << 24;
}

bool isErased(std::span<const uint8_t> bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](uint8_t byte) { return byte == 0xFF; });
}

Json flashId() {
  uint8_t id[20] = {};
  const uint8_t index = byteOf(FW_FlashGetIndex, "flash driver");
  require(FW_GetFlashId(id), "flash identification");
  return record("chip_index", index, "chip", index == 0 ? "N25Q256A" : "unknown", "jedec_id", hexText({id, 3}));
}

void addFlashCommands(App &app) {
  const uint32_t chip = chipSize(), last_sector = chip / sectorSize() - 1;
  App *flash = command(app, "flash", "The 32 MiB serial NOR flash", "flash regions");
  command(*flash, "id", "Chip and JEDEC identification", "flash id", [] { show(flashId()); });
  command(*flash, "regions", "Where what is", "flash regions --json", [] { show(flashRegions()); });
  App *reader = command(*flash, "read", "Reads bytes", "flash read 0x100000 64", readSpan);
  App *writer =
      command(*flash, "write", "Programs a file; erases nothing", "flash write 0x1ff0000 data.bin", writeSpan);
  App *eraser = command(*flash, "erase", "Erases sectors from an address on", "flash erase 0x1ff0000 --yes", eraseSpan);
  for (App *leaf : {reader, writer, eraser}) number(leaf, "ADDRESS", address, "Byte on the chip", 0, chip - 1);
  number(reader, "LENGTH", length, "Bytes", 1, chip);
  reader->add_option("-o,--output", output, "Write the bytes to this file");
  inputFile(writer, path);
  number(eraser, "--sectors", sectors, "Sectors to erase (1)", 1, last_sector + 1);
  asksFirst(eraser);
  App *map = command(*flash, "map", "All sectors by region, used and erased", "flash map", showMap);
  map->add_flag("--color", settings.colour, "Colours without a terminal too");
  App *one = command(*flash, "sector", "One sector", "flash sector 0x1c", showSector);
  number(one, "SECTOR", sector, "Sector number", 0, last_sector);
  for (App *leaf : {map, one}) leaf->add_flag("--library", library, "The library's own print");
}
