#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <thread>

#include "records.h"

static std::string path;
static uint32_t partition = 1, part = 1, parts = 1, sum;

struct FileFigures {
  uint64_t size = 0;
  uint32_t crc32 = 0;
  uint32_t sum = 0;  // byte sum, wrapping
};

static FileFigures measure() {
  std::ifstream file(path, std::ios::binary);
  if (!file) refuse_unreadable(path);
  FileFigures figures;
  for (std::vector<char> piece(0x10000); file.read(piece.data(), std::ssize(piece)) || file.gcount() > 0;) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(piece.data());
    const auto count = static_cast<uint32_t>(file.gcount());
    figures.size += count;
    figures.crc32 = FW_crc321(figures.crc32, bytes, count);
    figures.sum += dbChecksum(bytes, count);
  }
  if (file.bad()) refuse_unreadable(path);
  return figures;
}

static Json figures_record(const FileFigures &figures) {
  return record("file", path, "size", figures.size, "crc32", figures.crc32, "sum", figures.sum);
}

static FileFigures measure_image() {
  const FileFigures figures = measure();
  const uint32_t room = region_length(partition);
  if (figures.size > room) refuse_argument("FILE", path + format(" is longer than the partition's 0x%X bytes", room));
  return figures;
}

/** Serves the file to one of the library's copies through a pipe, a piece at a time: when a signal waits the file ends
 *  there, and the copy verifies what it has. Throws unless the target then holds the whole file. */
static void copy_file(const std::string &target, uint64_t size, const std::function<uint32_t(int file)> &copy) {
  std::ifstream file(path, std::ios::binary);
  int ends[2] = {-1, -1};
  if (!file || pipe2(ends, O_CLOEXEC) != 0) throw Failure{path + ": " + std::strerror(errno)};
  fcntl(ends[1], F_SETPIPE_SZ, 4096);  // no piece waits in the pipe
  start_change();
  Progress progress("program", size);
  uint64_t taken = 0;
  std::thread feeder([&] {
    std::string piece(sector_size(), '\0');
    while (!interrupted() && (file.read(piece.data(), std::ssize(piece)) || file.gcount() > 0)) {
      const Bytes bytes = bytes_of(piece).first(static_cast<size_t>(file.gcount()));
      if (!write_all(ends[1], bytes)) break;  // the copy has ended
      progress.at(taken += bytes.size());
    }
    close(ends[1]);
  });
  const uint32_t status = copy(ends[0]);
  close(ends[0]);  // for a copy that did not take it
  feeder.join();
  if (status == 0 && taken == size) return;
  const std::string first = format("the first 0x%llX of 0x%llX bytes of ", static_cast<unsigned long long>(taken),
                                   static_cast<unsigned long long>(size)) +
                            path;
  const std::string why = status != 0     ? status_name(status)
                          : interrupted() ? "interrupted"
                                          : path + " changed meanwhile";
  if (taken == 0) throw Failure{why + ": " + target + ": refused, nothing was changed", status};
  if (status == 0) throw Failure{why + ": " + target + " holds " + first + ", verified; the rest is as it was", status};
  throw Failure{why + ": " + target + " is damaged: it holds at most " + first + ", not verified", status};
}

static void write_firmware() {
  const FileFigures figures = measure_image();
  refuse_empty(path, figures.size);
  const uint32_t start = region_start(partition), end = start + static_cast<uint32_t>(figures.size);
  if (settings.dry_run) return show_plan(start, end, std::string((end - start) / sector_size() + 1, 'e'));
  if (!is_erased(read_flash(start, sector_size()))) confirm(format("Replaces the image in partition %u.", partition));
  copy_file(format("firmware partition %u", partition), figures.size,
            [](int file) { return FW_FlashCopy(file, partition); });
  show(figures_record(figures));
}

static void verify_firmware() {
  const FileFigures figures = measure_image();
  read_flash(region_start(partition), static_cast<uint32_t>(figures.size));  // one that cannot be read is no difference
  const uint32_t status = FW_CheckCRC(partition, figures.crc32, static_cast<uint32_t>(figures.size));
  if (status != 0)
    throw Failure{status_name(status) + format(": partition %u does not hold ", partition) + path, status};
  show(figures_record(figures));
}

/** Every byte is read twice. Sectors that a division into parts leaves over belong to no part. */
static void dump() {
  if (part > parts) refuse_argument("--part", format("%u is above --of %u", part, parts));
  const uint32_t span = chip_size() / sector_size() / parts * sector_size(), start = (part - 1) * span;
  OutputFile file(path);
  FileFigures figures{span};
  std::vector<uint8_t> piece(sector_size());
  in_pieces("dump", start, span, kUnchanged, [&](uint32_t at, uint32_t count) {
    read_piece(at, piece);
    file.write(piece);
    figures.crc32 = FW_crc321(figures.crc32, piece.data(), count);
    figures.sum += dbChecksum(piece.data(), count);
  });
  uint32_t sum_again = 0;
  in_pieces("check", start, span, kUnchanged, [&](uint32_t at, uint32_t count) {
    read_piece(at, piece);
    sum_again += dbChecksum(piece.data(), count);
  });
  if (sum_again != figures.sum)
    throw Failure{"the flash changed while it was read: another sum; " + path + " is as it was"};
  file.commit();
  show(figures_record(figures));
}

static void compare() {
  if (part > parts) refuse_argument("--part", format("%u is above --of %u", part, parts));
  const FileFigures figures = measure();
  const uint32_t span = chip_size() / sector_size() / parts * sector_size();
  if (figures.size != span) refuse_argument("FILE", path + format(" does not have 0x%X bytes", span));
  read_flash((part - 1) * span, span);  // a flash that cannot be read is no difference
  start_change();                       // the comparison raises the flash-access flag
  const uint32_t status = FW_N25Q256A_DumpComp(path.c_str(), parts == 1 ? FW_COMPARE_WHOLE : part, parts);
  if (status == FW_FAIL) throw Failure{"FW_FAIL: " + path + " differs from the flash", status};
  require(status, "comparison with " + path);
  show(figures_record(figures));
}

static void restore() {
  const FileFigures figures = measure();
  if (figures.size != chip_size()) refuse_argument("FILE", path + format(" does not have 0x%X bytes", chip_size()));
  if (figures.sum != sum) throw Failure{path + format(": its sum is 0x%X, not 0x%X", figures.sum, sum)};
  if (settings.dry_run) return show_plan(0, chip_size(), std::string(chip_size() / sector_size(), 'e'));
  show(figures_record(figures));
  confirm("Replaces everything in the flash by " + path + ".");
  copy_file("the flash", figures.size, FW_N25Q256A_FlashCopyAll);
}

void add_image_commands(App &app) {
  App *family = command(app, "firmware", "Firmware images", "firmware write image.bin --partition 2");
  App *write = command(*family, "write", "Programs and verifies an image", "firmware write image.bin --partition 2",
                       write_firmware);
  App *verify =
      command(*family, "verify", "Compares the CRC-32", "firmware verify image.bin --partition 2", verify_firmware);
  for (App *leaf : {write, verify}) number(leaf, "--partition", partition, "Partition", 1, 2, Needed::Always);

  family = command_named(app, "flash");
  App *dumper =
      command(*family, "dump", "The flash, or one part, into a file", "flash dump flash.bin --part 1 --of 2", dump);
  App *comparer =
      command(*family, "compare", "Compares 32 bytes a sector with a dump", "flash compare flash.bin", compare);
  for (App *leaf : {dumper, comparer}) {
    number(leaf, "--part", part, "Which part (1)", 1, chip_size() / sector_size());
    number(leaf, "--of", parts, "Number of parts (1)", 1, chip_size() / sector_size());
  }
  App *known = command(*family, "restore", "Programs a whole-flash dump whose byte sum is known",
                       "flash restore flash.bin --sum 0x1fe3a5c0", restore);
  number(known, "--sum", sum, "Byte sum that the file must have", 0, 0xFFFFFFFF, Needed::Always);

  App *backup = command(app, "backup", "The whole flash into a file, compared by its sum", "backup switch.bin", dump);
  App *restorer = command(app, "restore", "A backup into the flash", "restore switch.bin", [] {
    sum = measure().sum;
    restore();
  });
  for (App *leaf : {write, known, restorer}) asks_first(leaf);
  takes_empty(write);
  App *crc = command(app, "crc", "Size, CRC-32 and byte sum", "crc image.bin", [] { show(figures_record(measure())); });
  for (App *leaf : {dumper, backup}) output_file(leaf, path);
  for (App *leaf : {write, verify}) input_file(leaf, path, "Firmware image");
  for (App *leaf : {comparer, known, restorer}) input_file(leaf, path, "Dump of the flash");
  input_file(crc, path, "File to measure");
}
