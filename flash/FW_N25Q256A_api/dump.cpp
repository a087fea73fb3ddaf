// Dumps the flash, or one of several equal parts, into a file.
#include <stdio.h>
#include <string.h>

#include "board/request.h"
#include "flash/FW_N25Q256A_api/split.h"
#include "flash/buffer.h"
#include "flash/debugging.h"
#include "zelboard/content.h"

namespace zel {
namespace {

constexpr useconds_t kSectorPause = 1;
constexpr mode_t kFileMode = 0644;

bool dump_sectors(const SectorRange &range, const Descriptor &file, const Buffer &buffer) {
  const uint32_t size = sector_size();
  for (uint32_t done = 0; done < range.count; ++done) {
    memset(buffer.get(), 0, size);
    if (FW_N25Q256A_ReadFlash((range.first + done) * size, size, buffer.get()) == FW_FAIL) return false;
    printf("Dump flash image file [%d] percent\n", static_cast<int>(done * 100 / range.count));
    usleep(kSectorPause);
    // A file that comes out short fails the compare.
    [[maybe_unused]] const ssize_t appended = write(file.get(), buffer.get(), size);
  }
  return true;
}

bool dump_part(const char *path, uint32_t number, uint32_t total) {
  // A failure ends them in the reverse order: buffer, file, device. A success ends buffer, device, file: see the two
  // reset() below.
  Descriptor device(-1);
  Descriptor file(-1);
  Buffer buffer = make_buffer(sector_size());
  if (!buffer) return false;
  device.reset(open_node(Node::SpiFlash, O_RDONLY));  // held open, though each read opens the node itself
  if (!device) return false;
  printf("open file[%s]\n", path);
  file.reset(open(path, O_WRONLY | O_CREAT | O_TRUNC, kFileMode));
  if (!file) return false;

  const SectorRange range = sectors_of_part(number, total);
  // Programs look for these texts: the spelling stays.
  printf("start_sector=%d total_secotr=%d\n", static_cast<int>(range.first), static_cast<int>(range.count));
  printf("Start Dump flash %d of %d\n", static_cast<int>(number), static_cast<int>(total));
  if (!dump_sectors(range, file, buffer)) return false;
  puts("Dump Finish");
  buffer.reset();
  device.reset();
  return true;
}

}  // namespace
}  // namespace zel

uint32_t FW_N25Q256A_DumpFlash(const char *path, uint32_t part, uint32_t total) {
  if (part < 1 || part > total) {
    printf("Part number must be 1~%d\n", static_cast<int>(total));
    return FW_REFUSED;
  }
  if (!zel::dump_part(path, part, total)) return FW_FAIL;
  if (FW_N25Q256A_DumpComp(path, part, total) != 0) {
    zel::note("Comp dump file fail");
    return FW_FAIL;
  }
  FW_N25Q256A_SetExtendedLow();
  return 0;
}
