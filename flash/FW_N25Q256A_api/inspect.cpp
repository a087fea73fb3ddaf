// Inspection on the console: the map of all sectors, and one sector as a hex table.
#include <stdio.h>
#include <string.h>

#include "board/request.h"
#include "flash/FW_N25Q256A_api/database.h"

namespace zel {
namespace {

constexpr uint32_t kColumns = 16;  // sectors in a row of the map, bytes in a line of the table
constexpr useconds_t kLinePause = 1;
constexpr char kErased[] = "__ ", kUnused[] = "U  ";

/// A region by the entry it starts at and the entry it ends before, or by its length in sectors.
struct Rule {
  const char *code;
  MapEntry start, end;
  uint32_t sectors;  // 0 = up to `end`
};

constexpr uint32_t kToTheEnd = 0xFFFFFFFF;

constexpr Rule kRules[] = {
    // the first that matches decides
    {"B  ", kBootloader, kEnvironment, 0},
    {"E  ", kEnvironment, kEnvironment, 1},
    {"Pt ", kPartitionTable, kBootScript, 0},
    {"BS ", kBootScript, kCustomInfo, 0},
    {"CI ", kCustomInfo, kProfinetParameter, 0},
    {"P  ", kProfinetParameter, kProfinetParameter, 1},
    {"I1 ", kImage1, kDb1, 0},
    {"D1 ", kDb1, kCustomize1, 0},
    {"C1 ", kCustomize1, kParameter1, 0},
    {"P1 ", kParameter1, kShareDb, 0},
    {"S  ", kShareDb, kShareDb, 8},
    {"I2 ", kImage2, kDb2, 0},
    {"D2 ", kDb2, kCustomize2, 0},
    {"C2 ", kCustomize2, kParameter2, 0},
    {"P2 ", kParameter2, kParameter2, 4},
    {"M  ", kMacBackup, kTestArea, 0},
    {"T  ", kTestArea, kTestArea, kToTheEnd},
};

bool contains(const Rule &rule, uint32_t address) {
  const uint32_t start = flash_def[rule.start];
  if (address < start) return false;
  if (rule.sectors == 0) return address < flash_def[rule.end];
  return address - start < uint64_t{rule.sectors} * flash_def[kSectorSize];
}

const char *region_code(uint32_t address) {
  for (const Rule &rule : kRules) {
    if (contains(rule, address)) return rule.code;
  }
  return kUnused;
}

bool print_cell(uint32_t sector) {
  static constexpr uint8_t kBlank[16] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                         0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  const uint32_t address = sector * flash_def[kSectorSize];
  uint8_t start[sizeof kBlank] = {};
  if (is_fw_fail(FW_N25Q256A_ReadFlash(address, sizeof start, start))) return false;
  printf("%s", memcmp(start, kBlank, sizeof start) == 0 ? kErased : region_code(address));
  return true;
}

void print_sector(const Buffer &bytes, uint32_t size) {
  for (uint32_t line = 0; line < size; line += kColumns) {
    printf("0x%08x:[", line);
    for (uint32_t n = 0; n < kColumns; ++n) printf("0x%02x ", bytes.get()[line + n]);
    puts("]");
    usleep(kLinePause);
  }
}

bool show_sector(uint32_t address) {
  const uint32_t size = flash_def[kSectorSize] / kColumns * kColumns;
  Descriptor device(-1);
  const Buffer bytes = zeroed_buffer(size);
  device.reset(open_node(Node::SpiFlash, O_RDONLY));
  if (!bytes || !device || is_fw_fail(FW_N25Q256A_ReadFlash(address, size, bytes.get()))) return false;
  printf("Read Address:0x%08x\n", address);
  print_sector(bytes, size);
  return true;
}

}  // namespace
}  // namespace zel

uint32_t FW_N25Q256A_CheckSector(void) {
  puts("\n  |0  1  2  3  4  5  6  7  8  9  A  B  C  D  E  F  ");
  puts("--|------------------------------------------------");
  for (uint32_t row = 0; row < flash_def[zel::kSectorCount] / zel::kColumns; ++row) {
    printf("%02x|", row);
    for (uint32_t column = 0; column < zel::kColumns; ++column) {
      if (!zel::print_cell(row * zel::kColumns + column)) return FW_FAIL;
    }
    putchar('\n');
  }
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
  if (!zel::show_sector(sector * flash_def[zel::kSectorSize])) return FW_FAIL;
  FW_N25Q256A_SetExtendedLow();
  return 0;
}
