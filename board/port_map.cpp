// Which ports exist, which have cages, and the way to one cage's module.
#include "board/port_check.h"
#include "board/request.h"
#include "zelboard/board.h"
#include "zelboard/i2c.h"
#include "zelboard/ports.h"

namespace zel {
namespace {

// Callers compare the text with "0"; it is never freed.
constexpr char kYes[] = "1", kNo[] = "0";

struct BoardInSlot {
  uint32_t result;
  uint8_t type;

  // A query that failed without an answer leaves the preset, so the slot counts as a copper board.
  bool has_cages() const { return type != FW_BOARD_COPPER && result != FW_ABSENT; }
  bool is_copper() const { return type == FW_BOARD_COPPER && result == 0; }
};

BoardInSlot query_slot(uint32_t slot) {
  uint8_t type = FW_BOARD_COPPER;
  const uint32_t result = FW_GetDauBoard(slot, &type);
  return {result, type};
}

}  // namespace

uint32_t refuse_port(uint32_t port, uint32_t cage) {
  if (IsSwitchPortExist(port) == 0) return FW_ABSENT;
  return BoardType_Check(FW_CHECK_SFP_PORT, cage, nullptr)[0] == kNo[0] ? FW_NOT_SFP : 0;
}

}  // namespace zel

const char *BoardType_Check(uint32_t kind, uint32_t port, uint8_t *count) {
  const zel::BoardInSlot boards[FW_SLOT_LAST] = {zel::query_slot(1), zel::query_slot(2), zel::query_slot(3)};
  if (kind == FW_CHECK_SFP_PORT) {
    const bool on_board = port < FW_PORT_FIRST_10G;
    return (on_board ? boards[port / FW_PORTS_PER_SLOT].has_cages() : port < FW_PORTS) ? zel::kYes : zel::kNo;
  }
  if (kind != FW_CHECK_COPPER_COUNT) return zel::kYes;
  *count = 0;
  for (const zel::BoardInSlot &board : boards) *count = static_cast<uint8_t>(*count + board.is_copper());
  return zel::kNo;
}

uint32_t IsSwitchPortExist(uint32_t port) {
  return port >= FW_PORT_FIRST_10G || zel::query_slot(port / FW_PORTS_PER_SLOT + FW_SLOT_FIRST).result != FW_ABSENT;
}

uint32_t FW_SfpSel(uint32_t port) {
  if (const uint32_t refusal = zel::refuse_port(port, port & 0xFF); refusal != 0) return refusal;
  return zel::send_byte(zel::kSelectCage, port);
}

uint32_t FW_GetExpenderIO(uint8_t *out) {
  constexpr uint8_t kExpander = 0x4C;
  uint8_t inputs[2] = {};
  if (const uint32_t failed = FW_I2C_BufRead(kExpander, 0, 1, sizeof inputs, inputs); failed != 0) return failed;
  FW_SetIOVal(inputs[0]);
  *out = inputs[1];
  return 0;
}
