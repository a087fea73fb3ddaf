// Daughter boards: is one in the slot, and of which type. The I2C driver knows.
#include "board/request.h"
#include "zelboard/ports.h"

uint32_t FW_GetDau_Alive(uint32_t slot, uint8_t *alive) { return zel::get_selected(zel::kGetBoardAlive, slot, alive); }

uint32_t FW_SetDau_Alive(uint32_t slot, uint32_t alive) {
  zel::SelectedRecord record{static_cast<uint8_t>(slot), static_cast<uint8_t>(alive)};
  return zel::request(zel::kSetBoardAlive, &record);
}

uint32_t FW_GetDauBoard(uint32_t slot, uint8_t *type) {
  if (slot < FW_SLOT_FIRST || slot > FW_SLOT_LAST) return FW_FAIL;
  zel::SelectedRecord board{static_cast<uint8_t>(slot), 0};
  bool present = true;
  const uint32_t result = zel::request(zel::kGetBoardType, board, [&] {
    uint8_t alive = 0;
    FW_GetDau_Alive(slot, &alive);
    present = alive != 0;
    *type = present ? board.value : 0;
  });
  return present ? result : FW_ABSENT;
}
