// Inspection on the console: the map of all sectors, and one sector as a hex table.
#include <stdio.h>
#include <string.h>

#include "board/request.h"
#include "flash/buffer.h"
#include "flash/region.h"
#include "zelboard/content.h"

namespace zel {
namespace {

constexpr uint32_t kSectorsInRow = 16;  // of the map
constexpr uint32_t kBytesInLine = 16;   // of the hex table
constexpr useconds_t kLinePause = 1;
constexpr char kErased[] = "__ ";
constexpr char kUnused[] = "U  ";

bool contains(const Region &region, uint32_t address) {
  const uint32_t start = flash_def[region.start];
  if (address < start) return false;
  if (region.end.sectors == 0) return address < flash_def[region.end.word];
  return address - start < uint64_t{region.end.sectors} * sector_size();
}

const char *region_code(uint32_t address) {
  for (const Region &region : kRegions) {
    if (contains(region, address)) return region.code;
  }
  return kUnused;
}

bool print_cell(uint32_t sector) {
  static constexpr uint8_t kBlank[16] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                         0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  const uint32_t address = sector * sector_size();
  uint8_t start[sizeof kBlank] = {};
  if (FW_N25Q256A_ReadFlash(address, sizeof start, start) == FW_FAIL) return false;
  const bool erased = memcmp(start, kBlank, sizeof start) == 0;
  printf("%s", erased ? kErased : region_code(address));
  return true;
}

void print_sector(const Buffer &bytes, uint32_t size) {
  for (uint32_t line = 0; line < size; line += kBytesInLine) {
    printf("0x%08x:[", line);
    for (uint32_t column = 0; column < kBytesInLine; ++column) printf("0x%02x ", bytes.get()[line + column]);
    puts("]");
    usleep(kLinePause);
  }
}

bool show_sector(uint32_t address) {
  const uint32_t size = sector_size() / kBytesInLine * kBytesInLine;
  Descriptor device(-1);  // closed after the buffer is released: buffer.h tells why
  const Buffer bytes = zeroed_buffer(size);
  if (!bytes) return false;
  device.reset(open_node(Node::SpiFlash, O_RDONLY));  // held open, though the read opens the node itself
  if (!device) return false;
  if (FW_N25Q256A_ReadFlash(address, size, bytes.get()) == FW_FAIL) return false;
  printf("Read Address:0x%08x\n", address);
  print_sector(bytes, size);
  return true;
}

}  // namespace
}  // namespace zel

uint32_t FW_N25Q256A_CheckSector(void) {
  puts("\n  |0  1  2  3  4  5  6  7  8  9  A  B  C  D  E  F  ");
  puts("--|------------------------------------------------");
  for (uint32_t row = 0; row < flash_def[FW_FLASH_SECTORS] / zel::kSectorsInRow; ++row) {
    printf("%02x|", row);
    for (uint32_t column = 0; column < zel::kSectorsInRow; ++column) {
      if (!zel::print_cell(row * zel::kSectorsInRow + column)) return FW_FAIL;
    }
    putchar('\n');
  }
  // Programs look for these texts: the spelling stays.
  puts("\n B:Bootloader        E:ENVironmnet      M:Mac Address Backup");
  puts("I1:Image 1          I2:Image 2          P:Profinet Parameter");
  puts("Pt:Partition table  P1:Parameter 1     P2:Parameter 2");
  puts("BS:Boot Script      D1:DB1             D2:DB2");
  puts("CI:Custom info      C1:Customize 1     C2:Customize 2");
  puts(" S:Share DB          T:Test Area        U:UnUsed Space\n");
  FW_N25Q256A_SetExtendedLow();
  return 0;
}

uint32_t FW_N25Q256A_ReadSector(uint32_t sector) {
  if (!zel::show_sector(sector * zel::sector_size())) return FW_FAIL;
  FW_N25Q256A_SetExtendedLow();
  return 0;
}
