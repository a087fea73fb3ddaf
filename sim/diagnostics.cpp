#include "diagnostics.h"

#include "attached.h"

// A module's digital diagnostics on the bus, SFF-8472 page A2h. What the page holds of measured words is what the
// converter sees with light in the receiver and the laser on; what a host reads follows the cage's signals.

namespace zelsim {
namespace {

constexpr uint8_t kPinTxDisable = 0x80, kSelectTxDisable = 0x40, kSelectRate = 0x08, kPinTxFault = 0x04, kPinLos = 0x02;
constexpr unsigned kPassword = 123, kPageSelect = 127, kUserMemory = 128, kUserMemoryEnd = 248;

const Diagnostics *diagnostics_of(const Board &board, unsigned port) {
  if (!has_cage(board, port)) return nullptr;
  const Cage &cage = board.cages[port];
  return cage.fitted && cage.diagnostics.present ? &cage.diagnostics : nullptr;
}

bool offers(const Cage &cage, uint8_t enhanced_option) { return (cage.page[kEnhancedOptions] & enhanced_option) != 0; }

bool laser_is_off(const Board &board, unsigned port) {
  const Cage &cage = board.cages[port];
  bool by_pin = (cage.page[kOptions] & kHasTxDisable) != 0 && tx_disable(board, port) != 0;
  bool by_host = offers(cage, kSoftTxDisable) && (cage.diagnostics.page[kStatus] & kSelectTxDisable) != 0;
  return by_pin || by_host || cage.tx_fault != 0;
}

uint8_t measured_byte(const Board &board, unsigned port, unsigned at) {
  const Cage &cage = board.cages[port];
  unsigned quantity = (at - kFirstMeasured) / 2;
  bool transmits = quantity == kBias || quantity == kTxPower;
  bool dark = (transmits && laser_is_off(board, port)) || (quantity == kRxPower && cage.loss_of_signal != 0);
  return dark ? cage.diagnostics.dark[at - kFirstMeasured] : cage.diagnostics.page[at];
}

// Bits whose monitoring the module does not offer stay as its maker left them.
uint8_t status_byte(const Board &board, unsigned port) {
  const Cage &cage = board.cages[port];
  const struct {
    uint8_t bit, option, level;
  } kPins[] = {{kPinTxDisable, kSoftTxDisable, tx_disable(board, port)},
               {kPinTxFault, kSoftTxFault, cage.tx_fault},
               {kPinLos, kSoftLos, cage.loss_of_signal}};
  unsigned status = cage.diagnostics.page[kStatus];
  for (const auto &pin : kPins) {
    if (!offers(cage, pin.option)) continue;
    status &= ~unsigned{pin.bit};
    if (pin.level != 0) status |= pin.bit;
  }
  return static_cast<uint8_t>(status);
}

// Words compare as they stand, before any calibration; the temperature has a sign.
int word_at(const Board &board, unsigned port, unsigned at, bool is_signed) {
  unsigned word = diagnostics_byte(board, port, at) * 256u + diagnostics_byte(board, port, at + 1);
  return is_signed ? static_cast<int16_t>(word) : static_cast<int>(word);
}

// Two bits a quantity, high and low, from bit 7 of the first of two bytes.
uint8_t standing_flags(const Board &board, unsigned port, unsigned at) {
  bool alarms = at < kWarningFlags;
  unsigned first = (at - (alarms ? kAlarmFlags : kWarningFlags)) * 4, flags = 0;
  for (unsigned number = first; number < first + 4 && number < kQuantities; ++number) {
    auto quantity = static_cast<Quantity>(number);
    bool is_signed = quantity == kTemperature;
    int measured = word_at(board, port, place_of(quantity), is_signed);
    int high = word_at(board, port, place_of(quantity, alarms ? kHighAlarm : kHighWarning), is_signed);
    int low = word_at(board, port, place_of(quantity, alarms ? kLowAlarm : kLowWarning), is_signed);
    unsigned shift = 6 - 2 * (number - first);
    if (measured > high) flags |= 2u << shift;
    if (measured < low) flags |= 1u << shift;
  }
  return static_cast<uint8_t>(flags);
}

bool is_flags(const Cage &cage, unsigned at) {
  bool place = at / 2 == kAlarmFlags / 2 || at / 2 == kWarningFlags / 2;
  return place && offers(cage, kHasFlags);
}

constexpr unsigned kFlagPlaces[] = {kAlarmFlags, kAlarmFlags + 1, kWarningFlags, kWarningFlags + 1};

// What a host may write: the selections that the module offers, the password and the page, of which there is one and
// which stay without effect, and the user's memory.
uint8_t writable_bits(const Cage &cage, unsigned at) {
  if (at == kStatus) {
    unsigned disable = offers(cage, kSoftTxDisable) ? kSelectTxDisable : 0u;
    unsigned rate = offers(cage, kSoftRateSelect) ? kSelectRate : 0u;
    return static_cast<uint8_t>(disable | rate);
  }
  return at >= kUserMemory && at < kUserMemoryEnd ? 0xff : 0;
}

bool takes_writes(const Cage &cage, unsigned at) {
  return (at >= kPassword && at <= kPageSelect) || writable_bits(cage, at) != 0;
}

int write_page(Cage &cage, const Transfer &transfer) {
  if (transfer.offset_len == 0) return kFail;
  uint8_t *page = cage.diagnostics.page;
  for (unsigned i = 0; i < transfer.len; ++i) {
    if (!takes_writes(cage, (transfer.offset + i) % sizeof cage.diagnostics.page)) return kFail;
  }
  for (unsigned i = 0; i < transfer.len; ++i) {
    unsigned at = (transfer.offset + i) % sizeof cage.diagnostics.page, bits = writable_bits(cage, at);
    page[at] = static_cast<uint8_t>((page[at] & ~bits) | (transfer.data[i] & bits));
  }
  return 0;
}

}  // namespace

uint8_t diagnostics_byte(const Board &board, unsigned port, unsigned at) {
  const Cage &cage = board.cages[port];
  uint8_t held = cage.diagnostics.page[at];
  if (at >= kFirstMeasured && at < place_of(kQuantities)) return measured_byte(board, port, at);
  if (at == kStatus) return status_byte(board, port);
  return is_flags(cage, at) ? static_cast<uint8_t>(held | standing_flags(board, port, at)) : held;
}

void latch_flags(Board &board) {
  for (unsigned port = 0; port < kPorts; ++port) {
    if (diagnostics_of(board, port) == nullptr) continue;
    uint8_t *page = board.cages[port].diagnostics.page;
    for (unsigned at : kFlagPlaces) page[at] = diagnostics_byte(board, port, at);
  }
}

// A flag that was read is cleared, and set again while its condition lasts.
int module_diagnostics(Board &board, Transfer &transfer) {
  unsigned port = board.gpio.selected_cage;
  if (diagnostics_of(board, port) == nullptr) return kFail;
  Cage &cage = board.cages[port];
  if (transfer.write) return write_page(cage, transfer);
  bool cleared = false;
  for (unsigned i = 0; i < transfer.len; ++i) {
    unsigned at = ((transfer.offset_len > 0 ? transfer.offset : 0) + i) % sizeof cage.diagnostics.page;
    uint8_t read = diagnostics_byte(board, port, at);
    transfer.data[i] = read;
    if (!is_flags(cage, at)) continue;
    cage.diagnostics.page[at] = standing_flags(board, port, at);
    cleared = cleared || cage.diagnostics.page[at] != read;
  }
  if (cleared) announce_change(board);
  return 0;
}

}  // namespace zelsim
