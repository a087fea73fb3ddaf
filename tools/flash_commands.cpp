#include "progress.h"
#include "records.h"

namespace zelctl {

namespace {

uint32_t address, length, sectors = 1, sector;
std::string path, output;
bool library;

void requireRoom(const char *argument, uint64_t bytes) {
  if (address + bytes > chipSize()) refuseArgument(argument, format("ends behind the flash's 0x%X bytes", chipSize()));
}

void read() {
  requireRoom("LENGTH", length);
  const std::vector<uint8_t> bytes = readFlash(address, length);
  if (!output.empty()) return writeFile(output, bytes);
  if (settings.json) return show(record("address", address, "length", length, "data", hexText(bytes)));
  hexdump(bytes, address);
}

void write() {
  const std::vector<uint8_t> bytes = readFile(path, chipSize());
  requireRoom("FILE", bytes.size());
  const auto count = static_cast<uint32_t>(bytes.size());
  Progress progress({"programming"}, count);
  for (uint32_t done = 0; done < count;) {
    const uint32_t piece = std::min(sectorSize(), count - done);
    require(FW_WriteFlash(address + done, piece, bytes.data() + done), format("flash write at 0x%X", address + done));
    progress.at(done += piece);
  }
  if (readFlash(address, count) != bytes)
    throw Failure{"the flash does not hold what was written: programming only clears bits, erase the sectors first"};
}

void erase() {
  requireRoom("--sectors", uint64_t{sectors - 1} * sectorSize() + 1);
  const uint32_t start = address / sectorSize() * sectorSize();
  confirm(format("Erases %u sector(s) from 0x%X.", sectors, start));
  Progress progress({"erasing"}, uint64_t{sectors} * sectorSize());
  for (uint32_t i = 0; i < sectors; ++i) {
    require(FW_SpiFlash_SectorErase(start + i * sectorSize()), format("flash erase at 0x%X", start + i * sectorSize()));
    progress.at(uint64_t{i + 1} * sectorSize());
  }
}

/** The library's own print, whole. */
void showPrint(const std::function<uint32_t()> &call, const char *what) {
  const Printed printed = printedBy(call);
  require(printed.status, what);
  std::fputs(printed.text.c_str(), out);
}

void showSector() {
  if (library) return showPrint([] { return FW_ReadSector(sector); }, "flash sector");
  const uint32_t start = sector * sectorSize();
  const std::vector<uint8_t> bytes = readFlash(start, sectorSize());
  const std::vector<Region> map = regions();
  const int region = regionOf(map, start);
  show(record("sector", sector, "address", start, "region",
              region < 0 ? "UnUsed Space" : map[static_cast<size_t>(region)].name, "erased", isErased(bytes), "crc32",
              FW_crc32(bytes.data(), sectorSize())));
  if (settings.json) return;
  std::fprintf(out, "\n");
  hexdump(bytes, start);
}

void showMap() {
  if (library) return showPrint(FW_SpiFlash_CheckSector, "flash map");
  showFlashMap();
}

}  // namespace

Json flashId() {
  uint8_t id[20] = {}, index = 0xFF;
  require(FW_FlashGetIndex(&index), "flash driver");
  require(FW_GetFlashId(id), "flash identification");
  return record("chip_index", index, "chip", index == 0 ? "N25Q256A" : "unknown", "jedec_id", hexText({id, 3}));
}

void addFlashCommands(CLI::App &app) {
  const uint32_t chip = chipSize(), last_sector = chip / sectorSize() - 1;
  CLI::App *family = command(app, "flash", "The 32 MiB serial NOR flash", "flash regions");
  command(*family, "id", "Chip and JEDEC identification", "flash id", [] { show(flashId()); });
  command(*family, "regions", "Where what is", "flash regions --json", [] { show(flashRegions()); });
  CLI::App *reader = command(*family, "read", "Reads bytes", "flash read 0x100000 64", read);
  CLI::App *writer = command(*family, "write", "Programs a file, without erasing, and reads it back",
                             "flash write 0x1ff0000 data.bin", write);
  CLI::App *eraser = command(*family, "erase", "Erases the sector that holds an address, and those after it",
                             "flash erase 0x1ff0000 --yes", erase);
  for (CLI::App *leaf : {reader, writer, eraser}) number(leaf, "ADDRESS", address, "Byte on the chip", 0, chip - 1);
  number(reader, "LENGTH", length, "Bytes", 1, chip);
  reader->add_option("-o,--output", output, "Write the bytes to this file");
  inputFile(writer, path);
  number(eraser, "--sectors", sectors, "Sectors to erase (1)", 1, last_sector + 1);
  asksFirst(eraser);
  CLI::App *map = command(*family, "map", "All sectors by region, used and erased", "flash map", showMap);
  map->add_flag("--color", settings.colour, "Colours without a terminal too");
  CLI::App *one = command(*family, "sector", "One sector", "flash sector 0x1c", showSector);
  number(one, "SECTOR", sector, "Sector number", 0, last_sector);
  for (CLI::App *leaf : {map, one}) leaf->add_flag("--library", library, "The library's own print");
}

}  // namespace zelctl
