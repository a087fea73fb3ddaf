#include <fcntl.h>
#include <cerrno>
#include <cstring>

#include "records.h"


static std::string path;
static uint32_t partition = 1, part = 1, parts = 1, sum;

static Json figuresRecord(const FileFigures &figures) {
  return record("file", path, "size", figures.size, "crc32", figures.crc32, "sum", figures.sum);
}

static FileFigures measureImage() {
  const FileFigures figures = measure(path);
  const uint32_t room = FW_SpiFlash_GetMapLen(partition);
  if (room == FW_REFUSED) requireBoard();
  if (figures.size > room) refuseArgument("FILE", path + format(" is longer than the partition's 0x%X bytes", room));
  return figures;
}

/** Makes a long call that reads or writes the file, and shows how far it is. */
static uint32_t onFile(const char *what, uint64_t total, const std::function<uint32_t()> &call) {
  Progress progress(what, total);
  progress.follow(path);
  return call();
}

static void writeFirmware() {
  const FileFigures figures = measureImage();
  byteOf(FW_FlashGetIndex, "flash driver");  // a copy that the chip refuses leaves the descriptor open
  const int image = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (image < 0) throw Failure{path + ": " + std::strerror(errno)};
  require(onFile("firmware", figures.size, [=] { return FW_FlashCopy(image, partition); }),
          format("firmware partition %u", partition));
  show(figuresRecord(figures));
}

static void verifyFirmware() {
  const FileFigures figures = measureImage();
  requireBoard();
  const uint32_t status = FW_CheckCRC(partition, figures.crc32, static_cast<uint32_t>(figures.size));
  if (status != 0)
    throw Failure{statusName(status) + format(": partition %u does not hold ", partition) + path, status};
  show(figuresRecord(figures));
}

/** A whole dump is compared by the sum of every byte; the library's own comparison is a spot check. */
static void dump() {
  if (part > parts) refuseArgument("--part", format("%u is above --of %u", part, parts));
  require(onFile("dump", chipSize() / parts, [] { return FW_DumpFlash(path.c_str(), part, parts); }),
          "flash dump to " + path);
  const FileFigures figures = measure(path);
  if (parts == 1 && dbChecksum(readFlash(0, chipSize()).data(), chipSize()) != figures.sum)
    throw Failure{path + " does not match the flash: another sum"};
  show(figuresRecord(figures));
}

static void compare() {
  if (part > parts) refuseArgument("--part", format("%u is above --of %u", part, parts));
  requireBoard();
  const FileFigures figures = measure(path);
  const uint32_t status = onFile("compare", figures.size, [] {
    return FW_N25Q256A_DumpComp(path.c_str(), parts == 1 ? FW_COMPARE_WHOLE : part, parts);
  });
  if (status == FW_FAIL) throw Failure{"FW_FAIL: " + path + " differs from the flash, or has another size", status};
  require(status, "comparison with " + path);
  show(figuresRecord(figures));
}

/** The library checks size and sum, programs everything and compares CRCs. */
static void restore() {
  const FileFigures figures = measure(path);
  if (figures.size != chipSize()) refuseArgument("FILE", path + format(" does not have 0x%X bytes", chipSize()));
  if (figures.sum != sum) throw Failure{path + format(": its sum is 0x%X, not 0x%X", figures.sum, sum)};
  show(figuresRecord(figures));
  confirm("Replaces everything in the flash by " + path + ".");
  require(onFile("restore", chipSize(), [] { return FW_FlashCopyAll(path.c_str(), sum); }),
          "whole-flash copy of " + path);
}

void addImageCommands(App &app) {
  App *family = command(app, "firmware", "Firmware images", "firmware write image.bin --partition 2");
  App *write = command(*family, "write", "Programs and verifies an image", "firmware write image.bin --partition 2",
                       writeFirmware);
  App *verify =
      command(*family, "verify", "Compares the CRC-32", "firmware verify image.bin --partition 2", verifyFirmware);
  for (App *leaf : {write, verify}) number(leaf, "--partition", partition, "Partition", 1, 2)->required();

  family = app.get_subcommand("flash");
  App *dumper =
      command(*family, "dump", "The flash, or one part, into a file", "flash dump flash.bin --part 1 --of 2", dump);
  App *comparer =
      command(*family, "compare", "Compares 32 bytes a sector with a dump", "flash compare flash.bin", compare);
  for (App *leaf : {dumper, comparer}) {
    number(leaf, "--part", part, "Which part (1)", 1, chipSize() / sectorSize());
    number(leaf, "--of", parts, "Number of parts (1)", 1, chipSize() / sectorSize());
  }
  App *known = command(*family, "restore", "Programs a whole-flash dump whose byte sum is known",
                       "flash restore flash.bin --sum 0x1fe3a5c0", restore);
  number(known, "--sum", sum, "Byte sum that the file must have", 0, 0xFFFFFFFF)->required();

  App *backup = command(app, "backup", "The whole flash into a file, compared by its sum", "backup switch.bin", dump);
  App *restorer = command(app, "restore", "A backup into the flash", "restore switch.bin", [] {
    sum = measure(path).sum;
    restore();
  });
  for (App *leaf : {known, restorer}) asksFirst(leaf);
  App *crc =
      command(app, "crc", "Size, CRC-32 and byte sum", "crc image.bin", [] { show(figuresRecord(measure(path))); });
  for (App *leaf : {dumper, backup}) outputFile(leaf, path);
  for (App *leaf : {write, verify, comparer, known, restorer, crc}) inputFile(leaf, path);
}
