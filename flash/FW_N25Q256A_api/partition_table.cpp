// The partition table: length and checksum of each stored database, in its own sector.
#include <stdio.h>

#include <optional>

#include "flash/debugging.h"
#include "flash/map.h"
#include "zelboard/content.h"

namespace zel {
namespace {

constexpr uint32_t kSlotCount = 5;
constexpr uint32_t kNever = 0xFFFFFFFF;  // both words of a slot that was never written

struct TableSlot {
  uint32_t length;
  uint32_t checksum;
};

struct Table {
  TableSlot slots[kSlotCount];
};
static_assert(sizeof(Table) == 40);

struct SlotTexts {
  const char *line;
  const char *empty;
};

// By slot, in the table's order: Gen 1 and 2, customise 1 and 2, shared. Programs look for these texts: the spelling
// stays.
constexpr SlotTexts kTexts[kSlotCount] = {
    {"config1:len=[0x%08x] checksun=[0x%08x]\n", "Config database 1 is empty"},
    {"config2:len=[0x%08x] checksun=[0x%08x]\n", "Config database 2 is empty"},
    {"cust1  :len=[0x%08x] checksun=[0x%08x]\n", "Customize database 1 is empty"},
    {"cust2  :len=[0x%08x] checksun=[0x%08x]\n", "Customize database 2 is empty"},
    {"Share  :len=[0x%08x] checksun=[0x%08x]\n", "Shared database is empty"},
};

void show(const char *title, const Table &table) {
  if (!debugging()) return;
  puts(title);
  for (uint32_t index = 0; index < kSlotCount; ++index) {
    const TableSlot &slot = table.slots[index];
    printf(kTexts[index].line, slot.length, slot.checksum);
  }
}

/// Turns slots that were never written into empty ones; true when there was any.
bool fill_blank_slots(Table &table) {
  bool any = false;
  for (TableSlot &slot : table.slots) {
    if (slot.length != kNever || slot.checksum != kNever) continue;
    slot = {};
    any = true;
  }
  return any;
}

/// Index of the slot that a mode reads or writes: 1 and 2 for the first slot, 9 and 10 for the last. Nothing for any
/// other mode: it exchanges nothing.
std::optional<uint32_t> slot_of(uint32_t mode) {
  if (mode < 1 || mode > 2 * kSlotCount) return std::nullopt;
  return (mode - 1) / 2;
}

bool write_back(Table &table) {
  if (FW_N25Q256A_SectorErase(flash_def[FW_FLASH_PARTITION_TABLE]) == FW_FAIL) return false;
  const auto *const bytes = reinterpret_cast<const uint8_t *>(&table);
  if (FW_N25Q256A_WriteFlash(flash_def[FW_FLASH_PARTITION_TABLE], sizeof table, bytes) == FW_FAIL) return false;
  show("\nFW_PartitionInfo write", table);
  return true;
}

}  // namespace
}  // namespace zel

uint32_t FW_N25Q256A_PartitionInfo(uint32_t *length, uint32_t *checksum, uint32_t mode) {
  zel::Table table{};
  auto *const bytes = reinterpret_cast<uint8_t *>(&table);
  if (FW_N25Q256A_ReadFlash(flash_def[FW_FLASH_PARTITION_TABLE], sizeof table, bytes) == FW_FAIL) return FW_FAIL;
  zel::show("\nFW_PartitionInfo read", table);
  const bool any_blank = zel::fill_blank_slots(table);

  const std::optional<uint32_t> slot = zel::slot_of(mode);
  const bool is_even = mode % 2 == 0;
  const bool writes = slot && is_even;
  const bool reads = slot && !is_even;
  if (writes) table.slots[*slot] = {*length, *checksum};
  if (reads) {
    *length = table.slots[*slot].length;
    *checksum = table.slots[*slot].checksum;
  }

  if (writes || any_blank) {
    if (!zel::write_back(table)) return FW_FAIL;
  }
  // Callers rely on it: a read fails if any slot of the table was blank, also another one.
  if (reads && any_blank) return zel::fail(zel::kTexts[*slot].empty);
  return 0;
}
