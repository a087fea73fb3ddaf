// Which ports exist, which have cages, and the way to one cage's module.
#include "board/cage_check.h"
#include "board/request.h"
#include "i2c/register.h"
#include "zelboard/board.h"
#include "zelboard/ports.h"

namespace zel {
namespace {

// Callers compare the text with "0"; it is never freed.
constexpr char kYes[] = "1";
constexpr char kNo[] = "0";

constexpr uint32_t slot_of(uint32_t port) { return port / FW_PORTS_PER_SLOT + FW_SLOT_FIRST; }

struct BoardInSlot {
  uint32_t result;
  uint8_t type;

  bool is_absent() const { return result == FW_ABSENT; }
  bool has_cages() const { return !is_absent() && type != FW_BOARD_COPPER; }
  bool is_copper() const { return result == 0 && type == FW_BOARD_COPPER; }
};

BoardInSlot query_slot(uint32_t slot) {
  // If FW_GetDauBoard writes no type, this one stays. has_cages() is then false because of the type, is_copper() because
  // of the result.
  uint8_t type = FW_BOARD_COPPER;
  const uint32_t result = FW_GetDauBoard(slot, &type);
  return {result, type};
}

/// The boards of all slots.
class Boards {
 public:
  /// Makes six requests.
  static Boards ask() {
    Boards boards;
    for (uint32_t slot = FW_SLOT_FIRST; slot <= FW_SLOT_LAST; ++slot) {
      boards.boards_[slot - FW_SLOT_FIRST] = query_slot(slot);
    }
    return boards;
  }

  bool has_cage(uint32_t port) const {
    if (port >= FW_PORT_FIRST_10G) return port <= FW_PORT_LAST;
    return boards_[slot_of(port) - FW_SLOT_FIRST].has_cages();
  }

  uint8_t copper_count() const {
    uint8_t count = 0;
    for (const BoardInSlot &board : boards_) {
      if (board.is_copper()) ++count;
    }
    return count;
  }

 private:
  BoardInSlot boards_[FW_SLOT_LAST - FW_SLOT_FIRST + 1];
};

}  // namespace

uint32_t check_cage(uint32_t port) { return check_cage(port, port); }

// Asks by the exported functions: a program that puts its own in their place is asked here, too.
uint32_t check_cage(uint32_t port, uint32_t low_byte) {
  if (IsSwitchPortExist(port) == 0) return FW_ABSENT;
  const char *const has_cage = BoardType_Check(FW_CHECK_SFP_PORT, low_byte, nullptr);
  return has_cage[0] == kNo[0] ? FW_NOT_SFP : 0;
}

}  // namespace zel

const char *BoardType_Check(uint32_t kind, uint32_t port, uint8_t *count) {
  const zel::Boards boards = zel::Boards::ask();  // whatever the kind
  if (kind == FW_CHECK_SFP_PORT) return boards.has_cage(port) ? zel::kYes : zel::kNo;
  if (kind != FW_CHECK_COPPER_COUNT) return zel::kYes;
  *count = boards.copper_count();
  return zel::kNo;
}

uint32_t IsSwitchPortExist(uint32_t port) {
  if (port >= FW_PORT_FIRST_10G) return 1;
  return zel::query_slot(zel::slot_of(port)).is_absent() ? 0 : 1;
}

uint32_t FW_SfpSel(uint32_t port) {
  if (const uint32_t refusal = zel::check_cage(port, port & 0xFF); refusal != 0) return refusal;
  return zel::send_byte(zel::kSelectCage, port);
}

uint32_t FW_GetExpenderIO(uint8_t *out) {
  constexpr uint8_t kExpander = 0x4C;
  uint8_t inputs[2] = {};
  if (const uint32_t failed = zel::read_register(kExpander, 0, sizeof inputs, inputs); failed != 0) return failed;
  FW_SetIOVal(inputs[0]);
  *out = inputs[1];
  return 0;
}
