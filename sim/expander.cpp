#include <algorithm>
#include <iterator>

#include "board.h"

// I/O expanders. The wide ones have their registers in pairs (input, output, polarity, configuration of two ports) and
// step between the two of a pair on a longer transfer; the narrow ones have the same four as single registers and stay
// on one.

namespace zelsim {
namespace {

enum ExpanderRegister : unsigned { Input, Output, Polarity, Configuration, kExpanderRegisters };

constexpr unsigned kLinesPerPort = 8;

// On the daughter boards a wide expander serves four cages: a nibble of lines each.
constexpr unsigned kCagesPerWide = kPortsPerSlot / kWidePerSlot;
constexpr unsigned kLinesPerCage = 4;
constexpr unsigned kCagesPerPort = kLinesPerPort / kLinesPerCage;
enum DaughterLine : unsigned { Presence, TxFault, TxDisable };

// On the main board two narrow expanders serve two cages each, a nibble of lines; a third one has presence and loss of
// signal of all four cages, a pair of lines each.
constexpr unsigned kCagesPerNarrow = 2;
constexpr unsigned kMainSignals = kNarrowExpanders - 1;
enum MainLine : unsigned { MainTxFault, MainTxDisable };
enum MainSignal : unsigned { MainLossOfSignal, MainPresence, kSignalsPerCage };

constexpr unsigned kPulledUp = 1;  // a line that nobody drives

/** A chip of the board. */
struct ExpanderPlace {
  bool wide;
  unsigned index;  // among the wide or narrow ones
};

ExpanderPlace place_at(uint8_t address) {
  bool wide = address < kFirstNarrow;
  unsigned offset = address - (wide ? kFirstWide : kFirstNarrow);
  return {wide, offset / 2};
}

// MOD_ABS: the cage's pull-up makes the line high while no module grounds it.
unsigned presence(const Cage &cage) { return cage.fitted ? 0 : 1; }

// Level that the world gives a line of a wide expander.
unsigned wide_level(const Board &board, unsigned index, unsigned port, unsigned bit) {
  if (index == kMainWide) return board.i2c.io_level[port] >> bit & 1u;
  unsigned cage_of_chip = port * kCagesPerPort + bit / kLinesPerCage;
  const Cage &cage = board.cages[index * kCagesPerWide + cage_of_chip];
  switch (bit % kLinesPerCage) {
    case Presence:
      return presence(cage);
    case TxFault:
      return cage.tx_fault;
    default:
      return kPulledUp;
  }
}

// Level that the world gives a line of a narrow expander.
unsigned narrow_level(const Board &board, unsigned index, unsigned bit) {
  if (index < kMainNarrow) return board.cages[index * kPortsPerSlot + bit].loss_of_signal;
  const Cage *main_cages = &board.cages[kFirstMainPort];
  if (index == kMainSignals) {
    const Cage &cage = main_cages[bit / kSignalsPerCage];
    return bit % kSignalsPerCage == MainLossOfSignal ? cage.loss_of_signal : presence(cage);
  }
  unsigned first_cage = (index - kMainNarrow) * kCagesPerNarrow;
  const Cage &cage = main_cages[first_cage + bit / kLinesPerCage];
  return bit % kLinesPerCage == MainTxFault ? cage.tx_fault : kPulledUp;
}

// What the input register shows: the world's levels on inputs, the chip's own on outputs.
uint8_t input(const Board &board, const Expander &chip, ExpanderPlace place, unsigned port) {
  unsigned levels = 0;
  for (unsigned bit = 0; bit < kLinesPerPort; ++bit) {
    unsigned level = place.wide ? wide_level(board, place.index, port, bit) : narrow_level(board, place.index, bit);
    levels |= (level & 1u) << bit;
  }
  unsigned inputs = chip.value[Configuration][port];
  unsigned outputs = ~inputs;
  unsigned shown = (levels & inputs) | (chip.value[Output][port] & outputs);
  return static_cast<uint8_t>(shown ^ chip.value[Polarity][port]);
}

bool is_fitted(const Board &board, ExpanderPlace place) {
  unsigned slot = place.wide ? place.index / kWidePerSlot : place.index;
  bool on_main_board = slot >= kSlots;
  return on_main_board || board.i2c.slot_type[slot] == kSfpBoard;
}

// Every line is an input.
constexpr Expander kPowerOn = {0, {{}, {0xff, 0xff}, {}, {0xff, 0xff}}};
// Every transmitter off, the cages' other lines inputs.
constexpr Expander kFourCages = {0, {{}, {0x44, 0x44}, {}, {0x33, 0x33}}};
constexpr Expander kTwoCages = {0, {{}, {0x22, 0xff}, {}, {0x11, 0xff}}};
constexpr Expander kMainBoard = {0, {{}, {0xff, 0x80}, {}, {0xff, 0x7f}}};

/** Where a transmit-disable line is. */
struct DisableLine {
  const Expander &chip;
  unsigned port;
  unsigned bit;
};

DisableLine daughter_line(const Board &board, unsigned port) {
  unsigned cage = port % kCagesPerWide;
  unsigned bit = cage % kCagesPerPort * kLinesPerCage + TxDisable;
  return {board.i2c.wide[port / kCagesPerWide], cage / kCagesPerPort, bit};
}

DisableLine main_line(const Board &board, unsigned port) {
  unsigned cage = port - kFirstMainPort;
  unsigned bit = cage % kCagesPerNarrow * kLinesPerCage + MainTxDisable;
  return {board.i2c.narrow[kMainNarrow + cage / kCagesPerNarrow], 0, bit};
}

}  // namespace

uint8_t tx_disable(const Board &board, unsigned port) {
  DisableLine line = port < kFirstMainPort ? daughter_line(board, port) : main_line(board, port);
  unsigned inputs = line.chip.value[Configuration][line.port];
  unsigned levels = line.chip.value[Output][line.port] | inputs;  // an input is pulled up
  return levels >> line.bit & 1;
}

void reset_expanders(Board &board) {
  std::fill(std::begin(board.i2c.wide), std::end(board.i2c.wide), kPowerOn);
  std::fill(std::begin(board.i2c.narrow), std::end(board.i2c.narrow), kPowerOn);
}

void start_daughter_expanders(Board &board, unsigned slot) {
  unsigned first = slot * kWidePerSlot;
  for (unsigned i = first; i < first + kWidePerSlot; ++i) board.i2c.wide[i] = kFourCages;
  board.i2c.narrow[slot] = kPowerOn;
}

void start_main_expanders(Board &board) {
  for (unsigned i = kMainNarrow; i < kMainSignals; ++i) board.i2c.narrow[i] = kTwoCages;
  board.i2c.wide[kMainWide] = kMainBoard;
}

int expander(Board &board, Transfer &transfer) {
  ExpanderPlace place = place_at(transfer.address);
  if (!is_fitted(board, place)) return kFail;
  Expander &chip = place.wide ? board.i2c.wide[place.index] : board.i2c.narrow[place.index];
  unsigned ports = place.wide ? 2 : 1;
  unsigned registers = kExpanderRegisters * ports;
  transfer.take_pointer(&chip.pointer, registers);
  unsigned first = chip.pointer % registers;
  unsigned kind = first / ports;
  for (unsigned i = 0; i < transfer.len; ++i) {
    unsigned port = (first + i) % ports;
    uint8_t &value = chip.value[kind][port];
    if (transfer.write) {
      value = transfer.data[i];
    } else if (kind == Input) {
      transfer.data[i] = input(board, chip, place, port);
    } else {
      transfer.data[i] = value;
    }
  }
  return 0;
}

}  // namespace zelsim
