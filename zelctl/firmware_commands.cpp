#include <memory>

#include "file_copy.h"
#include "file_figures.h"
#include "records.h"

struct FirmwareOptions {
  std::string path;
  uint32_t partition = 1;
  bool allow_empty = false;

  /** Partitions 1 and 2 are the regions of images 1 and 2. */
  uint32_t region() const { return partition == 1 ? FW_REGION_IMAGE_1 : FW_REGION_IMAGE_2; }
};

static FileFigures measure_image(const FirmwareOptions &options) {
  const FileFigures figures = measure_file(options.path);
  const uint32_t room = length_of_selector(options.region());
  if (figures.size > room)
    refuse_argument("FILE", format("%s is longer than the partition's 0x%X bytes", options.path.c_str(), room));
  return figures;
}

static void write_firmware(const FirmwareOptions &options) {
  const FileFigures figures = measure_image(options);
  require_bytes(options.path, figures.size, options.allow_empty);
  const uint32_t start = start_of_selector(options.region());
  const uint32_t end = start + static_cast<uint32_t>(figures.size);
  if (settings.dry_run) {
    show_plan(start, end, SectorAction::EraseAndWrite);
    return;
  }
  if (!is_erased(read_flash(start, sector_size())))
    confirm(format("Replaces the image in partition %u.", options.partition));
  copy_file(options.path, format("firmware partition %u", options.partition), figures.size,
            [&](int file) { return FW_FlashCopy(file, options.partition); });
  show(figures_record(options.path, figures));
}

static void verify_firmware(const FirmwareOptions &options) {
  const FileFigures figures = measure_image(options);
  const auto length = static_cast<uint32_t>(figures.size);
  read_flash(start_of_selector(options.region()), length);  // a flash that cannot be read is no difference
  const uint32_t status = FW_CheckCRC(options.partition, figures.crc32, length);
  if (status != 0) {
    const std::string line = format(": partition %u does not hold %s", options.partition, options.path.c_str());
    throw Failure{status_name(status) + line, status};
  }
  show(figures_record(options.path, figures));
}

static void common_arguments(App *app, FirmwareOptions &options) {
  add_number(app, "--partition", options.partition, "Partition", 1, 2, Needed::Always);
  add_input_file(app, options.path, "Firmware image");
}

void add_firmware_commands(App &app) {
  const auto options = std::make_shared<FirmwareOptions>();
  App *family = command(app, "firmware", "Firmware images", "firmware write image.bin --partition 2");
  App *write = command(*family, "write", "Programs and verifies an image", "firmware write image.bin --partition 2",
                       tells_if_interrupted([options] { write_firmware(*options); }));
  common_arguments(write, *options);
  asks_first(write);
  add_allow_empty_option(write, options->allow_empty);
  App *verify = command(*family, "verify", "Compares the CRC-32", "firmware verify image.bin --partition 2",
                        [options] { verify_firmware(*options); });
  common_arguments(verify, *options);
}
