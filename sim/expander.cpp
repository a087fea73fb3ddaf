#include <algorithm>
#include <iterator>

#include "board.h"
#include "changes.h"

// I/O expanders. A chip has one or two ports of eight lines, and for each port four registers: input, output, polarity,
// configuration. The wide chips have two ports: their registers stand in pairs, and a longer transfer alternates between
// the two of a pair. The narrow chips have one port: a longer transfer stays on one register.

namespace zelsim {
namespace {

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
  bool wide = address < kFirstNarrowAddress;
  unsigned offset = address - (wide ? kFirstWideAddress : kFirstNarrowAddress);
  return {wide, offset / 2};
}

// MOD_ABS: the cage's pull-up makes the line high while no module grounds it.
unsigned presence(const Cage &cage) { return cage.fitted ? 0 : 1; }

// Level that the world gives a line of a wide expander.
unsigned wide_level(const Board &board, unsigned index, unsigned chip_port, unsigned bit) {
  if (index == kMainWide) return board.i2c.io_level[chip_port] >> bit & 1u;
  unsigned cage_of_chip = chip_port * kCagesPerPort + bit / kLinesPerCage;
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
uint8_t input(const Board &board, const Expander &chip, ExpanderPlace place, unsigned chip_port) {
  unsigned levels = 0;
  for (unsigned bit = 0; bit < kLinesPerPort; ++bit) {
    unsigned level = 0;
    if (place.wide) {
      level = wide_level(board, place.index, chip_port, bit);
    } else {
      level = narrow_level(board, place.index, bit);
    }
    levels |= (level & 1u) << bit;
  }
  unsigned inputs = chip.value[Configuration][chip_port];
  unsigned outputs = ~inputs;
  unsigned shown = (levels & inputs) | (chip.value[Output][chip_port] & outputs);
  return static_cast<uint8_t>(shown ^ chip.value[Polarity][chip_port]);
}

bool is_fitted(const Board &board, ExpanderPlace place) {
  unsigned slot = place.wide ? place.index / kWidePerSlot : place.index;
  bool on_main_board = slot >= kSlots;
  return on_main_board || board.i2c.slot_type[slot] == kSfpBoard;
}

/** The registers of one port of a chip after a start: no line is inverted. */
struct PortStart {
  uint8_t output;
  uint8_t configuration;  // 1: the line is an input
};

constexpr Expander started(PortStart first, PortStart second) {
  Expander chip = {};
  chip.value[Output][0] = first.output;
  chip.value[Output][1] = second.output;
  chip.value[Configuration][0] = first.configuration;
  chip.value[Configuration][1] = second.configuration;
  return chip;
}

// Every line is an input.
constexpr PortStart kAllInputs = {.output = 0xff, .configuration = 0xff};
constexpr Expander kPowerOn = started(kAllInputs, kAllInputs);
// Every transmitter is off; the other lines of the cages are inputs.
constexpr PortStart kTwoCagesOfWide = {.output = 0x44, .configuration = 0x33};
constexpr PortStart kTwoCagesOfNarrow = {.output = 0x22, .configuration = 0x11};
constexpr Expander kFourCages = started(kTwoCagesOfWide, kTwoCagesOfWide);
constexpr Expander kTwoCages = started(kTwoCagesOfNarrow, kAllInputs);
// One line of the main board is an output.
constexpr Expander kMainBoard = started(kAllInputs, {.output = 0x80, .configuration = 0x7f});

/** Where a transmit-disable line is. */
struct DisableLine {
  const Expander &chip;
  unsigned chip_port;
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

ExpanderPort expander_register(uint8_t address, unsigned first, unsigned i) {
  unsigned chip_ports = place_at(address).wide ? 2 : 1;
  unsigned number = first % (kExpanderRegisters * chip_ports);
  return {static_cast<ExpanderRegister>(number / chip_ports), (number + i) % chip_ports};
}

ExpanderLine expander_line(uint8_t address, unsigned chip_port, unsigned bit) {
  constexpr const char *kWideSignals[kLinesPerCage] = {"presence_line", "tx_fault", "tx_disable", nullptr};
  constexpr const char *kNarrowSignals[kLinesPerCage] = {"tx_fault", "tx_disable", nullptr, nullptr};
  constexpr const char *kMainSignalNames[kSignalsPerCage] = {"loss_of_signal", "presence_line"};
  constexpr ExpanderLine kOfNoCage = {0, nullptr};
  ExpanderPlace place = place_at(address);
  unsigned cage = bit / kLinesPerCage;
  unsigned line = bit % kLinesPerCage;
  if (place.wide && place.index == kMainWide) return kOfNoCage;
  if (place.wide) return {place.index * kCagesPerWide + chip_port * kCagesPerPort + cage, kWideSignals[line]};
  if (place.index < kMainNarrow) return {place.index * kPortsPerSlot + bit, "loss_of_signal"};
  if (place.index == kMainSignals)
    return {kFirstMainPort + bit / kSignalsPerCage, kMainSignalNames[bit % kSignalsPerCage]};
  return {kFirstMainPort + (place.index - kMainNarrow) * kCagesPerNarrow + cage, kNarrowSignals[line]};
}

uint8_t tx_disable(const Board &board, unsigned port) {
  DisableLine line = port < kFirstMainPort ? daughter_line(board, port) : main_line(board, port);
  unsigned inputs = line.chip.value[Configuration][line.chip_port];
  unsigned levels = line.chip.value[Output][line.chip_port] | inputs;  // an input is pulled up
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

namespace {

Expander &chip_at(Board &board, ExpanderPlace place) {
  return place.wide ? board.i2c.wide[place.index] : board.i2c.narrow[place.index];
}

// A bit for each port.
uint32_t transmitters_off(const Board &board) {
  uint32_t off = 0;
  for (unsigned port = 0; port < kPorts; ++port) off |= uint32_t{tx_disable(board, port)} << port;
  return off;
}

// Of the registers only what they do is told: which transmitters they switch, and the main board's outputs.
void write_value(Board &board, ExpanderPlace place, ExpanderPort where, uint8_t written) {
  uint8_t &value = chip_at(board, place).value[where.kind][where.port];
  uint8_t before = value;
  if (before == written) return;
  uint32_t off_before = transmitters_off(board);
  value = written;
  uint32_t switched = off_before ^ transmitters_off(board);
  for (unsigned port = 0; port < kPorts; ++port) {
    if ((switched >> port & 1u) == 0 || !has_cage(board, port)) continue;
    log_change(board, {.kind = ChangeKind::Transmitter,
                       .place = static_cast<uint8_t>(port),
                       .before = off_before >> port & 1u,
                       .after = tx_disable(board, port)});
  }
  bool is_main = place.wide && place.index == kMainWide;
  if (is_main && where.kind == Output) {
    auto chip_port = static_cast<uint8_t>(where.port);
    log_change(board, {.kind = ChangeKind::IoOutput, .place = chip_port, .before = before, .after = written});
  }
}

}  // namespace

int expander(Board &board, Transfer &transfer) {
  ExpanderPlace place = place_at(transfer.address);
  if (!is_fitted(board, place)) return kFail;
  Expander &chip = chip_at(board, place);
  unsigned chip_ports = place.wide ? 2 : 1;
  unsigned registers = kExpanderRegisters * chip_ports;
  transfer.take_pointer(&chip.pointer, registers);
  for (unsigned i = 0; i < transfer.len; ++i) {
    ExpanderPort where = expander_register(transfer.address, chip.pointer, i);
    if (transfer.write) {
      write_value(board, place, where, transfer.data[i]);
    } else if (where.kind == Input) {
      transfer.data[i] = input(board, chip, place, where.port);
    } else {
      transfer.data[i] = chip.value[where.kind][where.port];
    }
  }
  return 0;
}

}  // namespace zelsim
