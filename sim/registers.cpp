#include "board.h"

// SoC, switch-chip and port PHY registers. A small table keeps the values that were written. Only few registers have a
// meaning.

namespace zelsim {
namespace {

constexpr uint32_t kLossOfSignalBits = 0xf00;  // the cages of the main board

uint32_t loss_of_signal(const Board &board) {
  uint32_t bits = 0;
  for (unsigned i = 0; i < kMainPorts; ++i) {
    if (board.cages[kFirstMainPort + i].loss_of_signal) bits |= 1u << (kFirstLossOfSignal + i);
  }
  return bits;
}

bool is_row_of(const Register &row, RegisterSpace space, uint8_t port, uint32_t address) {
  return row.space == space && row.port == port && row.address == address;
}

// The register's row, or else a free one; null if the table is full.
Register *row_for(Board &board, RegisterSpace space, uint8_t port, uint32_t address) {
  Register *free = nullptr;
  for (Register &row : board.registers) {
    if (is_row_of(row, space, port, address)) return &row;
    if (free == nullptr && row.space == RegisterSpace::Free) free = &row;
  }
  return free;
}

// Null if nothing was written.
const uint32_t *stored_value(const Board &board, RegisterSpace space, uint8_t port, uint32_t address) {
  for (const Register &row : board.registers) {
    if (is_row_of(row, space, port, address)) return &row.value;
  }
  return nullptr;
}

}  // namespace

uint32_t read_register(const Board &board, RegisterSpace space, uint8_t port, uint32_t address) {
  const uint32_t *stored = stored_value(board, space, port, address);
  bool is_of_jack = space == RegisterSpace::Phy && has_jack(board, port);
  if (is_of_jack) return jack_register(board, port, address, stored);
  uint32_t value = stored != nullptr ? *stored : 0;
  if (space == RegisterSpace::Soc && address == kLossOfSignalRegister)
    value = (value & ~kLossOfSignalBits) | loss_of_signal(board);
  return value;
}

bool write_register(Board &board, RegisterSpace space, uint8_t port, uint32_t address, uint32_t value) {
  Register *row = row_for(board, space, port, address);
  if (row == nullptr) return false;
  *row = {space, port, address, value};
  return true;
}

}  // namespace zelsim
