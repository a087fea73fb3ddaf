#include <memory>

#include "file_copy.h"
#include "file_figures.h"
#include "records.h"

/** The whole flash, or one of several equal parts of it. Sectors that the division leaves over belong to no part. */
struct DumpOptions {
  std::string path;
  uint32_t part = 1;
  uint32_t parts = 1;

  uint32_t length() const { return chip_size() / sector_size() / parts * sector_size(); }
  uint32_t start() const { return (part - 1) * length(); }
  void require_part() const {
    if (part > parts) refuse_argument("--part", format("%u is above --of %u", part, parts));
  }
};

static void require_size(const std::string &path, uint64_t size, uint32_t wanted) {
  if (size != wanted) refuse_argument("FILE", format("%s does not have 0x%X bytes", path.c_str(), wanted));
}

/** Every byte is read twice: another sum shows that the flash has changed meanwhile. */
static void dump_flash(const DumpOptions &options) {
  options.require_part();
  OutputFile file(options.path);
  FileFigures written;
  FileFigures again;
  std::vector<uint8_t> sector(sector_size());
  work_in_pieces("dump", options.start(), options.length(), kUnchanged, [&](uint32_t address, uint32_t) {
    read_piece(address, sector);
    file.write(sector);
    written.add(sector);
  });
  work_in_pieces("check", options.start(), options.length(), kUnchanged, [&](uint32_t address, uint32_t) {
    read_piece(address, sector);
    again.add(sector);
  });
  if (again.sum != written.sum)
    throw Failure{"the flash changed while it was read: another sum; " + options.path + " is as it was"};
  file.commit();
  show(figures_record(options.path, written));
}

static void compare_flash(const DumpOptions &options) {
  options.require_part();
  if (options.part == FW_COMPARE_WHOLE)
    refuse_argument("--part", "255 means the whole flash to the library: part 255 cannot be compared");
  const FileFigures figures = measure_file(options.path);
  require_size(options.path, figures.size, options.length());
  read_flash(options.start(), options.length());  // a flash that cannot be read is no difference
  start_change();                                 // the comparison raises the flash-access flag
  const uint32_t part = options.parts == 1 ? FW_COMPARE_WHOLE : options.part;
  const uint32_t status = FW_N25Q256A_DumpComp(options.path.c_str(), part, options.parts);
  if (status == FW_FAIL) throw Failure{"FW_FAIL: " + options.path + " differs from the flash", status};
  require(status, "comparison with " + options.path);
  show(figures_record(options.path, figures));
}

struct RestoreOptions {
  std::string path;
  std::optional<uint32_t> sum;  // that the file must have
};

static void restore_flash(const RestoreOptions &options) {
  const FileFigures figures = measure_file(options.path);
  require_size(options.path, figures.size, chip_size());
  if (options.sum && figures.sum != *options.sum)
    throw Failure{format("%s: its sum is 0x%X, not 0x%X", options.path.c_str(), figures.sum, *options.sum)};
  if (settings.dry_run) {
    show_plan(0, chip_size(), SectorAction::EraseAndWrite);
    return;
  }
  show(figures_record(options.path, figures));
  confirm("Replaces everything in the flash by " + options.path + ".");
  copy_file(options.path, "the flash", figures.size, FW_N25Q256A_FlashCopyAll);
}

static void part_options(App *app, DumpOptions &options) {
  const uint32_t most = chip_size() / sector_size();
  add_number(app, "--part", options.part, "Which part (1)", 1, most);
  add_number(app, "--of", options.parts, "Number of parts (1)", 1, most);
}

static void add_dump(App &flash) {
  const auto options = std::make_shared<DumpOptions>();
  App *app = command(flash, "dump", "The flash, or one part, into a file", "flash dump flash.bin --part 1 --of 2",
                     tells_if_interrupted([options] { dump_flash(*options); }));
  add_output_file(app, options->path);
  part_options(app, *options);
}

static void add_compare(App &flash) {
  const auto options = std::make_shared<DumpOptions>();
  App *app = command(flash, "compare", "Compares 32 bytes a sector with a dump", "flash compare flash.bin",
                     [options] { compare_flash(*options); });
  add_input_file(app, options->path, "Dump of the flash");
  part_options(app, *options);
}

static void add_restore_by_sum(App &flash) {
  const auto options = std::make_shared<RestoreOptions>();
  const auto sum = std::make_shared<uint32_t>();
  App *app = command(flash, "restore", "Programs a whole-flash dump whose byte sum is known",
                     "flash restore flash.bin --sum 0x1fe3a5c0", tells_if_interrupted([options, sum] {
                       options->sum = *sum;
                       restore_flash(*options);
                     }));
  add_input_file(app, options->path, "Dump of the flash");
  add_number(app, "--sum", *sum, "Byte sum that the file must have", 0, 0xFFFFFFFF, Needed::Always);
  asks_first(app);
}

static void add_backup(App &app) {
  const auto options = std::make_shared<DumpOptions>();
  App *backup = command(app, "backup", "The whole flash into a file, compared by its sum", "backup switch.bin",
                        tells_if_interrupted([options] { dump_flash(*options); }));
  add_output_file(backup, options->path);
}

static void add_restore(App &app) {
  const auto options = std::make_shared<RestoreOptions>();
  App *restore = command(app, "restore", "A backup into the flash", "restore switch.bin",
                         tells_if_interrupted([options] { restore_flash(*options); }));
  add_input_file(restore, options->path, "Dump of the flash");
  asks_first(restore);
}

static void add_crc(App &app) {
  const auto path = std::make_shared<std::string>();
  App *crc = command(app, "crc", "Size, CRC-32 and byte sum", "crc image.bin",
                     [path] { show(figures_record(*path, measure_file(*path))); });
  add_input_file(crc, *path, "File to measure");
}

void add_backup_commands(App &app) {
  App *flash = command_named(app, "flash");
  add_dump(*flash);
  add_compare(*flash);
  add_restore_by_sum(*flash);
  add_backup(app);
  add_restore(app);
  add_crc(app);
}
