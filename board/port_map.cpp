// Which ports exist, which have cages, and the way to one cage's module.
#include "board/request.h"
#include "zelboard/board.h"
#include "zelboard/i2c.h"
#include "zelboard/ports.h"

namespace {

constexpr uint32_t kSlots = 3, kPortsPerSlot = 8, kDaughterPorts = kSlots * kPortsPerSlot, kPorts = 28;
constexpr uint8_t kCopperBoard = 1;

// Callers compare the text with "0"; it is never freed.
constexpr char kYes[] = "1", kNo[] = "0";

struct Slot {
  uint32_t result;
  uint8_t type;

  // A query that failed without an answer leaves the preset, so the slot counts as a copper board.
  bool has_cages() const { return type != kCopperBoard && result != FW_ABSENT; }
  bool is_copper() const { return type == kCopperBoard && result == 0; }
};

Slot query_slot(uint32_t slot) {
  uint8_t type = kCopperBoard;
  const uint32_t result = FW_GetDauBoard(slot, &type);
  return {result, type};
}

}  // namespace

const char *BoardType_Check(uint32_t kind, uint32_t port, uint8_t *count) {
  const Slot slots[kSlots] = {query_slot(1), query_slot(2), query_slot(3)};
  if (kind == 0) {
    if (port < kDaughterPorts) return slots[port / kPortsPerSlot].has_cages() ? kYes : kNo;
    return port < kPorts ? kYes : kNo;
  }
  if (kind == 1) {
    *count = 0;
    for (const Slot &slot : slots) *count = static_cast<uint8_t>(*count + slot.is_copper());
    return kNo;
  }
  return kYes;
}

uint32_t IsSwitchPortExist(uint32_t port) {
  if (port >= kDaughterPorts) return 1;
  return query_slot(port / kPortsPerSlot + 1).result != FW_ABSENT;
}

uint32_t FW_SfpSel(uint32_t port) {
  if (IsSwitchPortExist(port) == 0) return FW_ABSENT;
  if (BoardType_Check(0, port & 0xFF, nullptr)[0] == kNo[0]) return FW_NOT_SFP;
  return zel::send_byte({zel::kGpio, 0x88}, port);
}

uint32_t FW_GetExpenderIO(uint8_t *out) {
  constexpr uint8_t kExpander = 0x4C;
  uint8_t inputs[2] = {};
  const uint32_t result = FW_I2C_BufRead(kExpander, 0, 1, sizeof inputs, inputs);
  if (result != 0) return result;
  FW_SetIOVal(inputs[0]);
  *out = inputs[1];
  return 0;
}
