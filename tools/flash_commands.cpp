#include <strings.h>

#include <algorithm>

#include "records.h"

static uint32_t length, sectors, sector, region_index;
static std::string place, path, output;
static bool library, dry_run;

/** Codes, as in the library's sector map, and names by map selector, which counts from 1. */
constexpr const char *kSelectors[][2] = {{"I1", "Image 1"},          {"I2", "Image 2"},     {"P1", "Parameter 1"},
                                         {"P2", "Parameter 2"},      {"BS", "Boot Script"}, {"B", "Bootloader"},
                                         {"E", "Environment"},       {"D1", "DB1"},         {"D2", "DB2"},
                                         {"C1", "Customize 1"},      {"C2", "Customize 2"}, {"S", "Share DB"},
                                         {"Pt", "Partition table"},  {"CI", "Custom info"}, {"P", "Profinet Parameter"},
                                         {"M", "Mac Address Backup"}};
constexpr const char *kTestArea[] = {"T", "Test Area"};                             // has no selector
constexpr uint32_t kTestAreaEntry = 13, kSectorSizeEntry = 17, kSectorsEntry = 18;  // of flash_def

/** Colours of the 256-colour palette, one a region in address order. */
constexpr int kPalette[] = {25, 28, 130, 90, 31, 100, 61, 94, 36, 125, 64, 172, 97, 24, 138, 65, 60};
constexpr int kGrey = 240;

/** Number of a region in the table above, and beyond it of the test area; nothing for what is no code and no name. */
static std::optional<uint32_t> regionNamed(const std::string &text) {
  const auto is = [&](const char *word) { return strcasecmp(text.c_str(), word) == 0; };
  for (uint32_t i = 0; i < std::size(kSelectors); ++i)
    if (is(kSelectors[i][0]) || is(kSelectors[i][1])) return i;
  if (is(kTestArea[0]) || is(kTestArea[1])) return std::size(kSelectors);
  return std::nullopt;
}

struct Span {
  uint32_t start, length;
  std::string name;  // as people call it
};

static Span regionSpan(uint32_t index) {
  if (index < std::size(kSelectors)) return {regionStart(index + 1), regionLength(index + 1), kSelectors[index][1]};
  return {flash_def[kTestAreaEntry], chipSize() - flash_def[kTestAreaEntry], kTestArea[1]};
}

/** What the argument ADDRESS names: a region, or `bytes` from an address on. */
static Span spanAt(uint64_t bytes, const char *argument) {
  Span span{0, chipSize(), ""};
  if (const auto index = regionNamed(place)) {
    span = regionSpan(*index);
  } else {
    span.start = static_cast<uint32_t>(std::stoul(place));
    span.length -= span.start;
    span.name = "the flash";
  }
  if (bytes > span.length) refuseArgument(argument, format("ends behind the end of %s", span.name.c_str()));
  if (bytes > 0) span.length = static_cast<uint32_t>(bytes);
  span.name = format("0x%X-0x%X", span.start, span.start + span.length);
  return span;
}

static void address(App *app) {
  const ArgumentCheck is_number = wholeNumber(0, chipSize() - 1);
  const auto check = [=](std::string &text) -> std::string {
    if (regionNamed(text) || is_number(text).empty()) return {};
    return format("'%s' is neither a region nor an address from 0 to 0x%X", text.c_str(), chipSize() - 1);
  };
  anyText(app, "ADDRESS", place, "Byte on the chip, or a region by code or name: see flash regions", check);
}

void inPieces(const char *what, uint32_t start, uint32_t span, const Piece &piece) {
  Progress progress(what, span);
  for (uint32_t done = 0, count = 0; done < span; progress.at(done += count)) {
    if (interrupted())
      throw Failure{format("interrupted: %s ended at 0x%X; what follows is as it was", what, start + done)};
    count = std::min(sectorSize(), span - done);
    const uint32_t status = piece(start + done, count);
    if (status != 0) require(status, format("flash %s ended at 0x%X", what, start + done));
  }
}

static void readSpan() {
  const Span span = spanAt(length, "LENGTH");
  if (length == 0 && !regionNamed(place)) refuseArgument("LENGTH", "is required behind an address");
  std::optional<OutputFile> file;
  if (!output.empty()) file.emplace(output);
  const std::vector<uint8_t> bytes = readFlash(span.start, span.length);
  if (file) {
    file->write(bytes);
    return file->commit();
  }
  if (settings.json) return show(record("address", span.start, "length", span.length, "data", hexText(bytes)));
  hexdump(bytes, span.start);
}

static void writeSpan() {
  const std::vector<uint8_t> bytes = readFile(path, chipSize());
  if (bytes.empty()) refuseArgument("FILE", path + " is empty");
  const Span span = spanAt(bytes.size(), "FILE");
  if (dry_run) return showPlan(span.start, span.start + span.length, std::string(span.length / sectorSize() + 2, 'w'));
  const std::vector<uint8_t> before = readFlash(span.start, span.length);
  const auto used =
      before.end() - std::find_if(before.begin(), before.end(), [](uint8_t byte) { return byte != 0xFF; });
  if (span.start < regionLength(FW_REGION_BOOTLOADER))
    confirm("Programs the boot loader's region.");
  else if (used > 0)
    confirm("Programs " + span.name + ", which is not erased: bits can only be cleared.");
  holdSignals();
  inPieces("write", span.start, span.length,
           [&](uint32_t at, uint32_t count) { return FW_WriteFlash(at, count, bytes.data() + at - span.start); });
  if (readFlash(span.start, span.length) != bytes)
    throw Failure{"the flash does not hold what was written: programming only clears bits, erase the sectors first"};
}

static void eraseSpan() {
  Span span = spanAt(0, "ADDRESS");
  const uint32_t start = span.start / sectorSize() * sectorSize();
  const uint32_t count = sectors > 0 ? sectors : regionNamed(place) ? span.length / sectorSize() : 1;
  if (uint64_t{count} * sectorSize() > span.start - start + span.length)
    refuseArgument("--sectors", "reaches behind the end of " + (regionNamed(place) ? place : "the flash"));
  const uint32_t end = start + count * sectorSize();
  if (dry_run) return showPlan(start, end, std::string(count, 'x'));
  confirm(format("Erases %u sector(s) from 0x%X.", count, start));
  holdSignals();
  inPieces("erase", start, end - start, [](uint32_t at, uint32_t) { return FW_SpiFlash_SectorErase(at); });
}

void startChange() {
  flags();
  const uint8_t chip_index = byteOf(FW_FlashGetIndex, "flash driver");
  if (chip_index != 0) throw Failure{format("chip index %u is not supported", chip_index)};
  holdSignals();
}

/** Tells all processes that the flash is being changed, as the library's own long changes do. */
struct FlashAccess {
  FlashAccess() { require(FW_SetFlashAccessFlag(1), "flash-access flag"); }
  FlashAccess(const FlashAccess &) = delete;
  FlashAccess &operator=(const FlashAccess &) = delete;
  ~FlashAccess() { FW_SetFlashAccessFlag(0); }
};

/** What makes a sector hold what it is to hold: nothing, a program that only clears bits, or an erase and a program. */
static char actionFor(std::span<const uint8_t> before, std::span<const uint8_t> wanted) {
  if (std::equal(before.begin(), before.end(), wanted.begin())) return 's';
  for (size_t i = 0; i < before.size(); ++i)
    if ((before[i] & wanted[i]) != wanted[i]) return 'e';
  return 'w';
}

/** What a region holds beyond the file stays. */
static void updateRegion() {
  const Span region = regionSpan(region_index);
  const std::vector<uint8_t> bytes = readFile(path, region.length);
  if (bytes.empty()) refuseArgument("FILE", path + " is empty");
  const auto span = static_cast<uint32_t>((bytes.size() + sectorSize() - 1) / sectorSize() * sectorSize());
  const std::vector<uint8_t> before = readFlash(region.start, span);
  std::vector<uint8_t> wanted = before;
  std::copy(bytes.begin(), bytes.end(), wanted.begin());
  const auto part = [](const std::vector<uint8_t> &of, uint32_t at) { return std::span(of).subspan(at, sectorSize()); };
  std::string actions;
  for (uint32_t at = 0; at < span; at += sectorSize()) actions += actionFor(part(before, at), part(wanted, at));
  if (dry_run) return showPlan(region.start, region.start + span, actions);
  const auto of = [&](char action) { return std::count(actions.begin(), actions.end(), action); };
  const auto erased = of('e'), changed = erased + of('w');
  if (erased > 0)
    confirm(format("Erases %ld of the %zu sectors of %s.", long{erased}, actions.size(), region.name.c_str()));
  startChange();
  long done = 0;
  try {
    const FlashAccess raised;
    inPieces("update", region.start, changed > 0 ? span : 0, [&](uint32_t at, uint32_t count) {
      const char action = actions[(at - region.start) / sectorSize()];
      if (action == 's') return FW_OK;
      if (action == 'e') require(FW_SpiFlash_SectorErase(at), format("erase of the sector at 0x%X", at));
      const auto sector_bytes = part(wanted, at - region.start);
      require(FW_WriteFlash(at, count, sector_bytes.data()), format("program of the sector at 0x%X", at));
      std::vector<uint8_t> back(count);
      readPiece(at, back);
      if (!std::equal(back.begin(), back.end(), sector_bytes.begin()))
        throw Failure{format("the sector at 0x%X does not hold what was written", at)};
      ++done;
      return FW_OK;
    });
  } catch (const Failure &failure) {
    throw Failure{
        failure.line + format("; %s: %ld of the %ld sectors that differ are updated, the same command goes on",
                              region.name.c_str(), done, long{changed}),
        failure.status};
  }
  show(record("region", region.name, "file", path, "size", bytes.size(), "sectors", actions.size(), "erased", erased,
              "written", changed));
}

/** The library's own print, whole. */
static void showPrint(const std::function<uint32_t()> &call, const char *what) {
  const Printed printed = printedBy(call);
  require(printed.status, what);
  if (settings.json) return show(record("text", printed.text));
  std::fputs(printed.text.c_str(), out);
}

/** Index of the region that holds an address; the number of regions for none. */
static size_t regionAt(const Json &map, uint32_t byte) {
  size_t i = 0;
  while (i < map.size() && (byte < map[i]["start"] || byte >= map[i]["end"])) ++i;
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
  const uint32_t per_row = columns() >= 74 ? 32 : 8;
  for (uint32_t i = 0; i < used.size(); ++i) {
    const size_t region = regionAt(map, i * sectorSize());
    std::string code = region < map.size() ? map[region]["code"].get<std::string>() : "U";
    code.resize(2, ' ');
    if (i % per_row == 0) std::fprintf(out, "0x%07X ", i * sectorSize());
    std::fprintf(out, "%s%s", paint(region, used[i], used[i] ? code : "..").c_str(), (i + 1) % per_row ? "" : "\n");
  }
  std::fprintf(out, "\n%s a sector that holds data\n%s an erased one\n%s data outside the regions\n\n",
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

static uint32_t mapped(uint32_t answer) {
  if (answer == FW_REFUSED) byteOf(FW_FlashGetIndex, "flash driver");
  require(answer == FW_REFUSED ? FW_REFUSED : FW_OK, "flash map of the fitted chip");
  return answer;
}

uint32_t regionStart(uint32_t selector) { return mapped(FW_SpiFlash_GetMapAddr(selector)); }

uint32_t regionLength(uint32_t selector) { return mapped(FW_SpiFlash_GetMapLen(selector)); }

Json flashRegions() {
  std::vector<Json> rows;
  for (uint32_t i = 0; i <= std::size(kSelectors); ++i) {
    const Span span = regionSpan(i);
    rows.push_back(record("code", i < std::size(kSelectors) ? kSelectors[i][0] : kTestArea[0], "region", span.name,
                          "start", span.start, "end", span.start + span.length, "length", span.length));
  }
  std::sort(rows.begin(), rows.end(), [](const Json &a, const Json &b) { return a["start"] < b["start"]; });
  return rows;
}

void showPlan(uint32_t start, uint32_t end, const std::string &actions) {
  const Json map = flashRegions();
  const auto text = [](char action) {
    return action == 's' ? "as it is" : action == 'w' ? "write" : action == 'x' ? "erase" : "erase and write";
  };
  Json rows = Json::array();
  for (uint32_t at = start, next = 0; at < end; at = next) {
    next = std::min(end, (at / sectorSize() + 1) * sectorSize());
    const size_t region = regionAt(map, at);
    const std::string name = region < map.size() ? map[region]["region"] : Json("UnUsed Space");
    const char *action = text(actions[at / sectorSize() - start / sectorSize()]);
    if (!rows.empty() && rows.back()["region"] == name && rows.back()["action"] == action)
      rows.back()["end"] = next;
    else
      rows.push_back(record("start", at, "end", next, "region", name, "action", action));
  }
  show(rows);
}

std::vector<uint8_t> readFlash(uint32_t start, uint32_t span) {
  std::vector<uint8_t> bytes(span);
  inPieces("read", start, span, [&](uint32_t at, uint32_t count) {
    readPiece(at, {bytes.data() + at - start, count});
    return FW_OK;
  });
  return bytes;
}

void readPiece(uint32_t at, std::span<uint8_t> bytes) {
  const std::string what = format("flash read at 0x%X", at);
  uint8_t &last = bytes.back(), again = 0xA5;
  last = 0x5A;
  require(FW_ReadFlash(at, static_cast<uint32_t>(bytes.size()), bytes.data()), what);
  if (last != 0x5A) return;
  require(FW_ReadFlash(at + static_cast<uint32_t>(bytes.size()) - 1, 1, &again), what);
  if (again != last) throw Failure{what + ": the driver gave fewer bytes than asked for"};
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
  App *reader =
      command(*flash, "read", "Reads bytes, or a whole region", "flash read 'Image 2' -o image.bin", readSpan);
  App *writer =
      command(*flash, "write", "Programs a file; erases nothing", "flash write 0x1ff0000 data.bin", writeSpan);
  App *eraser =
      command(*flash, "erase", "Erases the sector at an address, or a region", "flash erase T --yes", eraseSpan);
  App *updater = command(*flash, "update", "Makes a region hold a file: erases and writes only sectors that differ",
                         "flash update I2 image.bin", updateRegion);
  for (App *leaf : {reader, writer, eraser}) address(leaf);
  number(reader, "LENGTH", length, "Bytes; of a region all without it", 1, chip, Needed::Never);
  outputOption(reader, output);
  std::string codes;
  for (const auto &[code, name] : kSelectors) codes += std::string(code) + "|";
  checked(updater, "REGION", region_index, "Region by code, or by name: see flash regions", codes + kTestArea[0],
          [](std::string &text) -> std::string {
            const auto index = regionNamed(text);
            if (!index) return "'" + text + "' is not a region: see zelctl flash regions";
            text = std::to_string(*index);
            return {};
          });
  inputFile(writer, path, "File to program");
  inputFile(updater, path, "File that the region is to begin with");
  number(eraser, "--sectors", sectors, "Sectors to erase (1, or all of a region)", 1, last_sector + 1);
  for (App *leaf : {writer, eraser, updater}) {
    asksFirst(leaf);
    flag(leaf, "--dry-run", dry_run, "Show what would be erased and written, and change nothing");
  }
  App *map = command(*flash, "map", "All sectors by region, used and erased", "flash map", showMap);
  flag(map, "--color", settings.colour, "Colours without a terminal too");
  App *one = command(*flash, "sector", "One sector", "flash sector 0x1c", showSector);
  number(one, "SECTOR", sector, "Sector number", 0, last_sector);
  for (App *leaf : {map, one}) flag(leaf, "--library", library, "The library's own print");
}
