#include <fcntl.h>
#include <cerrno>
#include <cstring>

#include "progress.h"
#include "records.h"

namespace zelctl {

namespace {

constexpr uint32_t kFromStart = 255;  // part number of a comparison that begins at address 0

std::string path;
uint32_t partition = 1, part = 1, parts = 1, sum;

Json figuresRecord(const FileFigures &figures) {
  return record("file", path, "size", figures.size, "crc32", figures.crc32, "sum", figures.sum);
}

FileFigures measureImage() {
  const FileFigures figures = measure(path);
  const uint32_t room = FW_SpiFlash_GetMapLen(partition);
  if (room == FW_REFUSED) requireBoard();
  if (figures.size > room) refuseArgument("FILE", path + format(" is longer than the partition's 0x%X bytes", room));
  return figures;
}

void writeFirmware() {
  const FileFigures figures = measureImage();
  uint8_t index = 0xFF;
  require(FW_FlashGetIndex(&index), "flash driver");  // a copy that the chip refuses leaves the descriptor open
  const int image = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (image < 0) throw Failure{path + ": " + std::strerror(errno)};
  Progress progress({"programming", "verifying"}, figures.size);
  progress.follow(path);
  require(FW_FlashCopy(image, partition), format("firmware partition %u", partition));
  show(figuresRecord(figures));
}

void verifyFirmware() {
  const FileFigures figures = measureImage();
  const uint32_t status = FW_CheckCRC(partition, figures.crc32, static_cast<uint32_t>(figures.size));
  if (status != 0) requireBoard();
  if (status != 0)
    throw Failure{statusName(status) + format(": partition %u does not hold ", partition) + path, status};
  show(figuresRecord(figures));
}

void requireParts() {
  if (part > parts) refuseArgument("--part", format("%u is above --of %u", part, parts));
}

/** A whole dump is compared by the sum of every byte; the library's own comparison is a spot check. */
void dump() {
  requireParts();
  {
    Progress progress({"dumping", "comparing", "summing"}, chipSize() / parts);
    progress.follow(path);
    require(FW_DumpFlash(path.c_str(), part, parts), "flash dump to " + path);
  }
  const FileFigures figures = measure(path);
  if (parts == 1 && dbChecksum(readFlash(0, chipSize()).data(), chipSize()) != figures.sum)
    throw Failure{path + " does not match the flash: another sum"};
  show(figuresRecord(figures));
}

void compare() {
  requireParts();
  const FileFigures figures = measure(path);
  Progress progress({"comparing", "summing"}, figures.size);
  progress.follow(path);
  const uint32_t status = FW_N25Q256A_DumpComp(path.c_str(), parts == 1 ? kFromStart : part, parts);
  if (status == FW_FAIL) requireBoard();
  if (status == FW_FAIL) throw Failure{"FW_FAIL: " + path + " differs from the flash, or has another size", status};
  require(status, "comparison with " + path);
  show(figuresRecord(figures));
}

/** The library checks size and sum, programs everything and compares CRCs. */
void restore(const FileFigures &figures, uint32_t expected) {
  if (figures.size != chipSize()) refuseArgument("FILE", path + format(" does not have 0x%X bytes", chipSize()));
  if (figures.sum != expected) throw Failure{path + format(": its sum is 0x%X, not 0x%X", figures.sum, expected)};
  show(figuresRecord(figures));
  confirm("Replaces everything in the flash by " + path + ".");
  Progress progress({"checking", "programming", "verifying"}, chipSize());
  progress.follow(path);
  require(FW_FlashCopyAll(path.c_str(), expected), "whole-flash copy of " + path);
}

}  // namespace

void addImageCommands(CLI::App &app) {
  CLI::App *family = command(app, "firmware", "Firmware images", "firmware write image.bin --partition 2");
  CLI::App *write = command(*family, "write", "Programs an image into a partition and verifies it",
                            "firmware write image.bin --partition 2", writeFirmware);
  CLI::App *verify = command(*family, "verify", "Compares an image with a partition by CRC-32",
                             "firmware verify image.bin --partition 2", verifyFirmware);
  for (CLI::App *leaf : {write, verify}) number(leaf, "--partition", partition, "Partition", 1, 2)->required();

  family = app.get_subcommand("flash");
  CLI::App *dumper = command(*family, "dump", "Dumps the flash, or one of several equal parts, into a file",
                             "flash dump flash.bin --part 1 --of 2", dump);
  CLI::App *comparer = command(*family, "compare", "Compares a dump with the flash: a spot check of 32 bytes a sector",
                               "flash compare flash.bin", compare);
  for (CLI::App *leaf : {dumper, comparer}) {
    number(leaf, "--part", part, "Which part (1)", 1, chipSize() / sectorSize());
    number(leaf, "--of", parts, "Number of parts (1)", 1, chipSize() / sectorSize());
  }
  CLI::App *known = command(*family, "restore", "Programs a whole-flash dump whose byte sum is known",
                            "flash restore flash.bin --sum 0x1fe3a5c0", [] { restore(measure(path), sum); });
  number(known, "--sum", sum, "Byte sum that the file must have", 0, 0xFFFFFFFF)->required();

  CLI::App *backup =
      command(app, "backup", "The whole flash into a file, compared by its sum", "backup switch.bin", dump);
  CLI::App *restorer = command(app, "restore", "A backup into the flash", "restore switch.bin", [] {
    const FileFigures figures = measure(path);
    restore(figures, figures.sum);
  });
  for (CLI::App *leaf : {known, restorer}) asksFirst(leaf);
  CLI::App *crc = command(app, "crc", "Size, CRC-32 and byte sum of a file", "crc image.bin",
                          [] { show(figuresRecord(measure(path))); });
  for (CLI::App *leaf : {dumper, backup}) outputFile(leaf, path);
  for (CLI::App *leaf : {write, verify, comparer, known, restorer, crc}) inputFile(leaf, path);
}

}  // namespace zelctl
