#include <string.h>

#include "devices.h"

// I/O expanders. The wide ones have their registers in pairs (input, output, polarity, configuration of two ports) and
// step between the two of a pair on a longer transfer; the narrow ones have the same four as single registers and stay
// on one.

namespace zelsim {
namespace {

enum Kind : unsigned { Input, Output, Polarity, Configuration };

// The rule of the daughter boards: four cages on a wide expander, a nibble each.
constexpr unsigned kCagesPerExpander = 4;
enum Line : unsigned { Presence, TxFault, TxDisable };

// MOD_ABS: the cage's pull-up makes the line high while no module grounds it.
unsigned presence(const Cage &cage) { return cage.fitted ? 0 : 1; }

// Level that the world gives a line; a line that nobody drives is pulled up.
unsigned wide_level(const Board &board, unsigned index, unsigned port, unsigned bit) {
  if (index == kWideExpanders - 1) return board.i2c.io_level[port] >> bit & 1u;
  const Cage &cage = board.cages[index * kCagesPerExpander + port * 2 + bit / 4];
  if (bit % 4 == Presence) return presence(cage);
  return bit % 4 == TxFault ? cage.txfault : 1;
}

// Loss of signal of a daughter board; transmit faults of two 10G cages; presence and loss of signal of all four.
unsigned narrow_level(const Board &board, unsigned index, unsigned, unsigned bit) {
  if (index < kSlots) return board.cages[index * kPortsPerSlot + bit].los;
  const Cage *main_board = &board.cages[kDaughterPorts];
  if (index == kNarrowExpanders - 1) return bit % 2 == 0 ? main_board[bit / 2].los : presence(main_board[bit / 2]);
  return bit % 4 == 0 ? main_board[(index - kSlots) * 2 + bit / 4].txfault : 1;
}

using Level = unsigned(const Board &board, unsigned index, unsigned port, unsigned bit);

uint8_t input(const Board &board, const Expander &chip, Level *level, unsigned index, unsigned port) {
  unsigned levels = 0;
  for (unsigned bit = 0; bit < 8; ++bit) levels |= (level(board, index, port, bit) & 1u) << bit;
  unsigned inputs = chip.value[Configuration][port];
  levels = (levels & inputs) | (chip.value[Output][port] & ~inputs);
  return static_cast<uint8_t>(levels ^ chip.value[Polarity][port]);
}

int answer(Board &board, Expander &chip, Level *level, unsigned index, unsigned ports, Transfer &transfer) {
  transfer.take_pointer(&chip.pointer, 4 * ports);
  for (unsigned i = 0; i < transfer.len; ++i) {
    unsigned at = chip.pointer % (4 * ports), kind = at / ports, port = (at + i) % ports;
    uint8_t &data = transfer.data[i], &value = chip.value[kind][port];
    if (!transfer.write) data = kind == Input ? input(board, chip, level, index, port) : value;
    if (transfer.write) value = data;
  }
  return 0;
}

}  // namespace

uint8_t tx_disable(const Board &board, unsigned port) {
  bool daughter = port < kDaughterPorts;
  unsigned main_port = port - kDaughterPorts, cage = port % kCagesPerExpander;
  const Expander &chip = daughter ? board.i2c.wide[port / kCagesPerExpander] : board.i2c.narrow[kSlots + main_port / 2];
  unsigned half = daughter ? cage / 2 : 0, bit = (port % 2) * 4 + (daughter ? TxDisable : 1u);
  return (chip.value[Configuration][half] | chip.value[Output][half]) >> bit & 1;
}

void reset_expander(Expander &expander) {
  expander = {};
  memset(expander.value[Output], 0xff, sizeof expander.value[Output]);
  memset(expander.value[Configuration], 0xff, sizeof expander.value[Configuration]);
}

namespace {

void configure(Expander &expander, unsigned half, uint8_t output, uint8_t configuration) {
  expander.value[Output][half] = output;
  expander.value[Configuration][half] = configuration;
}

}  // namespace

void start_daughter_expanders(Board &board, unsigned slot) {
  for (unsigned chip = 2 * slot; chip < 2 * slot + 2; ++chip) {
    reset_expander(board.i2c.wide[chip]);
    configure(board.i2c.wide[chip], 0, 0x44, 0x33);
    configure(board.i2c.wide[chip], 1, 0x44, 0x33);
  }
  reset_expander(board.i2c.narrow[slot]);
}

void start_main_expanders(Board &board) {
  configure(board.i2c.narrow[kSlots], 0, 0x22, 0x11);
  configure(board.i2c.narrow[kSlots + 1], 0, 0x22, 0x11);
  configure(board.i2c.wide[2 * kSlots], 1, 0x80, 0x7f);
}

// The chips of a daughter board come first, and are there with a board that has cages.
int wide_expander(Board &board, Transfer &transfer) {
  unsigned index = (transfer.address - 0x40u) / 2;
  if (index < 2 * kSlots && board.i2c.slot_type[index / 2] != kSfpBoard) return kFail;
  return answer(board, board.i2c.wide[index], wide_level, index, 2, transfer);
}

int narrow_expander(Board &board, Transfer &transfer) {
  unsigned index = (transfer.address - 0x70u) / 2;
  if (index < kSlots && board.i2c.slot_type[index] != kSfpBoard) return kFail;
  return answer(board, board.i2c.narrow[index], narrow_level, index, 1, transfer);
}

}  // namespace zelsim
