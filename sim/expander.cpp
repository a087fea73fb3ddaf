#include <algorithm>
#include <array>
#include <iterator>

#include "board.h"
#include "changes.h"

// I/O expanders. A chip has one or two ports of eight lines, and for each port four registers: input, output, polarity,
// configuration. The wide chips have two ports: their registers stand in pairs, and a longer transfer alternates between
// the two of a pair. The narrow chips have one port: a longer transfer stays on one register.

namespace zelsim {
namespace {

constexpr unsigned kLinesPerPort = 8;

/** What a line carries. Lines without a signal are free, or belong to no cage. */
enum class Signal { None, Presence, TxFault, TxDisable, LossOfSignal };

// On the daughter boards a wide expander serves four cages: a nibble of lines each.
constexpr unsigned kCagesPerWide = kPortsPerSlot / kWidePerSlot;
constexpr unsigned kLinesPerCage = 4;
constexpr unsigned kCagesPerPort = kLinesPerPort / kLinesPerCage;
constexpr Signal kDaughterNibble[kLinesPerCage] = {Signal::Presence, Signal::TxFault, Signal::TxDisable, Signal::None};

// The narrow expander of a daughter board has the loss of signal of its eight cages, a line each. On the main board two
// narrow expanders serve two cages each, a nibble of lines; a third one has presence and loss of signal of all four
// cages, a pair of lines each.
constexpr unsigned kCagesPerNarrow = 2;
constexpr unsigned kMainSignals = kNarrowExpanders - 1;
constexpr Signal kMainNibble[kLinesPerCage] = {Signal::TxFault, Signal::TxDisable, Signal::None, Signal::None};
constexpr unsigned kLinesPerPair = 2;
constexpr Signal kMainPair[kLinesPerPair] = {Signal::LossOfSignal, Signal::Presence};

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

/** A line of a chip. */
struct Line {
  ExpanderPlace chip;
  unsigned chip_port;
  unsigned bit;
};

/** A signal of the cage of a switch port. */
struct Pin {
  unsigned port;
  Signal signal;
};

/** What a line is wired to. */
constexpr Pin pin_at(const Line &line) {
  unsigned index = line.chip.index;
  unsigned nibble = line.bit / kLinesPerCage;
  unsigned in_nibble = line.bit % kLinesPerCage;
  if (line.chip.wide && index == kMainWide) return {0, Signal::None};
  if (line.chip.wide) {
    unsigned cage_of_chip = line.chip_port * kCagesPerPort + nibble;
    return {index * kCagesPerWide + cage_of_chip, kDaughterNibble[in_nibble]};
  }
  if (index < kMainNarrow) return {index * kPortsPerSlot + line.bit, Signal::LossOfSignal};
  if (index == kMainSignals) return {kFirstMainPort + line.bit / kLinesPerPair, kMainPair[line.bit % kLinesPerPair]};
  return {kFirstMainPort + (index - kMainNarrow) * kCagesPerNarrow + nibble, kMainNibble[in_nibble]};
}

// Level that the world gives a line.
unsigned level_at(const Board &board, const Line &line) {
  bool is_main_wide = line.chip.wide && line.chip.index == kMainWide;
  if (is_main_wide) return board.i2c.io_level[line.chip_port] >> line.bit & 1u;
  Pin pin = pin_at(line);
  const Cage &cage = board.cages[pin.port];
  switch (pin.signal) {
    case Signal::Presence:
      return cage.fitted ? 0 : 1;  // MOD_ABS: the cage's pull-up makes it high while no module grounds it
    case Signal::TxFault:
      return cage.tx_fault;
    case Signal::LossOfSignal:
      return cage.loss_of_signal;
    case Signal::TxDisable:
    case Signal::None:
      break;
  }
  return kPulledUp;
}

// What the input register shows: the world's levels on inputs, the chip's own on outputs.
uint8_t input(const Board &board, const Expander &chip, ExpanderPlace place, unsigned chip_port) {
  unsigned levels = 0;
  for (unsigned bit = 0; bit < kLinesPerPort; ++bit) {
    unsigned level = level_at(board, {place, chip_port, bit});
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

using DisableLines = std::array<Line, kPorts>;

constexpr void find_disable_lines(DisableLines &lines, ExpanderPlace chip, unsigned chip_ports) {
  for (unsigned chip_port = 0; chip_port < chip_ports; ++chip_port) {
    for (unsigned bit = 0; bit < kLinesPerPort; ++bit) {
      Line line = {chip, chip_port, bit};
      Pin pin = pin_at(line);
      if (pin.signal == Signal::TxDisable) lines[pin.port] = line;
    }
  }
}

constexpr DisableLines all_disable_lines() {
  DisableLines lines = {};
  for (unsigned i = 0; i < kWideExpanders; ++i) find_disable_lines(lines, {true, i}, 2);
  for (unsigned i = 0; i < kNarrowExpanders; ++i) find_disable_lines(lines, {false, i}, 1);
  return lines;
}

/** The transmit-disable line of each switch port. */
constexpr DisableLines kDisableLines = all_disable_lines();

template <typename AnyBoard>
auto &chip_at(AnyBoard &board, ExpanderPlace place) {
  return place.wide ? board.i2c.wide[place.index] : board.i2c.narrow[place.index];
}

// As in `zelsim show`.
const char *name_of(Signal signal) {
  switch (signal) {
    case Signal::Presence:
      return "presence_line";
    case Signal::TxFault:
      return "tx_fault";
    case Signal::TxDisable:
      return "tx_disable";
    case Signal::LossOfSignal:
      return "loss_of_signal";
    case Signal::None:
      break;
  }
  return nullptr;
}

}  // namespace

ExpanderPort expander_register(uint8_t address, unsigned first, unsigned i) {
  unsigned chip_ports = place_at(address).wide ? 2 : 1;
  unsigned number = first % (kExpanderRegisters * chip_ports);
  return {static_cast<ExpanderRegister>(number / chip_ports), (number + i) % chip_ports};
}

ExpanderLine expander_line(uint8_t address, unsigned chip_port, unsigned bit) {
  Pin pin = pin_at({place_at(address), chip_port, bit});
  return {pin.port, name_of(pin.signal)};
}

uint8_t tx_disable(const Board &board, unsigned port) {
  const Line &line = kDisableLines[port];
  const Expander &chip = chip_at(board, line.chip);
  unsigned inputs = chip.value[Configuration][line.chip_port];
  unsigned levels = chip.value[Output][line.chip_port] | inputs;  // an input is pulled up
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

// A bit for each port.
uint32_t transmitters_off(const Board &board) {
  uint32_t off = 0;
  for (unsigned port = 0; port < kPorts; ++port) off |= uint32_t{tx_disable(board, port)} << port;
  return off;
}

// Logs only what a write does: the transmitters that it switches, and the main board's outputs.
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
