#include <memory>

#include "records.h"

/** The argument ADDRESS: an address, or a region by its code or name. */
struct Place {
  std::string text;

  bool is_region() const { return region_named(text).has_value(); }
  /** The region, or all from the address to the end of the flash. */
  Extent extent() const {
    if (const auto region = region_named(text)) return region_extent(*region);
    const auto start = static_cast<uint32_t>(std::stoul(text));
    return {start, chip_size() - start, "the flash"};
  }
};

static void place_argument(App *app, Place &place) {
  const ArgumentCheck to_number = whole_number(0, chip_size() - 1);
  const auto check = [to_number](std::string &text) -> std::string {
    if (region_named(text)) return {};
    const std::string wrong = to_number(text);  // makes the text a decimal number
    if (wrong.empty()) return {};
    return format("'%s' is neither a region nor an address from 0 to 0x%X", text.c_str(), chip_size() - 1);
  };
  add_text(app, "ADDRESS", place.text, "Byte on the chip, or a region by code or name: see flash regions", check,
           "NUMBER|" + region_codes());
}

/** The first `length` bytes of a place. Refuses the argument that the length comes from if the place is shorter. */
static Extent first_bytes(const Place &place, uint64_t length, const char *argument) {
  Extent extent = place.extent();
  if (length > extent.length) refuse_argument(argument, "ends behind the end of " + extent.name);
  extent.length = static_cast<uint32_t>(length);
  return extent;
}

/* ---- flash read ---- */

struct ReadOptions {
  Place place;
  uint32_t length = 0;  // 0 = all of a region
  std::string output;
};

static void read_bytes(const ReadOptions &options) {
  const Extent whole = options.place.extent();
  if (options.length == 0 && !options.place.is_region()) refuse_argument("LENGTH", "is required behind an address");
  const uint32_t length = options.length == 0 ? whole.length : options.length;
  const Extent extent = first_bytes(options.place, length, "LENGTH");
  const bool to_file = !options.output.empty() && options.output != "-";
  if (to_file) {
    OutputFile file(options.output, "--output");  // before the read, which takes long
    file.write(read_flash(extent.start, extent.length));
    file.commit();
    return;
  }
  const std::vector<uint8_t> bytes = read_flash(extent.start, extent.length);
  if (options.output == "-")
    write_output("-", bytes);
  else if (settings.json)
    show(record("address", extent.start, "length", extent.length, "data", hex_text(bytes)));
  else
    hexdump(bytes, extent.start);
}

static void add_read(App &flash) {
  const auto options = std::make_shared<ReadOptions>();
  App *app = command(flash, "read", "Reads bytes, or a whole region", "flash read 'Image 2' -o image.bin",
                     tells_if_interrupted([options] { read_bytes(*options); }));
  place_argument(app, options->place);
  add_number(app, "LENGTH", options->length, "Bytes (default: all of a region)", 1, chip_size(), Needed::Never);
  add_output_option(app, options->output);
}

/* ---- flash write ---- */

struct WriteOptions {
  Place place;
  std::string path;
};

static void write_bytes(const WriteOptions &options) {
  const std::vector<uint8_t> bytes = read_file(options.path, chip_size());
  if (bytes.empty()) refuse_argument("FILE", options.path + " is empty");
  const Extent extent = first_bytes(options.place, bytes.size(), "FILE");
  if (settings.dry_run) {
    show_plan(extent.start, extent.end(), SectorAction::Write);
    return;
  }
  const bool erased = is_erased(read_flash(extent.start, extent.length));
  const Extent boot_loader{start_of_selector(FW_REGION_BOOTLOADER), length_of_selector(FW_REGION_BOOTLOADER), ""};
  const bool is_in_boot_loader = extent.start < boot_loader.end() && extent.end() > boot_loader.start;
  if (is_in_boot_loader)
    confirm("Programs the boot loader's region.");
  else if (!erased)
    confirm(format("Programs 0x%X-0x%X, which is not erased: bits can only be cleared.", extent.start, extent.end()));
  hold_signals();
  work_in_pieces("write", extent.start, extent.length, kPartly, [&](uint32_t address, uint32_t length) {
    const uint8_t *piece = bytes.data() + (address - extent.start);
    require(FW_WriteFlash(address, length, piece), format("flash write ended at 0x%X", address));
  });
  if (read_flash(extent.start, extent.length, kUnverified) != bytes)
    throw Failure{"the flash does not hold what was written: programming only clears bits, erase the sectors first"};
}

static void add_write(App &flash) {
  const auto options = std::make_shared<WriteOptions>();
  App *app = command(flash, "write", "Programs a file; erases nothing", "flash write 0x1ff0000 data.bin",
                     tells_if_interrupted([options] { write_bytes(*options); }));
  place_argument(app, options->place);
  add_input_file(app, options->path, "File to program");
  asks_first(app);
}

/* ---- flash erase ---- */

struct EraseOptions {
  Place place;
  uint32_t sectors = 0;  // 0 = all of a region, one at an address
};

static uint32_t sectors_to_erase(const EraseOptions &options, const Extent &extent) {
  if (options.sectors > 0) return options.sectors;
  return options.place.is_region() ? extent.length / sector_size() : 1;
}

static void erase_sectors(const EraseOptions &options) {
  const Extent extent = options.place.extent();
  const uint32_t start = extent.start / sector_size() * sector_size();
  const uint32_t count = sectors_to_erase(options, extent);
  const uint32_t room = extent.end() - start;
  const uint64_t length = uint64_t{count} * sector_size();
  if (length > room) {
    const std::string limit = options.place.is_region() ? options.place.text : extent.name;
    refuse_argument("--sectors", "reaches behind the end of " + limit);
  }
  const uint32_t end = start + static_cast<uint32_t>(length);
  if (settings.dry_run) {
    show_plan(start, end, SectorAction::Erase);
    return;
  }
  confirm(format("Erases %u sector(s) from 0x%X.", count, start));
  hold_signals();
  work_in_pieces("erase", start, end - start, kPartly, [](uint32_t address, uint32_t) {
    require(FW_SpiFlash_SectorErase(address), format("flash erase ended at 0x%X", address));
  });
}

static void add_erase(App &flash) {
  const auto options = std::make_shared<EraseOptions>();
  App *app = command(flash, "erase", "Erases the sector at an address, or a region", "flash erase T --yes",
                     tells_if_interrupted([options] { erase_sectors(*options); }));
  place_argument(app, options->place);
  add_number(app, "--sectors", options->sectors, "Sectors to erase (default: all of a region; 1 at an address)", 1,
             chip_size() / sector_size());
  asks_first(app);
}

/* ---- what shows the flash ---- */

Json flash_id() {
  constexpr size_t kIdLength = 20;
  constexpr size_t kJedecLength = 3;  // manufacturer, type, capacity
  uint8_t id[kIdLength] = {};
  const uint8_t index = byte_of(FW_FlashGetIndex, "flash driver");
  require(FW_GetFlashId(id), "flash identification");
  const char *chip = index == 0 ? "N25Q256A" : "unknown";
  return record("chip_index", index, "chip", chip, "jedec_id", hex_text({id, kJedecLength}));
}

/** Shows what a call of the library prints. */
static void show_print(const std::function<uint32_t()> &call, const char *what) {
  const Printed printed = printed_by(call);
  require(printed.status, what);
  if (settings.json)
    show(record("text", printed.text));
  else
    std::fputs(printed.text.c_str(), out);
}

static void add_map(App &flash) {
  const auto library = std::make_shared<bool>();
  App *app = command(flash, "map", "All sectors by region, used and erased", "flash map", [library] {
    if (*library)
      show_print(FW_SpiFlash_CheckSector, "flash map");
    else
      show_map();
  });
  add_flag(app, "--color", settings.colour, "Colours without a terminal too");
  add_flag(app, "--library", *library, "The library's own print");
}

struct SectorOptions {
  uint32_t sector = 0;
  bool library = false;
};

static void add_sector(App &flash) {
  const auto options = std::make_shared<SectorOptions>();
  App *app = command(flash, "sector", "One sector", "flash sector 0x1c", [options] {
    if (options->library)
      show_print([&] { return FW_ReadSector(options->sector); }, "flash sector");
    else
      show_sector(options->sector);
  });
  add_number(app, "SECTOR", options->sector, "Sector number", 0, chip_size() / sector_size() - 1);
  add_flag(app, "--library", options->library, "The library's own print");
}

void add_flash_commands(App &app) {
  App *flash = command(app, "flash", "The 32 MiB serial NOR flash", "flash regions");
  command(*flash, "id", "Chip and JEDEC identification", "flash id", [] { show(flash_id()); });
  command(*flash, "regions", "Codes, names and places of the regions", "flash regions --json",
          [] { show(flash_regions()); });
  add_read(*flash);
  add_write(*flash);
  add_erase(*flash);
  add_flash_update(*flash);
  add_map(*flash);
  add_sector(*flash);
}
