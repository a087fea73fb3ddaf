#include <algorithm>

#include "records.h"

static uint32_t length, sectors, sector, region_index;
static std::string place, path, output;
static bool library;

/** What the argument ADDRESS names: a region, or `bytes` from an address on. */
static Span span_at(uint64_t bytes, const char *argument) {
  Span span{0, chip_size(), ""};
  if (const auto index = region_named(place)) {
    span = region_span(*index);
  } else {
    span.start = static_cast<uint32_t>(std::stoul(place));
    span.length -= span.start;
    span.name = "the flash";
  }
  if (bytes > span.length) refuse_argument(argument, format("ends behind the end of %s", span.name.c_str()));
  if (bytes > 0) span.length = static_cast<uint32_t>(bytes);
  span.name = format("0x%X-0x%X", span.start, span.start + span.length);
  return span;
}

static void address(App *app) {
  const ArgumentCheck is_number = whole_number(0, chip_size() - 1);
  const auto check = [=](std::string &text) -> std::string {
    if (region_named(text) || is_number(text).empty()) return {};
    return format("'%s' is neither a region nor an address from 0 to 0x%X", text.c_str(), chip_size() - 1);
  };
  any_text(app, "ADDRESS", place, "Byte on the chip, or a region by code or name: see flash regions", check);
}

static void read_span() {
  const Span span = span_at(length, "LENGTH");
  if (length == 0 && !region_named(place)) refuse_argument("LENGTH", "is required behind an address");
  std::optional<OutputFile> file;  // before the read, which takes long
  if (!output.empty() && output != "-") file.emplace(output, "--output");
  const std::vector<uint8_t> bytes = read_flash(span.start, span.length);
  if (file) {
    file->write(bytes);
    return file->commit();
  }
  if (output == "-") return write_output(output, bytes);
  if (settings.json) return show(record("address", span.start, "length", span.length, "data", hex_text(bytes)));
  hexdump(bytes, span.start);
}

static void write_span() {
  const std::vector<uint8_t> bytes = read_file(path, chip_size());
  if (bytes.empty()) refuse_argument("FILE", path + " is empty");
  const Span span = span_at(bytes.size(), "FILE");
  if (settings.dry_run)
    return show_plan(span.start, span.start + span.length, std::string(span.length / sector_size() + 2, 'w'));
  const bool erased = is_erased(read_flash(span.start, span.length));
  if (span.start < region_length(FW_REGION_BOOTLOADER))
    confirm("Programs the boot loader's region.");
  else if (!erased)
    confirm("Programs " + span.name + ", which is not erased: bits can only be cleared.");
  hold_signals();
  in_pieces("write", span.start, span.length, kPartly, [&](uint32_t at, uint32_t count) {
    require(FW_WriteFlash(at, count, bytes.data() + at - span.start), format("flash write ended at 0x%X", at));
  });
  if (read_flash(span.start, span.length, kUnverified) != bytes)
    throw Failure{"the flash does not hold what was written: programming only clears bits, erase the sectors first"};
}

static void erase_span() {
  Span span = span_at(0, "ADDRESS");
  const uint32_t start = span.start / sector_size() * sector_size();
  const uint32_t count = sectors > 0 ? sectors : region_named(place) ? span.length / sector_size() : 1;
  if (uint64_t{count} * sector_size() > span.start - start + span.length)
    refuse_argument("--sectors", "reaches behind the end of " + (region_named(place) ? place : "the flash"));
  const uint32_t end = start + count * sector_size();
  if (settings.dry_run) return show_plan(start, end, std::string(count, 'x'));
  confirm(format("Erases %u sector(s) from 0x%X.", count, start));
  hold_signals();
  in_pieces("erase", start, end - start, kPartly, [](uint32_t at, uint32_t) {
    require(FW_SpiFlash_SectorErase(at), format("flash erase ended at 0x%X", at));
  });
}

void start_change() {
  flags();
  const uint8_t chip_index = byte_of(FW_FlashGetIndex, "flash driver");
  if (chip_index != 0) throw Failure{format("chip index %u is not supported", chip_index)};
  hold_signals();
}

/** Tells all processes that the flash is being changed, as the library's own long changes do. */
struct FlashAccess {
  FlashAccess() { require(FW_SetFlashAccessFlag(1), "flash-access flag"); }
  FlashAccess(const FlashAccess &) = delete;
  FlashAccess &operator=(const FlashAccess &) = delete;
  ~FlashAccess() { FW_SetFlashAccessFlag(0); }
};

/** What makes a sector hold what it is to hold: nothing, a program that only clears bits, or an erase and a program. */
static char action_for(std::span<const uint8_t> before, std::span<const uint8_t> wanted) {
  if (std::equal(before.begin(), before.end(), wanted.begin())) return 's';
  for (size_t i = 0; i < before.size(); ++i)
    if ((before[i] & wanted[i]) != wanted[i]) return 'e';
  return 'w';
}

/** What a region holds beyond the file stays. */
static void update_region() {
  const Span region = region_span(region_index);
  const std::vector<uint8_t> bytes = read_file(path, region.length);
  if (bytes.empty()) refuse_argument("FILE", path + " is empty");
  const auto span = static_cast<uint32_t>((bytes.size() + sector_size() - 1) / sector_size() * sector_size());
  const std::vector<uint8_t> before = read_flash(region.start, span);
  std::vector<uint8_t> wanted = before;
  std::copy(bytes.begin(), bytes.end(), wanted.begin());
  const auto part = [](const std::vector<uint8_t> &of, uint32_t at) {
    return std::span(of).subspan(at, sector_size());
  };
  std::string actions;
  for (uint32_t at = 0; at < span; at += sector_size()) actions += action_for(part(before, at), part(wanted, at));
  if (settings.dry_run) return show_plan(region.start, region.start + span, actions);
  const auto of = [&](char action) { return std::count(actions.begin(), actions.end(), action); };
  const auto erased = of('e'), changed = erased + of('w');
  if (erased > 0)
    confirm(format("Erases %ld of the %zu sectors of %s.", long{erased}, actions.size(), region.name.c_str()));
  start_change();
  long done = 0;
  try {
    const FlashAccess raised;
    in_pieces("update", region.start, changed > 0 ? span : 0, kPartly, [&](uint32_t at, uint32_t count) {
      const char action = actions[(at - region.start) / sector_size()];
      if (action == 's') return;
      if (action == 'e') require(FW_SpiFlash_SectorErase(at), format("erase of the sector at 0x%X", at));
      const auto sector_bytes = part(wanted, at - region.start);
      require(FW_WriteFlash(at, count, sector_bytes.data()), format("program of the sector at 0x%X", at));
      std::vector<uint8_t> back(count);
      read_piece(at, back);
      if (!std::equal(back.begin(), back.end(), sector_bytes.begin()))
        throw Failure{format("the sector at 0x%X does not hold what was written", at)};
      ++done;
    });
  } catch (const Failure &failure) {
    throw Failure{
        failure.what() + format("; %s: %ld of the %ld sectors that differ are updated, the same command goes on",
                                region.name.c_str(), done, long{changed}),
        failure.status};
  }
  show(record("region", region.name, "file", path, "size", bytes.size(), "sectors", actions.size(), "erased", erased,
              "written", changed));
}

Json flash_id() {
  uint8_t id[20] = {};
  const uint8_t index = byte_of(FW_FlashGetIndex, "flash driver");
  require(FW_GetFlashId(id), "flash identification");
  return record("chip_index", index, "chip", index == 0 ? "N25Q256A" : "unknown", "jedec_id", hex_text({id, 3}));
}

void add_flash_commands(App &app) {
  const uint32_t chip = chip_size(), last_sector = chip / sector_size() - 1;
  App *flash = command(app, "flash", "The 32 MiB serial NOR flash", "flash regions");
  command(*flash, "id", "Chip and JEDEC identification", "flash id", [] { show(flash_id()); });
  command(*flash, "regions", "Where what is", "flash regions --json", [] { show(flash_regions()); });
  App *reader =
      command(*flash, "read", "Reads bytes, or a whole region", "flash read 'Image 2' -o image.bin", read_span);
  App *writer =
      command(*flash, "write", "Programs a file; erases nothing", "flash write 0x1ff0000 data.bin", write_span);
  App *eraser =
      command(*flash, "erase", "Erases the sector at an address, or a region", "flash erase T --yes", erase_span);
  App *updater = command(*flash, "update", "Makes a region hold a file: erases and writes only sectors that differ",
                         "flash update I2 image.bin", update_region);
  for (App *leaf : {reader, writer, eraser}) address(leaf);
  number(reader, "LENGTH", length, "Bytes; of a region all without it", 1, chip, Needed::Never);
  output_option(reader, output);
  checked(updater, "REGION", region_index, "Region by code, or by name: see flash regions", region_codes(),
          [](std::string &text) -> std::string {
            const auto index = region_named(text);
            if (!index) return "'" + text + "' is not a region: see zelctl flash regions";
            text = std::to_string(*index);
            return {};
          });
  input_file(writer, path, "File to program");
  input_file(updater, path, "File that the region is to begin with");
  number(eraser, "--sectors", sectors, "Sectors to erase (1, or all of a region)", 1, last_sector + 1);
  for (App *leaf : {writer, eraser, updater}) asks_first(leaf);
  App *map = command(*flash, "map", "All sectors by region, used and erased", "flash map", [] { show_map(library); });
  flag(map, "--color", settings.colour, "Colours without a terminal too");
  App *one = command(*flash, "sector", "One sector", "flash sector 0x1c", [] { show_sector(sector, library); });
  number(one, "SECTOR", sector, "Sector number", 0, last_sector);
  for (App *leaf : {map, one}) flag(leaf, "--library", library, "The library's own print");
}
