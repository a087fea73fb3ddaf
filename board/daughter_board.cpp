// Daughter boards: is one in the slot, and of which type. The I2C driver knows.
#include "board/request.h"
#include "zelboard/ports.h"

uint32_t FW_GetDau_Alive(uint32_t slot, uint8_t *alive) { return zel::get_selected(zel::kGetBoardAlive, slot, alive); }

uint32_t FW_SetDau_Alive(uint32_t slot, uint32_t alive) { return zel::send_selected(zel::kSetBoardAlive, slot, alive); }

uint32_t FW_GetDauBoard(uint32_t slot, uint8_t *type) {
  if (slot < FW_SLOT_FIRST || slot > FW_SLOT_LAST) return FW_FAIL;
  zel::SelectedRecord board{static_cast<uint8_t>(slot), 0};
  const zel::Answer answer = zel::request(zel::kGetBoardType, &board);
  if (!answer.made) return FW_FAIL;

  uint8_t alive = 0;  // the result is not looked at: where the driver wrote nothing there is no board
  FW_GetDau_Alive(slot, &alive);
  if (alive == 0) {
    *type = 0;
    return FW_ABSENT;
  }
  *type = board.value;
  return answer.result;
}
