#include <algorithm>
#include <iterator>

#include "board.h"

// I/O expanders. The wide ones have their registers in pairs (input, output, polarity, configuration of two ports) and
// step between the two of a pair on a longer transfer; the narrow ones have the same four as single registers and stay
// on one.

namespace zelsim {
namespace {

enum Kind : unsigned { Input, Output, Polarity, Configuration };

// The rule of the daughter boards: four cages on a wide expander, a nibble each.
constexpr unsigned kCagesPerExpander = 4;
enum CageLine : unsigned { Presence, TxFault, TxDisable };

// MOD_ABS: the cage's pull-up makes the line high while no module grounds it.
unsigned presence(const Cage &cage) { return cage.fitted ? 0 : 1; }

// Level that the world gives a line; a line that nobody drives is pulled up.
unsigned wide_level(const Board &board, unsigned index, unsigned port, unsigned bit) {
  if (index == kWideExpanders - 1) return board.i2c.io_level[port] >> bit & 1u;
  const Cage &cage = board.cages[index * kCagesPerExpander + port * 2 + bit / 4];
  if (bit % 4 == Presence) return presence(cage);
  return bit % 4 == TxFault ? cage.tx_fault : 1;
}

// Loss of signal of a daughter board; transmit faults of two 10G cages; presence and loss of signal of all four.
unsigned narrow_level(const Board &board, unsigned index, unsigned bit) {
  if (index < kSlots) return board.cages[index * kPortsPerSlot + bit].loss_of_signal;
  const Cage *main_board = &board.cages[kDaughterPorts];
  if (index == kNarrowExpanders - 1)
    return bit % 2 == 0 ? main_board[bit / 2].loss_of_signal : presence(main_board[bit / 2]);
  return bit % 4 == 0 ? main_board[(index - kSlots) * 2 + bit / 4].tx_fault : 1;
}

uint8_t input(const Board &board, const Expander &chip, bool wide, unsigned index, unsigned port) {
  unsigned levels = 0, inputs = chip.value[Configuration][port];
  for (unsigned bit = 0; bit < 8; ++bit)
    levels |= ((wide ? wide_level(board, index, port, bit) : narrow_level(board, index, bit)) & 1u) << bit;
  levels = (levels & inputs) | (chip.value[Output][port] & ~inputs);
  return static_cast<uint8_t>(levels ^ chip.value[Polarity][port]);
}

constexpr Expander kPowerOn = {0, {{}, {0xff, 0xff}, {}, {0xff, 0xff}}};
// Every transmitter off, the cages' other lines inputs.
constexpr Expander kFourCages = {0, {{}, {0x44, 0x44}, {}, {0x33, 0x33}}};
constexpr Expander kTwoCages = {0, {{}, {0x22, 0xff}, {}, {0x11, 0xff}}};
constexpr Expander kMainBoard = {0, {{}, {0xff, 0x80}, {}, {0xff, 0x7f}}};

}  // namespace

uint8_t tx_disable(const Board &board, unsigned port) {
  bool daughter = port < kDaughterPorts;
  unsigned main_port = port - kDaughterPorts, cage = port % kCagesPerExpander;
  const Expander &chip = daughter ? board.i2c.wide[port / kCagesPerExpander] : board.i2c.narrow[kSlots + main_port / 2];
  unsigned half = daughter ? cage / 2 : 0, bit = (port % 2) * 4 + (daughter ? TxDisable : 1u);
  return (chip.value[Configuration][half] | chip.value[Output][half]) >> bit & 1;
}

void reset_expanders(Board &board) {
  std::fill(std::begin(board.i2c.wide), std::end(board.i2c.wide), kPowerOn);
  std::fill(std::begin(board.i2c.narrow), std::end(board.i2c.narrow), kPowerOn);
}

void start_daughter_expanders(Board &board, unsigned slot) {
  board.i2c.wide[2 * slot] = board.i2c.wide[2 * slot + 1] = kFourCages;
  board.i2c.narrow[slot] = kPowerOn;
}

void start_main_expanders(Board &board) {
  board.i2c.narrow[kSlots] = board.i2c.narrow[kSlots + 1] = kTwoCages;
  board.i2c.wide[2 * kSlots] = kMainBoard;
}

// The chips of a daughter board come first, and are there with a board that has cages.
int expander(Board &board, Transfer &transfer) {
  bool wide = transfer.address < kFirstNarrow;
  unsigned index = (transfer.address - (wide ? kFirstWide : kFirstNarrow)) / 2u, slot = wide ? index / 2 : index;
  if (slot < kSlots && board.i2c.slot_type[slot] != kSfpBoard) return kFail;
  Expander &chip = wide ? board.i2c.wide[index] : board.i2c.narrow[index];
  unsigned ports = wide ? 2 : 1;
  transfer.take_pointer(&chip.pointer, 4 * ports);
  for (unsigned i = 0; i < transfer.len; ++i) {
    unsigned at = chip.pointer % (4 * ports), kind = at / ports, port = (at + i) % ports;
    uint8_t &data = transfer.data[i], &value = chip.value[kind][port];
    if (!transfer.write) data = kind == Input ? input(board, chip, wide, index, port) : value;
    if (transfer.write) value = data;
  }
  return 0;
}

}  // namespace zelsim
