// Daughter boards: is one in the slot, and of which type. The I2C driver knows.
#include "board/request.h"
#include "zelboard/ports.h"

namespace {

struct SlotRecord {
  uint8_t slot, value;
};

constexpr zel::Request kGetAlive{zel::kI2c, 0xC2};
constexpr zel::Request kSetAlive{zel::kI2c, 0xC3};
constexpr zel::Request kGetBoard{zel::kI2c, 0x96};

}  // namespace

uint32_t FW_GetDau_Alive(uint32_t slot, uint8_t *alive) {
  SlotRecord record{static_cast<uint8_t>(slot), 0};
  return zel::request_then(kGetAlive, record, [&] { *alive = record.value; });
}

uint32_t FW_SetDau_Alive(uint32_t slot, uint32_t alive) {
  SlotRecord record{static_cast<uint8_t>(slot), static_cast<uint8_t>(alive)};
  return zel::request(kSetAlive, record);
}

uint32_t FW_GetDauBoard(uint32_t slot, uint8_t *type) {
  if (slot < 1 || slot > 3) return FW_FAIL;
  SlotRecord board{static_cast<uint8_t>(slot), 0};
  bool present = true;
  const uint32_t result = zel::request_then(kGetBoard, board, [&] {
    uint8_t alive = 0;
    FW_GetDau_Alive(slot, &alive);
    present = alive != 0;
    *type = present ? board.value : 0;
  });
  return present ? result : FW_ABSENT;
}
