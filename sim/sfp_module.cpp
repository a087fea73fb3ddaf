#include <string.h>

#include "board.h"

// A module in a cage and its identification memory. The cage select of the GPIO driver routes the one module path.

namespace zelsim {

bool has_cage(const Board &board, unsigned port) {
  if (port >= kPorts) return false;
  if (port >= kFirstMainPort) return true;
  return board.i2c.slot_type[port / kPortsPerSlot] == kSfpBoard;
}

bool has_jack(const Board &board, unsigned port) {
  return port < kFirstMainPort && board.i2c.slot_type[port / kPortsPerSlot] == kCopperBoard;
}

bool has_link(const Board &board, unsigned port) {
  if (has_jack(board, port)) return true;
  return has_cage(board, port) && board.cages[port].fitted != 0 && board.cages[port].phy != PhyKind::None;
}

Cage *selected_module(Board &board) {
  unsigned port = board.gpio.selected_cage;
  if (!has_cage(board, port) || !board.cages[port].fitted) return nullptr;
  return &board.cages[port];
}

void plug(Board &board, unsigned port, const char *name, const uint8_t *page, PhyKind phy,
          const DiagnosticsMemory &diagnostics) {
  Cage &cage = board.cages[port];
  unplug(cage);
  strncpy(cage.name, name, sizeof cage.name - 1);
  memcpy(cage.page, page, sizeof cage.page);
  cage.phy = phy;
  cage.diagnostics = diagnostics;
  reset_phy(cage);
  restart_negotiation(board, cage);
  cage.loss_of_signal = 0;
  cage.tx_fault = 0;
  cage.fitted = 1;  // last: a process that dies before leaves an empty cage
}

void unplug(Cage &cage) {
  cage = {};
  cage.loss_of_signal = 1;
  cage.tx_fault = 1;
  cage.link_speed = 1000;
  cage.full_duplex = 1;
}

// The memory is write-protected by its maker: the module does not acknowledge a write.
int module_memory(Board &board, Transfer &transfer) {
  const Cage *cage = selected_module(board);
  if (cage == nullptr || transfer.write) return kFail;
  unsigned first = transfer.first();
  for (unsigned i = 0; i < transfer.len; ++i) transfer.data[i] = cage->page[(first + i) % sizeof cage->page];
  return 0;
}

}  // namespace zelsim
